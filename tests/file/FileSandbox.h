// A device sandbox and a bare VyrHal for the file classes: no Init, file
// logging on so tests can read the log lines.
#pragma once

#include <string>

#include "hal/VyrHal.h"
#include "support/UnitSandbox.h"

namespace vyr_file_test {

class FileSandbox : public vyrtest::UnitSandbox {
protected:
    void SetUp() override {
        UnitSandbox::SetUp();
        mHal = &SharedHal();
        mHal->SetLogLevel(3);
        mHal->SetLogEnable(true);
        mHal->TakeText();
    }

    std::string TakeLog() { return mHal->TakeText(); }

    // One per process: the file classes keep a reference to it.
    static VyrHal &SharedHal() {
        static VyrHal &hal = NewHal();
        return hal;
    }

    VyrHal *mHal = nullptr;
};

}  // namespace vyr_file_test

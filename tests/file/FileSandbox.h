// A device sandbox in a temporary directory and a bare VyrHal for the file
// classes: no Init, file logging on so tests can read the log lines.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <string>

#include "hal/VyrHal.h"
#include "host/HostTestDir.h"

namespace vyr_file_test {

class FileSandbox : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("VYR_ROOT", mRoot.Path().c_str(), 1);
        mHal = &SharedHal();
        mHal->SetLogLevel(3);
        mHal->SetLogEnable(true);
        mHal->TakeText();
    }
    void TearDown() override { unsetenv("VYR_ROOT"); }

    // Where a device path lives inside the sandbox.
    std::string Real(const std::string &devicePath) const { return mRoot.Path() + devicePath; }
    void MakeDirs(const std::string &devicePath, mode_t mode = 0755) const {
        std::string running = mRoot.Path();
        size_t start = 1;
        while (start <= devicePath.size()) {
            size_t end = devicePath.find('/', start);
            if (end == std::string::npos) {
                end = devicePath.size();
            }
            if (end > start) {
                running += "/" + devicePath.substr(start, end - start);
                mkdir(running.c_str(), mode);
            }
            start = end + 1;
        }
    }
    static bool Exists(const std::string &path) {
        struct stat info {};
        return lstat(path.c_str(), &info) == 0;
    }
    std::string TakeLog() { return mHal->TakeText(); }

    // One per process and never destroyed: a VyrHal that never ran Init
    // ends the process from its destructor (no command table), which would
    // turn a failed test into a passing exit code.
    static VyrHal &SharedHal() {
        static VyrHal *hal = new VyrHal(nullptr);
        return *hal;
    }

    vyr_host_test::TempDir mRoot;
    VyrHal *mHal = nullptr;
};

}  // namespace vyr_file_test

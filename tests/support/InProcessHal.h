// A whole HAL started in this process on a fresh device sandbox, for tests
// that need to look inside it (the frame, the services) while feeding it
// through the same entries the exported table calls.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "hal/VyrHal.h"
#include "log/VyrFrame.h"
#include "sandbox/Sandbox.h"
#include "support/TestFiles.h"

namespace vyrtest {

class InProcessHal : public ::testing::Test {
protected:
    // The product for this test; the simulated phone's unless changed.
    virtual std::string Product() const { return vyrsim::DefaultProductXml(); }

    void SetUp() override {
        ASSERT_FALSE(mDir.Path().empty());
        setenv("VYR_ROOT", mDir.Path().c_str(), 1);
        setenv("VYR_LOGCAT", (mDir.Path() + "/logcat.txt").c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
        vyrsim::SandboxOptions options;
        options.productXml = Product();
        std::string error;
        ASSERT_TRUE(vyrsim::CreateSandbox(mDir.Path(), options, &error)) << error;
        mHal = std::make_unique<VyrHal>(nullptr);
        ASSERT_TRUE(mHal->Init());
    }

    void TearDown() override { mHal.reset(); }

    VyrHal &Hal() { return *mHal; }

    // Feeds a buffer as the daemon's queue reader does.
    int32_t Feed(std::vector<uint8_t> bytes) {
        return mHal->VyrFmqData(bytes.empty() ? nullptr : bytes.data(),
                                static_cast<int32_t>(bytes.size()));
    }

    std::string Command(const std::string &cmd, const std::string &param) {
        std::vector<uint8_t> out;
        mHal->VyrRunCommand("test", cmd, std::vector<uint8_t>(param.begin(), param.end()), out);
        return std::string(out.begin(), out.end());
    }

    // The current frame's event list of a type.
    std::vector<ASensorEvent> FrameEvents(uint32_t type) {
        VyrFrame &frame = mHal->GetCurFrame();
        frame.LockData(true);
        auto &lists = frame.GetData().GetSensorLists();
        auto it = lists.find(type);
        std::vector<ASensorEvent> events;
        if (it != lists.end()) {
            events = it->second;
        }
        frame.LockData(false);
        return events;
    }

    std::string Real(const std::string &devicePath) const { return mDir.Path() + devicePath; }
    std::string Logcat() const { return ReadText(mDir.Path() + "/logcat.txt"); }
    bool LogHas(const std::string &text) const { return Logcat().find(text) != std::string::npos; }
    size_t LogCount(const std::string &text) const {
        const std::string log = Logcat();
        size_t n = 0;
        for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
            ++n;
        }
        return n;
    }
    // Lines of the monitor stand-in's record.
    std::vector<std::string> MonitorLines() const {
        return ReadLines(mDir.Path() + "/monitor_events.txt");
    }

    TempDir mDir;
    std::unique_ptr<VyrHal> mHal;
};

}  // namespace vyrtest

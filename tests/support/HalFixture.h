// Drives the built library as the daemon does: a fresh device sandbox, the
// library loaded with dlopen, the exported table called, and the result
// messages recorded. One library instance per process (ctest runs each test
// in its own process).
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "hal/vyr_hal.h"
#include "sandbox/Sandbox.h"
#include "support/TestFiles.h"

namespace vyrtest {

class HalFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Makes the sandbox (once) with these options; call before StartHal.
    void MakeSandbox(const vyrsim::SandboxOptions &options);
    // Loads the library and calls vyr_init; returns its result.
    int32_t StartHal(vyr_sys_device_t *sys = nullptr);
    const vyr_hal_ops_t &Ops() const { return *mOps; }

    std::string Run(const std::string &cmd, const std::string &param = "",
                    const std::string &client = "test");
    std::vector<uint8_t> RunRaw(const std::string &cmd, const std::string &param = "",
                                const std::string &client = "test");

    std::string Root() const { return mDir.Path(); }
    std::string Logcat() const;
    bool LogcatHas(const std::string &text) const;
    // Waits until the logcat file holds `text`.
    bool WaitForLog(const std::string &text, int timeoutMs = 3000) const;
    std::map<std::string, std::string> Properties() const;
    std::string Property(const std::string &name) const;

    // Result messages received so far (copied out of the callback).
    static std::vector<vyr_msg_t> Messages();
    static void ClearMessages();
    static bool WaitForMessages(size_t count, int timeoutMs = 3000);
    static bool WaitForMessage(const std::function<bool(const vyr_msg_t &)> &match,
                               int timeoutMs = 3000);
    // Called with each result message on the sending thread, after it is
    // recorded and outside the fixture's lock (so it may block that thread).
    // Empty: none.
    static void SetMessageHook(std::function<void(const vyr_msg_t &)> hook);

    void *mLib = nullptr;

private:
    TempDir mDir;
    bool mSandboxMade = false;
    vyr_hal_ops_t *mOps = nullptr;
};

}  // namespace vyrtest

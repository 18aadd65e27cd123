#include "support/HalFixture.h"

#include <dlfcn.h>
#include <stdlib.h>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>

namespace vyrtest {

namespace {

std::mutex gMsgMutex;
std::condition_variable gMsgCond;
std::vector<vyr_msg_t> gMessages;
std::mutex gHookMutex;
std::function<void(const vyr_msg_t &)> gHook;

void RecordMessage(vyr_msg_t &msg) {
    {
        std::lock_guard<std::mutex> lock(gMsgMutex);
        gMessages.push_back(msg);
        gMsgCond.notify_all();
    }
    std::function<void(const vyr_msg_t &)> hook;
    {
        std::lock_guard<std::mutex> lock(gHookMutex);
        hook = gHook;
    }
    if (hook) {
        hook(msg);
    }
}

}  // namespace

void HalFixture::SetUp() {
    ASSERT_FALSE(mDir.Path().empty());
    setenv("VYR_ROOT", mDir.Path().c_str(), 1);
    setenv("VYR_LOGCAT", (mDir.Path() + "/logcat.txt").c_str(), 1);
    setenv("VYR_LOG_STDERR", "0", 1);
    ClearMessages();
}

void HalFixture::TearDown() {
    // The library stays loaded: its singleton lives until the process ends.
    mOps = nullptr;
}

void HalFixture::MakeSandbox(const vyrsim::SandboxOptions &options) {
    std::string error;
    ASSERT_TRUE(vyrsim::CreateSandbox(mDir.Path(), options, &error)) << error;
    mSandboxMade = true;
}

int32_t HalFixture::StartHal(vyr_sys_device_t *sys) {
    if (!mSandboxMade) {
        MakeSandbox(vyrsim::SandboxOptions());
    }
    if (mLib == nullptr) {
        mLib = dlopen(VYR_LIB_PATH, RTLD_NOW | RTLD_LOCAL);
    }
    EXPECT_NE(mLib, nullptr) << dlerror();
    if (mLib == nullptr) {
        return -1;
    }
    auto stub = reinterpret_cast<get_vyr_hal_stub_t>(dlsym(mLib, "get_vyr_hal_stub"));
    EXPECT_NE(stub, nullptr);
    if (stub == nullptr) {
        return -1;
    }
    mOps = static_cast<vyr_hal_ops_t *>(stub());
    return mOps->vyr_init(vyr_notify_t{RecordMessage}, sys);
}

std::vector<uint8_t> HalFixture::RunRaw(const std::string &cmd, const std::string &param,
                                        const std::string &client) {
    std::vector<uint8_t> in(param.begin(), param.end());
    std::vector<uint8_t> out;
    EXPECT_NE(mOps, nullptr);
    if (mOps != nullptr) {
        EXPECT_EQ(mOps->vyr_run_command(client, cmd, in, out), 0);
    }
    return out;
}

std::string HalFixture::Run(const std::string &cmd, const std::string &param,
                            const std::string &client) {
    std::vector<uint8_t> out = RunRaw(cmd, param, client);
    return std::string(out.begin(), out.end());
}

std::string HalFixture::Logcat() const {
    return ReadText(mDir.Path() + "/logcat.txt");
}

bool HalFixture::LogcatHas(const std::string &text) const {
    return Logcat().find(text) != std::string::npos;
}

bool HalFixture::WaitForLog(const std::string &text, int timeoutMs) const {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        if (LogcatHas(text)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return LogcatHas(text);
}

std::map<std::string, std::string> HalFixture::Properties() const {
    return vyrsim::ReadProperties(mDir.Path() + "/properties");
}

std::string HalFixture::Property(const std::string &name) const {
    auto props = Properties();
    auto it = props.find(name);
    return it == props.end() ? std::string() : it->second;
}

std::vector<vyr_msg_t> HalFixture::Messages() {
    std::lock_guard<std::mutex> lock(gMsgMutex);
    return gMessages;
}

void HalFixture::SetMessageHook(std::function<void(const vyr_msg_t &)> hook) {
    std::lock_guard<std::mutex> lock(gHookMutex);
    gHook = std::move(hook);
}

void HalFixture::ClearMessages() {
    std::lock_guard<std::mutex> lock(gMsgMutex);
    gMessages.clear();
}

bool HalFixture::WaitForMessages(size_t count, int timeoutMs) {
    std::unique_lock<std::mutex> lock(gMsgMutex);
    return gMsgCond.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                             [count] { return gMessages.size() >= count; });
}

bool HalFixture::WaitForMessage(const std::function<bool(const vyr_msg_t &)> &match,
                                int timeoutMs) {
    std::unique_lock<std::mutex> lock(gMsgMutex);
    return gMsgCond.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&match] {
        for (const auto &msg : gMessages) {
            if (match(msg)) {
                return true;
            }
        }
        return false;
    });
}

}  // namespace vyrtest

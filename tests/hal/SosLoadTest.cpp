// The SOS exit while every thread works: sensor samples stream to the
// gestures, TOF frames go through the face pipeline, touch reports and packets
// reach the touch threads, and the log thread writes and forwards frames. The
// watchdog ends the process from its own thread. It must end at once and
// cleanly: exit code 0, the properties that say the end was planned, and
// nothing torn down under the running threads (the HAL is owned as the
// library's entry owns it, so a normal exit would destroy it), which the
// sanitizers would see.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "camera/CameraFixture.h"
#include "platform/WatchDog.h"
#include "sensor/FmqMessages.h"
#include "support/FmqBuilder.h"
#include "touch/TouchNodes.h"

namespace {

// Exit codes of the child besides 0.
constexpr int kChildStartFailed = 4;
constexpr int kChildNeverBusy = 5;
constexpr int kChildOutlivedSos = 3;

class SosLoadTest : public vyrtest::CameraFixture {
protected:
    std::string ErrPath() const { return mRoot.Path() + "/child_stderr.txt"; }

    // Runs the loaded HAL in a child, ends it through SOS; the wait status.
    int RunChild(int timeoutMs) {
        fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            Child();
        }
        EXPECT_GT(child, 0);
        if (child <= 0) {
            return -1;
        }
        int status = 0;
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (waitpid(child, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                kill(child, SIGKILL);
                waitpid(child, &status, 0);
                ADD_FAILURE() << "child did not end";
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return status;
    }

    [[noreturn]] void Child() {
        const int err = open(ErrPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (err >= 0) {
            dup2(err, STDERR_FILENO);
        }
        struct rlimit noCore = {0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        vyrsim::SandboxOptions options;
        options.properties["persist.odm.vyr.vyrlog_enabled"] = "true";
        options.properties["odm.vyr.frame_timer"] = "10";
        if (!vyrsim::CreateSandbox(mRoot.Path(), options, nullptr)) {
            _exit(kChildStartFailed);
        }
        const int wrapper = touchtest::MakeInputNode(mRoot.Path(), "event1", "input_mt_wrapper");
        const int kit = touchtest::MakeInputNode(mRoot.Path(), "event2", "tolvi,ts_kit");
        // Owned as the library's entry owns its instance: a normal exit would
        // destroy it.
        static std::unique_ptr<VyrHal> owner;
        owner.reset(new VyrHal(nullptr));
        mHal = owner.get();
        if (wrapper < 0 || kit < 0 || !mHal->Init()) {
            _exit(kChildStartFailed);
        }
        mHal->VyrInit(vyr_notify_t{&CameraFixture::OnMessage});
        Run("flip", "on", "app");
        Run("backtap", "on", "app");
        Run("camera-on", "1,100");
        Run("collectlog", "on");

        // The feeders run until the process ends.
        std::thread([this, wrapper] {
            for (uint64_t n = 1;; ++n) {
                // Frames at the TOF's 30 per second; the rest as fast as it goes.
                if (n % 15 == 1) {
                    PostFrame(n, Face(static_cast<int32_t>(n % 4), 1));
                }
                const int32_t x = static_cast<int32_t>(100 + n % 50);
                touchtest::Send(
                    wrapper, n % 2 != 0 ? touchtest::Report({{0, x, 200}}) : touchtest::Report({}));
                fmqbuild::Bytes packet = fmqbuild::Thp(fmq::kHeadThpFirst, 40);
                mHal->VyrFmqData(packet.data(), static_cast<int32_t>(packet.size()));
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        }).detach();
        std::thread([this] {
            for (;;) {
                Run("version", "");
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        }).detach();

        // Every thread has work in hand before the watchdog fires.
        const bool busy = WaitUntil(
            [this] {
                bool flip = false;
                bool gaze = false;
                bool collected = false;
                for (const vyr_msg_t &msg : Messages()) {
                    flip = flip || (msg.client == "app" && msg.type == 2);
                    gaze = gaze || (msg.client == "test" && msg.type == CAMERA_EYE_GAZE);
                    collected = collected || (msg.client == "vyr-client" && msg.type == 255);
                }
                return flip && gaze && collected && !LinesWith("finger id: 0 down").empty();
            },
            15000);
        if (!busy) {
            _exit(kChildNeverBusy);
        }
        mHal->GetWatchdog().ResetWatchNode("Stuck42", 50);
        std::this_thread::sleep_for(std::chrono::seconds(30));
        _exit(kChildOutlivedSos);
    }
};

}  // namespace

TEST_F(SosLoadTest, SosWhileEveryThreadWorksEndsAtOnceAndCleanly) {
    const int status = RunChild(90000);
    const std::string err = vyrtest::ReadText(ErrPath());
    ASSERT_TRUE(WIFEXITED(status)) << status << "\n" << err;
    ASSERT_NE(WEXITSTATUS(status), kChildNeverBusy) << Logcat();
    EXPECT_EQ(WEXITSTATUS(status), 0) << err;
    EXPECT_EQ(err.find("Sanitizer"), std::string::npos) << err;
    EXPECT_EQ(err.find("runtime error"), std::string::npos) << err;

    EXPECT_EQ(LinesWith("VyrHal::DoSos+, ThreadProcess, 97").size(), 1u);
    EXPECT_EQ(LinesWith("Process Stuck42 no response").size(), 1u);
    // The faces were let go before the end, and nothing was torn down.
    EXPECT_FALSE(LinesWith("+ Camera").empty());
    EXPECT_TRUE(LinesWith("~VyrHal").empty());
    EXPECT_TRUE(LinesWith("quit thread Process").empty());
    auto props = vyrsim::ReadProperties(mRoot.Path() + "/properties");
    EXPECT_EQ(props["odm.vyr.dae_alive"], "true");
    EXPECT_EQ(props["odm.vyr.dae_bootflag"], "true");
}

// Touches through real input FIFOs of the sandbox, the poll thread, the
// sensor path and back tap, driven through the exported table.
#include <unistd.h>

#include <chrono>
#include <thread>

#include "support/HalFixture.h"
#include "touch/TouchNodes.h"

namespace {

using touchtest::CountOf;
using touchtest::Finger;
using touchtest::Report;
using touchtest::Send;

class TouchRoadTest : public vyrtest::HalFixture {
protected:
    void SetUp() override {
        HalFixture::SetUp();
        MakeSandbox(vyrsim::SandboxOptions());
        mWrapper = touchtest::MakeInputNode(Root(), "event1", "input_mt_wrapper");
        mKit = touchtest::MakeInputNode(Root(), "event2", "tolvi,ts_kit");
        ASSERT_GE(mWrapper, 0);
        ASSERT_GE(mKit, 0);
        ASSERT_EQ(StartHal(), 0);
        ASSERT_TRUE(WaitForLog("found 2 input event device"));
    }
    void TearDown() override {
        for (int fd : {mWrapper, mKit}) {
            if (fd >= 0) {
                close(fd);
            }
        }
        HalFixture::TearDown();
    }

    // Waits until `text` shows `count` times in the log.
    bool WaitCount(const std::string &text, size_t count, int timeoutMs = 3000) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (std::chrono::steady_clock::now() < deadline) {
            if (CountOf(Logcat(), text) >= count) {
                return CountOf(Logcat(), text) == count;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
    // Back tap in mode 0 connects the touch channels and no sensor.
    void ConnectTouch() {
        ASSERT_EQ(Run("backtap", "on", "app"), "enable backtap motion");
        ASSERT_TRUE(WaitForLog("reset poll setting"));
    }
    std::vector<vyr_msg_t> BackTaps() {
        std::vector<vyr_msg_t> taps;
        for (const auto &msg : Messages()) {
            if (msg.type == 25) {
                taps.push_back(msg);
            }
        }
        return taps;
    }

    int mWrapper = -1;
    int mKit = -1;
};

TEST_F(TouchRoadTest, FingerSequencesGiveDownAndUpEvents) {
    ConnectTouch();
    // Two fingers in one report: each goes down, but no single "touch down".
    ASSERT_TRUE(Send(mWrapper, Report({{0, 100, 200}, {1, 300, 400}})));
    ASSERT_TRUE(WaitCount("finger id: 1 down", 1));
    EXPECT_EQ(CountOf(Logcat(), "finger id: 0 down"), 1u);
    EXPECT_FALSE(LogcatHas("touch down"));
    ASSERT_TRUE(WaitForLog("id: 1 x: 300.000000 y: 400.000000 pressure: 1.000000"));
    // A move inside the press costs nothing; one finger lifts.
    ASSERT_TRUE(Send(mWrapper, Report({{0, 110, 210}, {1, 310, 410}})));
    ASSERT_TRUE(Send(mWrapper, Report({{0, 120, 220}})));
    ASSERT_TRUE(WaitCount("finger id: 1 up", 1));
    EXPECT_EQ(CountOf(Logcat(), "finger id: 0 down"), 1u);
    EXPECT_FALSE(LogcatHas("touch up"));
    // The last finger up.
    ASSERT_TRUE(Send(mWrapper, Report({})));
    ASSERT_TRUE(WaitCount("finger id: 0 up", 1));
    EXPECT_EQ(CountOf(Logcat(), "touch up"), 1u);
    ASSERT_TRUE(WaitForLog("id: 0 x: 0.000000 y: 0.000000 pressure: 0.000000"));
    // A report with no touch while nothing is down: "touch up", no event.
    ASSERT_TRUE(Send(mWrapper, Report({})));
    ASSERT_TRUE(WaitCount("touch up", 2));
    // One finger: "touch down"; a second added to it: no second one.
    ASSERT_TRUE(Send(mKit, Report({{4, 50, 60}})));
    ASSERT_TRUE(WaitCount("touch down", 1));
    ASSERT_TRUE(Send(mKit, Report({{4, 50, 60}, {5, 70, 80}})));
    ASSERT_TRUE(WaitCount("finger id: 5 down", 1));
    EXPECT_EQ(CountOf(Logcat(), "touch down"), 1u);
    EXPECT_EQ(CountOf(Logcat(), "finger id: 4 down"), 1u);
}

TEST_F(TouchRoadTest, BadReadsAndAVanishedNodeLeaveTheOthersGoing) {
    ConnectTouch();
    // 25 bytes: one level-1 line and no event.
    char junk[25] = {0};
    ASSERT_EQ(write(mWrapper, junk, sizeof(junk)), 25);
    ASSERT_TRUE(WaitForLog("could not get event. wrong size=25"));
    // A key and an axis nobody reads, then the writer of node 1 goes away.
    ASSERT_TRUE(
        Send(mWrapper, {touchtest::Ev(EV_KEY, 0x123, 1), touchtest::Ev(EV_ABS, 0x30 + 15, 9),
                        touchtest::Ev(EV_SYN, SYN_REPORT, 0)}));
    ASSERT_TRUE(WaitForLog("unknow key code: 291 down"));
    close(mWrapper);
    mWrapper = -1;
    ASSERT_TRUE(WaitForLog("input event:1 disconnect"));
    ASSERT_TRUE(Send(mKit, Report({{7, 10, 20}})));
    ASSERT_TRUE(WaitForLog("finger id: 7 down"));
    EXPECT_EQ(CountOf(Logcat(), "input event:1 disconnect"), 1u);
}

TEST_F(TouchRoadTest, WithoutAClientTouchesWaitInTheNode) {
    ASSERT_TRUE(Send(mWrapper, Report({{3, 1, 2}})));
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_FALSE(LogcatHas("finger id: 3 down"));
    // The first client's "r" brings the node into the set; the touch waited.
    ConnectTouch();
    ASSERT_TRUE(WaitForLog("finger id: 3 down"));
}

TEST_F(TouchRoadTest, BackTapIsVetoedByAFingerOnTheScreen) {
    ConnectTouch();
    ASSERT_TRUE(Send(mWrapper, Report({{0, 540, 1200}})));
    ASSERT_TRUE(WaitForLog("id: 0 x: 540.000000 y: 1200.000000 pressure: 1.000000"));
    EXPECT_EQ(Run("backtap-event", "2,0,0,0,0,0,0"), "");
    ASSERT_TRUE(WaitForLog("BackTapFusion_FusionTp skip report"));
    EXPECT_TRUE(BackTaps().empty());
    // The finger lifts; after the fusion's quiet time the tap is told.
    ASSERT_TRUE(Send(mWrapper, Report({})));
    ASSERT_TRUE(WaitForLog("id: 0 x: 0.000000 y: 0.000000 pressure: 0.000000"));
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(Run("backtap-event", "2,0,0,0,0,0,0"), "");
    ASSERT_TRUE(WaitForMessage([](const vyr_msg_t &msg) { return msg.type == 25; }));
    ASSERT_EQ(BackTaps().size(), 1u);
    EXPECT_EQ(BackTaps()[0].data, (std::vector<int32_t>{1, 2}));
    // The last back-tap client gone: the channels close again.
    Run("backtap", "off", "app");
    ASSERT_TRUE(WaitCount("reset poll setting", 10));
}

TEST_F(TouchRoadTest, PenCommandsAndConfiguration) {
    EXPECT_EQ(RunRaw("thp_config"), (std::vector<uint8_t>{0x1e, 0, 0, 0}));
    EXPECT_EQ(Run("btpen-raw", "a,42"), "42\n");
    EXPECT_EQ(Run("btpen-raw", "1,2,3"), "");
    EXPECT_EQ(Run("btpen-connect", "ON"), "init connect ok");
    EXPECT_EQ(std::stoul(Property("odm.vyr.hal_status")) & 0x80u, 0x80u);
    EXPECT_EQ(Run("btpen-connect", "maybe"), "");
    EXPECT_EQ(std::stoul(Property("odm.vyr.hal_status")) & 0x80u, 0x80u);
    EXPECT_EQ(Run("btpen-connect", "0"), "init disconnect ok");
    EXPECT_EQ(std::stoul(Property("odm.vyr.hal_status")) & 0x80u, 0u);
    EXPECT_EQ(Run("btpen-suspend", "1"), "btpen suspend");
    EXPECT_EQ(Run("btpen-suspend", "off"), "btpen resume");
    EXPECT_EQ(Run("btpen-name", "/dev/no_such_pen"), "failed");
}

}  // namespace

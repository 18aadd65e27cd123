// Gestures and postures end to end: a command in, samples from the simulated
// sensor service through SensorHub, the result out of the notify callback.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "libs/FusionSense/fusion_sense_sim.h"
#include "libs/VyrSensor/vyr_sensor_sim.h"
#include "support/HalFixture.h"

using vyrtest::HalFixture;

namespace {

constexpr int32_t kAccelerometer = 1;
constexpr int32_t kHinge = 36;
constexpr int32_t kHingeHandle = 0x61;
constexpr int32_t kTouch = static_cast<int32_t>(0xF1000002u);

bool WaitUntil(const std::function<bool()> &done, int timeoutMs = 3000) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        if (done()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
}

class MotionRoadTest : public HalFixture {
protected:
    virtual vyrsim::SandboxOptions Options() const { return vyrsim::SandboxOptions(); }

    void SetUp() override {
        HalFixture::SetUp();
        MakeSandbox(Options());
        // The same file as the library under test opens: one service.
        const std::string path = Root() + "/vendor/lib64/libVyrSensor.so";
        mSim = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(mSim, nullptr) << dlerror();
        mInject = Sym<VyrSimInjectEvent_t>("VyrSimInjectEvent");
        mPlay = Sym<VyrSimPlayScenario_t>("VyrSimPlayScenario");
        mPeriod = Sym<VyrSimGetSensorPeriodUs_t>("VyrSimGetSensorPeriodUs");
        mNow = Sym<VyrSimNowNs_t>("VyrSimNowNs");
        mSync = Sym<VyrSimSync_t>("VyrSimSync");
        ASSERT_TRUE(mInject && mPlay && mPeriod && mNow && mSync);
        ASSERT_EQ(StartHal(), 0);
    }

    template <typename T>
    T Sym(const char *name) {
        return reinterpret_cast<T>(dlsym(mSim, name));
    }

    // Results of one type, in order.
    static std::vector<std::vector<int32_t>> Results(int32_t type) {
        std::vector<std::vector<int32_t>> out;
        for (const vyr_msg_t &msg : Messages()) {
            if (msg.type == type) {
                out.push_back(msg.data);
            }
        }
        return out;
    }

    static bool WaitResult(int32_t type, const std::vector<int32_t> &data, int timeoutMs = 4000) {
        return WaitForMessage(
            [&](const vyr_msg_t &msg) { return msg.type == type && msg.data == data; }, timeoutMs);
    }

    void InjectHinge(int64_t timestamp, float angle, float status, float precision = 0.001f) {
        ASensorEvent event{};
        event.version = sizeof(ASensorEvent);
        event.sensor = kHingeHandle;
        event.type = kHinge;
        event.timestamp = timestamp;
        event.data[0] = angle;
        event.data[1] = status;
        event.data[14] = precision;
        ASSERT_EQ(mInject(&event), 0);
        ASSERT_EQ(mSync(2000), 0);
    }

    void *mSim = nullptr;
    VyrSimInjectEvent_t mInject = nullptr;
    VyrSimPlayScenario_t mPlay = nullptr;
    VyrSimGetSensorPeriodUs_t mPeriod = nullptr;
    VyrSimNowNs_t mNow = nullptr;
    VyrSimSync_t mSync = nullptr;
};

}  // namespace

TEST_F(MotionRoadTest, FlipTellsEachNewSideOnce) {
    EXPECT_EQ(Run("flip", "on", "app"), "enable flip motion");
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 10000; }));
    // Lying screen up for half a second: face up (3).
    ASSERT_TRUE(WaitResult(2, {1, 3}));
    ASSERT_EQ(mPlay("flip"), 0);
    ASSERT_TRUE(WaitResult(2, {1, 4}));
    // Staying face down says nothing more.
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    EXPECT_EQ(Results(2), (std::vector<std::vector<int32_t>>{{1, 3}, {1, 4}}));
    EXPECT_EQ(Messages().back().client, "app");
    EXPECT_TRUE(LogcatHas("motion:MOTION_TYPE_FLIP\t cur res = 4"));

    EXPECT_EQ(Run("flip", "off", "app"), "disable flip motion");
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 0; }));
    EXPECT_TRUE(LogcatHas("motion algo lib reset"));
    // A new start forgets the last result: face down is told again.
    ClearMessages();
    Run("flip", "on", "app");
    ASSERT_TRUE(WaitResult(2, {1, 4}));
    EXPECT_EQ(Results(2).size(), 1u);
}

TEST_F(MotionRoadTest, TwoClientsShareOneSensorUntilTheLastLeaves) {
    Run("flip", "on", "a");
    Run("rotation", "on", "b");
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 10000; }));
    Run("flip", "off", "a");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(mPeriod(kAccelerometer), 10000);
    Run("rotation", "off", "b");
    EXPECT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 0; }));
}

TEST_F(MotionRoadTest, RotationFollowsTheLongAxis) {
    Run("rotation", "on");
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 10000; }));
    ASSERT_EQ(mPlay("rotate"), 0);
    ASSERT_TRUE(WaitResult(7, {1, 0}));
    ASSERT_TRUE(WaitResult(7, {1, 1}));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(Results(7), (std::vector<std::vector<int32_t>>{{1, 0}, {1, 1}}));
}

TEST_F(MotionRoadTest, BackTapEventsPassTheTouchFusion) {
    // Back tap in mode 0 starts no sensor; the flip connects the service.
    Run("flip", "on", "other");
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 10000; }));
    EXPECT_EQ(Run("backtap", "on", "app"), "enable backtap motion");
    // Six fields: nothing.
    EXPECT_EQ(Run("backtap-event", "1,0,0,0,0,0"), "");
    EXPECT_EQ(Run("backtap-event", "2,0,0,0,0,0,0"), "");
    ASSERT_TRUE(WaitResult(25, {1, 2}));
    // Equal taps are all told.
    EXPECT_EQ(Run("backtap-event", "2,0,0,0,0,0,0"), "");
    ASSERT_TRUE(WaitUntil([&] { return Results(25).size() == 2; }));
    EXPECT_TRUE(LogcatHas("tapGestureAlg result: 2"));

    // A finger on the screen explains the shock.
    ASensorEvent touch{};
    touch.version = sizeof(ASensorEvent);
    touch.sensor = kTouch;
    touch.type = kTouch;
    touch.timestamp = mNow();
    touch.data[0] = 0.0f;
    touch.data[1] = 540.0f;
    touch.data[2] = 1200.0f;
    touch.data[5] = 1.0f;
    ASSERT_EQ(mInject(&touch), 0);
    ASSERT_EQ(mSync(2000), 0);
    ASSERT_TRUE(WaitForLog("id: 0 x: 540.000000 y: 1200.000000 pressure: 1.000000"));
    Run("backtap-event", "2,0,0,0,0,0,0");
    ASSERT_TRUE(WaitForLog("BackTapFusion_FusionTp skip report"));
    EXPECT_EQ(Results(25).size(), 2u);

    // Without a client the events are dropped.
    Run("backtap", "off", "app");
    touch.data[5] = 0.0f;
    Run("backtap-event", "2,0,0,0,0,0,0");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(Results(25).size(), 2u);
}

TEST_F(MotionRoadTest, PostureFirstReportErrorOnceAndGoodResultAgain) {
    EXPECT_EQ(Run("posture-on", "20", "app"), "posture on done");
    // The rest scenario holds the hinge open.
    ASSERT_TRUE(WaitResult(0, {3, 180, 0}));
    EXPECT_TRUE(LogcatHas("run initPostureParameter"));
    EXPECT_TRUE(LogcatHas("result: FOLD_POSTURE_FULL 180 0"));

    const int64_t now = mNow();
    InjectHinge(now, 120.0f, -1.0f);
    ASSERT_TRUE(WaitResult(0, {4096, 120, -1}));
    EXPECT_TRUE(LogcatHas("report posture error: -1.000000"));
    InjectHinge(now + 1000000, 121.0f, -1.0f);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(Results(0).size(), 2u);
    // A good sample brings a result again.
    InjectHinge(now + 2000000, 120.0f, 0.0f);
    ASSERT_TRUE(WaitResult(0, {2, 120, 0}));
    EXPECT_EQ(Results(0).size(), 3u);
}

// Clients that ask together (as they do when the daemon starts again) before
// the first hinge event: the library is still set up, and both are told.
TEST_F(MotionRoadTest, PostureClientsAskingTogetherBothGetTheFirstReport) {
    Run("posture-on", "20", "app");
    Run("posture-on", "20", "settings");
    ASSERT_TRUE(WaitForMessage(
        [](const vyr_msg_t &msg) {
            return msg.client == "settings" && msg.type == 0 &&
                   msg.data == std::vector<int32_t>{3, 180, 0};
        },
        4000));
    EXPECT_TRUE(LogcatHas("run initPostureParameter"));
}

TEST_F(MotionRoadTest, PostureDropPausesForOneSecond) {
    Run("posture-on", "20", "app");
    ASSERT_TRUE(WaitResult(0, {3, 180, 0}));
    const int64_t start = mNow();
    InjectHinge(start, 100.0f, -2.0f);
    ASSERT_TRUE(WaitForLog("detect drop event, posture will disable 1 second"));
    // During the pause neither a new drop nor a good sample changes anything.
    InjectHinge(start + 300000000, 100.0f, -2.0f);
    InjectHinge(start + 400000000, 100.0f, 0.0f);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(Results(0).size(), 1u);
    // The samples of the second accelerometer end the pause once it is over.
    ASSERT_TRUE(WaitForLog("end drop event, run initPostureParameter fold: 100.000000", 4000));
    ASSERT_TRUE(WaitResult(0, {2, 100, 0}));
    EXPECT_GE(mNow() - start, 1000000000);
    const std::string log = Logcat();
    EXPECT_EQ(log.find("detect drop event"), log.rfind("detect drop event"));
}

TEST_F(MotionRoadTest, PostureHoldsAFirstFoldedReportAboveFourDegrees) {
    vyrtest::WriteText(Root() + "/data/fold.csv",
                       "time_ms,type,v0,v1,v2\n"
                       "0,36,5.0,0.0,0,0,0,0,0,0,0,0,0,0,0,0,0.001\n"
                       "0,1,0.0,0.0,9.81\n"
                       "0,0x20001,0.0,0.0,9.81\n"
                       "1500,36,3.0,0.0,0,0,0,0,0,0,0,0,0,0,0,0,0.001\n");
    ASSERT_EQ(mPlay("/data/fold.csv"), 0);
    Run("posture-on", "20", "app");
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    EXPECT_TRUE(Results(0).empty());
    ASSERT_TRUE(WaitResult(0, {1, 3, 0}));
}

TEST_F(MotionRoadTest, PostureRestingOpenSlowsTheSensorsDown) {
    Run("posture-on", "20", "app");
    ASSERT_TRUE(WaitResult(0, {3, 180, 0}));
    EXPECT_EQ(mPeriod(kAccelerometer), 50000);
    // Open flat for two seconds: idle at 1 Hz.
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 1000000; }, 5000));
    // Into the working range: back to 20 Hz at once.
    InjectHinge(mNow(), 90.0f, 0.0f);
    ASSERT_TRUE(WaitResult(0, {2, 90, 0}));
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 50000; }));
    // Inside a hysteresis band nothing changes.
    InjectHinge(mNow(), 12.0f, 0.0f);
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    EXPECT_EQ(mPeriod(kAccelerometer), 50000);
}

// The fusion channel's stand-in holds each channel at a value the test sets
// (channel 0 the first accelerometer, 1 the first gyroscope).
class FusionRoadTest : public MotionRoadTest {
protected:
    bool SetChannel(int32_t channel, float x, float y, float z) {
        const std::string path = Root() + "/vendor/lib64/libFusionSense.so";
        void *fusion = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (fusion == nullptr) {
            return false;
        }
        using SetValue = bool (*)(int32_t, float, float, float);
        auto set = reinterpret_cast<SetValue>(dlsym(fusion, "FusionSimSetChannelValue"));
        const bool done = set != nullptr && set(channel, x, y, z);
        dlclose(fusion);
        return done;
    }
};

TEST_F(FusionRoadTest, WristFlipFromTheFusionGyroscope) {
    EXPECT_EQ(Run("wristflip", "on", "app"), "enable wristflip motion");
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_TRUE(Results(14).empty());
    ASSERT_TRUE(SetChannel(1, 0.0f, 4.0f, 0.0f));
    ASSERT_TRUE(WaitResult(14, {1, 1}));
    ASSERT_TRUE(SetChannel(1, 0.0f, 0.0f, 0.0f));
}

TEST_F(FusionRoadTest, KnockTwiceOnTheBackIsADoubleTap) {
    EXPECT_EQ(Run("motion-on", "25,1", "app"), "");
    ASSERT_TRUE(WaitForLog("MOTION_TYPE_BACK_TAP BACKTAP_DOUBLETAP"));
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    EXPECT_TRUE(Results(25).empty());
    // Up and back down 250 ms later: two knocks. The hub reports five frames
    // a second, so the knock outlasts a frame and one frame sees it.
    ASSERT_TRUE(SetChannel(0, 0.0f, 0.0f, 20.0f));
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    ASSERT_TRUE(SetChannel(0, 0.0f, 0.0f, 9.80665f));
    ASSERT_TRUE(WaitResult(25, {1, 2}));
    EXPECT_TRUE(LogcatHas("tap event is 2!"));
    EXPECT_TRUE(LogcatHas("tapGestureAlg result: 2"));
}

TEST_F(FusionRoadTest, RotationGestureProgressThenDone) {
    EXPECT_EQ(Run("rotationgesture", "on", "app"), "enable rotation gesture motion");
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    ASSERT_TRUE(SetChannel(1, 0.0f, 0.0f, 3.0f));
    ASSERT_TRUE(WaitResult(23, {1, 1}));
    ASSERT_TRUE(SetChannel(1, 0.0f, 0.0f, 0.0f));
    const auto results = Results(23);
    ASSERT_GE(results.size(), 2u);
    // Progress is told once before the gesture completes.
    EXPECT_EQ(results[0], (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(results[1], (std::vector<int32_t>{1, 1}));
}

TEST_F(MotionRoadTest, PickCallFromFarToTheEar) {
    EXPECT_EQ(Run("pickcall", "on", "app"), "enable pickCall motion");
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 10000; }));
    // Flat on the table: no pick-call at all.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_TRUE(Results(3).empty());
    ASSERT_EQ(mPlay("pickup"), 0);
    // Raised, the proximity reading far: taken away (1).
    ASSERT_TRUE(WaitResult(3, {1, 1}));
    ASensorEvent near{};
    near.version = sizeof(ASensorEvent);
    near.sensor = 0x51;
    near.type = 8;
    near.timestamp = mNow();
    near.data[0] = 0.0f;
    ASSERT_EQ(mInject(&near), 0);
    ASSERT_TRUE(WaitForLog("detect proximity sensor closed"));
    // Near while raised: at the ear (0).
    ASSERT_TRUE(WaitResult(3, {1, 0}));
}

TEST_F(MotionRoadTest, PosturePrecisionLimitAndHandSetResults) {
    Run("posture-on", "20", "app");
    ASSERT_TRUE(WaitResult(0, {3, 180, 0}));
    // A hand-set result leaves the last real one: the same posture stays untold.
    EXPECT_EQ(Run("posture-set", "0x1000,0,0"), "posture-set 0x1000,0,0 done");
    ASSERT_TRUE(WaitResult(0, {4096, 0, 0}));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(Results(0).size(), 2u);
    // Just above the precision limit: nothing; at the limit: told.
    InjectHinge(mNow(), 90.0f, 0.0f, 0.0500001f);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(Results(0).size(), 2u);
    InjectHinge(mNow(), 90.0f, 0.0f, 0.05f);
    ASSERT_TRUE(WaitResult(0, {2, 90, 0}));
}

// With file logging on and the log captured ("collectlog on"), the log
// client "vyr-client" hears every motion result too, beside the clients of
// the type.
class MotionCaptureTest : public MotionRoadTest {
protected:
    vyrsim::SandboxOptions Options() const override {
        vyrsim::SandboxOptions options;
        options.properties["persist.odm.vyr.vyrlog_enabled"] = "true";
        return options;
    }

    static size_t Count(const std::string &client, const std::vector<int32_t> &data) {
        size_t n = 0;
        for (const vyr_msg_t &msg : Messages()) {
            n += msg.client == client && msg.type == 2 && msg.data == data ? 1 : 0;
        }
        return n;
    }
};

TEST_F(MotionCaptureTest, CapturedLogAlsoHearsTheResults) {
    EXPECT_EQ(Run("flip", "on", "app"), "enable flip motion");
    ASSERT_TRUE(WaitResult(2, {1, 3}));
    EXPECT_EQ(Count("vyr-client", {1, 3}), 0u);

    EXPECT_EQ(Run("collectlog", "on"), "start collect log success.\n");
    ASSERT_EQ(mPlay("flip"), 0);
    ASSERT_TRUE(WaitUntil([] { return Count("vyr-client", {1, 4}) == 1; }));
    EXPECT_EQ(Count("app", {1, 4}), 1u);

    EXPECT_EQ(Run("collectlog", "off"), "stop collect log success.\n");
    ASSERT_EQ(mPlay("rest"), 0);
    ASSERT_TRUE(WaitUntil([] { return Count("app", {1, 3}) == 2; }));
    EXPECT_EQ(Count("vyr-client", {1, 3}), 0u);
}

// The camera's switching roads that give no answer of their own when they
// go wrong: what the last client's "camera-off" stops and what the next
// "camera-on" resets, the light limits and the forced light of "set-env",
// the face library's outcome table, and a TOF start that the service
// refuses.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "camera/CameraFixture.h"
#include "log/VyrFrame.h"
#include "sensor/SensorTypes.h"

using vyrtest::CameraFixture;

namespace {

constexpr int32_t kDirection = CAMERA_FACE_DIRECTION;
constexpr int32_t kGaze = CAMERA_EYE_GAZE;
constexpr int32_t kFaceId = CAMERA_FACE_ID;

class CameraSwitchTest : public CameraFixture {
protected:
    // The lux of the light sample the camera reads from the frame.
    int32_t FrameLux() {
        VyrFrame &frame = mHal->GetCurFrame();
        frame.LockData(true);
        const ASensorEvent event = frame.GetData().GetEvent(SENSOR_TYPE_LIGHT);
        frame.LockData(false);
        return static_cast<int32_t>(event.data[0]);
    }
    // Holds the light at `lux` and waits until the camera would read it.
    void Light(float lux) {
        SetLight(lux);
        ASSERT_TRUE(WaitUntil([&] { return FrameLux() == static_cast<int32_t>(lux); }));
    }
    void Rotate(int32_t rotation) {
        ASSERT_EQ(AoRotation(rotation), 0);
        ASSERT_TRUE(AoSync());
        ASSERT_TRUE(Drain());
    }
    void SetStatus(bool force, int32_t status) {
        void *face = Standin("libface3d_sdk.so");
        ASSERT_NE(face, nullptr);
        auto set = reinterpret_cast<Face3dSimSetStatus_t>(dlsym(face, "Face3dSimSetStatus"));
        ASSERT_NE(set, nullptr);
        set(force ? 1 : 0, status);
    }
    void FailRegister(int32_t ret) {
        auto fail = AoSym<VyrAoSimFailRegister_t>("VyrAoSimFailRegister");
        ASSERT_NE(fail, nullptr);
        fail(ret);
    }
};

// The last direction client takes the device rotation, the always-on
// direction and the TOF with it; the first client after that starts from a
// clean fusion history.
TEST_F(CameraSwitchTest, LastDirectionClientStopsItsSourcesAndTheNextStartsClean) {
    StartHal();
    Run("set-env", "dark");
    EXPECT_EQ(Run("camera-on", "0,10", "a"), "");
    EXPECT_EQ(Run("camera-on", "0,10", "b"), "");
    ASSERT_TRUE(Drain());
    Rotate(0);
    ASSERT_TRUE(WaitResult(kDirection, {0, 0, 0, 0, 0}, "b"));
    Rotate(1);  // a turn in the dark wakes the TOF
    EXPECT_EQ(PipelineActive(), 1);

    // One of two clients leaves: everything stays.
    EXPECT_EQ(Run("camera-off", "0,0", "a"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 1);
    EXPECT_EQ(AoFaceDirection(1), 0);
    ASSERT_TRUE(AoSync());

    // The last one: rotation, always-on direction and TOF all stop.
    EXPECT_EQ(Run("camera-off", "0,0", "b"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);
    EXPECT_TRUE(WaitForLog("type: 0 TOF disconnect"));
    EXPECT_EQ(AoRotation(1), -1);
    EXPECT_EQ(AoFaceDirection(1), -1);

    // A new client: the rotation 0 is a first reading, not a turn from the
    // old 1 (so no TOF), and it is reported though 0 was the last result
    // before the stop.
    Recorder().Clear();
    EXPECT_EQ(Run("camera-on", "0,10", "c"), "");
    ASSERT_TRUE(Drain());
    const int32_t starts = PipelineStarts();
    Rotate(0);
    ASSERT_TRUE(WaitResult(kDirection, {0, 0, 0, 0, 0}, "c"));
    EXPECT_EQ(PipelineStarts(), starts);
    EXPECT_EQ(PipelineActive(), 0);
}

// The last identity client unregisters the always-on identity service.
TEST_F(CameraSwitchTest, LastIdentityClientUnregistersTheService) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "2,100", "a"), "");
    EXPECT_EQ(Run("camera-on", "2,100", "b"), "");
    ASSERT_TRUE(Drain());
    const std::vector<int32_t> owner = {1, 0, 1, 0, 80, 70, 60};
    ASSERT_EQ(AoFaceId(owner), 0);
    ASSERT_TRUE(WaitResult(kFaceId, {1, 0, 0, 60, 70}, "b"));
    EXPECT_EQ(Run("camera-off", "2,0", "a"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(AoFaceId(owner), 0);
    ASSERT_TRUE(AoSync());
    EXPECT_EQ(Run("camera-off", "2,0", "b"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(AoFaceId(owner), -1);
    EXPECT_EQ(PipelineStarts(), 0);
}

// The always-on direction is believed from lux 16 up; at 15 it is dropped.
TEST_F(CameraSwitchTest, AlwaysOnDirectionNeedsLux16) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "0,15"), "");
    ASSERT_TRUE(Drain());
    Light(15.0f);
    ASSERT_EQ(AoFaceDirection(2), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(WaitForLog("recv aon rotation\t:   2, lux:  15"));
    EXPECT_TRUE(WaitForLog("set AO from 2 to -2, skip report"));
    EXPECT_TRUE(Results(kDirection).empty());

    Light(16.0f);
    ASSERT_EQ(AoFaceDirection(2), 0);
    ASSERT_TRUE(WaitResult(kDirection, {-1, 2, 0, 0, 0}));
}

// A turn wakes the TOF below lux 16 only; "bright" never lets it, "dark"
// always does.
TEST_F(CameraSwitchTest, TurnWakesTheTofBelowLux16) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "0,16"), "");
    ASSERT_TRUE(Drain());
    Light(16.0f);
    Rotate(0);
    Rotate(1);
    EXPECT_EQ(PipelineStarts(), 0);
    EXPECT_TRUE(WaitForLog("recv imu rotation\t:   1, lux:  16, isConnect: 0, runTofFlag: 0"));

    Light(15.0f);
    Rotate(0);
    EXPECT_EQ(PipelineStarts(), 1);
    EXPECT_EQ(PipelineActive(), 1);
    PostFrame(1, Face(0, 1));
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);

    // "bright" reads every light as 35: no turn wakes the TOF, and the
    // always-on answer is believed in the dark room.
    EXPECT_EQ(Run("set-env", "bright"),
              "usage: set-env mode(normal/bright/dark/check),frames(max=20)\r\n"
              "set finish: mode=bright frames=20");
    Rotate(1);
    Rotate(0);
    EXPECT_EQ(PipelineStarts(), 1);
    EXPECT_TRUE(WaitForLog("env_mode=bright runTofFlag set false"));
    EXPECT_TRUE(WaitForLog("env_mode=bright lux from 15 to 35"));
    Recorder().Clear();
    ASSERT_EQ(AoFaceDirection(3), 0);
    ASSERT_TRUE(WaitResult(kDirection, {0, 3, 0, 0, 0}));

    // "dark" reads it as 15 in a bright room: the always-on answer is
    // dropped and a turn wakes the TOF.
    Light(300.0f);
    Run("set-env", "dark");
    ASSERT_EQ(AoFaceDirection(1), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(WaitForLog("env_mode=dark lux from 300 to 15"));
    EXPECT_TRUE(WaitForLog("set AO from 1 to -2, skip report"));
    Rotate(1);
    EXPECT_EQ(PipelineStarts(), 2);
    EXPECT_TRUE(WaitForLog("env_mode=dark runTofFlag set true"));
}

// Without an orientation from the face the TOF runs on below lux 35 (until
// its deadline) and stops after the frame at 35.
TEST_F(CameraSwitchTest, FacelessFramesKeepTheTofBelowLux35) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "0,34"), "");
    ASSERT_TRUE(Drain());
    Light(34.0f);
    Run("set-env", "dark");  // lets the turn wake the TOF
    Rotate(0);
    Rotate(1);
    ASSERT_EQ(PipelineActive(), 1);
    Run("set-env", "normal");
    PostFrame(1, Nobody());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 1);
    Run("set-env", "bright");  // 35
    PostFrame(2, Nobody());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);
    EXPECT_EQ(LinesWith("type: 0 TOF disconnect").size(), 1u);
}

// The outcomes of a detection beyond "looking" (0), "nobody" (1) and "looking
// away" (5), through the gaze result and the orientation the frame is read
// with.
TEST_F(CameraSwitchTest, DetectionStatusTable) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    ASSERT_TRUE(Drain());
    ASSERT_EQ(PipelineActive(), 1);
    struct Row {
        int32_t status;
        int32_t hasFace;
        int32_t eyeGaze;
        int32_t orientation;
    };
    const Row rows[] = {
        {0, 1, 1, 2}, {1, 0, 0, -2}, {2, 0, 0, -2}, {3, 0, 0, 2},   {4, 0, 0, 2},
        {5, 1, 0, 2}, {6, 0, 0, 2},  {99, 0, 0, 2}, {-1, 0, 0, -2},  // 0xFFFFFFFF
    };
    uint64_t frame = 0;
    for (const Row &row : rows) {
        SCOPED_TRACE(row.status);
        SetStatus(true, row.status);
        ++frame;
        PostFrame(frame, Face(2, 1));
        ASSERT_TRUE(
            WaitResult(kGaze, {row.hasFace, row.eyeGaze, 1, static_cast<int32_t>(frame), 0}));
        EXPECT_TRUE(WaitForLog("frame num: " + std::to_string(frame) +
                               ", face num: 1, status: " + std::to_string(row.status) +
                               ", orientation: " + std::to_string(row.orientation) +
                               ", eyeGaze: " + std::to_string(row.eyeGaze)));
    }
    SetStatus(false, 0);
}

// A TOF start that the service refuses leaves the timer standing: two
// seconds later it takes the functions off the TOF and then stops, also
// when the camera had been on and off before.
TEST_F(CameraSwitchTest, RefusedTofStartIsCleanedUpByTheFrameTimer) {
    StartHal();
    // On and off once, so that the pipeline state reads "off".
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    ASSERT_TRUE(Drain());
    ASSERT_EQ(PipelineActive(), 1);
    EXPECT_EQ(Run("camera-off", "1,0"), "");
    ASSERT_TRUE(Drain());
    ASSERT_EQ(PipelineActive(), 0);

    FailRegister(-7);
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);
    EXPECT_TRUE(WaitForLog("mVyrAoClient pipelineId: 4, en: 1, ret: -7"));
    ASSERT_TRUE(WaitForLog("get front tof camera frame timeout", 5000));
    ASSERT_TRUE(WaitForLog("type: 1 TOF disconnect"));
    ASSERT_TRUE(Drain());
    PostFrame(1, Face(0, 1));
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(WaitForLog("tof disconnected, drop this frame"));
    // The timer went with the TOF: no second timeout.
    std::this_thread::sleep_for(std::chrono::milliseconds(4500));
    EXPECT_EQ(LinesWith("get front tof camera frame timeout").size(), 1u);

    // The next start works again.
    FailRegister(0);
    EXPECT_EQ(Run("camera-off", "1,0"), "");
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 1);
    PostFrame(2, Face(0, 1));
    ASSERT_TRUE(WaitResult(kGaze, {1, 1, 1, 2, 0}));
}

}  // namespace

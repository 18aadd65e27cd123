// The camera roads end to end: a command switches a function on, the
// simulated always-on service and TOF frames (handed to the Camera queue as
// the queue reader hands them on) drive the face pipeline, and the result
// messages come out of the notify callback.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "camera/CameraFixture.h"

using vyrtest::CameraFixture;

namespace {

constexpr int32_t kDirection = CAMERA_FACE_DIRECTION;
constexpr int32_t kGaze = CAMERA_EYE_GAZE;
constexpr int32_t kFaceId = CAMERA_FACE_ID;

class CameraRoadTest : public CameraFixture {};

// The acceptance road: in the dark a turn of the phone wakes the TOF camera,
// a frame shows the face, and the fused orientation goes to the client.
TEST_F(CameraRoadTest, DarkTurnWakesTofAndFrameGivesFaceDirection) {
    StartHal();
    EXPECT_EQ(Run("set-env", "dark"),
              "usage: set-env mode(normal/bright/dark/check),frames(max=20)\r\n"
              "set finish: mode=dark frames=20");
    EXPECT_EQ(Run("camera-on", "0,10"), "");
    ASSERT_TRUE(Drain());

    // First rotation: nothing to compare with, the motion sensor is reported.
    ASSERT_EQ(AoRotation(0), 0);
    ASSERT_TRUE(WaitResult(kDirection, {0, 0, 0, 0, 0}));
    EXPECT_EQ(PipelineStarts(), 0);

    // A turn: the TOF starts at 30 frames/s; the fusion holds its report.
    ASSERT_EQ(AoRotation(1), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 1);
    EXPECT_EQ(AoSym<VyrAoSimPipelineParam_t>("VyrAoSimPipelineParam")(4), 30);
    EXPECT_EQ(Results(kDirection).size(), 1u);

    // The face reads upside down: the camera wins over the motion sensor,
    // and with an answer in hand the direction lets go of the camera.
    PostFrame(1, Face(2, 1));
    ASSERT_TRUE(WaitResult(kDirection, {1, 2, 0, 0, 0}));
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);
    EXPECT_TRUE(WaitForLog("type: 0 TOF disconnect"));
    EXPECT_TRUE(WaitForLog("init the camera to get the first frame consume"));

    // A frame after the stop is dropped.
    PostFrame(2, Face(3, 1));
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(WaitForLog("tof disconnected, drop this frame"));
    EXPECT_EQ(Results(kDirection).size(), 2u);
}

TEST_F(CameraRoadTest, DarkModeFrameLimitEndsDirectionAfterItsFrames) {
    StartHal();
    Run("set-env", "dark,3");
    EXPECT_EQ(Run("camera-on", "0,10"), "");
    ASSERT_TRUE(Drain());
    ASSERT_EQ(AoRotation(0), 0);
    ASSERT_EQ(AoRotation(1), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    ASSERT_EQ(PipelineActive(), 1);
    // No face: in dim light the camera would run to its deadline, but the
    // dark mode's limit of three frames ends it at the fourth.
    for (uint64_t i = 1; i <= 3; ++i) {
        PostFrame(i, Nobody());
    }
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 1);
    PostFrame(4, Nobody());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);
    EXPECT_TRUE(WaitForLog("env_mode=dark framCnt: 4 > 3"));
}

TEST_F(CameraRoadTest, DirectionLetsGoWhileGazeKeepsTheCamera) {
    StartHal();
    Run("set-env", "dark");
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    EXPECT_EQ(Run("camera-on", "0,10"), "");
    ASSERT_TRUE(Drain());
    ASSERT_EQ(AoRotation(0), 0);
    ASSERT_EQ(AoRotation(1), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    // One detection serves both functions.
    PostFrame(1, Face(1, 1));
    ASSERT_TRUE(WaitResult(kDirection, {1, 1, 0, 0, 0}));
    ASSERT_TRUE(WaitResult(kGaze, {1, 1, 1, 1, 0}));
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(WaitForLog("sense hex: 0x3, options.attention: 1"));
    EXPECT_TRUE(WaitForLog("type: 0 TOF disconnect"));
    EXPECT_EQ(PipelineActive(), 1);
    PostFrame(2, Face(1, 0));
    ASSERT_TRUE(WaitResult(kGaze, {1, 0, 1, 2, 0}));
    EXPECT_EQ(PipelineStarts(), 1);
    EXPECT_TRUE(WaitForLog("sense hex: 0x2, options.attention: 1"));
}

TEST_F(CameraRoadTest, GoodLightUsesAlwaysOnAnswerAndNeverWakesTof) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "0,300"), "");
    ASSERT_TRUE(Drain());
    SetLight(300.0f);
    // Until the first light sample the room reads dark; then the always-on
    // answer is believed.
    ASSERT_TRUE(WaitUntil([&] {
        EXPECT_EQ(AoFaceDirection(1), 0);
        EXPECT_TRUE(AoSync());
        EXPECT_TRUE(Drain());
        return !Results(kDirection).empty();
    }));
    EXPECT_EQ(Results(kDirection)[0], (std::vector<int32_t>{-1, 1, 0, 0, 0}));
    // Turns of the phone in good light leave the TOF asleep.
    ASSERT_EQ(AoRotation(0), 0);
    ASSERT_EQ(AoRotation(1), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineStarts(), 0);
    EXPECT_TRUE(WaitForLog("runTofFlag: 0"));
}

TEST_F(CameraRoadTest, DarkRoomDropsAlwaysOnAnswerAndWakesTofOnTurn) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "0,5"), "");
    ASSERT_TRUE(Drain());
    SetLight(5.0f);
    // Once the light has reached the frame, an always-on answer in the dark
    // is not believed.
    ASSERT_TRUE(WaitUntil([&] {
        EXPECT_EQ(AoFaceDirection(2), 0);
        EXPECT_TRUE(AoSync());
        EXPECT_TRUE(Drain());
        return !LinesWith("recv aon rotation\t:   2, lux:   5").empty();
    }));
    const size_t reported = Results(kDirection).size();
    ASSERT_EQ(AoFaceDirection(1), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(WaitForLog("set AO from 1 to -2, skip report"));
    EXPECT_EQ(Results(kDirection).size(), reported);

    // -1 to 1 is no turn (the old value is none); 1 to 0 is.
    ASSERT_EQ(AoRotation(-1), 0);
    ASSERT_EQ(AoRotation(1), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineStarts(), 0);
    ASSERT_EQ(AoRotation(0), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineStarts(), 1);
    EXPECT_EQ(PipelineActive(), 1);

    // Dim light and no orientation from the face: the camera runs on until
    // the deadline (two seconds), and the first frame after it ends the run.
    PostFrame(1, Nobody());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
    PostFrame(2, Nobody());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);
}

TEST_F(CameraRoadTest, GazeFramesGiveResultsAndExposure) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 1);
    EXPECT_EQ(AoSym<VyrAoSimPipelineParam_t>("VyrAoSimPipelineParam")(4), 5);

    PostFrame(7, Face(0, 1));
    PostFrame(8, Face(0, 0));
    PostFrame(9, Nobody());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(Results(kGaze, "test"), (std::vector<std::vector<int32_t>>{
                                          {1, 1, 1, 7, 0}, {1, 0, 1, 8, 0}, {0, 0, 1, 9, 0}}));
    EXPECT_TRUE(Results(3, "aoservice-client").empty());

    // The library asks for another exposure: one direct message.
    PostFrame(10, Face(0, 1, 0, 240), 100);
    ASSERT_TRUE(WaitResult(3, {240}, "aoservice-client"));
    ASSERT_TRUE(Drain());
    EXPECT_EQ(Results(3, "aoservice-client").size(), 1u);
    EXPECT_TRUE(WaitForLog("set irExpose from: 100 to 240"));

    // The last client goes: gaze stops and the TOF with it.
    EXPECT_EQ(Run("camera-off", "1,0"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);
}

TEST_F(CameraRoadTest, FrameTimerStopsTofWithoutFrames) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 1);
    // Frames keep it running past one period.
    for (int i = 0; i < 6; ++i) {
        PostFrame(static_cast<uint64_t>(i), Face(0, 1));
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
    }
    EXPECT_EQ(PipelineActive(), 1);
    EXPECT_EQ(LinesWith("get front tof camera frame timeout").size(), 0u);
    // Then none: at most two periods later all functions have left.
    ASSERT_TRUE(WaitForLog("get front tof camera frame timeout", 5000));
    ASSERT_TRUE(WaitUntil([&] { return PipelineActive() == 0; }, 3000));
    EXPECT_TRUE(WaitForLog("type: 1 TOF disconnect"));
}

TEST_F(CameraRoadTest, BadEventsAreLoggedAndTheThreadGoesOn) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    EXPECT_EQ(Run("camera-on", "1"), "usage: camera-on cameraType,lux");
    EXPECT_EQ(Run("camera-off", "1"), "usage: camera-off cameraType");
    ASSERT_TRUE(Drain());

    PostFrameEvent(std::vector<uint8_t>(10, 0));                     // short
    std::vector<uint8_t> small = MakeTofFrameMessage(3, 100, 1000);  // wrong size
    PostFrameEvent(small);
    Cam().PostEvent(EVENT_CAMERA_SETTING, std::vector<uint8_t>(139, 0));
    Cam().PostEvent(4, {});
    Cam().PostEvent(99, {1, 2, 3});
    Cam().PostEvent(EVENT_MOTION, {});
    Cam().PostEvent(EVENT_AON_FD, {1});
    Cam().PostEvent(EVENT_TOF_FACE_ID, {1});
    Cam().PostEvent(EVENT_PIPELINE_ON, {4, 0, 0});
    Cam().PostEvent(EVENT_NOVEN_CMD, {1});
    // A frame that claims more pixels than it carries.
    std::vector<uint8_t> liar = Frame(4, 100, Face(0, 1));
    liar.resize(TofFrameHeader::kHeaderSize + 100);
    PostFrameEvent(liar);
    ASSERT_TRUE(Drain());
    EXPECT_FALSE(LinesWith("frame size error: 10").empty());
    EXPECT_FALSE(LinesWith("input size 307200 != 1000 failed").empty());
    EXPECT_FALSE(LinesWith("format error !").empty());

    // The wrong-sized frame still counts, with the zeroed result.
    const auto gaze = Results(kGaze);
    ASSERT_EQ(gaze.size(), 2u);
    EXPECT_EQ(gaze[0], (std::vector<int32_t>{1, 1, 1, 3, 0}));

    PostFrame(5, Face(0, 0));
    ASSERT_TRUE(WaitResult(kGaze, {1, 0, 1, 5, 0}));
}

TEST_F(CameraRoadTest, TypesOutsideTheProductAreRefused) {
    StartHal(vyrsim::ProductXmlFor(
        "<camera><item>CAMERA_FACE_DIRECTION</item><item>CAMERA_TOF_IMAGE</item></camera>"));
    EXPECT_EQ(Cam().GetConfigMask(), 0x9u);
    EXPECT_FALSE(Cam().GetSupportTof());
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    EXPECT_TRUE(WaitForLog("camera type: 1 not config in xml"));
    // A phone without TOF registers the client and starts nothing.
    EXPECT_EQ(Run("camera-on", "3,100"), "");
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(WaitForLog("tof camera not support"));
    EXPECT_EQ(PipelineStarts(), 0);
}

TEST_F(CameraRoadTest, MissingServiceCostsTheFirstEventOnly) {
    StartHal();
    ASSERT_EQ(unlink(Real("/vendor/lib64/libVyrAoClient.so").c_str()), 0);
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(WaitForLog("VyrAoClient init failed"));
    EXPECT_EQ(LinesWith("VyrAoClient init failed").size(), 1u);
    // The setting was that first event: asked again it goes through, the
    // pipeline cannot start, and frames are served all the same.
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(LinesWith("VyrAoClient init failed").size(), 1u);
    EXPECT_TRUE(WaitForLog("VyrAoInit failed"));
    PostFrame(1, Face(0, 1));
    ASSERT_TRUE(WaitResult(kGaze, {1, 1, 1, 1, 0}));
}

TEST_F(CameraRoadTest, AlwaysOnFaceIdAnswersAtOnceInGoodLight) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "2,200"), "");
    ASSERT_TRUE(Drain());
    SetLight(200.0f);
    // A known user goes straight to the client: num, userId, 0, Q, R.
    ASSERT_EQ(AoFaceId({1, 0, 1, 0, 60, 70, 80}), 0);
    ASSERT_TRUE(WaitResult(kFaceId, {1, 0, 0, 80, 70}));
    // An enrolment report is not a result.
    ASSERT_EQ(AoFaceId({1, 0, 3, 0, 0, 0, 0}), 0);
    // Nobody, in good light: "nobody" at once, no TOF.
    ASSERT_EQ(AoFaceId({0, 0, 1, -1, 60, 0, 0}), 0);
    ASSERT_TRUE(WaitResult(kFaceId, {0, -1, 0, 0, 0}));
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineStarts(), 0);
    EXPECT_EQ(Results(kFaceId).size(), 2u);
    EXPECT_TRUE(WaitForLog("faceid enroll result, face num:1, enroll mask:3"));

    // An update asks again about the stored answer: the last "nobody".
    std::vector<uint8_t> update(28, 0);
    update[0] = 'c';
    Cam().PostEvent(EVENT_TOF_FACE_ID, update);
    ASSERT_TRUE(Drain());
    EXPECT_EQ(Results(kFaceId).size(), 3u);
    EXPECT_EQ(Results(kFaceId).back(), (std::vector<int32_t>{0, -1, 0, 0, 0}));
}

TEST_F(CameraRoadTest, WithoutTofTheDarkAnswersTheOwner) {
    StartHal(vyrsim::ProductXmlFor("<camera><item>CAMERA_FACE_ID</item></camera>"));
    Run("set-env", "dark");
    EXPECT_EQ(Run("camera-on", "2,5"), "");
    ASSERT_TRUE(Drain());
    // Before any answer an update gives the preset "nobody".
    std::vector<uint8_t> update(28, 0);
    update[0] = 'c';
    Cam().PostEvent(EVENT_TOF_FACE_ID, update);
    ASSERT_TRUE(WaitResult(kFaceId, {0, -1, 0, 0, 0}));
    ASSERT_EQ(AoFaceId({0, 0, 1, -1, 60, 11, 22}), 0);
    ASSERT_TRUE(WaitResult(kFaceId, {1, 0, 0, 22, 11}));
    EXPECT_TRUE(
        WaitForLog("Devices without TOF in dark light environment reset aoFaceIdRes -1 to 0"));
}

TEST_F(CameraRoadTest, DarkUnknownFaceIsIdentifiedByTof) {
    StartHal();
    Run("set-env", "dark");
    EXPECT_EQ(Run("camera-on", "2,10"), "");
    ASSERT_TRUE(Drain());
    // A TOF template of user 2: the face with tag 7.
    std::vector<uint8_t> image(TofFrameHeader::kImageBytes);
    const face3d_sim_scene_t owner = Face(0, 1, 7);
    Face3dSimDraw(image.data(), static_cast<uint32_t>(image.size()), &owner);
    Cam().FaceIdTemplateSet(2, image.data(), TofFrameHeader::kWidth, TofFrameHeader::kHeight);

    ASSERT_EQ(AoFaceId({1, 0, 1, -1, 60, 0, 0}), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 1);
    EXPECT_EQ(AoSym<VyrAoSimPipelineParam_t>("VyrAoSimPipelineParam")(4), 10);
    EXPECT_TRUE(Results(kFaceId).empty());

    PostFrame(1, Face(0, 1, 7));
    ASSERT_TRUE(WaitResult(kFaceId, {1, 2, 1, 0, 0}));
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);
    EXPECT_TRUE(WaitForLog("face user id: 2 finish enroll"));
    EXPECT_EQ(LinesWith("face user id: 2 image to feature").size(), 1u);
    EXPECT_EQ(LinesWith("face user id: 3 no template").size(), 1u);
}

TEST_F(CameraRoadTest, StrangerEndsIdentityAfterFiveFramesWithNoMatch) {
    StartHal();
    Run("set-env", "dark");
    EXPECT_EQ(Run("camera-on", "2,10"), "");
    ASSERT_TRUE(Drain());
    std::vector<uint8_t> image(TofFrameHeader::kImageBytes);
    const face3d_sim_scene_t owner = Face(0, 1, 7);
    Face3dSimDraw(image.data(), static_cast<uint32_t>(image.size()), &owner);
    Cam().FaceIdTemplateSet(3, image.data(), TofFrameHeader::kWidth, TofFrameHeader::kHeight);
    ASSERT_EQ(AoFaceId({1, 0, 1, -1, 60, 0, 0}), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    for (uint64_t i = 1; i <= 4; ++i) {
        PostFrame(i, Face(0, 1, 9));
    }
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(Results(kFaceId).empty());
    PostFrame(5, Face(0, 1, 9));
    ASSERT_TRUE(WaitResult(kFaceId, {1, -1, 1, 0, 0}));
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);
}

TEST_F(CameraRoadTest, PreSosFreesTheFaceLibrary) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    PostFrame(1, Face(0, 1));
    ASSERT_TRUE(WaitResult(kGaze, {1, 1, 1, 1, 0}));
    void *face = Standin("libface3d_sdk.so");
    ASSERT_NE(face, nullptr);
    auto destroys = reinterpret_cast<Face3dSimDestroyCount_t>(dlsym(face, "Face3dSimDestroyCount"));
    ASSERT_NE(destroys, nullptr);
    const int32_t before = destroys();
    Cam().PreSos();
    EXPECT_EQ(destroys(), before + 1);
}

TEST_F(CameraRoadTest, SetEnvReplies) {
    StartHal();
    const std::string usage = "usage: set-env mode(normal/bright/dark/check),frames(max=20)\r\n";
    EXPECT_EQ(Run("set-env", ""), usage);
    EXPECT_EQ(Run("set-env", "dark,3"), usage + "set finish: mode=dark frames=3");
    EXPECT_EQ(Run("set-env", "bright,30"), usage + "set finish: mode=bright frames=20");
    EXPECT_EQ(Run("set-env", "check"), usage + "current senting: mode=bright frames=20");
    EXPECT_EQ(Run("set-env", "dim"), usage);
    EXPECT_EQ(Run("set-env", "a,b,c"), usage);
}

}  // namespace

// The always-on identity answer is handled on the service's thread: a Camera
// thread held up by a slow face detection does not hold up the result.
TEST_F(CameraRoadTest, IdentityAnswerDoesNotWaitForABusyCameraThread) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    EXPECT_EQ(Run("camera-on", "2,200"), "");
    ASSERT_TRUE(Drain());
    void *face = Standin("libface3d_sdk.so");
    ASSERT_NE(face, nullptr);
    auto delay =
        reinterpret_cast<Face3dSimSetDetectDelayMs_t>(dlsym(face, "Face3dSimSetDetectDelayMs"));
    ASSERT_NE(delay, nullptr);
    delay(4000);
    PostFrame(1, Face(0, 1));
    ASSERT_TRUE(WaitForLog("image frame: 1,"));
    // The Camera thread now sits in the detection, with the module mutex.
    ASSERT_EQ(AoFaceId({1, 0, 1, 2, 60, 70, 80}), 0);
    ASSERT_TRUE(WaitResult(kFaceId, {1, 2, 0, 80, 70}, "test", 2000));
    EXPECT_TRUE(Results(kGaze).empty());
    delay(0);
    ASSERT_TRUE(WaitResult(kGaze, {1, 1, 1, 1, 0}, "test", 8000));
    // The camera goes idle before the process ends.
    EXPECT_EQ(Run("camera-off", "1,0"), "");
    ASSERT_TRUE(Drain(8000));
}

// A service that answers from inside the registration and the removal of the
// identity client (while the Camera thread waits in the call, holding the
// module mutex): the answer is taken at once and both calls return.
TEST_F(CameraRoadTest, IdentityAnswerFromInsideTheServiceCallsDoesNotDeadlock) {
    StartHal();
    // The first event loads the service; the function is switched on after.
    EXPECT_EQ(Run("camera-on", "0,200"), "");
    ASSERT_TRUE(Drain());
    auto arm = AoSym<VyrAoSimFaceIdInCall_t>("VyrAoSimFaceIdInCall");
    auto result = AoSym<VyrAoSimFaceIdInCallResult_t>("VyrAoSimFaceIdInCallResult");
    ASSERT_NE(arm, nullptr);
    ASSERT_NE(result, nullptr);
    const int32_t known[] = {1, 0, 1, 3, 60, 70, 80};
    arm(known, 7, 5000);
    EXPECT_EQ(Run("camera-on", "2,200"), "");
    ASSERT_TRUE(Drain(8000));
    EXPECT_EQ(result(), 1);
    // It came before the client was on the list: kept, and given by an
    // update.
    EXPECT_TRUE(WaitForLog("type 2 not found any clients callback"));
    EXPECT_EQ(Run("faceid-update", ""), "");
    ASSERT_TRUE(WaitResult(kFaceId, {1, 3, 0, 80, 70}));

    // A second client hears the answers too; then both leave, and the
    // removal of the last one meets an answer from inside the call.
    EXPECT_EQ(Run("camera-on", "2,200", "other"), "");
    ASSERT_TRUE(Drain());
    ASSERT_EQ(AoFaceId({1, 0, 1, 4, 60, 10, 20}), 0);
    ASSERT_TRUE(WaitResult(kFaceId, {1, 4, 0, 20, 10}, "other"));
    ASSERT_TRUE(WaitResult(kFaceId, {1, 4, 0, 20, 10}, "test"));
    EXPECT_EQ(Run("camera-off", "2,0", "other"), "");
    arm(known, 7, 5000);
    EXPECT_EQ(Run("camera-off", "2,0"), "");
    ASSERT_TRUE(Drain(8000));
    EXPECT_EQ(result(), 1);
    EXPECT_TRUE(WaitForLog("mVyrAoClient type: 8, en: 0, ret: 0"));
}

// The preset answer ("nobody") is there from the switch-on, also when the
// always-on service is missing: "faceid-update" reports it.
TEST_F(CameraRoadTest, FaceIdUpdateGivesThePresetWithoutTheService) {
    StartHal();
    ASSERT_EQ(unlink(Real("/vendor/lib64/libVyrAoClient.so").c_str()), 0);
    // The first event is lost to the missing service.
    EXPECT_EQ(Run("camera-on", "2,200"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(Run("camera-on", "2,200"), "");
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(WaitForLog("mVyrAoClient type: 8, en: 1, ret: -1"));
    EXPECT_EQ(Run("faceid-update", ""), "");
    ASSERT_TRUE(WaitResult(kFaceId, {0, -1, 0, 0, 0}));
    EXPECT_TRUE(LinesWith("faceIdRes num:").empty());
}

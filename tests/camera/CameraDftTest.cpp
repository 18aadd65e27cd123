// The big-data records of the face functions as the camera roads feed them:
// a camera run opens, the face library's statistics and each answer are
// added when it stops, and the run's end becomes a line of the record's file.
#include <gtest/gtest.h>

#include <string>

#include "camera/CameraFixture.h"
#include "log/FaceDft.h"

using vyrtest::CameraFixture;

namespace {

constexpr int32_t kDirection = CAMERA_FACE_DIRECTION;
constexpr int32_t kGaze = CAMERA_EYE_GAZE;
constexpr int32_t kFaceId = CAMERA_FACE_ID;

class CameraDftTest : public CameraFixture {
protected:
    // The record's file: the key content, the separator, then one line per
    // finished camera run.
    std::vector<std::string> RecordLines(const std::string &file) {
        return vyrtest::ReadLines(Real("/data/vendor/log/" + file));
    }
};

// In the dark a turn wakes the TOF: the record counts the open and the light
// of both turns; at the stop it takes the detection count, compares the face's
// orientation with the always-on answer, and stores the run.
TEST_F(CameraDftTest, DirectionRunIsCountedAndStored) {
    StartHal();
    const FaceDft *dft = Cam().GetFaceDft(kDirection);
    ASSERT_NE(dft, nullptr);
    EXPECT_TRUE(dft->IsActive());
    Run("set-env", "dark");
    EXPECT_EQ(Run("camera-on", "0,10"), "");
    ASSERT_TRUE(Drain());
    ASSERT_EQ(AoRotation(0), 0);
    // The always-on answer is not believed in the dark, but it is what the
    // TOF reading is compared with.
    ASSERT_EQ(AoFaceDirection(2), 0);
    ASSERT_EQ(AoRotation(1), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    ASSERT_EQ(PipelineActive(), 1);
    EXPECT_EQ(dft->GetCounter("TOF_OPEN_CNT"), 1);
    EXPECT_EQ(dft->GetCounter("TOF_LUX_5_10_CNT"), 2);  // dark mode reads 15 lux
    EXPECT_EQ(dft->GetText("TOF_ALGO_RET"), "");

    PostFrame(1, Face(2, 1));
    ASSERT_TRUE(WaitResult(kDirection, {1, 2, 0, 0, 0}));
    ASSERT_TRUE(Drain());
    ASSERT_EQ(PipelineActive(), 0);
    EXPECT_EQ(dft->GetCounter("TOF_DETECT_CNT"), 1);
    EXPECT_EQ(dft->GetText("TOF_ALGO_RET"), "2,");
    EXPECT_EQ(dft->GetCounter("AO_TOF_SAME_CNT"), 1);
    EXPECT_EQ(dft->GetCounter("AO_TOF_DIFF_CNT"), 0);
    const std::string runTime = dft->GetText("TOF_FULL_TIME");
    ASSERT_FALSE(runTime.empty());
    EXPECT_EQ(runTime.back(), ',');

    const std::vector<std::string> lines = RecordLines("fdlog/fd_bigdata.tmp");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "CAMERA_FACE_DIRECTION=On");
    EXPECT_EQ(lines[1], "==========");
    EXPECT_NE(lines[2].find(',' + runTime.substr(0, runTime.size() - 1)), std::string::npos)
        << lines[2];
    // The other records saw nothing.
    ASSERT_NE(Cam().GetFaceDft(kGaze), nullptr);
    EXPECT_EQ(Cam().GetFaceDft(kGaze)->GetCounter("TOF_OPEN_CNT"), 0);
}

// Gaze holds the camera from its switch-on to its switch-off: each frame's
// answer is added, and the switch-off takes the statistics and ends the run.
TEST_F(CameraDftTest, GazeOnOffFeedsTheGazeRecord) {
    StartHal();
    const FaceDft *dft = Cam().GetFaceDft(kGaze);
    ASSERT_NE(dft, nullptr);
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(dft->GetCounter("TOF_OPEN_CNT"), 1);
    EXPECT_EQ(dft->GetCounter("TOF_LUX_MORE_15_CNT"), 1);

    PostFrame(1, Face(0, 1));
    PostFrame(2, Face(0, 0));
    PostFrame(3, Nobody());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(dft->GetText("TOF_ALGO_RET"), "1,0,0,");
    EXPECT_EQ(dft->GetCounter("AO_TOF_DIFF_CNT"), 3);
    EXPECT_EQ(dft->GetCounter("TOF_DETECT_CNT"), 0);
    EXPECT_EQ(RecordLines("facegazelog/facegaze_bigdata.tmp").size(), 0u);

    EXPECT_EQ(Run("camera-off", "1,0"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineActive(), 0);
    EXPECT_EQ(dft->GetCounter("TOF_DETECT_CNT"), 3);
    EXPECT_FALSE(dft->GetText("TOF_FULL_TIME").empty());
    const std::vector<std::string> lines = RecordLines("facegazelog/facegaze_bigdata.tmp");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "CAMERA_EYE_GAZE=On");
    // Switching off what is off is no run.
    EXPECT_EQ(Run("camera-off", "1,0"), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(RecordLines("facegazelog/facegaze_bigdata.tmp").size(), 3u);
}

// An unknown always-on face in the dark wakes the TOF: the identity record
// counts the light and the open; each identify adds its verdict, and the
// match ends the run with the statistics and a line of the run's length.
TEST_F(CameraDftTest, IdentityRunFeedsTheFaceidRecord) {
    StartHal();
    const FaceDft *dft = Cam().GetFaceDft(kFaceId);
    ASSERT_NE(dft, nullptr);
    EXPECT_TRUE(dft->IsActive());
    Run("set-env", "dark");
    EXPECT_EQ(Run("camera-on", "2,10"), "");
    ASSERT_TRUE(Drain());
    std::vector<uint8_t> image(TofFrameHeader::kImageBytes);
    const face3d_sim_scene_t owner = Face(0, 1, 7);
    Face3dSimDraw(image.data(), static_cast<uint32_t>(image.size()), &owner);
    Cam().FaceIdTemplateSet(2, image.data(), TofFrameHeader::kWidth, TofFrameHeader::kHeight);

    ASSERT_EQ(AoFaceId({1, 0, 1, -1, 60, 0, 0}), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    ASSERT_EQ(PipelineActive(), 1);
    EXPECT_EQ(dft->GetCounter("TOF_OPEN_CNT"), 1);
    EXPECT_EQ(dft->GetCounter("LUX_5_10_CNT"), 1);  // dark mode reads 15 lux
    EXPECT_EQ(dft->GetText("TOF_ALGO_RET"), "");

    PostFrame(1, Face(0, 1, 9));  // a stranger: mismatch
    ASSERT_TRUE(Drain());
    EXPECT_EQ(dft->GetText("TOF_ALGO_RET"), "1,");
    EXPECT_EQ(dft->GetCounter("TOF_DETECT_CNT"), 0);
    PostFrame(2, Face(0, 1, 7));  // the owner
    ASSERT_TRUE(WaitResult(kFaceId, {1, 2, 1, 0, 0}));
    ASSERT_TRUE(Drain());
    ASSERT_EQ(PipelineActive(), 0);
    EXPECT_EQ(dft->GetText("TOF_ALGO_RET"), "1,0,");
    EXPECT_GE(dft->GetCounter("TOF_DETECT_CNT"), 2);
    const std::string runTime = dft->GetText("TOF_TIME");
    ASSERT_FALSE(runTime.empty());
    EXPECT_EQ(runTime.back(), ',');
    const std::vector<std::string> lines = RecordLines("faceidlog/faceid_bigdata.tmp");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "CAMERA_FACE_ID=On");
    EXPECT_NE(lines[2].find(',' + runTime.substr(0, runTime.size() - 1)), std::string::npos)
        << lines[2];
    // The other records saw nothing.
    EXPECT_EQ(Cam().GetFaceDft(kDirection)->GetCounter("TOF_OPEN_CNT"), 0);
    EXPECT_EQ(Cam().GetFaceDft(kGaze)->GetCounter("TOF_OPEN_CNT"), 0);
}

// A record exists only for a function of the product; on a phone without TOF
// it exists but counts nothing, and the direction record keeps the light of
// the turns as lines of its own.
TEST_F(CameraDftTest, RecordsFollowTheProduct) {
    StartHal(vyrsim::ProductXmlFor(
        "<camera><item>CAMERA_FACE_DIRECTION</item><item>CAMERA_TOF_IMAGE</item></camera>"));
    EXPECT_EQ(Cam().GetFaceDft(kGaze), nullptr);
    EXPECT_EQ(Cam().GetFaceDft(kFaceId), nullptr);
    EXPECT_EQ(Cam().GetFaceDft(CAMERA_TOF_IMAGE), nullptr);
    const FaceDft *dft = Cam().GetFaceDft(kDirection);
    ASSERT_NE(dft, nullptr);
    EXPECT_FALSE(dft->IsActive());

    Run("set-env", "dark");
    EXPECT_EQ(Run("camera-on", "0,10"), "");
    ASSERT_TRUE(Drain());
    ASSERT_EQ(AoRotation(0), 0);
    ASSERT_EQ(AoRotation(1), 0);
    ASSERT_TRUE(AoSync());
    ASSERT_TRUE(Drain());
    EXPECT_EQ(PipelineStarts(), 0);
    EXPECT_EQ(dft->GetCounter("TOF_OPEN_CNT"), 0);
    EXPECT_EQ(dft->GetCounter("TOF_LUX_5_10_CNT"), 2);
    const std::vector<std::string> lines = RecordLines("fdlog/fd_bigdata.tmp");
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "CAMERA_FACE_DIRECTION=On");
    EXPECT_NE(lines[3].find(",15"), std::string::npos) << lines[3];
}

}  // namespace

// The camera commands through VyrRunCommand: every reply byte for byte,
// the usage texts, and the events the commands leave behind.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "camera/CameraFixture.h"
#include "hal/HalStatus.h"
#include "platform/PropertyTable.h"

using vyrtest::CameraFixture;

namespace {

class CameraCmdTest : public CameraFixture {};

TEST_F(CameraCmdTest, UsageTextsForAWrongFieldCount) {
    StartHal();
    EXPECT_EQ(Run("camera-on", "2"), "usage: camera-on cameraType,lux");
    EXPECT_EQ(Run("camera-on", "2,1,1"), "usage: camera-on cameraType,lux");
    // The usage names one field, yet two are needed.
    EXPECT_EQ(Run("camera-off", "1"), "usage: camera-off cameraType");
    EXPECT_EQ(Run("aoservice-on", "4"), "usage: aoservice-on pipeline,lux");
    EXPECT_EQ(Run("aoservice-off", "4"), "usage: aoservice-off pipeline");
    EXPECT_EQ(Run("noven-cmd", "1,2,3"), "usage: noven-cmd sysType,value");
    EXPECT_EQ(Run("qorv_vyr_image_switch", "maybe"), "usage: qorv_vyr_image_switch on/off");
    EXPECT_TRUE(WaitForLog("qorv_vyr_image_switch get false input: maybe"));
    EXPECT_TRUE(LinesWith("cameraType: 1 lux: 0, disable").empty());

    // Good parameters answer nothing.
    EXPECT_EQ(Run("camera-on", "1,20"), "");
    EXPECT_EQ(Run("camera-off", "1,0"), "");
    EXPECT_EQ(Run("aoservice-on", "4,7"), "");
    EXPECT_EQ(Run("aoservice-off", "4,0"), "");
    EXPECT_EQ(Run("noven-cmd", "2,5"), "");
    EXPECT_EQ(Run("faceid-init", ""), "");
    EXPECT_EQ(Run("faceid-update", ""), "");
    EXPECT_EQ(Run("rotation-emulate", ""), "");
    EXPECT_EQ(Run("faceid-emulate", ""), "");
    ASSERT_TRUE(Drain());
    EXPECT_EQ(LinesWith("cameraType: 1 lux: 20, enable").size(), 1u);
    EXPECT_EQ(LinesWith("cameraType: 1 lux: 0, disable").size(), 1u);
    EXPECT_EQ(LinesWith("pipeline: 4 lux: 7, enable").size(), 1u);
    EXPECT_EQ(LinesWith("pipeline: 4 lux: 0, disable").size(), 1u);
    EXPECT_EQ(LinesWith("emulate rotation: 2").size(), 1u);
    // faceid-init reached the enrolment: the user field is all ones.
    EXPECT_EQ(LinesWith("face enroll user: -1").size(), 1u);
    EXPECT_EQ(LinesWith("no beta version, skip faceId template emulate").size(), 1u);
}

TEST_F(CameraCmdTest, OneByteAnswers) {
    StartHal();
    EXPECT_EQ(Run("faceid-support", ""), std::string(1, '\x01'));
    EXPECT_EQ(Run("tof-support", ""), std::string(1, '\x01'));
    // The map lags one call behind.
    EXPECT_EQ(Run("faceid-map", ""), std::string(1, '\xff'));
    EXPECT_EQ(Run("faceid-map", ""), std::string(1, '\x00'));
    const std::vector<uint8_t> image(320 * 240, 0x42);
    Cam().FaceIdTemplateSet(1, image.data(), 320, 240);
    EXPECT_EQ(Run("faceid-map", ""), std::string(1, '\x00'));
    EXPECT_EQ(Run("faceid-map", ""), std::string(1, '\x02'));
    EXPECT_EQ(Run("faceid-template", "1"), std::string(image.begin(), image.end()));
    EXPECT_EQ(Run("faceid-template", "0"), "");
    EXPECT_EQ(Run("faceid-template", "x"), "");
}

TEST_F(CameraCmdTest, SupportBytesFollowTheProduct) {
    StartHal(vyrsim::ProductXmlFor("<camera><item>CAMERA_FACE_DIRECTION</item></camera>"));
    EXPECT_EQ(Run("faceid-support", ""), std::string(1, '\x00'));
    EXPECT_EQ(Run("tof-support", ""), std::string(1, '\x00'));
    // Without face identity in the product the init is not even queued.
    EXPECT_EQ(Run("faceid-init", ""), "");
    ASSERT_TRUE(Drain());
    EXPECT_TRUE(LinesWith("face enroll user").empty());
}

TEST_F(CameraCmdTest, ImageSwitchSetsTheStatusBit) {
    StartHal();
    EXPECT_EQ(Run("qorv_vyr_image_switch", "on"), "qorv_vyr_image_switch change");
    EXPECT_TRUE(mHal->GetHalStatus().Get(HAL_STATUS_IMAGE));
    uint32_t word = 0;
    PropertyTable props;
    ASSERT_GT(props.GetHalStatus(word), 0);
    EXPECT_NE(word & HAL_STATUS_IMAGE, 0u);
    EXPECT_EQ(Run("qorv_vyr_image_switch", "off"), "qorv_vyr_image_switch change");
    EXPECT_FALSE(mHal->GetHalStatus().Get(HAL_STATUS_IMAGE));
    ASSERT_GT(props.GetHalStatus(word), 0);
    EXPECT_EQ(word & HAL_STATUS_IMAGE, 0u);
    EXPECT_TRUE(WaitForLog("qorv_vyr_image_switch on"));
    EXPECT_TRUE(WaitForLog("qorv_vyr_image_switch off"));
}

TEST_F(CameraCmdTest, FileListJson) {
    StartHal();
    const std::string dir = "/data/vendor/log/vyrlog/TofImage/CAMERA_FACE_ID/";
    MakeDirs(dir);
    EXPECT_EQ(Run("VNT_get_file_list", "2"), R"({"result":"success","fileList":[]})");
    Put(dir + "a.raw", "x");
    EXPECT_EQ(Run("VNT_get_file_list", "2"), R"({"result":"success","fileList":["a.raw"]})");
    // A missing directory lists as empty.
    EXPECT_EQ(Run("VNT_get_file_list", "1"), R"({"result":"success","fileList":[]})");
    // Text that is no number fails as the standard conversion fails.
    std::vector<uint8_t> in{'x'};
    std::vector<uint8_t> out;
    EXPECT_ANY_THROW(mHal->VyrRunCommand("test", "VNT_get_file_list", in, out));
}

TEST_F(CameraCmdTest, RemoveFileJson) {
    StartHal();
    Put("/data/vendor/log/vyrlog/TofImage/x.raw", "x");
    const std::string path = "/data/vendor/log/vyrlog/TofImage/x.raw";
    EXPECT_EQ(Run("VNT_remove_file", path), R"({"result":"success"})");
    EXPECT_FALSE(Exists(Real(path)));
    EXPECT_EQ(Run("VNT_remove_file", path),
              R"({"result":"error","message":"Failed to delete file"})");
    EXPECT_EQ(Run("VNT_remove_file", ""),
              R"({"result":"error","message":"Failed to delete file"})");
}

TEST_F(CameraCmdTest, FileDataJson) {
    StartHal();
    const std::string dir = "/data/vendor/log/vyrlog/TofImage/CAMERA_FACE_ID/";
    Put(dir + "empty.raw", "");
    EXPECT_EQ(Run("VNT_get_file_data", dir + "empty.raw"), R"({"result":"success","fileData":[]})");
    Put(dir + "bytes.raw", std::string("\x00\x07\xff", 3));
    EXPECT_EQ(Run("VNT_get_file_data", dir + "bytes.raw"),
              R"({"result":"success","fileData":[0,7,255]})");
    // An enciphered crop is deciphered by the face library first (the
    // stand-in's cipher is a copy).
    Put(dir + "ENCRYP_1_112_112_IR_x.raw", std::string("\x01\x80", 2));
    EXPECT_EQ(Run("VNT_get_file_data", dir + "ENCRYP_1_112_112_IR_x.raw"),
              R"({"result":"success","fileData":[1,128]})");
    EXPECT_EQ(Run("VNT_get_file_data", dir + "missing.raw"),
              R"({"result":"error","message":"Failed to get file data"})");
}

TEST_F(CameraCmdTest, EncipheredCropWithoutTheLibraryStaysZero) {
    StartHal("", false);
    const std::string path = "/data/vendor/log/vyrlog/TofImage/ENCRYP_crop.raw";
    Put(path, std::string("\x05\x06", 2));
    EXPECT_EQ(Run("VNT_get_file_data", path), R"({"result":"success","fileData":[0,0]})");
}

}  // namespace

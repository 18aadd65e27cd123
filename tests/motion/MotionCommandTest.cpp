// Motion requests through the command table of the loaded library: replies,
// the product configuration, and the algorithm libraries coming and going
// with their clients.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "support/HalFixture.h"

using ::testing::HasSubstr;
using vyrtest::HalFixture;

namespace {

class MotionCommandTest : public HalFixture {
protected:
    // True while the library file of the sandbox is mapped in this process.
    bool Loaded(const std::string &name) const {
        const std::string path = Root() + "/vendor/lib64/lib" + name + ".so";
        void *probe = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (probe == nullptr) {
            return false;
        }
        dlclose(probe);
        return true;
    }

    void RemoveLib(const std::string &name) {
        std::filesystem::remove(Root() + "/vendor/lib64/lib" + name + ".so");
    }

    size_t Count(const std::string &text) const {
        const std::string log = Logcat();
        size_t count = 0;
        for (size_t pos = log.find(text); pos != std::string::npos;
             pos = log.find(text, pos + text.size())) {
            ++count;
        }
        return count;
    }
};

}  // namespace

TEST_F(MotionCommandTest, SwitchRepliesAndUsage) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("flip", "ON"), "enable flip motion");
    EXPECT_EQ(Run("flip", "0"), "disable flip motion");
    EXPECT_EQ(Run("flip", "maybe"), "usage: flip on/off or flip 1/0");
    EXPECT_EQ(Run("pickcall", "x"), "usage: pickCall on/off or pickCall 1/0");
    EXPECT_EQ(Run("pickcall", "1"), "enable pickCall motion");
    EXPECT_EQ(Run("rotationgesture", ""), "usage: rotationgesture on/off or rotationgesture 1/0");
    EXPECT_EQ(Run("rotationgesture", "Off"), "disable rotation gesture motion");
    EXPECT_EQ(Run("wristflip", "on"), "enable wristflip motion");
    EXPECT_EQ(Run("rotation", "off"), "disable rotation motion");
    EXPECT_TRUE(LogcatHas("motion type: MOTION_TYPE_ROTATION already disable"));
}

TEST_F(MotionCommandTest, ConfigBitsFollowTheProductFile) {
    ASSERT_EQ(StartHal(), 0);
    std::vector<uint8_t> out = RunRaw("motion_config", "ignored");
    ASSERT_EQ(out.size(), 8u);
    uint64_t config = 0;
    for (size_t i = 0; i < 8; ++i) {
        config |= static_cast<uint64_t>(out[i]) << (8 * i);
    }
    const uint64_t expected = (1ull << 2) | (1ull << 3) | (1ull << 7) | (1ull << 14) |
                              (1ull << 20) | (1ull << 23) | (1ull << 25);
    EXPECT_EQ(config, expected);
    EXPECT_TRUE(LogcatHas("motion config: MOTION_TYPE_BACK_TAP, index: 25"));
    EXPECT_TRUE(LogcatHas("motion config: 0x290408c; multiple sensor config: 0x2800000"));
    EXPECT_TRUE(LogcatHas("fold type config: FOLD_TYPE_IN, index: 0"));
}

TEST_F(MotionCommandTest, UnclosedNameConfiguresNothingAndTypesOutsideAreDropped) {
    vyrsim::SandboxOptions options;
    // One item only: the configuration text closes it with a hyphen, so the
    // name inside an item ("...FLIP" followed by "X") must not count.
    options.productXml =
        "<r><product><product_name>VYRFOLD</product_name><rule>"
        "<motion><item>MOTION_TYPE_FLIPX</item><item>MOTION_TYPE_ROTATION</item></motion>"
        "<foldtype><item>FOLD_TYPE_OUT</item></foldtype>"
        "</rule></product></r>";
    MakeSandbox(options);
    ASSERT_EQ(StartHal(), 0);
    std::vector<uint8_t> out = RunRaw("motion_config");
    ASSERT_EQ(out.size(), 8u);
    EXPECT_EQ(out[0], 1u << 7);
    EXPECT_EQ(Run("flip", "on"), "enable flip motion");
    EXPECT_TRUE(LogcatHas("motion type: 2 not config in xml"));
    EXPECT_TRUE(LogcatHas("fold type config: FOLD_TYPE_OUT, index: 1"));
    // No posture module and no posture key: type 20 falls through to the bit test.
    EXPECT_EQ(Run("motion-on", "20,3"), "");
    EXPECT_TRUE(LogcatHas("motionType: 20 motionRate: 20, enable"));
    EXPECT_TRUE(LogcatHas("motion type: 20 not config in xml"));
    EXPECT_FALSE(Loaded("motion"));
}

TEST_F(MotionCommandTest, MotionOnOffParameters) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("motion-on", "25"), "usage: motion-on motionType,motionRate");
    EXPECT_EQ(Run("motion-on", "2,1,0"), "usage: motion-on motionType,motionRate");
    EXPECT_EQ(Run("motion-on", "25,4"), "");
    EXPECT_TRUE(LogcatHas("motion: MOTION_TYPE_BACK_TAP not support mode 4"));
    EXPECT_FALSE(Loaded("BackTapFusion"));
    // Configured nowhere, and without sensors.
    EXPECT_EQ(Run("motion-on", "4,1"), "");
    EXPECT_TRUE(LogcatHas("motion type: 4 not config in xml"));
    EXPECT_EQ(Run("motion-off", "abc"), "");
    EXPECT_TRUE(LogcatHas("motionType: 0 disable"));
    EXPECT_EQ(Run("motion-off", "31"), "");
    EXPECT_EQ(Run("motion-on", "31,1"), "");
    EXPECT_FALSE(Loaded("motion"));
    EXPECT_EQ(Run("motion-on", "2,7"), "");
    EXPECT_TRUE(LogcatHas("motionType: 2 motionRate: 7, enable"));
    EXPECT_TRUE(Loaded("motion"));
}

TEST_F(MotionCommandTest, MotionLibraryLivesWhileAnyOfItsTypesHasAClient) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_FALSE(Loaded("motion"));
    Run("flip", "on", "a");
    EXPECT_TRUE(Loaded("motion"));
    Run("rotation", "on", "b");
    Run("flip", "on", "c");
    Run("flip", "off", "a");
    Run("flip", "off", "c");
    EXPECT_TRUE(Loaded("motion"));
    EXPECT_FALSE(LogcatHas("motion algo lib reset"));
    // The wrist flip has a library of its own: it does not keep libmotion.
    Run("wristflip", "on", "d");
    Run("rotation", "off", "b");
    EXPECT_TRUE(LogcatHas("motion algo lib reset"));
    EXPECT_FALSE(Loaded("motion"));
    EXPECT_TRUE(Loaded("FlipWristScanCode"));
    EXPECT_TRUE(LogcatHas("LibWristFlipGesture version 201"));
    Run("wristflip", "off", "d");
    EXPECT_TRUE(LogcatHas("wrist flip algo lib reset"));
    EXPECT_FALSE(Loaded("FlipWristScanCode"));
    // A second start loads it again.
    Run("pickcall", "on", "a");
    EXPECT_TRUE(Loaded("motion"));
}

TEST_F(MotionCommandTest, RotationGestureLibraryAndVersion) {
    ASSERT_EQ(StartHal(), 0);
    Run("rotationgesture", "on");
    EXPECT_TRUE(LogcatHas("LibRotationGesture version 102"));
    EXPECT_TRUE(Loaded("RotationGesture"));
    EXPECT_FALSE(Loaded("motion"));
    Run("rotationgesture", "off");
    EXPECT_TRUE(LogcatHas("rotation gesture algo lib reset"));
    EXPECT_FALSE(Loaded("RotationGesture"));
}

TEST_F(MotionCommandTest, BackTapLibrariesModesAndStatusBit) {
    ASSERT_EQ(StartHal(), 0);
    const std::string before = Property("odm.vyr.hal_status");
    // Mode 0 brings up the touch fusion only.
    EXPECT_EQ(Run("backtap", "on"), "enable backtap motion");
    EXPECT_TRUE(Loaded("BackTapFusion"));
    EXPECT_FALSE(Loaded("BackTapAlg"));
    const uint32_t status = static_cast<uint32_t>(std::stoul(Property("odm.vyr.hal_status")));
    EXPECT_NE(status & 0x200u, 0u);
    // A second client with a mode: the type already runs, so no new start.
    EXPECT_EQ(Run("motion-on", "25,2", "other"), "");
    EXPECT_TRUE(Loaded("BackTapAlg"));
    EXPECT_FALSE(LogcatHas("BACKTAP_TRIPLETAP"));
    EXPECT_EQ(Run("backtap", "off"), "disable backtap motion");
    EXPECT_TRUE(Loaded("BackTapAlg"));
    Run("motion-off", "25", "other");
    EXPECT_TRUE(LogcatHas("tap gesture lib reset"));
    EXPECT_TRUE(LogcatHas("tap fusion lib reset"));
    EXPECT_FALSE(Loaded("BackTapAlg"));
    EXPECT_FALSE(Loaded("BackTapFusion"));
    EXPECT_EQ(Property("odm.vyr.hal_status"), before);
    // A fresh start with a mode names it.
    Run("motion-on", "25,3");
    EXPECT_TRUE(LogcatHas("MOTION_TYPE_BACK_TAP BACKTAP_ALL"));
}

TEST_F(MotionCommandTest, MissingLibraryDropsTheRequest) {
    MakeSandbox(vyrsim::SandboxOptions());
    RemoveLib("motion");
    RemoveLib("BackTapAlg");
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("flip", "on"), "enable flip motion");
    EXPECT_TRUE(LogcatHas("LibVyrMotion init failed"));
    // Nothing was recorded: disabling finds the type idle.
    EXPECT_EQ(Run("flip", "off"), "disable flip motion");
    EXPECT_TRUE(LogcatHas("motion type: MOTION_TYPE_FLIP already disable"));
    // The fusion loads, the detector does not: nothing of the request stays.
    EXPECT_EQ(Run("motion-on", "25,1"), "");
    EXPECT_TRUE(LogcatHas("LibTapGesture init failed"));
    EXPECT_FALSE(Loaded("BackTapFusion"));
    const uint32_t status = static_cast<uint32_t>(std::stoul(Property("odm.vyr.hal_status")));
    EXPECT_EQ(status & 0x200u, 0u);
    // The process goes on serving.
    EXPECT_EQ(Run("wristflip", "on"), "enable wristflip motion");
    EXPECT_TRUE(Loaded("FlipWristScanCode"));
    EXPECT_EQ(RunRaw("motion_config").size(), 8u);
}

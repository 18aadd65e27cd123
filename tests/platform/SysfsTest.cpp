// Kernel nodes, panels, input devices and memory figures through Sysfs, in a
// device sandbox.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "platform/PlatformSandbox.h"
#include "platform/Sysfs.h"

using ::testing::HasSubstr;
using ::testing::Not;
using vyr_platform_test::PlatformSandbox;
using vyr_platform_test::Product;
using vyr_platform_test::ProductFile;

namespace {

constexpr const char *kSensorDir = "/sys/devices/platform/tolvi_sensor";

class SysfsTest : public PlatformSandbox {
protected:
    void SetUp() override {
        PlatformSandbox::SetUp();
        mSysfs = new Sysfs(*mHal);
    }
    // Init with a product that has exactly the given rule.
    void InitWithRule(const std::string &rule) {
        SetSku("P");
        PutProduct("/vendor/etc/", ProductFile(Product("P", "match", rule)));
        ASSERT_TRUE(mSysfs->Init());
    }

    Sysfs *mSysfs = nullptr;
};

TEST_F(SysfsTest, XmlConfigIsClosedByOneHyphen) {
    InitWithRule(
        "<motion><item>MOTION_TYPE_FLIP</item><item>MOTION_TYPE_BACK_TAP</item></motion>"
        "<posture/>");
    EXPECT_EQ(mSysfs->GetXmlConfig("motion"), "MOTION_TYPE_FLIP-MOTION_TYPE_BACK_TAP-");
    EXPECT_TRUE(mSysfs->HasXmlConfig("posture"));
    EXPECT_EQ(mSysfs->GetXmlConfig("posture"), "-");
    EXPECT_FALSE(mSysfs->HasXmlConfig("camera"));
    EXPECT_EQ(mSysfs->GetXmlConfig("camera"), "");
    EXPECT_EQ(mSysfs->GetProduct(), "P");
    EXPECT_THAT(Logcat(), HasSubstr("Project name\t: P\n"));
    // No "palmetry": panels are not counted.
    EXPECT_TRUE(LinesWith("found touch panel number").empty());
}

TEST_F(SysfsTest, InitSucceedsWithoutAnyProductFile) {
    EXPECT_TRUE(mSysfs->Init());
    EXPECT_FALSE(mSysfs->HasXmlConfig("motion"));
    EXPECT_EQ(LinesWith("can't get the match rules.").size(), 1u);
}

TEST_F(SysfsTest, UnnumberedPanelCountsAsZero) {
    Put("/sys/touchscreen/touch_chip_info", "chip");
    Put("/sys/touchscreen0/touch_chip_info", "chip0");
    EXPECT_EQ(mSysfs->GetPanelNum(), 0);
}

TEST_F(SysfsTest, NumberedPanelsAreCountedWithoutNoticingGaps) {
    EXPECT_EQ(mSysfs->GetPanelNum(), 0);
    Put("/sys/touchscreen0/touch_chip_info", "a");
    Put("/sys/touchscreen2/touch_chip_info", "c");
    EXPECT_EQ(mSysfs->GetPanelNum(), 2);
    Put("/sys/touchscreen1/touch_chip_info", "b");
    Put("/sys/touchscreen3/touch_chip_info", "d");
    Put("/sys/touchscreen4/touch_chip_info", "e");
    EXPECT_EQ(mSysfs->GetPanelNum(), 4);
}

TEST_F(SysfsTest, RoiDataOfTheSinglePanel) {
    Put("/sys/touchscreen/touch_chip_info", "chip");
    Put("/sys/touchscreen/roi_data", "  1 2 3\n");
    Put("/sys/touchscreen0/roi_data", "zero");
    InitWithRule("<palmetry/>");
    EXPECT_EQ(LinesWith("found touch panel number: 0").size(), 1u);
    EXPECT_EQ(mSysfs->GetRoiData(), "1 2 3");
}

TEST_F(SysfsTest, RoiDataOfTwoPanelsReadsOneIndexPastTheLast) {
    Put("/sys/touchscreen0/touch_chip_info", "a");
    Put("/sys/touchscreen1/touch_chip_info", "b");
    Put("/sys/touchscreen0/roi_data", "zero");
    Put("/sys/touchscreen1/roi_data", "one");
    InitWithRule("<palmetry/>");
    EXPECT_EQ(LinesWith("found touch panel number: 2").size(), 1u);
    // Indexes 0, 1 and 2 are read; the missing third node empties the result.
    EXPECT_EQ(mSysfs->GetRoiData(), "");
    Put("/sys/touchscreen2/roi_data", "two");
    EXPECT_EQ(mSysfs->GetRoiData(), "two");
}

TEST_F(SysfsTest, RawReadResults) {
    char buf[16];
    memset(buf, 'x', sizeof(buf));
    EXPECT_FALSE(mSysfs->ReadFile("/sys/x/missing", buf, sizeof(buf)));
    EXPECT_FALSE(mSysfs->ReadFile("/sys/x/missing", nullptr, 4));

    Put("/sys/x/empty", "");
    EXPECT_FALSE(mSysfs->ReadFile("/sys/x/empty", buf, sizeof(buf)));
    EXPECT_EQ(LinesWith("read 16 ret = 0").size(), 1u);

    Put("/sys/x/node", "abcdef");
    EXPECT_TRUE(mSysfs->ReadFile("/sys/x/node", buf, 4));
    EXPECT_EQ(std::string(buf, 6), "abcdxx");
}

TEST_F(SysfsTest, RawReadOfNodeThatCannotBeOpenedIsTrueAndLeavesBuffer) {
    // A socket resolves as a path, but open() refuses it even for root.
    MakeDirs("/sys/x");
    std::string path = Real("/sys/x/sock");
    int sock = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(sock, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof(addr.sun_path));
    memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    ASSERT_EQ(bind(sock, reinterpret_cast<sockaddr *>(&addr), sizeof(addr)), 0);
    ASSERT_LT(open(path.c_str(), O_RDONLY), 0);

    char buf[8];
    memset(buf, 'u', sizeof(buf));
    EXPECT_TRUE(mSysfs->ReadFile("/sys/x/sock", buf, sizeof(buf)));
    EXPECT_EQ(std::string(buf, sizeof(buf)), "uuuuuuuu");
    std::string text = "old";
    EXPECT_FALSE(mSysfs->ReadFile("/sys/x/sock", text));
    EXPECT_EQ(text, "");
    close(sock);
}

TEST_F(SysfsTest, TextReadTrimsAndKeepsInnerLines) {
    Put("/sys/x/node", "\n  first\nsecond  \n\n");
    std::string text = "old";
    EXPECT_TRUE(mSysfs->ReadFile("/sys/x/node", text));
    EXPECT_EQ(text, "first\nsecond");
    EXPECT_FALSE(mSysfs->ReadFile("/sys/x/missing", text));
    EXPECT_EQ(text, "");

    std::string longLine(5000, 'q');
    Put("/sys/x/long", longLine);
    EXPECT_TRUE(mSysfs->ReadFile("/sys/x/long", text));
    EXPECT_EQ(text.size(), 5000u + 2u);  // cut into 2047-character pieces
}

TEST_F(SysfsTest, WritesGoOnlyToExistingNodes) {
    Put(std::string(kSensorDir) + "/set_palmetry_enable", "");
    Put(std::string(kSensorDir) + "/palmetry_req_data", "1");
    EXPECT_TRUE(mSysfs->SetPalmetryEnable(true));
    EXPECT_EQ(Get(std::string(kSensorDir) + "/set_palmetry_enable"), "1");
    EXPECT_TRUE(mSysfs->SetPalmetryReqData(false));
    EXPECT_EQ(Get(std::string(kSensorDir) + "/palmetry_req_data"), "0");

    EXPECT_FALSE(mSysfs->Write("/sys/x/new", std::string("1")));
    EXPECT_EQ(access(Real("/sys/x/new").c_str(), F_OK), -1);

    MakeDirs("/sys/x/dir");
    EXPECT_FALSE(mSysfs->Write("/sys/x/dir", std::string("1")));
    EXPECT_EQ(LinesWith("fopen /sys/x/dir error: 21.").size(), 1u);
}

TEST_F(SysfsTest, RawWriteIsFalseEvenWhenItWrote) {
    Put("/sys/x/raw", "....");
    EXPECT_FALSE(mSysfs->Write("/sys/x/raw", "ab", 2));
    EXPECT_EQ(Get("/sys/x/raw"), "ab..");
    EXPECT_FALSE(mSysfs->Write("/sys/x/raw", "ab", 0));
    EXPECT_EQ(LinesWith("write 0 ret = 0").size(), 1u);
}

TEST_F(SysfsTest, NodeHelpersReadTheirNodes) {
    Put(std::string(kSensorDir) + "/palmetry_data_ready", "1\n");
    Put(std::string(kSensorDir) + "/palmetry_latch_data", "LATCH");
    Put(std::string(kSensorDir) + "/palmetry_latch_data2", "LATCH2");
    Put("/sys/touchscreen/touch_chip_info", std::string("chip-1\0junk", 11));
    Put("/sys/class/graphics/fb0/lcd_model", "panel0");
    Put("/sys/class/graphics/fb1/lcd_model", std::string(200, 'm'));

    EXPECT_EQ(mSysfs->GetPalmetryDataReady(), "1");
    char buf[8] = {0};
    EXPECT_TRUE(mSysfs->ReadPalmetryLatchData(buf, 5));
    EXPECT_STREQ(buf, "LATCH");
    EXPECT_TRUE(mSysfs->ReadPalmetryLatchData2(buf, 6));
    EXPECT_STREQ(buf, "LATCH2");
    EXPECT_EQ(mSysfs->GetTouchChipInfo(), "chip-1");
    EXPECT_EQ(mSysfs->GetLcdModel(), "panel0");
    EXPECT_EQ(mSysfs->GetLcdModel1(), std::string(128, 'm'));

    Put("/sys/class/graphics/fb0/lcd_model", "");
    EXPECT_EQ(mSysfs->GetLcdModel(), "");
    unlink(Real("/sys/touchscreen/touch_chip_info").c_str());
    EXPECT_EQ(mSysfs->GetTouchChipInfo(), "");
}

TEST_F(SysfsTest, FingerprintAuxiliaryNode) {
    EXPECT_LT(mSysfs->OpenFpAuxiliary(), 0);
    Put("/sys/devices/platform/fingerprint/fp_auxiliary_data", "0");
    int fd = mSysfs->OpenFpAuxiliary();
    EXPECT_GE(fd, 0);
    close(fd);
}

TEST_F(SysfsTest, FingerprintResultWithoutTheLibraryIsInvalid) {
    uint8_t result[16] = {0};
    EXPECT_EQ(mSysfs->SetFpAuxiliaryResult(result, sizeof(result)), -22);
    EXPECT_EQ(LinesWith("LibVyrFingerprint init failed").size(), 1u);
}

TEST_F(SysfsTest, NoInputDirectoryGivesEmptyMapSilently) {
    EXPECT_TRUE(mSysfs->GetInputDevice({"input_mt_wrapper"}).empty());
    EXPECT_TRUE(LinesWith("couldn't find").empty());
}

// Sandbox input nodes are plain files: the name query fails and every
// device reads as nameless, so only the empty wanted name matches.
TEST_F(SysfsTest, InputDevicesAreMatchedByNamePrefix) {
    Put("/dev/input/event0", "");
    Put("/dev/input/event1", "");
    EXPECT_TRUE(mSysfs->GetInputDevice({"input_mt_wrapper", "tolvi,ts_kit"}).empty());
    EXPECT_EQ(LinesWith("couldn't find thp or tpp or pen input event device").size(), 1u);

    auto devices = mSysfs->GetInputDevice({"tolvi,ts_pen", ""});
    ASSERT_EQ(devices.size(), 1u);
    int fd = devices.begin()->second;
    EXPECT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);  // still open, handed to the caller
    close(fd);
    EXPECT_THAT(Logcat(), HasSubstr(" I vyr_tolvi: get /dev/input/event"));
}

TEST_F(SysfsTest, MemoryFiguresOfThisProcess) {
    std::string rollup = vyrtest::ReadText("/proc/self/smaps_rollup");
    if (rollup.find("Pss:") == std::string::npos) {
        GTEST_SKIP() << "no smaps_rollup";
    }
    uint64_t pss = mSysfs->GetMemoryPss();
    EXPECT_GT(pss, 100u);
    EXPECT_LT(pss, 16u * 1024 * 1024);

    mSysfs->GetMemInfoDetail();
    auto lines = LinesWith(" W vyr_tolvi: ");
    EXPECT_FALSE(lines.empty());
    bool figure = false;
    for (const std::string &line : lines) {
        EXPECT_THAT(line, Not(HasSubstr(" 0 kB")));
        figure = figure || line.find("Pss:") != std::string::npos;
    }
    EXPECT_TRUE(figure);
}

}  // namespace

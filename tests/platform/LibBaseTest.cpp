// OpenLib over the two library directories of a sandbox, symbol resolution,
// default stubs and the log lines of failures.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/LibBase.h"
#include "platform/LibTestSupport.h"
#include "platform/LibVyrMonitor.h"
#include "platform/LibVyrMotion.h"
#include "platform/LibVyrSensor.h"

namespace {

using TwinInt_t = int32_t (*)(int32_t);
using TwinName_t = const char *(*)();

const std::string kFull = std::string(VYR_TEST_LIB_DIR) + "/libvyr_twin_full.so";
const std::string kPartial = std::string(VYR_TEST_LIB_DIR) + "/libvyr_twin_partial.so";

// A wrapper of the test library "libVyrTwin.so"; the partial build lacks
// twin_second.
class TwinLib : public LibBase {
public:
    bool Init() { return OpenLib("VyrTwin", ""); }
    void LoadSymbols() override {
        ++mLoads;
        VYR_LIB_SYMBOL(twin_first);
        VYR_LIB_SYMBOL(twin_second);
        VYR_LIB_SYMBOL(twin_name);
    }
    bool Loaded() const { return mLoaded; }
    int Loads() const { return mLoads; }

    TwinInt_t twin_first = nullptr;
    TwinInt_t twin_second = nullptr;
    TwinName_t twin_name = nullptr;

private:
    int mLoads = 0;
};

class LibBaseTest : public vyr_lib_test::LibSandbox {};

TEST_F(LibBaseTest, OpensFromOdmFirst) {
    Install(kFull, "/odm/lib64/libVyrTwin.so");
    Install(kPartial, "/vendor/lib64/libVyrTwin.so");
    TwinLib lib;
    ASSERT_TRUE(lib.Init());
    EXPECT_TRUE(lib.IsOpened());
    EXPECT_TRUE(lib.Loaded());
    EXPECT_EQ(lib.Loads(), 1);
    EXPECT_STREQ(lib.twin_name(), "full");
    EXPECT_EQ(lib.twin_first(41), 42);
    EXPECT_EQ(lib.twin_second(21), 42);
    EXPECT_EQ(Count("I vyr_tolvi: OpenLib /odm/lib64/libVyrTwin.so successfully"), 1u);
    EXPECT_EQ(Count("E vyr_tolvi:"), 0u);
}

TEST_F(LibBaseTest, MissingInOdmFallsBackToVendorQuietly) {
    Install(kFull, "/vendor/lib64/libVyrTwin.so");
    TwinLib lib;
    ASSERT_TRUE(lib.Init());
    EXPECT_STREQ(lib.twin_name(), "full");
    EXPECT_EQ(Count("OpenLib /vendor/lib64/libVyrTwin.so successfully"), 1u);
    // A path that does not resolve is no dlopen failure.
    EXPECT_EQ(Count("E vyr_tolvi:"), 0u);
}

TEST_F(LibBaseTest, SuffixIsPartOfTheFileName) {
    Install(kFull, "/vendor/lib64/libVyrTwin_v2.so");
    TwinLib lib;
    EXPECT_FALSE(TwinLib().Init());
    EXPECT_TRUE(lib.OpenLib("VyrTwin", "_v2"));
}

// A library that lacks a symbol spoils the wrapper: the complete library of
// the second directory opens and resolves, but cannot make it succeed.
TEST_F(LibBaseTest, MissingSymbolInOdmBlocksGoodVendorLibrary) {
    Install(kPartial, "/odm/lib64/libVyrTwin.so");
    Install(kFull, "/vendor/lib64/libVyrTwin.so");
    TwinLib lib;
    EXPECT_FALSE(lib.Init());
    EXPECT_FALSE(lib.Loaded());
    EXPECT_EQ(lib.Loads(), 3);

    const auto lines = Messages();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "I vyr_tolvi: OpenLib /odm/lib64/libVyrTwin.so successfully");
    EXPECT_EQ(lines[1], "E vyr_tolvi: can not load func twin_second from library(1)");
    EXPECT_EQ(lines[2], "I vyr_tolvi: OpenLib /vendor/lib64/libVyrTwin.so successfully");
    EXPECT_EQ(lines[3], "E vyr_tolvi: OpenLib: VyrTwin error.");

    // The members are those of the last resolve, over the last handle.
    EXPECT_TRUE(lib.IsOpened());
    ASSERT_NE(lib.twin_name, nullptr);
    EXPECT_STREQ(lib.twin_name(), "full");
    EXPECT_NE(lib.twin_second, nullptr);
}

TEST_F(LibBaseTest, BothMissingResolvesOnceMoreAndNamesEverySymbol) {
    TwinLib lib;
    EXPECT_FALSE(lib.Init());
    EXPECT_FALSE(lib.IsOpened());
    EXPECT_EQ(lib.Loads(), 1);
    const auto lines = Messages();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "E vyr_tolvi: OpenLib: VyrTwin error.");
    EXPECT_EQ(lines[1], "E vyr_tolvi: can not load func twin_first from library(0)");
    EXPECT_EQ(lines[2], "E vyr_tolvi: can not load func twin_second from library(0)");
    EXPECT_EQ(lines[3], "E vyr_tolvi: can not load func twin_name from library(0)");
    EXPECT_EQ(lib.twin_first, nullptr);
}

TEST_F(LibBaseTest, BrokenFileLogsDlopenErrorAndTriesNext) {
    Put("/odm/lib64/libVyrTwin.so", "not an ELF file");
    Install(kFull, "/vendor/lib64/libVyrTwin.so");
    TwinLib lib;
    EXPECT_TRUE(lib.Init());
    const auto failed = Messages("OpenLib /odm/lib64/libVyrTwin.so failed: ");
    ASSERT_EQ(failed.size(), 1u);
    EXPECT_EQ(failed[0].rfind("E vyr_tolvi: ", 0), 0u);
    EXPECT_EQ(Count("OpenLib /vendor/lib64/libVyrTwin.so successfully"), 1u);
}

TEST_F(LibBaseTest, DestructorClosesTheLibrary) {
    Install(kFull, "/vendor/lib64/libVyrTwin.so");
    const std::string real = Real("/vendor/lib64/libVyrTwin.so");
    {
        TwinLib lib;
        ASSERT_TRUE(lib.Init());
        void *again = dlopen(real.c_str(), RTLD_NOW | RTLD_NOLOAD);
        ASSERT_NE(again, nullptr);
        dlclose(again);
    }
    EXPECT_EQ(dlopen(real.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
}

// An optional symbol takes its stub silently; the others are still reported.
TEST_F(LibBaseTest, DefaultStubNeverFails) {
    LibVyrMonitor monitor;
    EXPECT_FALSE(monitor.Init());
    ASSERT_NE(monitor.GetVersion, nullptr);
    EXPECT_STREQ(monitor.GetVersion(), "sys_unknown");
    EXPECT_EQ(Count("can not load func GetVersion"), 0u);
    EXPECT_EQ(Count("can not load func "), 10u);
    EXPECT_EQ(Count("OpenLib: brimlog error."), 1u);
}

TEST_F(LibBaseTest, SensorWrapperResolvesInTableOrder) {
    LibVyrSensor sensor;
    EXPECT_FALSE(sensor.Init());
    const auto lines = Messages("can not load func ");
    ASSERT_EQ(lines.size(), 16u);
    EXPECT_NE(lines.front().find("func VyrEnableSensor from"), std::string::npos);
    EXPECT_NE(lines[14].find("func VyrInit from"), std::string::npos);
    EXPECT_NE(lines.back().find("func VyrGetSensorList from"), std::string::npos);
}

TEST(LibBaseText, ToSnakeCase) {
    LibVyrMotion lib;
    EXPECT_EQ(lib.ToSnakeCase("vyr", "GetSensorList"), "vyr_get_sensor_list");
    EXPECT_EQ(lib.ToSnakeCase("", "ABc1_z"), "_a_bc1_z");
    EXPECT_EQ(lib.ToSnakeCase("Pre", ""), "Pre");
}

TEST(LibVyrMotionTest, TransCode) {
    // Pick-call.
    EXPECT_EQ(LibVyrMotion::TransCode(3, 1), 0);
    EXPECT_EQ(LibVyrMotion::TransCode(3, 2), 1);
    EXPECT_EQ(LibVyrMotion::TransCode(3, 0x102), 1);  // low byte only
    EXPECT_EQ(LibVyrMotion::TransCode(3, 3), 99);
    // Flip.
    EXPECT_EQ(LibVyrMotion::TransCode(2, 1), 4);
    EXPECT_EQ(LibVyrMotion::TransCode(2, 2), 3);
    EXPECT_EQ(LibVyrMotion::TransCode(2, 0), 99);
    EXPECT_EQ(LibVyrMotion::TransCode(2, -255), 4);  // 0x...01
    // Others pass through whole.
    EXPECT_EQ(LibVyrMotion::TransCode(7, 0x1234), 0x1234);
    EXPECT_EQ(LibVyrMotion::TransCode(14, -1), -1);
}

}  // namespace

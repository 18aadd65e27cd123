#include <stdlib.h>

#include "device_path.h"
#include "support/TestFiles.h"

using vyrtest::TempDir;
using vyrtest::WriteText;

namespace {

TEST(DevicePathTest, DeviceTreesMoveIntoTheSandbox) {
    TempDir root;
    setenv("VYR_ROOT", (root.Path() + "//").c_str(), 1);
    EXPECT_EQ(DeviceRoot(), root.Path());

    const std::string r = root.Path();
    EXPECT_EQ(MapDevicePath("/odm/etc/tolvi_vyr_product_config.xml"),
              r + "/odm/etc/tolvi_vyr_product_config.xml");
    EXPECT_EQ(MapDevicePath("/vendor/lib64/libx.so"), r + "/vendor/lib64/libx.so");
    EXPECT_EQ(MapDevicePath("/data/vendor/log/vyrlog/"), r + "/data/vendor/log/vyrlog/");
    EXPECT_EQ(MapDevicePath("/sys/touchscreen/touch_chip_info"),
              r + "/sys/touchscreen/touch_chip_info");
    EXPECT_EQ(MapDevicePath("/dev"), r + "/dev");
    EXPECT_EQ(MapDevicePath("/dev/dsm"), r + "/dev/dsm");
    EXPECT_EQ(MapDevicePath("/proc/cmdline"), r + "/proc/cmdline");

    // Not device trees, or already mapped.
    for (const char *same : {"/devices/x", "/datafile", "/odmx", "/proc/self/smaps_rollup",
                             "/proc/123/smaps", "/proc/cmdline2", "/tmp/x", "data/x", "", "/"}) {
        EXPECT_EQ(MapDevicePath(same), same);
    }
    EXPECT_EQ(MapDevicePath(r + "/dev/dsm"), r + "/dev/dsm");
    EXPECT_EQ(MapDevicePath(MapDevicePath("/data/a")), r + "/data/a");
    unsetenv("VYR_ROOT");
}

TEST(DevicePathTest, NoSandboxMeansNoMapping) {
    unsetenv("VYR_ROOT");
    EXPECT_EQ(DeviceRoot(), "");
    EXPECT_EQ(MapDevicePath("/data/x"), "/data/x");

    TempDir dir;
    std::string file = dir.Path() + "/file";
    WriteText(file, "");
    setenv("VYR_ROOT", file.c_str(), 1);
    EXPECT_EQ(DeviceRoot(), "");
    EXPECT_EQ(MapDevicePath("/data/x"), "/data/x");
    setenv("VYR_ROOT", (dir.Path() + "/missing").c_str(), 1);
    EXPECT_EQ(MapDevicePath("/data/x"), "/data/x");
    unsetenv("VYR_ROOT");
}

}  // namespace

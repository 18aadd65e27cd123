#include <stdlib.h>
#include <sys/system_properties.h>

#include <filesystem>
#include <set>
#include <string>

#include "sandbox/Sandbox.h"
#include "support/TestFiles.h"

using vyrtest::ReadText;
using vyrtest::TempDir;
using vyrtest::WriteText;

namespace fs = std::filesystem;

namespace {

std::set<std::string> LibNames(const fs::path &dir) {
    std::set<std::string> names;
    std::error_code ec;
    for (const auto &entry : fs::directory_iterator(dir, ec)) {
        std::string name = entry.path().filename().string();
        if (name.rfind("lib", 0) == 0 && name.size() > 3 &&
            name.compare(name.size() - 3, 3, ".so") == 0) {
            names.insert(name);
        }
    }
    return names;
}

TEST(SandboxTest, LaysOutTheDeviceTree) {
    TempDir tmp;
    const std::string root = tmp.Path() + "/phone";
    std::string error;
    ASSERT_TRUE(vyrsim::CreateSandbox(root, {}, &error)) << error;

    for (const char *dir : {"odm/etc", "odm/lib64", "vendor/etc", "vendor/lib64",
                            "data/vendor/log/vyrlog", "dev/input"}) {
        EXPECT_TRUE(fs::is_directory(root + "/" + dir)) << dir;
    }
    for (const char *node :
         {"sys/power/wake_lock", "sys/power/wake_unlock", "sys/touchscreen/touch_chip_info",
          "sys/devices/platform/tolvi_sensor/set_palmetry_enable",
          "sys/devices/platform/tolvi_sensor/palmetry_req_data",
          "sys/devices/platform/tolvi_sensor/palmetry_data_ready",
          "sys/devices/platform/tolvi_sensor/palmetry_latch_data",
          "sys/devices/platform/tolvi_sensor/palmetry_latch_data2",
          "sys/class/graphics/fb0/lcd_model"}) {
        EXPECT_TRUE(fs::is_regular_file(root + "/" + node)) << node;
    }
    EXPECT_EQ(fs::file_size(root + "/sys/power/wake_lock"), 0u);
    EXPECT_TRUE(fs::is_empty(root + "/dev/input"));
    EXPECT_EQ(ReadText(root + "/proc/cmdline"), "androidboot.swtype=normal\n");
    EXPECT_EQ(ReadText(root + "/vendor/etc/tolvi_vyr_product_config.xml"),
              vyrsim::DefaultProductXml());

    auto props = vyrsim::ReadProperties(root + "/properties");
    EXPECT_EQ(props, vyrsim::DefaultProperties());
    EXPECT_EQ(props["ro.boot.product.hardware.sku"], "VYRFOLD");
    EXPECT_EQ(props["ro.build.version.release"], "14");

    // Every built stand-in is installed, and nothing else.
    EXPECT_EQ(LibNames(root + "/vendor/lib64"), LibNames(VYR_SIM_LIB_DIR));
}

TEST(SandboxTest, DefaultProductIsTheSimulatedPhonesFile) {
    const std::string path =
        std::string(VYR_SOURCE_DIR) + "/sim/product/tolvi_vyr_product_config.xml";
    if (fs::exists(path)) {
        EXPECT_EQ(vyrsim::DefaultProductXml(), ReadText(path));
    } else {
        EXPECT_NE(vyrsim::DefaultProductXml().find("<product>"), std::string::npos);
    }
}

TEST(SandboxTest, RecreatingKeepsStateAndAppliesOptions) {
    TempDir tmp;
    const std::string root = tmp.Path();
    std::string error;
    ASSERT_TRUE(vyrsim::CreateSandbox(root, {}, &error)) << error;

    // What a run leaves behind: counters in the store, data in a node.
    WriteText(root + "/properties",
              ReadText(root + "/properties") + "odm.vyr.dae_reboot_times=7\nro.product.device=X\n");
    const std::string ready = root + "/sys/devices/platform/tolvi_sensor/palmetry_data_ready";
    WriteText(ready, "1\n");

    vyrsim::SandboxOptions opts;
    opts.productXml = "<root><product/></root>\n";
    opts.properties = {{"persist.odm.vyr.vyrlog_enabled", "true"}, {"ro.product.device", "Y"}};
    opts.cmdline = "enter_recovery=1 androidboot.swtype=factory";
    opts.installLibs = false;
    ASSERT_TRUE(vyrsim::CreateSandbox(root, opts, &error)) << error;

    auto props = vyrsim::ReadProperties(root + "/properties");
    EXPECT_EQ(props["odm.vyr.dae_reboot_times"], "7");
    EXPECT_EQ(props["ro.product.device"], "Y");
    EXPECT_EQ(props["persist.odm.vyr.vyrlog_enabled"], "true");
    EXPECT_EQ(props["ro.boot.product.hardware.sku"], "VYRFOLD");
    EXPECT_EQ(ReadText(ready), "1\n");
    EXPECT_EQ(ReadText(root + "/vendor/etc/tolvi_vyr_product_config.xml"), opts.productXml);
    EXPECT_EQ(ReadText(root + "/proc/cmdline"), opts.cmdline + "\n");
    // No temporary files left beside the replaced ones.
    for (const auto &entry : fs::recursive_directory_iterator(root)) {
        EXPECT_EQ(entry.path().string().find(".tmp"), std::string::npos) << entry.path();
    }
}

TEST(SandboxTest, NewSandboxWithoutLibraries) {
    TempDir tmp;
    vyrsim::SandboxOptions opts;
    opts.installLibs = false;
    std::string error;
    ASSERT_TRUE(vyrsim::CreateSandbox(tmp.Path(), opts, &error)) << error;
    EXPECT_TRUE(fs::is_empty(tmp.Path() + "/vendor/lib64"));
}

TEST(SandboxTest, PropertiesAreTheLibrarysStore) {
    TempDir tmp;
    vyrsim::SandboxOptions opts;
    opts.installLibs = false;
    opts.properties["odm.vyr.frame_timer"] = "250";
    std::string error;
    ASSERT_TRUE(vyrsim::CreateSandbox(tmp.Path(), opts, &error)) << error;

    setenv("VYR_ROOT", tmp.Path().c_str(), 1);
    char value[PROP_VALUE_MAX] = {};
    EXPECT_EQ(__system_property_get("ro.product.device", value), 7);
    EXPECT_STREQ(value, "VYRFOLD");
    EXPECT_GT(__system_property_get("odm.vyr.frame_timer", value), 0);
    EXPECT_STREQ(value, "250");
    // Read-only names were written by the maker; the store refuses to change them.
    EXPECT_EQ(__system_property_set("ro.product.device", "OTHER"), -1);
    EXPECT_EQ(__system_property_set("odm.vyr.dae_alive", "true"), 0);
    unsetenv("VYR_ROOT");

    // A second make over it keeps what the store wrote.
    ASSERT_TRUE(vyrsim::CreateSandbox(tmp.Path(), {}, &error)) << error;
    EXPECT_EQ(vyrsim::ReadProperties(tmp.Path() + "/properties")["odm.vyr.dae_alive"], "true");
}

TEST(SandboxTest, FailsWithAReason) {
    TempDir tmp;
    std::string error;
    EXPECT_FALSE(vyrsim::CreateSandbox("", {}, &error));
    EXPECT_FALSE(error.empty());

    // A root below a plain file cannot be made.
    WriteText(tmp.Path() + "/file", "x");
    error.clear();
    EXPECT_FALSE(vyrsim::CreateSandbox(tmp.Path() + "/file/phone", {}, &error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(vyrsim::CreateSandbox(tmp.Path() + "/file/phone", {}, nullptr));

    // A property that cannot be one line of the store.
    vyrsim::SandboxOptions opts;
    opts.installLibs = false;
    opts.properties["odm.vyr.x"] = "two\nlines";
    error.clear();
    EXPECT_FALSE(vyrsim::CreateSandbox(tmp.Path() + "/phone", opts, &error));
    EXPECT_NE(error.find("odm.vyr.x"), std::string::npos);
}

}  // namespace

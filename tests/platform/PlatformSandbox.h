// A device sandbox in a temporary directory, a bare VyrHal (no Init) and the
// logcat lines of the test captured in a file.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/system_properties.h>

#include <string>
#include <vector>

#include "hal/VyrHal.h"
#include "host/HostTestDir.h"
#include "platform/MatchRules.h"

namespace vyr_platform_test {

class PlatformSandbox : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("VYR_ROOT", mRoot.Path().c_str(), 1);
        setenv("VYR_LOGCAT", LogcatPath().c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
        // Never deleted: a VyrHal that never ran Init ends the process from
        // its destructor. One process per test.
        mHal = new VyrHal(nullptr);
    }
    void TearDown() override
    {
        unsetenv("VYR_LOGCAT");
        unsetenv("VYR_LOG_STDERR");
        unsetenv("VYR_ROOT");
    }

    std::string LogcatPath() const { return mRoot.Path() + "/logcat.txt"; }
    std::string Logcat() const { return vyr_host_test::ReadText(LogcatPath()); }
    std::vector<std::string> LogcatLines() const
    {
        return vyr_host_test::ReadLines(LogcatPath());
    }
    // The logcat lines that hold `text`.
    std::vector<std::string> LinesWith(const std::string &text) const
    {
        std::vector<std::string> found;
        for (const std::string &line : LogcatLines()) {
            if (line.find(text) != std::string::npos) {
                found.push_back(line);
            }
        }
        return found;
    }

    // Where a device path lives inside the sandbox.
    std::string Real(const std::string &devicePath) const { return mRoot.Path() + devicePath; }
    void MakeDirs(const std::string &devicePath) const
    {
        std::string running = mRoot.Path();
        size_t start = 1;
        while (start <= devicePath.size()) {
            size_t end = devicePath.find('/', start);
            if (end == std::string::npos) {
                end = devicePath.size();
            }
            if (end > start) {
                running += "/" + devicePath.substr(start, end - start);
                mkdir(running.c_str(), 0755);
            }
            start = end + 1;
        }
    }
    // Writes a file at a device path, making its directories.
    void Put(const std::string &devicePath, const std::string &text) const
    {
        MakeDirs(devicePath.substr(0, devicePath.rfind('/')));
        vyr_host_test::WriteText(Real(devicePath), text);
    }
    std::string Get(const std::string &devicePath) const
    {
        return vyr_host_test::ReadText(Real(devicePath));
    }
    void PutProduct(const std::string &dir, const std::string &xml) const
    {
        Put(dir + MatchRules::kFileName, xml);
    }
    static void SetSku(const std::string &sku)
    {
        ASSERT_EQ(__system_property_set("ro.boot.product.hardware.sku", sku.c_str()), 0);
    }

    vyr_host_test::TempDir mRoot;
    VyrHal *mHal = nullptr;
};

// One product element.
inline std::string Product(const std::string &name, const std::string &method,
                           const std::string &rule)
{
    std::string text = "<product><product_name>" + name + "</product_name>";
    if (!method.empty()) {
        text += "<method>" + method + "</method>";
    }
    return text + "<rule>" + rule + "</rule></product>";
}

// A whole product file around the given product elements.
inline std::string ProductFile(const std::string &products)
{
    return "<?xml version=\"1.0\"?>\n<config>\n<version_info>"
           "<latest_update_time>2026-01-02</latest_update_time>"
           "<latest_update_author>tester</latest_update_author></version_info>\n" +
           products + "\n</config>\n";
}

}  // namespace vyr_platform_test

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
#include "platform/MatchRules.h"
#include "support/UnitSandbox.h"

namespace vyr_platform_test {

class PlatformSandbox : public vyrtest::UnitSandbox {
protected:
    void SetUp() override {
        UnitSandbox::SetUp();
        mHal = &NewHal();
    }

    void PutProduct(const std::string &dir, const std::string &xml) const {
        Put(dir + MatchRules::kFileName, xml);
    }
    static void SetSku(const std::string &sku) {
        ASSERT_EQ(__system_property_set("ro.boot.product.hardware.sku", sku.c_str()), 0);
    }

    VyrHal *mHal = nullptr;
};

// One product element.
inline std::string Product(const std::string &name, const std::string &method,
                           const std::string &rule) {
    std::string text = "<product><product_name>" + name + "</product_name>";
    if (!method.empty()) {
        text += "<method>" + method + "</method>";
    }
    return text + "<rule>" + rule + "</rule></product>";
}

// A whole product file around the given product elements.
inline std::string ProductFile(const std::string &products) {
    return "<?xml version=\"1.0\"?>\n<config>\n<version_info>"
           "<latest_update_time>2026-01-02</latest_update_time>"
           "<latest_update_author>tester</latest_update_author></version_info>\n" +
           products + "\n</config>\n";
}

}  // namespace vyr_platform_test

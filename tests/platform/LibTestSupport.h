// Shared by the library wrapper tests: a device sandbox with /odm/lib64 and
// /vendor/lib64, and the logcat stand-in writing to a file in it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/UnitSandbox.h"

namespace vyr_lib_test {

class LibSandbox : public vyrtest::UnitSandbox {
protected:
    void SetUp() override {
        UnitSandbox::SetUp();
        MakeDirs("/odm/lib64");
        MakeDirs("/vendor/lib64");
    }

    // Copies a built library to a device path such as "/odm/lib64/libX.so".
    void Install(const std::string &from, const std::string &devicePath) const {
        std::filesystem::copy_file(from, Real(devicePath),
                                   std::filesystem::copy_options::overwrite_existing);
    }

    // Messages of the logcat lines so far ("E vyr_tolvi: " and what follows),
    // those that contain `part`.
    std::vector<std::string> Messages(const std::string &part = "") const {
        std::vector<std::string> lines;
        for (const auto &line : LogcatLines()) {
            // "MM-DD HH:MM:SS.mmm  PID  TID P TAG: message": from the letter on.
            const size_t tag = line.find(" vyr_tolvi: ");
            if (tag == std::string::npos || tag < 2) {
                continue;
            }
            std::string message = line.substr(tag - 1);
            if (message.find(part) != std::string::npos) {
                lines.push_back(message);
            }
        }
        return lines;
    }
    size_t Count(const std::string &part) const { return Messages(part).size(); }
};

}  // namespace vyr_lib_test

// Shared by the library wrapper tests: a device sandbox with /odm/lib64 and
// /vendor/lib64, and the logcat stand-in writing to a file in it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/TestFiles.h"

namespace vyr_lib_test {

class LibSandbox : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("VYR_ROOT", mDir.Path().c_str(), 1);
        setenv("VYR_LOGCAT", LogcatPath().c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
        std::filesystem::create_directories(mDir.Path() + "/odm/lib64");
        std::filesystem::create_directories(mDir.Path() + "/vendor/lib64");
    }
    void TearDown() override
    {
        unsetenv("VYR_LOGCAT");
        unsetenv("VYR_LOG_STDERR");
        unsetenv("VYR_ROOT");
    }

    std::string LogcatPath() const { return mDir.Path() + "/logcat"; }

    // Copies a built library to a device path such as "/odm/lib64/libX.so".
    void Install(const std::string &from, const std::string &devicePath) const
    {
        std::filesystem::copy_file(from, mDir.Path() + devicePath,
                                   std::filesystem::copy_options::overwrite_existing);
    }
    void WriteFile(const std::string &devicePath, const std::string &text) const
    {
        vyrtest::WriteText(mDir.Path() + devicePath, text);
    }

    // Messages of the logcat lines so far ("E vyr_tolvi: " and what follows),
    // those that contain `part`.
    std::vector<std::string> Logcat(const std::string &part = "") const
    {
        std::vector<std::string> lines;
        for (const auto &line : vyrtest::ReadLines(LogcatPath())) {
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
    size_t Count(const std::string &part) const { return Logcat(part).size(); }

    vyrtest::TempDir mDir;
};

}  // namespace vyr_lib_test

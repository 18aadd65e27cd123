// Shared by the log tests: a sandbox with the logcat stand-in writing to a
// file, and a VyrHal that is never started.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <regex>
#include <string>
#include <vector>

#include "hal/VyrHal.h"
#include "host/HostTestDir.h"

namespace vyr_log_test {

// One logcat line of the host stand-in:
//   MM-DD HH:MM:SS.mmm  PID  TID P vyr_tolvi: message
struct LogcatLine {
    int pid = 0;
    int tid = 0;
    char letter = 0;
    std::string tag;
    std::string message;
};

class LogSandbox : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("VYR_ROOT", mDir.Path().c_str(), 1);
        setenv("VYR_LOGCAT", LogcatPath().c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
    }
    void TearDown() override {
        unsetenv("VYR_LOGCAT");
        unsetenv("VYR_LOG_STDERR");
        unsetenv("VYR_ROOT");
    }

    std::string LogcatPath() const { return mDir.Path() + "/logcat"; }

    // Every logcat line so far whose message contains `part`.
    std::vector<LogcatLine> Logcat(const std::string &part = "") {
        static const std::regex kLine(
            R"(^\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} +(\d+) +(\d+) ([VDIWEF]) ([^:]*): (.*)$)");
        std::vector<LogcatLine> lines;
        for (const auto &text : vyr_host_test::ReadLines(LogcatPath())) {
            std::smatch m;
            EXPECT_TRUE(std::regex_match(text, m, kLine)) << text;
            if (m.empty() || m[5].str().find(part) == std::string::npos) {
                continue;
            }
            lines.push_back({std::stoi(m[1]), std::stoi(m[2]), m[3].str()[0], m[4], m[5]});
        }
        return lines;
    }

    // A HAL object built but not started. Its destructor expects a started
    // HAL, so it lives to the end of the process (kept reachable).
    static VyrHal &NewHal() {
        static std::vector<VyrHal *> *hals = new std::vector<VyrHal *>();
        hals->push_back(new VyrHal(nullptr));
        return *hals->back();
    }

    vyr_host_test::TempDir mDir;
};

}  // namespace vyr_log_test

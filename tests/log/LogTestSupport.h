// Shared by the log tests: a sandbox with the logcat stand-in writing to a
// file, and a VyrHal that is never started.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <regex>
#include <string>
#include <vector>

#include "hal/VyrHal.h"
#include "support/UnitSandbox.h"

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

class LogSandbox : public vyrtest::UnitSandbox {
protected:
    // Every logcat line so far whose message contains `part`.
    std::vector<LogcatLine> ParsedLogcat(const std::string &part = "") {
        static const std::regex kLine(
            R"(^\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} +(\d+) +(\d+) ([VDIWEF]) ([^:]*): (.*)$)");
        std::vector<LogcatLine> lines;
        for (const auto &text : vyrtest::ReadLines(LogcatPath())) {
            std::smatch m;
            EXPECT_TRUE(std::regex_match(text, m, kLine)) << text;
            if (m.empty() || m[5].str().find(part) == std::string::npos) {
                continue;
            }
            lines.push_back({std::stoi(m[1]), std::stoi(m[2]), m[3].str()[0], m[4], m[5]});
        }
        return lines;
    }
};

}  // namespace vyr_log_test

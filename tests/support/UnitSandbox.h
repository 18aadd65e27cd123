// For unit tests that link the library's classes directly: a device sandbox
// in a temporary directory, logcat lines captured in a file, and VyrHal
// objects that are built but never started.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "hal/VyrHal.h"
#include "support/TestFiles.h"

namespace vyrtest {

class UnitSandbox : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("VYR_ROOT", mRoot.Path().c_str(), 1);
        setenv("VYR_LOGCAT", LogcatPath().c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
    }
    void TearDown() override {
        unsetenv("VYR_LOGCAT");
        unsetenv("VYR_LOG_STDERR");
        unsetenv("VYR_ROOT");
    }

    // A HAL object built but not started. Destroying one that never started
    // ends the process through SOS with exit code 0, which would turn a
    // failed test into a pass, so these live (reachable) to the end.
    static VyrHal &NewHal() {
        static std::vector<VyrHal *> *hals = new std::vector<VyrHal *>();
        hals->push_back(new VyrHal(nullptr));
        return *hals->back();
    }

    std::string LogcatPath() const { return mRoot.Path() + "/logcat.txt"; }
    std::string Logcat() const { return ReadText(LogcatPath()); }
    std::vector<std::string> LogcatLines() const { return ReadLines(LogcatPath()); }
    // The logcat lines that hold `text`.
    std::vector<std::string> LinesWith(const std::string &text) const {
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
    void MakeDirs(const std::string &devicePath, mode_t mode = 0755) const {
        std::string running = mRoot.Path();
        for (const std::string &piece : SplitPath(devicePath)) {
            running += "/" + piece;
            mkdir(running.c_str(), mode);
        }
    }
    // Writes a file at a device path, making its directories.
    void Put(const std::string &devicePath, const std::string &text) const {
        WriteText(Real(devicePath), text);
    }
    std::string Get(const std::string &devicePath) const { return ReadText(Real(devicePath)); }
    static bool Exists(const std::string &path) {
        struct stat info {};
        return lstat(path.c_str(), &info) == 0;
    }

    TempDir mRoot;

private:
    static std::vector<std::string> SplitPath(const std::string &path) {
        std::vector<std::string> pieces;
        size_t start = 0;
        while (start <= path.size()) {
            size_t end = path.find('/', start);
            if (end == std::string::npos) {
                end = path.size();
            }
            if (end > start) {
                pieces.push_back(path.substr(start, end - start));
            }
            start = end + 1;
        }
        return pieces;
    }
};

}  // namespace vyrtest

// Temporary directories and small file helpers shared by the tests.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace vyrtest {

class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/vyr_host_XXXXXX";
        const char *made = mkdtemp(pattern);
        EXPECT_NE(made, nullptr);
        mPath = made != nullptr ? made : "";
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(mPath, ec);
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::string &Path() const { return mPath; }

private:
    std::string mPath;
};

inline std::string ReadText(const std::string &path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::vector<std::string> ReadLines(const std::string &path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Writes a file, making its directories.
inline void WriteText(const std::string &path, const std::string &text) {
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

}  // namespace vyrtest

// Reads one file whole or by lines.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

class LogSink;
class VyrHal;

class FileReader {
public:
    FileReader(VyrHal &hal, std::string path);
    ~FileReader();

    FileReader(const FileReader &) = delete;
    FileReader &operator=(const FileReader &) = delete;

    bool Init();
    bool OpenFile();
    // Appends the file's lines to out, each with its newline; a line longer
    // than 1023 characters comes in several pieces.
    bool ReadLines(std::vector<std::string> &out);
    // The whole file; on a short read out holds what was read.
    bool Read(std::vector<char> &out);

private:
    VyrHal &mHal;
    LogSink &mLog;
    std::string mFilename;
    FILE *mFile = nullptr;
    int64_t mSize = 0;
};

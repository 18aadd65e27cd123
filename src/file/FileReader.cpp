#include "file/FileReader.h"

#include <libgen.h>
#include <sys/stat.h>

#include <exception>
#include <utility>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/Utils.h"

namespace {
constexpr size_t kLineBuffer = 1024;
}

FileReader::FileReader(VyrHal &hal, std::string path)
    : mHal(hal), mLog(hal), mFilename(std::move(path)) {}

FileReader::~FileReader() {
    if (mFile != nullptr) {
        fclose(mFile);
        mFile = nullptr;
    }
}

bool FileReader::Init() {
    if (mFilename.empty()) {
        LOGE("mFilename size = 0");
        return false;
    }
    if (mFile != nullptr) {
        return true;
    }
    return OpenFile();
}

bool FileReader::OpenFile() {
    LOGI("%s", mFilename.c_str());
    const std::string path = DevicePathOf(mFilename);
    // dirname may write into its argument: hand it a copy.
    std::vector<char> copy(path.begin(), path.end());
    copy.push_back('\0');
    if (CheckPath(dirname(copy.data())).empty()) {
        return false;
    }
    if (mFile != nullptr) {
        fclose(mFile);
        mFile = nullptr;
    }
    mFile = fopen(CheckPath(mFilename).c_str(), "r");
    struct stat info {};
    if (mFile != nullptr && (fstat(fileno(mFile), &info) != 0 || !S_ISREG(info.st_mode))) {
        // A directory opens for reading but has no size or lines to give.
        fclose(mFile);
        mFile = nullptr;
    }
    if (mFile == nullptr) {
        LOGE("mFile is nullptr");
        return false;
    }
    mSize = -1;
    if (fseek(mFile, 0, SEEK_END) == 0) {
        mSize = ftell(mFile);
    }
    fseek(mFile, 0, SEEK_SET);
    return true;
}

bool FileReader::ReadLines(std::vector<std::string> &out) {
    if (!Init()) {
        return false;
    }
    fseek(mFile, 0, SEEK_SET);
    char buffer[kLineBuffer];
    while (fgets(buffer, sizeof(buffer), mFile) != nullptr) {
        out.emplace_back(buffer);
    }
    return true;
}

bool FileReader::Read(std::vector<char> &out) {
    if (!Init()) {
        return false;
    }
    const size_t expected = mSize > 0 ? static_cast<size_t>(mSize) : 0;
    try {
        out.resize(expected);
    } catch (const std::exception &) {
        out.clear();
        LOGE("fread error %lu != %lu !", 0UL, static_cast<unsigned long>(expected));
        return false;
    }
    fseek(mFile, 0, SEEK_SET);
    const size_t got = expected == 0 ? 0 : fread(out.data(), 1, expected, mFile);
    if (got != expected) {
        LOGE("fread error %lu != %lu !", static_cast<unsigned long>(got),
             static_cast<unsigned long>(expected));
        out.resize(got);
        return false;
    }
    return true;
}

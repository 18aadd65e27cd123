#include "file/FileStorer.h"

#include <libgen.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/Utils.h"

namespace {

// The open files of every storer, for FlushAll. A file leaves the list, and
// is closed, under the mutex, so that FlushAll never touches a closed file.
std::mutex gOpenMutex;
std::vector<FILE *> &OpenFiles() {
    static auto *files = new std::vector<FILE *>();
    return *files;
}

}  // namespace

void FileStorer::FlushAll() {
    std::lock_guard<std::mutex> lock(gOpenMutex);
    for (FILE *file : OpenFiles()) {
        fflush(file);
    }
}

FileStorer::FileStorer(VyrHal &hal, std::string path, bool flushEachWrite)
    : mHal(hal), mLog(hal), mFlushEachWrite(flushEachWrite), mFilename(std::move(path)) {}

FileStorer::~FileStorer() {
    Close();
}

bool FileStorer::Init() {
    if (mFilename.empty()) {
        LOGE("mFilename size = 0");
        return false;
    }
    if (mFile != nullptr) {
        if (access(DevicePathOf(mFilename).c_str(), F_OK) == 0) {
            return true;
        }
        // Deleted underneath: start a new file.
        Close();
    }
    return OpenFile();
}

bool FileStorer::OpenFile() {
    LOGI("%s", mFilename.c_str());
    const std::string path = DevicePathOf(mFilename);
    // dirname may write into its argument: hand it a copy.
    std::vector<char> copy(path.begin(), path.end());
    copy.push_back('\0');
    if (CheckPath(dirname(copy.data())).empty()) {
        return false;
    }
    Close();
    mFile = fopen(path.c_str(), "a");
    if (mFile == nullptr) {
        LOGE("mFile is nullptr");
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(gOpenMutex);
        OpenFiles().push_back(mFile);
    }
    long size = -1;
    if (fseek(mFile, 0, SEEK_END) == 0) {
        size = ftell(mFile);
    }
    mSize = size > 0 ? static_cast<uint64_t>(size) : 0;
    mFlushedSize = mSize;
    fchmod(fileno(mFile), 0666);
    mCount = 0;
    return true;
}

void FileStorer::Write(const std::string &header, const std::string &text, bool headerOnce) {
    if (text.empty() || !Init()) {
        return;
    }
    if (!header.empty() && (mCount == 0 || !headerOnce) && !WriteText(header)) {
        return;  // the record would follow a lost header
    }
    ++mCount;
    WriteText(text);
}

bool FileStorer::WriteText(const std::string &text) {
    if (mFile == nullptr) {
        return false;
    }
    bool failed = fputs(text.c_str(), mFile) < 0;
    mSize += text.length();
    if (!failed && (mFlushEachWrite || mCount % mFlushEvery == 0)) {
        failed = fflush(mFile) != 0;
        if (!failed) {
            mFlushedSize = mSize;
        }
    }
    if (failed) {
        DropUnwritten();
    }
    return !failed;
}

// A full disk (or a size limit) took only part of the buffered records: the
// file goes back to its end at the last good flush, so that no cut line is
// left in it, and the records since then are lost.
void FileStorer::DropUnwritten() {
    LOGE("write %s failed: %s", mFilename.c_str(), strerror(errno));
    __fpurge(mFile);
    clearerr(mFile);
    if (ftruncate(fileno(mFile), static_cast<off_t>(mFlushedSize)) != 0) {
        LOGE("truncate %s failed: %s", mFilename.c_str(), strerror(errno));
    }
    fseek(mFile, 0, SEEK_END);
    mSize = mFlushedSize;
    if (mFlushedSize == 0) {
        mCount = 0;  // the header went too: the next record writes it again
    }
}

void FileStorer::Close() {
    if (mFile == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> lock(gOpenMutex);
    std::vector<FILE *> &files = OpenFiles();
    files.erase(std::remove(files.begin(), files.end(), mFile), files.end());
    fflush(mFile);
    fclose(mFile);
    mFile = nullptr;
}

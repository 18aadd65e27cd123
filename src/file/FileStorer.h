// Appends text records to one file, with a header at the head of each file
// and a flush every tenth record (or every write when asked).
//
// The file is opened on the first write; when it disappears underneath, the
// next write opens it again, and the new file gets its header again.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

class LogSink;
class VyrHal;

class FileStorer {
public:
    FileStorer(VyrHal &hal, std::string path, bool flushEachWrite);
    ~FileStorer();

    FileStorer(const FileStorer &) = delete;
    FileStorer &operator=(const FileStorer &) = delete;

    // Ready to write: open, and the file still there.
    bool Init();
    bool OpenFile();
    // Writes header (once per file when headerOnce, else before every
    // record) and then text. Nothing happens for empty text.
    void Write(const std::string &header, const std::string &text, bool headerOnce);
    // False when the file system refused the bytes (they are dropped).
    bool WriteText(const std::string &text);
    void Close();
    // Any thread, at the planned end of the process: pushes the buffered
    // records of every open file to the file system. Only the library's own
    // files: a stream of the daemon's may be held for good by a thread that
    // waits in it (standard input, read by the daemon's command loop).
    static void FlushAll();
    // Records written since the file was opened.
    uint32_t GetCount() const { return mCount; }
    // Bytes of the file.
    uint64_t GetSize() const { return mSize; }

private:
    void DropUnwritten();

    VyrHal &mHal;
    LogSink &mLog;
    bool mFlushEachWrite;
    std::string mFilename;
    FILE *mFile = nullptr;
    uint32_t mCount = 0;
    uint64_t mSize = 0;
    uint64_t mFlushedSize = 0;  // bytes of the file at the last good flush
    uint32_t mFlushEvery = 10;
};

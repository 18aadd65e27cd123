// A big-data class backed by a text file of its own: records are appended to
// a temporary file, and at the end of a period the file is renamed to the
// report file and the parameters are sent. The file holds the key content,
// a line "==========", then one comma-separated record per line, each
// starting with the time of GetTime. It never grows past 2 MiB: beyond
// that, new lines are lost and the report says "OUT_OF_RANGE".
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "log/Dft.h"

class FileStorer;

// Where a file-backed class keeps its files, and how it reports.
struct DftFiles {
    const char *dir;      // "/data/vendor/log/arlog"
    const char *tmpName;  // "/ar_bigdata.tmp"
    const char *txtName;  // "/ar_bigdata.txt"
    uint32_t eventId;
    uint64_t interval;  // in the unit of GetTime
    bool millis;        // GetTime in wall milliseconds, else seconds
};

class FileDft : public Dft {
public:
    static constexpr uint64_t kMaxFileSize = 0x200000;

    FileDft(VyrHal &hal, const DftFiles &files);
    ~FileDft() override;

    // Appends one record; ends the period when it is over.
    virtual void StoreString(const std::string &text);
    // Writes the key content at the head of the file.
    virtual void StoreKeyContent(const std::string &content);
    virtual void SetKeyContent(const std::string &content);
    // The end of a period: the file becomes the report file, and the
    // parameters are sent.
    virtual void ReportBigdata();

    const std::string &GetTmpPath() const { return mTmpPath; }
    const std::string &GetTxtPath() const { return mTxtPath; }
    bool IsOutOfRange() const { return mIsOutOfRange; }

protected:
    // Sets the parameters of the report; the base sets "OUT_OF_RANGE".
    virtual void SetReportParams();
    // The log line after a report.
    virtual void LogReported();
    // Whether a new file starts with the key content.
    virtual bool HasKeyContent() const { return true; }
    // Opens the storer of the temporary file; false on failure.
    bool OpenStorer();

    bool mIsOutOfRange = false;
    bool mActive = false;
    std::string mDir;
    std::string mTmpPath;
    std::string mTxtPath;
    std::unique_ptr<FileStorer> mStorer;
    std::string mKeyContent;
};

// Activity statistics, fed by the queue reader and the activity module.
class ActivityDft : public FileDft {
public:
    explicit ActivityDft(VyrHal &hal);
};

// Motion statistics, fed by the queue reader.
class MotionDft : public FileDft {
public:
    explicit MotionDft(VyrHal &hal);
    void SetKeyContent(const std::string &content) override;
};

// A consumer of frames on the log thread. LogToFile writes one file per
// frame type into the log directory and rolls the files by size and count;
// LogCollect forwards a frame's data to the daemon's client; ImageCollect
// stores the images a frame carries.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

class FileStorer;
class LogSink;
class VyrFrame;
class VyrHal;

// Socket type ids.
inline constexpr int32_t LOG_SOCKET_TO_FILE = 1;
inline constexpr int32_t LOG_SOCKET_COLLECT = 2;
inline constexpr int32_t LOG_SOCKET_IMAGE = 4;

inline constexpr const char *kVyrlogDirectory = "/data/vendor/log/vyrlog/";

class LogSocketBase {
public:
    LogSocketBase(VyrHal &hal, int32_t type);
    virtual ~LogSocketBase();

    LogSocketBase(const LogSocketBase &) = delete;
    LogSocketBase &operator=(const LogSocketBase &) = delete;

    virtual std::string GetName();
    virtual void SetName(const std::string &text);
    virtual void SetRun(bool enable);
    // False once stopped, or while a frame type has no file.
    virtual bool IsAlive();
    virtual bool HasNoStorer();
    // Gives every frame type without a file a new one, all under one new
    // time; prunes old files unless logs are to be kept.
    virtual bool StartLog();
    virtual void StopLog();
    // False tells the log thread to drop the socket.
    virtual bool HandleFrame(VyrFrame &frame);
    virtual void SaveFrame(VyrFrame &frame);
    // Wall clock "%Y.%m.%d_%H.%M.%S.mmm".
    virtual std::string GetTimeString();
    virtual std::string MakeFileName(const std::string &suffix, const std::string &time,
                                     uint32_t frameType);
    // Deletes the oldest files of each type beyond the count it keeps.
    virtual void UpdateLogFiles();

    int32_t GetType() const { return type; }
    void ClearStartCount() { startCount = 0; }
    // Size at which a type's file is closed and a new one begun.
    uint64_t SizeLimit(uint32_t frameType);
    // Files kept per type.
    size_t FilesKept(uint32_t frameType) const;
    // Current file name of a frame type ("" when none), for tests and tools.
    std::string GetFileName(uint32_t frameType);

protected:
    VyrHal &mHal;
    LogSink &mLog;
    int32_t type;
    std::atomic<bool> run{true};
    int32_t startCount = 0;
    uint64_t lastFrameTime = 0;
    int32_t maxFiles = 0;
    std::string name;
    std::map<uint32_t, std::string> fileNames;
    std::map<uint32_t, std::unique_ptr<FileStorer>> mStorer;
    std::mutex socketMutex;
};

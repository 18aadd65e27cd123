// The log module: owns the log thread. Modules hand finished frames to it
// (ModuleBase::SyncFrame -> QueueInFrame); it queues copies, and its thread
// passes each frame to the active log sockets. It also keeps the per-frame
// time statistics and serves "listlog", "clearlog" and "collectlog".
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "hal/ModuleBase.h"

class LogSocketBase;
class VyrFrame;

class VyrLog : public ModuleBase {
public:
    static constexpr size_t kQueueCapacity = 61;

    explicit VyrLog(VyrHal &hal);
    ~VyrLog() override;

    bool PreInit() override;
    bool Init() override;
    void Uninit() override;
    bool InitVyrd() override;

    // Copies the current frame onto the queue (the caller holds its locks).
    void QueueInFrame();
    std::string LogtofileOn();
    std::string LogtofileOff();
    std::string ImageCollectOn();
    std::string ImageCollectOff();
    std::string LogfileCollectEnable(bool enable);
    void CopyFile(const std::string src, const std::string dst);
    void CopyDmdLog(const std::string src);

    // Frames waiting for the thread.
    size_t QueuedFrames() const { return mQueueCount.load(); }
    // The capture flag: "collectlog on" has the collecting socket running
    // (until "collectlog off"). Any thread, no lock.
    bool IsCollecting() const { return mCollecting.load(); }
    // The HAL's debug flag (file logging) and the capture flag together:
    // results also go to the log client. Any thread.
    static bool CapturesResults(VyrHal &hal);
    static constexpr const char *kCaptureClient = "vyr-client";

    // What the log thread has done since start ("dump").
    struct ThreadStats {
        bool running = false;
        uint64_t queued = 0;   // frames put on the queue
        uint64_t dropped = 0;  // frames refused: queue full or no memory
        uint64_t written = 0;  // frames handed to the sockets
        uint64_t writeUsTotal = 0;
        uint64_t writeUsMax = 0;
        size_t sockets = 0;  // active log sockets
    };
    ThreadStats GetThreadStats();
    // The current file name of a frame type in the file socket; "" when none.
    std::string GetLogFileName(uint32_t frameType);

private:
    // What the thread shares with the module; held by the thread too, so
    // that a thread that outlives the module never touches freed state.
    struct ThreadState {
        std::mutex mutex;
        std::condition_variable doneCond;
        bool done = false;
    };

    bool CreateFrameProcess();
    static void *ThreadEntry(void *arg);
    void ThreadProcess();
    void HandleFrame(VyrFrame *frame);
    void LogFrameStatistics(VyrFrame &frame);
    LogSocketBase *FindSocket(int32_t type);
    template <typename Socket, typename Start>
    std::string StartSocket(int32_t type, const std::string &reply, Start start);
    void StopThread();

    bool InitVyrdListLog();
    bool InitVyrdClearLog();
    bool InitVyrdCollectLog();

    std::atomic<bool> running{false};
    std::mutex mWorkMutex;
    std::mutex frameMutex;
    std::condition_variable frameCond;
    std::mutex socketMutex;
    std::vector<std::unique_ptr<LogSocketBase>> sockets;
    std::deque<std::unique_ptr<LogSocketBase>> pendingSockets;
    std::deque<std::unique_ptr<VyrFrame>> mQueueFrame;
    std::atomic<size_t> mQueueCount{0};
    std::atomic<bool> mCollecting{false};
    std::atomic<uint64_t> mFramesQueued{0};
    std::atomic<uint64_t> mFramesDropped{0};
    std::atomic<uint64_t> mFramesWritten{0};
    std::atomic<uint64_t> mWriteUsTotal{0};
    std::atomic<uint64_t> mWriteUsMax{0};
    std::shared_ptr<ThreadState> mThreadState;
    bool mThreadStarted = false;
};

// A repeating timer on a thread of its own: waits one period (on a condition,
// so a stop cuts the wait short), then runs the callback while it has not
// been stopped, and repeats. The destructor stops it and joins the thread;
// it must not run on the timer's own thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

class FrameTimer {
public:
    FrameTimer(uint32_t periodMs, std::function<void()> callback);
    ~FrameTimer();

    FrameTimer(const FrameTimer &) = delete;
    FrameTimer &operator=(const FrameTimer &) = delete;

    void Stop();

private:
    void Run();

    const uint32_t mPeriodMs;
    const std::function<void()> mCallback;
    std::mutex mMutex;
    std::condition_variable mCond;
    bool mRunning = true;
    std::thread mThread;
};

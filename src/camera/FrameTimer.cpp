#include "camera/FrameTimer.h"

#include <chrono>

FrameTimer::FrameTimer(uint32_t periodMs, std::function<void()> callback)
    : mPeriodMs(periodMs), mCallback(std::move(callback)) {
    mThread = std::thread([this] { Run(); });
}

FrameTimer::~FrameTimer() {
    Stop();
    if (mThread.joinable()) {
        mThread.join();
    }
}

void FrameTimer::Stop() {
    std::lock_guard<std::mutex> lock(mMutex);
    mRunning = false;
    mCond.notify_all();
}

void FrameTimer::Run() {
    std::unique_lock<std::mutex> lock(mMutex);
    while (mRunning) {
        const auto due = std::chrono::steady_clock::now() + std::chrono::milliseconds(mPeriodMs);
        if (mCond.wait_until(lock, due, [this] { return !mRunning; })) {
            break;
        }
        lock.unlock();
        mCallback();
        lock.lock();
    }
}

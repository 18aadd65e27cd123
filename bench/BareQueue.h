// The floor of the sensor road's benchmarks: the same handoff done the
// simplest way, a bare mutex and condition-variable queue of sensor events
// and one consumer thread that takes everything waiting at once and calls
// `consume` for each event, as the hub thread does with its module callbacks.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/api/sensor_event.h"

template <typename Consume>
class BareQueue {
public:
    explicit BareQueue(Consume consume)
        : mConsume(std::move(consume)), mThread([this] { Run(); }) {}
    ~BareQueue() {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mRunning = false;
        }
        mCond.notify_one();
        mThread.join();
    }
    BareQueue(const BareQueue &) = delete;
    BareQueue &operator=(const BareQueue &) = delete;

    void Push(const ASensorEvent &event) {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mQueue.push_back(event);
            ++mPosted;
        }
        mCond.notify_one();
    }

    uint64_t Handled() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mHandled;
    }

    // Waits until every event pushed so far has been consumed.
    void Drain() {
        std::unique_lock<std::mutex> lock(mMutex);
        mDrained.wait(lock, [this] { return mHandled >= mPosted; });
    }

private:
    void Run() {
        std::deque<ASensorEvent> work;
        std::unique_lock<std::mutex> lock(mMutex);
        while (mRunning) {
            if (mQueue.empty()) {
                mCond.wait(lock);
                continue;
            }
            work.swap(mQueue);
            lock.unlock();
            for (const ASensorEvent &event : work) {
                mConsume(event);
            }
            const size_t n = work.size();
            work.clear();
            lock.lock();
            mHandled += n;
            mDrained.notify_all();
        }
    }

    Consume mConsume;
    std::mutex mMutex;
    std::condition_variable mCond;
    std::condition_variable mDrained;
    std::deque<ASensorEvent> mQueue;
    uint64_t mPosted = 0;
    uint64_t mHandled = 0;
    bool mRunning = true;
    std::thread mThread;  // last: starts once everything above stands
};

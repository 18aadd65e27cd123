// The kernel wake lock of the HAL, counted: the first reference writes the
// lock node, the last release writes the unlock node.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

class WakeLock {
public:
    static constexpr const char *kName = "VyrHAL_WAKEUP";
    static constexpr const char *kLockNode = "/sys/power/wake_lock";
    static constexpr const char *kUnlockNode = "/sys/power/wake_unlock";

    WakeLock();
    ~WakeLock();

    WakeLock(const WakeLock &) = delete;
    WakeLock &operator=(const WakeLock &) = delete;

    void Acquire(uint32_t count);
    void Release(uint32_t count);
    void ReleaseAll();
    // Blocks until the lock node has been written, unless the lock is held.
    void Wait();

    uint32_t GetCount();
    bool IsHeld();

private:
    // Both called with mMutex held.
    void WriteLock();
    void WriteUnlock();

    uint32_t _accu_count = 0;
    std::mutex mMutex;
    std::condition_variable mCond;
    int mLockFd = -1;
    int mUnlockFd = -1;
    bool mHeld = false;
    uint64_t mLockWrites = 0;  // successful lock writes, for Wait()
};

// The process-wide instance, made at first use and never destroyed.
WakeLock &WakeLockInstance();

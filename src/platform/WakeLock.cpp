#include "platform/WakeLock.h"

#include <android/log.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <string>

#include "log/LogSink.h"
#include "platform/Utils.h"

namespace {

int OpenNode(const char *node) {
    std::string path = CheckPath(node);
    int fd = -1;
    int error = ENOENT;
    if (!path.empty()) {
        fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
        error = errno;
    }
    if (fd < 0) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "fatal error opening \"%s\": %s\n",
                            node, strerror(error));
    }
    return fd;
}

// The name with its terminating NUL.
ssize_t WriteName(int fd) {
    ssize_t n;
    do {
        n = write(fd, WakeLock::kName, strlen(WakeLock::kName) + 1);
    } while (n < 0 && errno == EINTR);
    return n;
}

std::mutex gInstanceMutex;
WakeLock *gInstance = nullptr;

}  // namespace

WakeLock::WakeLock() {
    mLockFd = OpenNode(kLockNode);
    mUnlockFd = OpenNode(kUnlockNode);
}

WakeLock::~WakeLock() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mHeld) {
        _accu_count = 0;
        WriteUnlock();
    }
    if (mLockFd >= 0) {
        close(mLockFd);
        mLockFd = -1;
    }
    if (mUnlockFd >= 0) {
        close(mUnlockFd);
        mUnlockFd = -1;
    }
}

void WakeLock::WriteLock() {
    if (mLockFd < 0) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "Not able to open fd for wakeup:%s",
                            kName);
        return;
    }
    if (WriteName(mLockFd) < 1) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "write fail WakeLock acquire:%s",
                            kName);
        return;
    }
    __android_log_print(ANDROID_LOG_DEBUG, VYR_LOG_TAG, "sucess WakeLock acquire:%s", kName);
    mHeld = true;
    ++mLockWrites;
    mCond.notify_all();
}

void WakeLock::WriteUnlock() {
    if (mUnlockFd < 0) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "Not able to open fd for wakeup:%s",
                            kName);
        return;
    }
    if (WriteName(mUnlockFd) < 1) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "failed in write:%s wake unlock",
                            kName);
        return;
    }
    __android_log_print(ANDROID_LOG_DEBUG, VYR_LOG_TAG, "sucess release %s WakeLock", kName);
    mHeld = false;
}

void WakeLock::Acquire(uint32_t count) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (count > std::numeric_limits<uint32_t>::max() - _accu_count) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG,
                            "_in_count %d will overflow max of _accu_count %u",
                            static_cast<int>(count), _accu_count);
        return;
    }
    if (_accu_count == 0 && !mHeld) {
        WriteLock();
    }
    _accu_count += count;
}

void WakeLock::Release(uint32_t count) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (count > _accu_count) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG,
                            "_in_count %d is larger than _accu_count %u", static_cast<int>(count),
                            _accu_count);
        return;
    }
    _accu_count -= count;
    if (_accu_count == 0 && mHeld) {
        WriteUnlock();
    }
}

void WakeLock::ReleaseAll() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mHeld) {
        _accu_count = 0;
        WriteUnlock();
    }
}

void WakeLock::Wait() {
    std::unique_lock<std::mutex> lock(mMutex);
    if (mHeld) {
        return;
    }
    uint64_t writes = mLockWrites;
    mCond.wait(lock, [this, writes] { return mHeld || mLockWrites != writes; });
}

uint32_t WakeLock::GetCount() {
    std::lock_guard<std::mutex> lock(mMutex);
    return _accu_count;
}

bool WakeLock::IsHeld() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mHeld;
}

WakeLock &WakeLockInstance() {
    std::lock_guard<std::mutex> lock(gInstanceMutex);
    if (gInstance == nullptr) {
        gInstance = new WakeLock();
    }
    return *gInstance;
}

#include "platform/WatchDog.h"

#include <time.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "hal/ServerCmds.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"
#include "platform/LibSysTrace.h"
#include "platform/PropertyTable.h"
#include "platform/ThreadUtils.h"

namespace {

constexpr uint32_t kDefaultTickMs = 1000;
constexpr int kSosCode = 97;

}  // namespace

WatchDog::State::State() {
    // Timed waits count on the monotonic clock, so a wall-clock change
    // neither stretches nor cuts a tick.
    pthread_condattr_init(&condAttr);
    pthread_condattr_setclock(&condAttr, CLOCK_MONOTONIC);
    pthread_cond_init(&cond, &condAttr);
    pthread_cond_init(&stopCond, &condAttr);
}

WatchDog::State::~State() {
    pthread_cond_destroy(&stopCond);
    pthread_cond_destroy(&cond);
    pthread_condattr_destroy(&condAttr);
}

WatchDog::WatchDog(VyrHal &hal) : ModuleBase("WatchDog", hal), mState(std::make_shared<State>()) {}

// The thread is detached, yet it uses this module (log, trace, frame) and the
// HAL (SOS, memory guard) on every tick. So the destructor stops it and waits
// until it has said that it is done with them; every wait of the thread ends
// at once when `running` drops. The only exception is the thread itself
// destroying the module (SOS -> exit() -> static destructors), where waiting
// would never end and nothing of the loop runs again anyway.
WatchDog::~WatchDog() {
    LOGI("+");
    {
        std::lock_guard<std::mutex> lock(mState->mutex);
        mState->running = false;
        pthread_cond_broadcast(&mState->stopCond);
    }
    ThreadBroadcast();
    WaitThreadQuit();
    LOGI("-");
}

void WatchDog::WaitThreadQuit() {
    std::unique_lock<std::mutex> lock(mState->mutex);
    if (!mState->threadStarted || mState->threadId == std::this_thread::get_id()) {
        return;
    }
    while (!mState->threadDone) {
        pthread_cond_wait(&mState->stopCond, mState->mutex.native_handle());
    }
}

bool WatchDog::PreInit() {
    LOGI("+");
    std::lock_guard<std::mutex> lock(mState->mutex);
    mState->running = true;
    return true;
}

bool WatchDog::LastInit() {
    LOGI("+");
    std::lock_guard<std::mutex> lock(mState->mutex);
    if (mState->threadStarted) {
        return true;
    }
    try {
        // The thread's own reference keeps the shared state alive until it
        // has unlocked the mutex for the last time.
        std::thread worker([this, state = mState] {
            (void)state;
            ThreadProcess();
        });
        mState->threadId = worker.get_id();
        mState->threadStarted = true;
        worker.detach();
    } catch (const std::system_error &) {
        LOGE("thread constructor failed");
        abort();
    }
    return true;
}

void WatchDog::Uninit() {
    LOGI("+");
}

bool WatchDog::InitVyrd() {
    LOGI("+");
    return AddCmd("power_time", [this](const std::string, const std::string,
                                       std::vector<uint8_t> &out) {
        SetReply(out, "active:" + std::to_string(mActiveMs) + "+idle:" + std::to_string(mIdleMs));
    });
}

void WatchDog::Broadcast() {
    pthread_cond_broadcast(&mState->cond);
}

void WatchDog::ResetWatchNode(const std::string &name, uint64_t expectMs) {
    ScopedTrace trace(mHal.GetTrace(), "ResetWatchNode");
    WatchNode node{expectMs, VyrHal::MonoTimeMs()};
    State &state = *mState;
    std::lock_guard<std::mutex> lock(state.mutex);
    auto it = state.nodes.find(name);
    if (it != state.nodes.end()) {
        // Same as erase and insert: a new start and a new expectation.
        it->second = node;
    } else if (!state.spare.empty()) {
        state.spare.key() = name;
        state.spare.mapped() = node;
        state.nodes.insert(std::move(state.spare));
    } else {
        state.nodes.emplace(name, node);
    }
    Broadcast();
}

void WatchDog::CleanWatchNode(const std::string &name) {
    ScopedTrace trace(mHal.GetTrace(), "CleanWatchNode");
    State &state = *mState;
    std::lock_guard<std::mutex> lock(state.mutex);
    auto it = state.nodes.find(name);
    if (it != state.nodes.end()) {
        state.spare = state.nodes.extract(it);
    }
    Broadcast();
}

bool WatchDog::IsTimeout() {
    ScopedTrace trace(mHal.GetTrace(), "WatchDog");
    std::lock_guard<std::mutex> lock(mState->mutex);
    uint64_t now = VyrHal::MonoTimeMs();
    bool timeout = false;
    for (const auto &[name, node] : mState->nodes) {
        uint64_t elapsed = now - node.startMs;
        LOGD("Process %s execution %dms.", name.c_str(), static_cast<int>(elapsed));
        if (node.startMs + node.expectMs <= now) {
            LOGE("Process %s no response, expect execution %dms, timeout in %dms.", name.c_str(),
                 static_cast<int>(node.expectMs), static_cast<int>(elapsed));
            timeout = true;
        }
    }
    return timeout;
}

void WatchDog::ThreadBroadcast() {
    ScopedTrace trace(mHal.GetTrace(), "ThdBroadcast");
    std::lock_guard<std::mutex> lock(mState->mutex);
    Broadcast();
}

bool WatchDog::SleepTick(std::unique_lock<std::mutex> &lock, uint32_t tickMs) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += static_cast<time_t>(tickMs / 1000);
    deadline.tv_nsec += static_cast<long>(tickMs % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    while (mState->running) {
        if (pthread_cond_timedwait(&mState->stopCond, lock.mutex()->native_handle(), &deadline) ==
            ETIMEDOUT) {
            break;
        }
    }
    return mState->running;
}

void WatchDog::ThreadProcess() {
    // Declared before any lock so that it is released last.
    std::shared_ptr<State> state = mState;
    LOGI("thread starting.");
    SetThreadName(mName);

    uint32_t tick = kDefaultTickMs;
    PropertyTable props;
    props.GetFrameTimer(tick);

    for (;;) {
        {
            ScopedTrace trace(mHal.GetTrace(), "WatchDog");
            std::unique_lock<std::mutex> lock(state->mutex);
            while (state->running && state->nodes.empty() && !mFrame.IsAvailable()) {
                pthread_cond_wait(&state->cond, state->mutex.native_handle());
            }
            if (!state->running) {
                break;
            }
        }
        if (IsTimeout()) {
            mHal.DoSos("ThreadProcess", kSosCode, false);
            break;
        }
        if (tick >= 1) {
            std::unique_lock<std::mutex> lock(state->mutex);
            if (!SleepTick(lock, tick)) {
                break;
            }
        }
        SyncFrame();
        mHal.CheckMemory();
    }
    LOGI("quit thread Process");

    std::lock_guard<std::mutex> lock(state->mutex);
    state->threadDone = true;
    pthread_cond_broadcast(&state->stopCond);
    // From here on the module may be gone; only `state` is used.
}

std::map<std::string, WatchNode> WatchDog::GetNodes() {
    std::lock_guard<std::mutex> lock(mState->mutex);
    return mState->nodes;
}

bool WatchDog::IsRunning() {
    std::lock_guard<std::mutex> lock(mState->mutex);
    return mState->running;
}

ScopedWatchNode::ScopedWatchNode(WatchDog *dog, const std::string &name, uint64_t expectMs)
    : mDog(dog) {
    if (mDog != nullptr) {
        mName = name;
        mDog->ResetWatchNode(mName, expectMs);
    }
}

ScopedWatchNode::ScopedWatchNode(WatchDog &dog, const std::string &name, uint64_t expectMs)
    : ScopedWatchNode(&dog, name, expectMs) {}

ScopedWatchNode::~ScopedWatchNode() {
    if (mDog != nullptr) {
        mDog->CleanWatchNode(mName);
    }
}

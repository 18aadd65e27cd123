// The hang detector: every long or critical operation holds a named watch
// node for its duration; one thread looks at the nodes once per tick and ends
// the process through SOS when a node has outlived its expected duration. The
// same thread drives the frame flush and the memory guard.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "hal/ModuleBase.h"

class VyrHal;

struct WatchNode {
    uint64_t expectMs = 0;
    uint64_t startMs = 0;  // CLOCK_MONOTONIC milliseconds
};

class WatchDog : public ModuleBase {
public:
    explicit WatchDog(VyrHal &hal);
    ~WatchDog() override;

    bool PreInit() override;
    bool LastInit() override;
    void Uninit() override;
    bool InitVyrd() override;

    // Data-path operations: the map under one mutex and a broadcast, nothing else.
    void ResetWatchNode(const std::string &name, uint64_t expectMs);
    void CleanWatchNode(const std::string &name);

    bool IsTimeout();
    void ThreadProcess();
    void ThreadBroadcast();

    // Snapshots for tests and dumps.
    std::map<std::string, WatchNode> GetNodes();
    bool IsRunning();

private:
    // Everything the thread shares with the module. The thread holds its own
    // reference, so the mutex outlives the module's destructor for as long as
    // the thread still unlocks it.
    struct State {
        State();
        ~State();
        State(const State &) = delete;
        State &operator=(const State &) = delete;

        bool running = false;
        pthread_condattr_t condAttr;
        std::mutex mutex;
        pthread_cond_t cond;  // node changes, stop
        // Tick sleep and the thread's end. Apart from `cond` so that the node
        // broadcasts of the data path do not wake a thread that sleeps its tick.
        pthread_cond_t stopCond;
        std::map<std::string, WatchNode> nodes;
        // A node taken out by CleanWatchNode, reused by the next insert so the
        // data path does not allocate.
        std::map<std::string, WatchNode>::node_type spare;
        bool threadStarted = false;
        bool threadDone = false;  // the thread no longer touches the module
        std::thread::id threadId;
    };

    void Broadcast();  // with mState->mutex held
    // Waits for the tick, or less when the module stops. False when stopped.
    bool SleepTick(std::unique_lock<std::mutex> &lock, uint32_t tickMs);
    void WaitThreadQuit();

    uint64_t mActiveMs = 0;
    uint64_t mIdleMs = 0;
    std::shared_ptr<State> mState;
};

// Holds a watch node for the lifetime of the guard. A null dog does nothing.
class ScopedWatchNode {
public:
    ScopedWatchNode(WatchDog *dog, const std::string &name, uint64_t expectMs);
    ScopedWatchNode(WatchDog &dog, const std::string &name, uint64_t expectMs);
    ~ScopedWatchNode();

    ScopedWatchNode(const ScopedWatchNode &) = delete;
    ScopedWatchNode &operator=(const ScopedWatchNode &) = delete;

private:
    WatchDog *mDog;
    std::string mName;
};

// The simulated sensor hub behind the fusion channel: the configuration and
// the thread that makes frames and calls the client's callback.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "FusionFrames.h"
#include "platform/api/fusion_sense_api.h"

namespace vyrsim {

class FusionHub {
public:
    // The instance of the loaded library; null only while it is unloading.
    static FusionHub *Instance();

    FusionHub();
    ~FusionHub();
    FusionHub(const FusionHub &) = delete;
    FusionHub &operator=(const FusionHub &) = delete;

    // Entry points (fusion_sense_api.h).
    int32_t Init(FusionSenseCallback_t callback, void *cookie);
    int32_t UnInit();
    int32_t Activate(const FusionSenseConfig &config, bool enable);
    int32_t Flush();

    // Test controls (fusion_sense_sim.h).
    int32_t Inject(const FSEventStruct &frame);
    int32_t HubRestart();
    void Pause(bool pause);
    bool SetChannelValue(int32_t channel, const Vec3 &value);
    bool IsOpen();
    bool IsActive();
    bool GetConfig(FusionSenseConfig *config, bool *enable);
    int32_t CallCount(const std::string &function);
    int32_t Sync(int32_t timeoutMs);
    void Reset();

    // Stops the thread for good; true when joined or never started, false
    // when that is impossible from here (own thread, forked child).
    bool Shutdown();

    static int64_t NowNs();

private:
    enum class CommandKind { kFrame, kReset };
    struct Command {
        CommandKind kind;
        FSEventStruct frame;
        uint64_t seq;
    };
    struct Delivery {
        FSEventStruct frame;
        bool reset;
    };

    // All below with mMutex held.
    bool EnsureThreadLocked();
    bool PlainOnLocked() const;
    void ForgetConfigLocked();
    void DropCommandsLocked();
    void CountLocked(const char *function);
    // Samples of the enabled channels before endNs, in time order.
    std::vector<FusionSample> TakeSamplesLocked(int64_t endNs);
    bool MakePlainFrameLocked(int64_t endNs, FSEventStruct *frame);
    void ProduceLocked(int64_t now, std::vector<Delivery> &out);
    int64_t NextWakeLocked() const;
    bool OnHubThread() const;
    void WaitIdleLocked(std::unique_lock<std::mutex> &lock);

    void ThreadLoop();

    std::mutex mMutex;
    std::condition_variable mCv;
    std::thread mThread;
    pid_t mThreadPid = 0;
    bool mStop = false;

    bool mOpen = false;
    FusionSenseCallback_t mCallback = nullptr;
    void *mCookie = nullptr;
    bool mInCallback = false;

    bool mHaveConfig = false;
    FusionSenseConfig mConfig;
    bool mEnable = false;
    bool mPaused = false;
    bool mFlushPending = false;
    int64_t mWindowStartNs = 0;
    int64_t mNextSampleNs[FUSION_SENSE_CHANNELS] = {};
    int64_t mNextBetaNs = 0;
    Vec3 mValues[FUSION_SENSE_CHANNELS];

    std::deque<Command> mCommands;
    uint64_t mQueuedSeq = 0;
    uint64_t mDoneSeq = 0;

    std::map<std::string, int32_t> mCalls;
};

}  // namespace vyrsim

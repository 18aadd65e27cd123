// Simulated sensor hub behind the fusion channel, the Linux stand-in for the
// closed "libFusionSense.so". Its rules:
// - One hub per loaded copy of the library. FusionSenseInit starts its
//   thread; every callback comes from that thread, never with a lock held.
// - FusionSenseActivate takes the whole configuration (six channel rates,
//   report rate, beta selection); a vector of another size, a negative or
//   non-finite rate, or a channel above 1000 Hz is refused.
// - Plain frames: one per report period with all samples of the enabled
//   channels of that period, time-ordered 16-byte entries, CLOCK_BOOTTIME
//   timestamp of the first sample, byte-sum checksum. Beta frames once a
//   second while betaConfig is not 0.
// - A hub restart sends reset true and forgets the configuration.
// - FusionSenseUnInit returns after the last callback; the thread stops at
//   exit (atexit) and at unload (destructor).
#include "FusionHub.h"

#include <android/log.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <new>

#define SIM_TAG "FusionSenseSim"

// The exit handler is registered with this library's handle, so an unload
// runs it and removes it.
extern "C" int __cxa_atexit(void (*func)(void *), void *arg, void *dso);
extern "C" void *__dso_handle;

namespace vyrsim {
namespace {

constexpr int32_t kErrNoDevice = -19;
constexpr int32_t kErrInvalid = -22;
constexpr float kMaxChannelRate = 1000.0f;
constexpr int32_t kMaxReportRate = 1000;
constexpr int64_t kNsPerSec = 1000000000;
constexpr int64_t kBetaPeriodNs = kNsPerSec;
// A hub this many report periods late starts a new window instead of
// catching up.
constexpr int64_t kMaxLagPeriods = 4;
constexpr int32_t kBetaMode = 1;

const Vec3 kDefaultValues[FUSION_SENSE_CHANNELS] = {
    {0.0f, 0.0f, 9.80665f}, {0.0f, 0.0f, 0.0f}, {22.0f, -5.0f, -40.0f},
    {0.0f, 0.0f, 9.80665f}, {0.0f, 0.0f, 0.0f}, {22.0f, -5.0f, -40.0f},
};

FusionHub *gInstance = nullptr;
bool gAtExitRegistered = false;

void StopAtExit(void *) {
    if (gInstance != nullptr) {
        gInstance->Shutdown();
    }
}

__attribute__((constructor)) void CreateHub() {
    gInstance = new (std::nothrow) FusionHub();
}

__attribute__((destructor)) void DestroyHub() {
    if (gInstance != nullptr && gInstance->Shutdown()) {
        delete gInstance;
        gInstance = nullptr;
    }
}

int64_t PeriodNs(float rate) {
    return static_cast<int64_t>(std::llround(kNsPerSec / rate));
}

}  // namespace

FusionHub *FusionHub::Instance() {
    return gInstance;
}

FusionHub::FusionHub() {
    std::copy(std::begin(kDefaultValues), std::end(kDefaultValues), mValues);
}

FusionHub::~FusionHub() {
    Shutdown();
}

int64_t FusionHub::NowNs() {
    timespec ts{};
    clock_gettime(CLOCK_BOOTTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * kNsPerSec + ts.tv_nsec;
}

bool FusionHub::OnHubThread() const {
    return mThread.joinable() && std::this_thread::get_id() == mThread.get_id();
}

bool FusionHub::EnsureThreadLocked() {
    if (mStop) {
        return false;
    }
    if (mThread.joinable()) {
        return true;
    }
    try {
        mThread = std::thread(&FusionHub::ThreadLoop, this);
    } catch (...) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "cannot start the hub thread");
        return false;
    }
    mThreadPid = getpid();
    if (!gAtExitRegistered) {
        gAtExitRegistered = __cxa_atexit(StopAtExit, nullptr, &__dso_handle) == 0;
    }
    return true;
}

bool FusionHub::Shutdown() {
    std::unique_lock<std::mutex> lock(mMutex);
    mStop = true;
    mCv.notify_all();
    if (!mThread.joinable()) {
        return true;
    }
    if (getpid() != mThreadPid || OnHubThread()) {
        return false;
    }
    std::thread thread = std::move(mThread);
    lock.unlock();
    thread.join();
    return true;
}

void FusionHub::CountLocked(const char *function) {
    try {
        ++mCalls[function];
    } catch (...) {
        // A lost count is not worth a failed call.
    }
}

bool FusionHub::PlainOnLocked() const {
    if (!mHaveConfig || !mEnable || mConfig.reportRate <= 0) {
        return false;
    }
    return std::any_of(mConfig.channelRates.begin(), mConfig.channelRates.end(),
                       [](float rate) { return rate > 0.0f; });
}

void FusionHub::ForgetConfigLocked() {
    mHaveConfig = false;
    mConfig = FusionSenseConfig{};
    mEnable = false;
    mFlushPending = false;
}

void FusionHub::DropCommandsLocked() {
    mCommands.clear();
    mDoneSeq = mQueuedSeq;
}

void FusionHub::WaitIdleLocked(std::unique_lock<std::mutex> &lock) {
    if (!OnHubThread()) {
        mCv.wait(lock, [&] { return !mInCallback; });
    }
}

int32_t FusionHub::Init(FusionSenseCallback_t callback, void *cookie) {
    std::lock_guard<std::mutex> lock(mMutex);
    CountLocked("FusionSenseInit");
    if (callback == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "FusionSenseInit: null callback");
        return kErrInvalid;
    }
    if (!EnsureThreadLocked()) {
        return kErrNoDevice;
    }
    mOpen = true;
    mCallback = callback;
    mCookie = cookie;
    __android_log_print(ANDROID_LOG_INFO, SIM_TAG, "fusion channel open");
    return 0;
}

int32_t FusionHub::UnInit() {
    std::unique_lock<std::mutex> lock(mMutex);
    CountLocked("FusionSenseUnInit");
    if (!mOpen) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "FusionSenseUnInit: not open");
        return kErrNoDevice;
    }
    mOpen = false;
    mCallback = nullptr;
    mCookie = nullptr;
    ForgetConfigLocked();
    DropCommandsLocked();
    mCv.notify_all();
    WaitIdleLocked(lock);
    __android_log_print(ANDROID_LOG_INFO, SIM_TAG, "fusion channel closed");
    return 0;
}

int32_t FusionHub::Activate(const FusionSenseConfig &config, bool enable) {
    std::lock_guard<std::mutex> lock(mMutex);
    CountLocked("FusionSenseActivate");
    if (!mOpen) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "FusionSenseActivate: not open");
        return kErrNoDevice;
    }
    if (config.channelRates.size() != static_cast<size_t>(FUSION_SENSE_CHANNELS)) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG,
                            "FusionSenseActivate: %zu channel rates, want %d",
                            config.channelRates.size(), FUSION_SENSE_CHANNELS);
        return kErrInvalid;
    }
    for (float rate : config.channelRates) {
        if (!std::isfinite(rate) || rate < 0.0f || rate > kMaxChannelRate) {
            __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "FusionSenseActivate: bad rate %f",
                                static_cast<double>(rate));
            return kErrInvalid;
        }
    }
    if (config.reportRate < 0 || config.reportRate > kMaxReportRate || config.bufferSize < 0) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG,
                            "FusionSenseActivate: bad report rate %d or buffer %d",
                            config.reportRate, config.bufferSize);
        return kErrInvalid;
    }
    int64_t now = NowNs();
    bool wasOn = PlainOnLocked();
    bool betaWasOn = mHaveConfig && mConfig.betaConfig != 0;
    std::vector<float> oldRates = mHaveConfig ? mConfig.channelRates : std::vector<float>{};
    try {
        mConfig = config;
    } catch (...) {
        return kErrInvalid;
    }
    mHaveConfig = true;
    mEnable = enable;
    if (PlainOnLocked()) {
        if (!wasOn) {
            mWindowStartNs = now;
        }
        for (int c = 0; c < FUSION_SENSE_CHANNELS; ++c) {
            float oldRate = wasOn && c < static_cast<int>(oldRates.size()) ? oldRates[c] : 0.0f;
            if (oldRate != mConfig.channelRates[c]) {
                mNextSampleNs[c] = std::max(now, mWindowStartNs);
            }
        }
    }
    if (!betaWasOn && mConfig.betaConfig != 0) {
        mNextBetaNs = now + kBetaPeriodNs;
    }
    __android_log_print(
        ANDROID_LOG_INFO, SIM_TAG,
        "activate enable %d report %d Hz beta %d rates %.1f %.1f %.1f %.1f %.1f %.1f", enable,
        config.reportRate, config.betaConfig, static_cast<double>(config.channelRates[0]),
        static_cast<double>(config.channelRates[1]), static_cast<double>(config.channelRates[2]),
        static_cast<double>(config.channelRates[3]), static_cast<double>(config.channelRates[4]),
        static_cast<double>(config.channelRates[5]));
    mCv.notify_all();
    return 0;
}

int32_t FusionHub::Flush() {
    std::lock_guard<std::mutex> lock(mMutex);
    CountLocked("FusionSenseFlush");
    if (!mOpen) {
        return kErrNoDevice;
    }
    mFlushPending = true;
    mCv.notify_all();
    return 0;
}

int32_t FusionHub::Inject(const FSEventStruct &frame) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mOpen || mStop) {
        return -1;
    }
    try {
        mCommands.push_back(Command{CommandKind::kFrame, frame, ++mQueuedSeq});
    } catch (...) {
        return -1;
    }
    mCv.notify_all();
    return 0;
}

int32_t FusionHub::HubRestart() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mOpen || mStop) {
        return -1;
    }
    try {
        mCommands.push_back(Command{CommandKind::kReset, FSEventStruct{}, ++mQueuedSeq});
    } catch (...) {
        return -1;
    }
    mCv.notify_all();
    return 0;
}

void FusionHub::Pause(bool pause) {
    std::lock_guard<std::mutex> lock(mMutex);
    mPaused = pause;
    mCv.notify_all();
}

bool FusionHub::SetChannelValue(int32_t channel, const Vec3 &value) {
    if (channel < 0 || channel >= FUSION_SENSE_CHANNELS) {
        return false;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    mValues[channel] = value;
    return true;
}

bool FusionHub::IsOpen() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mOpen;
}

bool FusionHub::IsActive() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mOpen && PlainOnLocked();
}

bool FusionHub::GetConfig(FusionSenseConfig *config, bool *enable) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mHaveConfig) {
        return false;
    }
    try {
        if (config != nullptr) {
            *config = mConfig;
        }
    } catch (...) {
        return false;
    }
    if (enable != nullptr) {
        *enable = mEnable;
    }
    return true;
}

int32_t FusionHub::CallCount(const std::string &function) {
    static const char *const kNames[] = {"FusionSenseInit", "FusionSenseUnInit",
                                         "FusionSenseActivate", "FusionSenseFlush"};
    if (std::find(std::begin(kNames), std::end(kNames), function) == std::end(kNames)) {
        return -1;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    auto it = mCalls.find(function);
    return it != mCalls.end() ? it->second : 0;
}

int32_t FusionHub::Sync(int32_t timeoutMs) {
    std::unique_lock<std::mutex> lock(mMutex);
    if (OnHubThread()) {
        return -1;
    }
    uint64_t seq = mQueuedSeq;
    bool done = mCv.wait_for(lock, std::chrono::milliseconds(std::max(timeoutMs, 0)), [&] {
        return !mInCallback && (mDoneSeq >= seq || !mThread.joinable() || mStop);
    });
    return done ? 0 : -1;
}

void FusionHub::Reset() {
    std::unique_lock<std::mutex> lock(mMutex);
    mOpen = false;
    mCallback = nullptr;
    mCookie = nullptr;
    ForgetConfigLocked();
    DropCommandsLocked();
    mPaused = false;
    mCalls.clear();
    std::copy(std::begin(kDefaultValues), std::end(kDefaultValues), mValues);
    mCv.notify_all();
    WaitIdleLocked(lock);
}

std::vector<FusionSample> FusionHub::TakeSamplesLocked(int64_t endNs) {
    std::vector<FusionSample> samples;
    for (int c = 0; c < FUSION_SENSE_CHANNELS; ++c) {
        float rate = mConfig.channelRates[c];
        if (rate <= 0.0f) {
            continue;
        }
        int64_t period = std::max<int64_t>(PeriodNs(rate), 1);
        for (; mNextSampleNs[c] < endNs; mNextSampleNs[c] += period) {
            samples.push_back(FusionSample{mNextSampleNs[c], c, mValues[c]});
        }
    }
    std::stable_sort(
        samples.begin(), samples.end(),
        [](const FusionSample &a, const FusionSample &b) { return a.timeNs < b.timeNs; });
    return samples;
}

bool FusionHub::MakePlainFrameLocked(int64_t endNs, FSEventStruct *frame) {
    std::vector<FusionSample> samples = TakeSamplesLocked(endNs);
    if (samples.empty()) {
        return false;
    }
    frame->mode = 0;
    frame->modeArg = 0;
    frame->timestamp = static_cast<uint64_t>(samples.front().timeNs);
    frame->reportRate = static_cast<float>(mConfig.reportRate);
    frame->data = EncodeEntries(samples);
    frame->checksum = ByteSum(frame->data.data(), frame->data.size());
    return true;
}

void FusionHub::ProduceLocked(int64_t now, std::vector<Delivery> &out) {
    if (PlainOnLocked()) {
        int64_t period = std::max<int64_t>(kNsPerSec / mConfig.reportRate, 1);
        if (mPaused || now - mWindowStartNs > (kMaxLagPeriods + 1) * period) {
            // Paused or stalled: the samples of the gap are lost.
            mWindowStartNs = std::max(mWindowStartNs, now - period);
            for (int64_t &next : mNextSampleNs) {
                next = std::max(next, mWindowStartNs);
            }
        }
        FSEventStruct frame;
        while (!mPaused && mWindowStartNs + period <= now) {
            int64_t end = mWindowStartNs + period;
            if (MakePlainFrameLocked(end, &frame)) {
                out.push_back(Delivery{frame, false});
            }
            mWindowStartNs = end;
        }
        if (mFlushPending && !mPaused) {
            if (MakePlainFrameLocked(now + 1, &frame)) {
                out.push_back(Delivery{frame, false});
            }
            mWindowStartNs = now + 1;
        }
    }
    mFlushPending = false;
    if (mHaveConfig && mConfig.betaConfig != 0 && now >= mNextBetaNs) {
        mNextBetaNs = now + kBetaPeriodNs;
        if (!mPaused) {
            FSEventStruct frame;
            frame.mode = kBetaMode;
            frame.timestamp = static_cast<uint64_t>(now);
            frame.reportRate = static_cast<float>(mConfig.reportRate);
            frame.data = EncodeBetaFrame(static_cast<uint32_t>(now / 1000000), mValues[0]);
            frame.checksum = ByteSum(frame.data.data(), frame.data.size());
            out.push_back(Delivery{frame, false});
        }
    }
}

int64_t FusionHub::NextWakeLocked() const {
    int64_t wake = INT64_MAX;
    if (PlainOnLocked()) {
        wake = mWindowStartNs + std::max<int64_t>(kNsPerSec / mConfig.reportRate, 1);
    }
    if (mHaveConfig && mConfig.betaConfig != 0) {
        wake = std::min(wake, mNextBetaNs);
    }
    return wake;
}

void FusionHub::ThreadLoop() {
    std::vector<Delivery> out;
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mStop) {
        out.clear();
        FusionSenseCallback_t callback = mCallback;
        void *cookie = mCookie;
        uint64_t doneSeq = mDoneSeq;
        try {
            while (!mCommands.empty()) {
                Command command = std::move(mCommands.front());
                mCommands.pop_front();
                doneSeq = command.seq;
                if (command.kind == CommandKind::kReset) {
                    ForgetConfigLocked();
                    out.push_back(Delivery{FSEventStruct{}, true});
                } else {
                    out.push_back(Delivery{std::move(command.frame), false});
                }
            }
            if (mOpen) {
                ProduceLocked(NowNs(), out);
            }
        } catch (...) {
            __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "out of memory, frames lost");
        }
        if (!out.empty() && callback != nullptr) {
            mInCallback = true;
            for (Delivery &delivery : out) {
                // Closed or replaced meanwhile (also from within the
                // callback): nothing more for this callback.
                if (mCallback != callback || mCookie != cookie) {
                    break;
                }
                lock.unlock();
                callback(delivery.frame, delivery.reset, cookie);
                lock.lock();
            }
            mInCallback = false;
        }
        mDoneSeq = std::max(mDoneSeq, doneSeq);
        mCv.notify_all();
        if (!mCommands.empty() || mStop || mFlushPending) {
            continue;
        }
        int64_t wake = mOpen ? NextWakeLocked() : INT64_MAX;
        if (wake == INT64_MAX) {
            mCv.wait(lock);
        } else {
            mCv.wait_for(lock, std::chrono::nanoseconds(std::max<int64_t>(wake - NowNs(), 0)));
        }
    }
}

}  // namespace vyrsim

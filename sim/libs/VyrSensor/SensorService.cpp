// Simulated sensor service of the phone, the Linux stand-in for the closed
// "libVyrSensor.so". Its rules:
// - One service per loaded copy of the library. VyrInit starts its thread;
//   every callback comes from that thread, never with a lock held, so a
//   callback may call back into the service.
// - Events: version 104, sensor = handle, timestamps in CLOCK_BOOTTIME ns.
//   A continuous sensor reports at its period (the period asked, never below
//   its minimum delay); an on-change sensor reports when enabled and then
//   only when its value changes. A batch latency holds events in a FIFO and
//   delivers them together.
// - Values come from the scenario (built-in or recorded CSV).
// - Death: one callback with ok false, then silence; enables are forgotten
//   and the old sensor objects are refused from then on.
// - The thread stops at exit (atexit) and at unload (destructor), and is
//   joined unless that is impossible (exit from the callback, forked child).
#include "SensorService.h"

#include <android/log.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "device_path.h"

#define SIM_TAG "VyrSensorSim"

// The exit handler is registered with this library's handle, so an unload
// runs it and removes it.
extern "C" int __cxa_atexit(void (*func)(void *), void *arg, void *dso);
extern "C" void *__dso_handle;

namespace vyrsim {
namespace {

constexpr int32_t kErrNoDevice = -19;
constexpr int32_t kErrInvalid = -22;
constexpr int32_t kErrNoMemory = -12;
// Shortest period of an on-change sensor, and the longest of any sensor.
constexpr int64_t kMinOnChangePeriodNs = 1000000;
// How often the modem pseudo-sensor looks at the scenario.
constexpr int64_t kModemPollNs = 50000000;
constexpr int64_t kMaxPeriodNs = 60LL * 1000000000LL;
// FIFO of a batching sensor that lists no FIFO size.
constexpr size_t kDefaultFifo = 1000;
// A sensor this many periods late is resynchronised instead of catching up.
constexpr int64_t kMaxLagPeriods = 4;

SensorService *gInstance = nullptr;
bool gAtExitRegistered = false;

void StopAtExit(void *) {
    if (gInstance != nullptr) {
        gInstance->Shutdown();
    }
}

__attribute__((constructor)) void CreateService() {
    gInstance = new (std::nothrow) SensorService();
}

__attribute__((destructor)) void DestroyService() {
    if (gInstance != nullptr && gInstance->Shutdown()) {
        delete gInstance;
        gInstance = nullptr;
    }
}

ASensorEvent MakeEvent(const SensorInfo &info, int64_t timestamp, const SensorValues &values) {
    ASensorEvent event;
    memset(&event, 0, sizeof(event));
    event.version = static_cast<int32_t>(sizeof(ASensorEvent));
    event.sensor = info.handle;
    event.type = info.type;
    event.timestamp = timestamp;
    memcpy(event.data, values.data(), sizeof(event.data));
    return event;
}

}  // namespace

SensorService *SensorService::Instance() {
    return gInstance;
}

SensorService::SensorService()
    : mActive(SensorTableSize()), mScenario(MakeBuiltinScenario("rest")) {}

SensorService::~SensorService() {
    Shutdown();
}

int64_t SensorService::NowNs() {
    timespec ts{};
    clock_gettime(CLOCK_BOOTTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

bool SensorService::OnServiceThread() const {
    return mThread.joinable() && std::this_thread::get_id() == mThread.get_id();
}

bool SensorService::EnsureThreadLocked() {
    if (mStop) {
        return false;
    }
    if (mThread.joinable()) {
        return true;
    }
    try {
        mThread = std::thread(&SensorService::ThreadLoop, this);
    } catch (...) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "cannot start the service thread");
        return false;
    }
    mThreadPid = getpid();
    if (!gAtExitRegistered) {
        // Registered after the client exists, so it runs before the client's
        // static objects go away; tied to this library, so an unload drops it.
        gAtExitRegistered = __cxa_atexit(StopAtExit, nullptr, &__dso_handle) == 0;
    }
    return true;
}

bool SensorService::Shutdown() {
    std::unique_lock<std::mutex> lock(mMutex);
    mStop = true;
    mCv.notify_all();
    if (!mThread.joinable()) {
        return true;
    }
    if (getpid() != mThreadPid || OnServiceThread()) {
        return false;
    }
    std::thread thread = std::move(mThread);
    lock.unlock();
    thread.join();
    return true;
}

void SensorService::NewGenerationLocked() {
    size_t count = SensorTableSize();
    Generation gen;
    gen.objects.reset(new SensorObject[count]);
    gen.refs.reset(new VyrSensorRef[count]);
    for (size_t i = 0; i < count; ++i) {
        gen.objects[i] = SensorObject{SensorTable()[i], i};
        gen.refs[i] = &gen.objects[i];
    }
    mGenerations.push_back(std::move(gen));
    mCurGen = static_cast<int>(mGenerations.size()) - 1;
}

void SensorService::DropCommandsLocked() {
    mCommands.clear();
    mDoneSeq = mQueuedSeq;
}

void SensorService::ForgetEnablesLocked() {
    for (ActiveSensor &active : mActive) {
        active = ActiveSensor{};
    }
}

int32_t SensorService::Init(VyrSensorEventCallback_t callback, void *cookie) {
    if (callback == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "VyrInit: null callback");
        return kErrInvalid;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mAlive) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "VyrInit: sensor service is dead");
        return kErrNoDevice;
    }
    if (!EnsureThreadLocked()) {
        return kErrNoDevice;
    }
    try {
        if (mCurGen < 0) {
            NewGenerationLocked();
        }
    } catch (...) {
        return kErrNoMemory;
    }
    mCallback = callback;
    mCookie = cookie;
    mCv.notify_all();
    __android_log_print(ANDROID_LOG_INFO, SIM_TAG, "VyrInit: connected, %zu sensors",
                        SensorTableSize());
    return 0;
}

int32_t SensorService::GetList(VyrSensorRef const **list) {
    if (list == nullptr) {
        return kErrInvalid;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    if (mCurGen < 0 || mCallback == nullptr) {
        return kErrNoDevice;
    }
    *list = mGenerations[static_cast<size_t>(mCurGen)].refs.get();
    return static_cast<int32_t>(SensorTableSize());
}

const SensorInfo *SensorService::Describe(VyrSensorRef sensor) {
    if (sensor == nullptr) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    auto address = reinterpret_cast<uintptr_t>(sensor);
    for (const Generation &gen : mGenerations) {
        auto first = reinterpret_cast<uintptr_t>(gen.objects.get());
        auto end = first + SensorTableSize() * sizeof(SensorObject);
        if (address >= first && address < end && (address - first) % sizeof(SensorObject) == 0) {
            return &static_cast<const SensorObject *>(sensor)->info;
        }
    }
    return nullptr;
}

int32_t SensorService::FindCurrent(VyrSensorRef sensor, const char *what) const {
    if (mCurGen >= 0 && sensor != nullptr) {
        const Generation &gen = mGenerations[static_cast<size_t>(mCurGen)];
        for (size_t i = 0; i < SensorTableSize(); ++i) {
            if (gen.refs[i] == sensor) {
                return static_cast<int32_t>(i);
            }
        }
    }
    __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "%s: unknown or stale sensor %p", what, sensor);
    return -1;
}

int32_t SensorService::Enable(VyrSensorRef sensor, int32_t periodUs, int32_t batchUs) {
    std::lock_guard<std::mutex> lock(mMutex);
    int32_t index = FindCurrent(sensor, "VyrEnableSensor");
    if (index < 0) {
        return kErrInvalid;
    }
    if (periodUs < 0 || batchUs < 0) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "VyrEnableSensor: bad period %d batch %d",
                            periodUs, batchUs);
        return kErrInvalid;
    }
    const SensorInfo &info = SensorTable()[index];
    ActiveSensor &active = mActive[static_cast<size_t>(index)];
    bool onChange = IsOnChange(info);
    int64_t periodNs = static_cast<int64_t>(periodUs) * 1000;
    int64_t minNs = onChange ? kMinOnChangePeriodNs : static_cast<int64_t>(info.minDelayUs) * 1000;
    periodNs = std::clamp(periodNs, std::max<int64_t>(minNs, kMinOnChangePeriodNs), kMaxPeriodNs);
    int64_t now = NowNs();
    bool wasEnabled = active.enabled;
    active.enabled = true;
    active.periodUs = periodUs;
    active.batchUs = batchUs;
    active.periodNs = periodNs;
    active.batchNs = static_cast<int64_t>(batchUs) * 1000;
    if (!onChange) {
        active.nextDueNs = now + periodNs;
    } else if (!wasEnabled) {
        // An on-change sensor tells its value at once when it starts.
        active.nextDueNs = now;
        active.haveLast = false;
    } else {
        active.nextDueNs = std::min(active.nextDueNs, now + periodNs);
    }
    ++mEnableCounts[info.type];
    __android_log_print(ANDROID_LOG_INFO, SIM_TAG, "enable %s period %d us batch %d us", info.name,
                        periodUs, batchUs);
    mCv.notify_all();
    return 0;
}

int32_t SensorService::Disable(VyrSensorRef sensor) {
    std::lock_guard<std::mutex> lock(mMutex);
    int32_t index = FindCurrent(sensor, "VyrDisableSensor");
    if (index < 0) {
        return kErrInvalid;
    }
    const SensorInfo &info = SensorTable()[index];
    mActive[static_cast<size_t>(index)] = ActiveSensor{};
    ++mDisableCounts[info.type];
    __android_log_print(ANDROID_LOG_INFO, SIM_TAG, "disable %s", info.name);
    mCv.notify_all();
    return 0;
}

int32_t SensorService::Inject(const ASensorEvent &event) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mCallback == nullptr || mStop) {
        return -1;
    }
    try {
        mCommands.push_back(Command{CommandKind::kInject, event, ++mQueuedSeq});
    } catch (...) {
        return -1;
    }
    mCv.notify_all();
    return 0;
}

std::map<int32_t, SensorValues> SensorService::CurrentValuesLocked(int64_t now) const {
    std::map<int32_t, SensorValues> values;
    for (size_t i = 0; i < SensorTableSize(); ++i) {
        int32_t type = SensorTable()[i].type;
        values[type] = mScenario->ValuesAt(type, now - mScenarioStartNs);
    }
    return values;
}

int32_t SensorService::Play(const std::string &nameOrPath) {
    try {
        std::unique_ptr<SensorScenario> scenario = MakeBuiltinScenario(nameOrPath);
        if (scenario == nullptr) {
            std::map<int32_t, SensorValues> base;
            {
                std::lock_guard<std::mutex> lock(mMutex);
                base = CurrentValuesLocked(NowNs());
            }
            std::string error;
            scenario = LoadCsvScenario(MapDevicePath(nameOrPath), std::move(base), &error);
            if (scenario == nullptr) {
                __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "scenario \"%s\": %s",
                                    nameOrPath.c_str(), error.c_str());
                return -1;
            }
        }
        std::lock_guard<std::mutex> lock(mMutex);
        mScenario = std::move(scenario);
        mScenarioStartNs = NowNs();
        mCv.notify_all();
        __android_log_print(ANDROID_LOG_INFO, SIM_TAG, "playing scenario \"%s\"",
                            nameOrPath.c_str());
        return 0;
    } catch (...) {
        return -1;
    }
}

void SensorService::StopScenario() {
    std::lock_guard<std::mutex> lock(mMutex);
    try {
        int64_t now = NowNs();
        mScenario = MakeHoldScenario(CurrentValuesLocked(now));
        mScenarioStartNs = now;
    } catch (...) {
        __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "cannot stop the scenario");
    }
}

bool SensorService::ScenarioRunning() {
    std::lock_guard<std::mutex> lock(mMutex);
    int64_t duration = mScenario->DurationNs();
    return duration < 0 || NowNs() - mScenarioStartNs < duration;
}

void SensorService::Die() {
    std::unique_lock<std::mutex> lock(mMutex);
    if (!mAlive) {
        return;
    }
    __android_log_print(ANDROID_LOG_WARN, SIM_TAG, "sensor service dies");
    if (!mThread.joinable() || mStop) {
        // Nobody was ever told anything: no callback to make.
        mAlive = false;
        mCallback = nullptr;
        mCookie = nullptr;
        mCurGen = -1;
        ForgetEnablesLocked();
        DropCommandsLocked();
        return;
    }
    uint64_t seq = 0;
    try {
        seq = ++mQueuedSeq;
        mCommands.push_back(Command{CommandKind::kDie, ASensorEvent{}, seq});
    } catch (...) {
        return;
    }
    mCv.notify_all();
    if (OnServiceThread()) {
        return;
    }
    mCv.wait(lock, [&] { return mStop || (mDoneSeq >= seq && !mInCallback); });
}

void SensorService::Restart() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mAlive) {
        __android_log_print(ANDROID_LOG_INFO, SIM_TAG, "sensor service restarted");
    }
    mAlive = true;
}

bool SensorService::Alive() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mAlive;
}

int32_t SensorService::PeriodUs(int32_t type) {
    std::lock_guard<std::mutex> lock(mMutex);
    int32_t best = 0;
    for (size_t i = 0; i < mActive.size(); ++i) {
        const ActiveSensor &active = mActive[i];
        if (!active.enabled || SensorTable()[i].type != type) {
            continue;
        }
        // A period of 0 (as fast as possible) reads as the one applied.
        int32_t period =
            active.periodUs > 0 ? active.periodUs : static_cast<int32_t>(active.periodNs / 1000);
        if (best == 0 || period < best) {
            best = period;
        }
    }
    return best;
}

int32_t SensorService::BatchUs(int32_t type) {
    std::lock_guard<std::mutex> lock(mMutex);
    const ActiveSensor *fastest = nullptr;
    for (size_t i = 0; i < mActive.size(); ++i) {
        const ActiveSensor &active = mActive[i];
        if (active.enabled && SensorTable()[i].type == type &&
            (fastest == nullptr || active.periodNs < fastest->periodNs)) {
            fastest = &active;
        }
    }
    return fastest != nullptr ? fastest->batchUs : 0;
}

int32_t SensorService::EnableCount(int32_t type) {
    std::lock_guard<std::mutex> lock(mMutex);
    auto it = mEnableCounts.find(type);
    return it != mEnableCounts.end() ? it->second : 0;
}

int32_t SensorService::DisableCount(int32_t type) {
    std::lock_guard<std::mutex> lock(mMutex);
    auto it = mDisableCounts.find(type);
    return it != mDisableCounts.end() ? it->second : 0;
}

int32_t SensorService::Sync(int32_t timeoutMs) {
    std::unique_lock<std::mutex> lock(mMutex);
    if (OnServiceThread()) {
        return -1;
    }
    uint64_t seq = mQueuedSeq;
    bool done = mCv.wait_for(lock, std::chrono::milliseconds(std::max(timeoutMs, 0)), [&] {
        return !mInCallback && (mDoneSeq >= seq || !mThread.joinable() || mStop);
    });
    return done ? 0 : -1;
}

void SensorService::WaitIdleLocked(std::unique_lock<std::mutex> &lock) {
    if (!OnServiceThread()) {
        mCv.wait(lock, [&] { return !mInCallback; });
    }
}

void SensorService::Detach() {
    std::unique_lock<std::mutex> lock(mMutex);
    mCallback = nullptr;
    mCookie = nullptr;
    DropCommandsLocked();
    WaitIdleLocked(lock);
}

void SensorService::Reset() {
    std::unique_lock<std::mutex> lock(mMutex);
    mCallback = nullptr;
    mCookie = nullptr;
    mAlive = true;
    mCurGen = -1;
    ForgetEnablesLocked();
    DropCommandsLocked();
    mEnableCounts.clear();
    mDisableCounts.clear();
    mScenario = MakeBuiltinScenario("rest");
    mScenarioStartNs = NowNs();
    mModemLast = RestValues(kTypeModem);
    mCv.notify_all();
    WaitIdleLocked(lock);
}

void SensorService::ProduceModemLocked(int64_t now, std::vector<Delivery> &out) {
    SensorValues values = mScenario->ValuesAt(kTypeModem, now - mScenarioStartNs);
    if (values == mModemLast) {
        return;
    }
    mModemLast = values;
    ASensorEvent event;
    memset(&event, 0, sizeof(event));
    event.version = static_cast<int32_t>(sizeof(ASensorEvent));
    event.sensor = kTypeModem;
    event.type = kTypeModem;
    event.timestamp = now;
    for (size_t i = 0; i < 3; ++i) {
        const int64_t word = static_cast<int64_t>(values[i]);
        event.u64.data[2 * i] = static_cast<uint64_t>(word);
    }
    out.push_back(Delivery{event, true});
}

void SensorService::ProduceLocked(int64_t now, std::vector<Delivery> &out) {
    ProduceModemLocked(now, out);
    for (size_t i = 0; i < mActive.size(); ++i) {
        ActiveSensor &active = mActive[i];
        if (!active.enabled) {
            continue;
        }
        const SensorInfo &info = SensorTable()[i];
        bool onChange = IsOnChange(info);
        if (now - active.nextDueNs > kMaxLagPeriods * active.periodNs) {
            active.nextDueNs = now;
        }
        while (active.nextDueNs <= now) {
            int64_t timestamp = active.nextDueNs;
            active.nextDueNs += active.periodNs;
            SensorValues values = mScenario->ValuesAt(info.type, timestamp - mScenarioStartNs);
            if (onChange) {
                if (active.haveLast && values == active.last) {
                    continue;
                }
                active.last = values;
                active.haveLast = true;
            }
            ASensorEvent event = MakeEvent(info, timestamp, values);
            if (active.batchNs <= 0) {
                out.push_back(Delivery{event, true});
                continue;
            }
            size_t capacity = info.fifoMax > 0 ? static_cast<size_t>(info.fifoMax) : kDefaultFifo;
            if (active.fifo.size() >= capacity) {
                active.fifo.pop_front();
            }
            active.fifo.push_back(event);
        }
        if (!active.fifo.empty() && now - active.fifo.front().timestamp >= active.batchNs) {
            for (const ASensorEvent &event : active.fifo) {
                out.push_back(Delivery{event, true});
            }
            active.fifo.clear();
        }
    }
}

int64_t SensorService::NextWakeLocked() const {
    int64_t wake = INT64_MAX;
    // The modem is watched while a scenario still changes.
    const int64_t now = NowNs();
    const int64_t duration = mScenario->DurationNs();
    if (duration < 0 || now - mScenarioStartNs <= duration) {
        wake = now + kModemPollNs;
    }
    for (const ActiveSensor &active : mActive) {
        if (!active.enabled) {
            continue;
        }
        wake = std::min(wake, active.nextDueNs);
        if (!active.fifo.empty()) {
            wake = std::min(wake, active.fifo.front().timestamp + active.batchNs);
        }
    }
    return wake;
}

void SensorService::ThreadLoop() {
    std::vector<Delivery> out;
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mStop) {
        out.clear();
        int64_t now = NowNs();
        VyrSensorEventCallback_t callback = mCallback;
        void *cookie = mCookie;
        uint64_t doneSeq = mDoneSeq;
        try {
            while (!mCommands.empty()) {
                const Command &command = mCommands.front();
                if (command.kind == CommandKind::kInject) {
                    if (mCallback != nullptr) {
                        out.push_back(Delivery{command.event, true});
                    }
                    doneSeq = command.seq;
                    mCommands.pop_front();
                    continue;
                }
                if (!out.empty()) {
                    // What came before the death is delivered first.
                    break;
                }
                doneSeq = command.seq;
                mCommands.pop_front();
                // The service dies: one last call, then nothing.
                if (mCallback != nullptr) {
                    out.push_back(Delivery{ASensorEvent{}, false});
                }
                mAlive = false;
                mCallback = nullptr;
                mCookie = nullptr;
                mCurGen = -1;
                ForgetEnablesLocked();
            }
            if (mCallback != nullptr) {
                ProduceLocked(now, out);
            }
        } catch (...) {
            __android_log_print(ANDROID_LOG_ERROR, SIM_TAG, "out of memory, events lost");
        }
        if (!out.empty() && callback != nullptr) {
            mInCallback = true;
            for (const Delivery &delivery : out) {
                // A callback dropped meanwhile (Detach, Reset, a new VyrInit,
                // also from within the callback) gets nothing more; the
                // death notice goes to the one that was there.
                if (delivery.ok && (mCallback != callback || mCookie != cookie)) {
                    break;
                }
                lock.unlock();
                callback(&delivery.event, delivery.ok, cookie);
                lock.lock();
            }
            mInCallback = false;
        }
        mDoneSeq = std::max(mDoneSeq, doneSeq);
        mCv.notify_all();
        if (!mCommands.empty() || mStop) {
            continue;
        }
        int64_t wake = NextWakeLocked();
        if (mCallback == nullptr || wake == INT64_MAX) {
            mCv.wait(lock);
        } else {
            int64_t waitNs = std::max<int64_t>(wake - NowNs(), 0);
            mCv.wait_for(lock, std::chrono::nanoseconds(waitNs));
        }
    }
}

}  // namespace vyrsim

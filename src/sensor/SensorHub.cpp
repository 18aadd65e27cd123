#include "sensor/SensorHub.h"

#include <android/log.h>
#include <boundchk.h>

#include <chrono>
#include <cstring>
#include <new>
#include <system_error>

#include "hal/ServerCmds.h"
#include "hal/VyrHal.h"
#include "log/VyrFrame.h"
#include "platform/LibSysTrace.h"
#include "platform/LibVyrFusion.h"
#include "platform/LibVyrSensor.h"
#include "platform/Sysfs.h"
#include "platform/ThreadUtils.h"
#include "platform/WatchDog.h"
#include "sensor/VyrFusionBeta.h"

namespace {

constexpr uint64_t kProcessExpectMs = 20000;
constexpr const char *kProcessNode = "ProcessSensorEvent110";
// How long a stop during SOS waits for a busy thread before it lets it be.
constexpr auto kSosStopWait = std::chrono::milliseconds(2000);

}  // namespace

// The cookie of both library callbacks. The libraries keep its address for
// as long as they like, so it is never freed; the hub detaches from it before
// it goes away, and waits for the calls in flight.
struct SensorHubGate {
    std::mutex mutex;
    std::condition_variable cond;
    SensorHub *hub = nullptr;
    int active = 0;

    SensorHub *Enter() {
        std::lock_guard<std::mutex> lock(mutex);
        if (hub != nullptr) {
            ++active;
        }
        return hub;
    }

    void Leave() {
        std::lock_guard<std::mutex> lock(mutex);
        if (--active == 0) {
            cond.notify_all();
        }
    }

    // Bounded on the way out of an SOS, which may start inside a callback.
    void Close(bool bounded) {
        std::unique_lock<std::mutex> lock(mutex);
        hub = nullptr;
        if (bounded) {
            cond.wait_for(lock, kSosStopWait, [this] { return active == 0; });
        } else {
            cond.wait(lock, [this] { return active == 0; });
        }
    }
};

namespace {

// Gates stay reachable for the leak checker.
SensorHubGate *NewGate(SensorHub *hub) {
    static std::mutex keepMutex;
    static auto *keep = new std::vector<SensorHubGate *>();
    auto *gate = new SensorHubGate();
    gate->hub = hub;
    std::lock_guard<std::mutex> lock(keepMutex);
    keep->push_back(gate);
    return gate;
}

class GateCall {
public:
    explicit GateCall(void *cookie) : mGate(static_cast<SensorHubGate *>(cookie)) {
        mHub = mGate != nullptr ? mGate->Enter() : nullptr;
    }
    ~GateCall() {
        if (mHub != nullptr) {
            mGate->Leave();
        }
    }
    GateCall(const GateCall &) = delete;
    GateCall &operator=(const GateCall &) = delete;
    SensorHub *Hub() const { return mHub; }

private:
    SensorHubGate *mGate;
    SensorHub *mHub = nullptr;
};

}  // namespace

struct SensorHub::PrivateSensorRow {
    int32_t type;
    const char *typeText;  // null: no frame type
    const char *name;
    bool onChange;
};

SensorHub::SensorHub(VyrHal &hal)
    : ModuleBase("SensorHub", hal), mQueue(std::make_shared<QueueState>()), mGate(NewGate(this)) {
    mFusionConfig.channelRates.assign(FUSION_SENSE_CHANNELS, 0.0f);
}

SensorHub::~SensorHub() {
    LOGI("+");
    if (!mStopped) {
        StopThread();
        CloseCallbacks();
    }
    mSensors.clear();
    mPrivateSensors.clear();
    mFusionBeta.reset();
    mFusionLib.reset();
    mSensorLib.reset();
}

bool SensorHub::PreInit() {
    LOGI("+");
    InitFusionSensor();
    static const PrivateSensorRow kBetaRows[] = {
        {FamilySensor(SENSOR_TYPE_AR_BETA_BASE, 0), "SENSOR_TYPE_AR_BETA_ACC",
         "AR_BETA_ACC Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_AR_BETA_BASE, 1), "SENSOR_TYPE_AR_BETA_MAG",
         "AR_BETA_MAG Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_AR_BETA_BASE, 2), "SENSOR_TYPE_AR_BETA_MODEM",
         "AR_BETA_MODEM Non-wakeup", true},
        {FamilySensor(SENSOR_TYPE_AR_BETA_BASE, 3), "SENSOR_TYPE_AR_BETA_RESULT",
         "AR_BETA_RESULT Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_BETA_BASE, 0), "SENSOR_TYPE_MOTION_BETA_ACC",
         "MOTION_BETA_ACC Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_BETA_BASE, 1), "SENSOR_TYPE_MOTION_BETA_GYRO",
         "MOTION_BETA_GYRO Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_BETA_BASE, 2), "SENSOR_TYPE_MOTION_BETA_PROXIMITY",
         "MOTION_BETA_PROXIMITY Non-wakeup", true},
        {FamilySensor(SENSOR_TYPE_MOTION_BETA_BASE, 3), "SENSOR_TYPE_MOTION_BETA_RESULT",
         "MOTION_BETA_RESULT Non-wakeup", true},
    };
    static const PrivateSensorRow kCommonRows[] = {
        {FamilySensor(SENSOR_TYPE_AR_REFILL_BASE, 0), "SENSOR_TYPE_AR_REFILL_ACC",
         "AR_REFILL_ACC Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_AR_REFILL_BASE, 1), "SENSOR_TYPE_AR_REFILL_MAG",
         "AR_REFILL_MAG Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_AR_REFILL_BASE, 2), "SENSOR_TYPE_AR_REFILL_MODEM",
         "AR_REFILL_MODEM Non-wakeup", true},
        {FamilySensor(SENSOR_TYPE_AR_REFILL_BASE, 3), "SENSOR_TYPE_AR_REFILL_RESULT",
         "AR_REFILL_RESULT Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 0), "SENSOR_TYPE_FLIP_REFILL_ACC",
         "FLIP_REFILL_ACC Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 1), "SENSOR_TYPE_HEADDOWN_REFILL_ACC",
         "HEADDOWN_REFILL_ACC Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 2), "SENSOR_TYPE_HEADDOWN_REFILL_GYRO",
         "HEADDOWN_REFILL_GYRO Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 3), "SENSOR_TYPE_HEADDOWN_REFILL_PS",
         "HEADDOWN_REFILL_PS Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 4), "SENSOR_TYPE_HEADDOWN_REFILL_ALS",
         "HEADDOWN_REFILL_ALS Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 5), "SENSOR_TYPE_PICKCALL_REFILL_ACC",
         "PICKCALL_REFILL_ACC Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 6), "SENSOR_TYPE_PICKCALL_REFILL_GYRO",
         "PICKCALL_REFILL_GYRO Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 7), "SENSOR_TYPE_PICKCALL_REFILL_PS",
         "PICKCALL_REFILL_PS Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 8), "SENSOR_TYPE_PICKCALL_REFILL_SHOCK",
         "PICKCALL_REFILL_SHOCK Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 9), "SENSOR_TYPE_PICKUP_REFILL_ACC",
         "PICKUP_REFILL_ACC Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 10), "SENSOR_TYPE_PICKUP_REFILL_GYRO",
         "PICKUP_REFILL_GYRO Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 11), "SENSOR_TYPE_PICKUP_REFILL_SHOCK",
         "PICKUP_REFILL_SHOCK Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 12), "SENSOR_TYPE_ROTATION_REFILL_ACC1",
         "ROTATION_REFILL_ACC1 Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 13), "SENSOR_TYPE_ROTATION_REFILL_ACC2",
         "ROTATION_REFILL_ACC2 Non-wakeup", false},
        {FamilySensor(SENSOR_TYPE_MOTION_REFILL_BASE, 14), "SENSOR_TYPE_ROTATION_REFILL_ANGLE",
         "ROTATION_REFILL_ANGLE Non-wakeup", false},
        {SENSOR_TYPE_TP, "SENSOR_TYPE_TP", "TP Non-wakeup", false},
    };
    if (mHal.GetSysfs().HasXmlConfig("fusionsense")) {
        AddPrivateRows(kBetaRows, std::size(kBetaRows));
    }
    AddPrivateRows(kCommonRows, std::size(kCommonRows));
    return true;
}

void SensorHub::InitFusionSensor() {
    if (!mHal.GetSysfs().HasXmlConfig("fusionsense")) {
        return;
    }
    static const PrivateSensorRow kFusionRows[] = {
        {SENSOR_TYPE_FUSION_ACC, "SENSOR_TYPE_FUSION_ACC", "FUSION_ACC Non-wakeup", false},
        {SENSOR_TYPE_FUSION_GYRO, "SENSOR_TYPE_FUSION_GYRO", "FUSION_GYRO Non-wakeup", false},
        {SENSOR_TYPE_FUSION_MAG, "SENSOR_TYPE_FUSION_MAG", "FUSION_MAG Non-wakeup", false},
        {SENSOR_TYPE_FUSION_ACC1, "SENSOR_TYPE_FUSION_ACC1", "FUSION_ACC1 Non-wakeup", false},
        {SENSOR_TYPE_FUSION_GYRO1, "SENSOR_TYPE_FUSION_GYRO1", "FUSION_GYRO1 Non-wakeup", false},
        {SENSOR_TYPE_FUSION_MAG1, "SENSOR_TYPE_FUSION_MAG1", "FUSION_MAG1 Non-wakeup", false},
        {SENSOR_TYPE_FUSION_TAP, "SENSOR_TYPE_FUSION_TAP", "FUSION_TAP Non-wakeup", false},
        {SENSOR_TYPE_TAP_EVENT, "SENSOR_TYPE_TAP_EVENT", "TAP_EVENT Non-wakeup", false},
        {SENSOR_TYPE_FUSION_SENSE, nullptr, "FUSION_SENSE Non-wakeup", false},
    };
    AddPrivateRows(kFusionRows, std::size(kFusionRows));
    mFusionBeta.reset(new (std::nothrow) VyrFusionBeta(mHal));
    if (mFusionBeta == nullptr) {
        LOGE("mFusionBeta is nullptr");
    }
}

void SensorHub::AddPrivateRows(const PrivateSensorRow *rows, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        AddPrivateSensor(rows[i].type, rows[i].name, rows[i].onChange ? "onchange" : "continue");
        if (rows[i].typeText != nullptr) {
            mHal.AddFrameType(static_cast<uint32_t>(rows[i].type), rows[i].typeText);
        }
    }
}

void SensorHub::AddPrivateSensor(int32_t type, const std::string &name,
                                 const std::string &reportMode) {
    for (const VyrSensor &sensor : mPrivateSensors) {
        if (sensor.type == type) {
            return;
        }
    }
    VyrSensor sensor;
    sensor.handle = type;
    sensor.type = type;
    sensor.name = name;
    sensor.vendor = "tolvi";
    sensor.reportMode = reportMode;
    sensor.wakeup = name.find("Non-wakeup") == std::string::npos;
    sensor.continuous = reportMode.find("continue") != std::string::npos;
    mPrivateSensors.push_back(std::move(sensor));
}

bool SensorHub::LastInit() {
    LOGI("+");
    if (mThread.joinable()) {
        return true;
    }
    mDog = mHal.HasWatchdog() ? &mHal.GetWatchdog() : nullptr;
    mQueue->running.store(true);
    try {
        mThread = std::thread(&SensorHub::ThreadProcess, this, mQueue);
    } catch (const std::system_error &) {
        mQueue->running.store(false);
        LOGE("thread constructor failed");
        return false;
    }
    return true;
}

void SensorHub::Uninit() {
    LOGI("+");
    if (!mStopped) {
        StopThread();
        CloseCallbacks();
    }
}

// Stops the thread and waits for it, but for two cases: the thread itself
// ending the process (SOS from a message: exit() runs the destructors on
// it), and an SOS while the thread hangs, which is what a watch node timeout
// means; then the thread is left to the end of the process.
void SensorHub::StopThread() {
    mStopped = true;
    std::shared_ptr<QueueState> state = mQueue;
    {
        ScopedTrace trace(mHal.GetTrace(), "ThdBroadcast");
        std::lock_guard<std::mutex> lock(state->mutex);
        state->running.store(false);
        state->cond.notify_all();
    }
    if (!mThread.joinable()) {
        return;
    }
    if (mThread.get_id() == std::this_thread::get_id()) {
        mThread.detach();
        return;
    }
    if (mHal.IsDoingSos()) {
        std::unique_lock<std::mutex> lock(state->mutex);
        if (!state->syncCond.wait_for(lock, kSosStopWait, [&] { return state->threadDone; })) {
            LOGE("thread busy, left running");
            mThread.detach();
            return;
        }
    }
    mThread.join();
}

void SensorHub::CloseCallbacks() {
    mGate->Close(mHal.IsDoingSos());
    // No callback of either library reaches the hub from here on; the
    // fusion channel is closed as well, so its thread stops.
    std::unique_lock<std::mutex> lock;
    if (!LockFromOutside(lock)) {
        return;
    }
    if (mFusionActive && mFusionLib != nullptr && mFusionLib->FusionSenseUnInit != nullptr) {
        mFusionLib->FusionSenseUnInit(0);
        mFusionActive = false;
    }
}

bool SensorHub::InitVyrd() {
    LOGI("+");
    if (!InitVyrdSensorEmulate()) {
        return false;
    }
    return AddCmd("fusionConfig",
                  [this](const std::string, const std::string param, std::vector<uint8_t> &out) {
                      {
                          std::lock_guard<std::mutex> lock(mLock);
                          mFusionConfig.betaConfig = atoi(param.c_str());
                          mFusionConfig.bufferSize = 0x13000;
                      }
                      RequestFusionSetting();
                      SetReply(out, "setting fusion config: " + param);
                  });
}

void SensorHub::EnableConnectSensor(bool) {}

// ---------------------------------------------------------------------------
// Posting

void SensorHub::PostMessage(uint32_t tag, const void *payload, size_t size) {
    QueueState &state = *mQueue;
    std::lock_guard<std::mutex> lock(state.mutex);
    SensorMessage *msg = state.pending.Append();
    if (msg == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "no memory, message %u lost", tag);
        ++state.lost;
        return;
    }
    msg->tag = tag;
    if (size > 0) {
        memcpy(&msg->event, payload, size);
    }
    ++state.posted;
    if (state.waiting) {
        state.cond.notify_all();
    }
}

bool SensorHub::FillSetting(SensorSetting &setting, const std::string &caller) {
    memset(&setting, 0, sizeof(setting));
    errno_t err = memcpy_s(setting.name, sizeof(setting.name), caller.c_str(), caller.size() + 1);
    if (err != EOK) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "memcpy_s failed, err = %d", err);
        return false;
    }
    return true;
}

bool SensorHub::SetSensorEnable(const std::string &caller, int32_t type, bool enable, int32_t rate,
                                int64_t batch, bool wakeup) {
    SensorSetting setting;
    if (!FillSetting(setting, caller)) {
        return false;
    }
    setting.type = type;
    setting.enable = enable;
    setting.rate = rate;
    setting.batch = static_cast<int32_t>(batch);
    setting.wakeup = wakeup;
    PostMessage(SENSOR_MSG_SETTING, &setting, sizeof(setting));
    return true;
}

void SensorHub::DisableClient(const std::string client) {
    SensorSetting setting;
    if (!FillSetting(setting, client)) {
        return;
    }
    PostMessage(SENSOR_MSG_CLIENT_DIED, &setting, sizeof(setting));
}

void SensorHub::SensorIdle(bool enter, int32_t rate) {
    SensorIdleSetting idle{enter, rate};
    PostMessage(SENSOR_MSG_IDLE, &idle, sizeof(idle));
}

void SensorHub::DisableAllSensors() {
    PostMessage(SENSOR_MSG_DISABLE_ALL, nullptr, 0);
}

void SensorHub::RequestFusionSetting() {
    PostMessage(SENSOR_MSG_FUSION, nullptr, 0);
}

void SensorHub::PushSensorEvent(const ASensorEvent &event) {
    PostMessage(SENSOR_MSG_DATA, &event, sizeof(event));
}

void SensorHub::PushSensorEvents(const std::vector<ASensorEvent> &events) {
    PushSensorEvents(events.data(), events.size());
}

void SensorHub::PushSensorEvents(const ASensorEvent *events, size_t count) {
    if (events == nullptr || count == 0) {
        return;
    }
    QueueState &state = *mQueue;
    std::lock_guard<std::mutex> lock(state.mutex);
    for (size_t i = 0; i < count; ++i) {
        SensorMessage *msg = state.pending.Append();
        if (msg == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "no memory, %zu events lost",
                                count - i);
            state.lost += count - i;
            break;
        }
        msg->tag = SENSOR_MSG_DATA;
        msg->event = events[i];
        ++state.posted;
    }
    if (state.waiting) {
        state.cond.notify_all();
    }
}

bool SensorHub::WaitQueueEmpty(int timeoutMs) {
    QueueState &state = *mQueue;
    std::unique_lock<std::mutex> lock(state.mutex);
    uint64_t target = state.posted;
    ++state.syncWaiters;
    bool done = state.syncCond.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        return state.handled >= target || state.threadDone;
    });
    --state.syncWaiters;
    return done && state.handled >= target;
}

// ---------------------------------------------------------------------------
// Callbacks of the modules

// The module mutex for a caller that may be the hub's thread itself (which
// holds it for every message) or may run on the way out of an SOS, when the
// thread may hang with the mutex held: then it gives up after a while, so
// that the process can still end.
bool SensorHub::LockFromOutside(std::unique_lock<std::mutex> &lock) {
    if (mThreadId.load() == std::this_thread::get_id()) {
        return true;
    }
    lock = std::unique_lock<std::mutex>(mLock, std::defer_lock);
    if (!mHal.IsDoingSos()) {
        lock.lock();
        return true;
    }
    auto deadline = std::chrono::steady_clock::now() + kSosStopWait;
    while (!lock.try_lock()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            LOGE("module mutex busy, skipped");
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool SensorHub::RegisterSensorCallback(const std::string &name, SensorCallback callback) {
    if (!callback) {
        return false;
    }
    auto shared = std::make_shared<const CallbackEntry>(CallbackEntry{name, std::move(callback)});
    std::unique_lock<std::mutex> lock;
    if (!LockFromOutside(lock)) {
        return false;
    }
    ++mCallbackVersion;
    auto it = mCallbacks.find(name);
    if (it == mCallbacks.end()) {
        mCallbacks.emplace(name, std::move(shared));
        return true;
    }
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "callback name: %s registered, replace func",
                        name.c_str());
    it->second = std::move(shared);
    return false;
}

void SensorHub::UnregisterSensorCallback(const std::string &name) {
    std::unique_lock<std::mutex> lock;
    if (!LockFromOutside(lock)) {
        return;
    }
    ++mCallbackVersion;
    mCallbacks.erase(name);
}

// ---------------------------------------------------------------------------
// The thread

void SensorHub::ThreadProcess(std::shared_ptr<QueueState> state) {
    LOGI("thread starting.");
    SetThreadName(mName);
    mThreadId.store(std::this_thread::get_id());
    const bool flag = mHal.IsLogEnable();

    while (state->running.load()) {
        SensorQueue::Chunk *chain = nullptr;
        {
            std::unique_lock<std::mutex> lock(state->mutex);
            while (state->pending.Empty() && state->running.load()) {
                state->waiting = true;
                state->cond.wait(lock);
                state->waiting = false;
            }
            if (!state->running.load()) {
                break;
            }
            chain = state->pending.TakeAll();
        }
        // One watch node and one hold of the module mutex for up to a chunk
        // of messages.
        uint64_t done = 0;
        for (SensorQueue::Chunk *chunk = chain; chunk != nullptr && state->running.load();
             chunk = chunk->next) {
            ScopedTrace trace(mHal.GetTrace(), "SensorHub");
            ScopedWatchNode node(mDog, kProcessNode, kProcessExpectMs);
            std::lock_guard<std::mutex> lock(mLock);
            for (size_t i = 0; i < chunk->count; ++i) {
                HandleMessage(chunk->messages[i], flag);
            }
            done += chunk->count;
        }
        std::lock_guard<std::mutex> lock(state->mutex);
        state->pending.Recycle(chain);
        state->handled += done;
        if (state->syncWaiters > 0) {
            state->syncCond.notify_all();
        }
    }
    LOGI("quit thread Process");
    std::lock_guard<std::mutex> lock(state->mutex);
    state->threadDone = true;
    state->syncCond.notify_all();
}

void SensorHub::HandleMessage(SensorMessage &msg, bool flag) {
    switch (msg.tag) {
        case SENSOR_MSG_DATA:
            ProcessSensorData(msg.event, flag);
            break;
        case SENSOR_MSG_SETTING:
            ProcessSensorSetting(msg.setting);
            break;
        case SENSOR_MSG_FUSION: {
            VyrSensor *sensor = FindSensor(SENSOR_TYPE_FUSION_SENSE, false);
            if (sensor != nullptr) {
                FusionSenseSetting(*sensor);
            }
            break;
        }
        case SENSOR_MSG_CLIENT_DIED:
            ProcessClientDied(msg.setting);
            break;
        case SENSOR_MSG_IDLE:
            ProcessSensorIdle(msg.idle.enter, msg.idle.rate);
            break;
        case SENSOR_MSG_DISABLE_ALL:
            ProcessDisableAll();
            break;
        default:
            LOGE("unknown message tag: %u", msg.tag);
            break;
    }
}

// ---------------------------------------------------------------------------
// Connection to the sensor service

void SensorHub::SensorEventCallback(const ASensorEvent *event, bool ok, void *cookie) {
    GateCall call(cookie);
    if (call.Hub() == nullptr) {
        return;
    }
    if (event == nullptr && ok) {
        return;
    }
    if (ok) {
        call.Hub()->OnSensorEvent(*event, true);
    } else {
        ASensorEvent none{};
        call.Hub()->OnSensorEvent(none, false);
    }
}

void SensorHub::FusionCallback(FSEventStruct &frame, bool reset, void *cookie) {
    GateCall call(cookie);
    SensorHub *hub = call.Hub();
    if (hub == nullptr) {
        return;
    }
    if (reset) {
        hub->RequestFusionSetting();
        return;
    }
    hub->ProcessFusionData(frame);
}

void SensorHub::OnSensorEvent(const ASensorEvent &event, bool ok) {
    if (!ok) {
        std::unique_lock<std::mutex> lock;
        if (!LockFromOutside(lock)) {
            return;
        }
        LOGW("sensor service died");
        mSensorCount = 0;
        mSensorPtrs = nullptr;
        mSensors.clear();
        return;
    }
    if (event.version != VYR_SENSOR_EVENT_VERSION) {
        LOGE("ASensorEvent version: %d != %d", event.version, VYR_SENSOR_EVENT_VERSION);
        return;
    }
    PushSensorEvent(event);
    LOGD("sensor = %d, type=%d get one event", event.sensor, event.type);
}

void SensorHub::ConnectSensorHidl() {
    if (mSensorCount != 0) {
        return;
    }
    if (mSensorLib == nullptr) {
        mSensorLib.reset(new (std::nothrow) LibVyrSensor());
        if (mSensorLib == nullptr || !mSensorLib->Init()) {
            LOGE("LibVyrSensor init failed");
            mSensorLib.reset();
            return;
        }
    }
    int32_t err = mSensorLib->VyrInit(&SensorHub::SensorEventCallback, mGate);
    VyrSensorRef const *list = nullptr;
    int32_t count = mSensorLib->VyrGetSensorList(&list);
    if (err != 0 || count < 1 || list == nullptr) {
        LOGE("sensor not found, num: %d, err: %d !", count, err);
        return;
    }
    mSensors.clear();
    mSensors.reserve(static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        VyrSensorRef ref = list[i];
        VyrSensor sensor;
        sensor.sensorPtr = ref;
        sensor.index = i;
        sensor.handle = mSensorLib->VyrGetHandle(ref);
        sensor.type = mSensorLib->VyrGetType(ref);
        sensor.minDelay = mSensorLib->VyrGetMinDelay(ref);
        sensor.resolution = mSensorLib->VyrGetResolution(ref);
        sensor.maxRange = mSensorLib->VyrGetMaxRange(ref);
        sensor.power = mSensorLib->VyrGetPower(ref);
        const char *name = mSensorLib->VyrGetName(ref);
        const char *vendor = mSensorLib->VyrGetVendor(ref);
        const char *mode = mSensorLib->VyrGetReportingMode(ref);
        sensor.name = name != nullptr ? name : "";
        sensor.vendor = vendor != nullptr ? vendor : "";
        sensor.reportMode = mode != nullptr ? mode : "";
        RestoreSensorState(sensor);
        sensor.wakeup = sensor.name.find("Non-wakeup") == std::string::npos;
        sensor.continuous = sensor.reportMode.find("continue") != std::string::npos;
        LOGI("sensor[%02d] type: %10d sensor name: %s wakeup: %d reportMode: %s", i, sensor.type,
             sensor.name.c_str(), sensor.wakeup, sensor.reportMode.c_str());
        mSensors.push_back(std::move(sensor));
    }
    mSensorPtrs = list;
    mSensorCount = count;
}

void SensorHub::RestoreSensorState(VyrSensor &sensor) {
    const auto &saved = mSensorState[0];
    auto it = saved.find(sensor.type);
    if (it == saved.end()) {
        sensor.enable = false;
        sensor.rate = 0;
        return;
    }
    sensor.enable = true;
    sensor.rate = it->second.first;
}

VyrSensor *SensorHub::FindSensor(uint32_t type, bool wakeup) {
    const int32_t wanted = static_cast<int32_t>(type);
    for (VyrSensor &sensor : mPrivateSensors) {
        if (sensor.type == wanted) {
            return &sensor;
        }
    }
    ConnectSensorHidl();
    VyrSensor *last = nullptr;
    for (VyrSensor &sensor : mSensors) {
        if (sensor.type != wanted) {
            continue;
        }
        if (sensor.wakeup == wakeup) {
            return &sensor;
        }
        last = &sensor;
    }
    if (last == nullptr) {
        LOGE("can not found sensor type: %d", wanted);
    }
    return last;
}

VyrSensor &SensorHub::HandleToSensor(int32_t handle) {
    for (VyrSensor &sensor : mPrivateSensors) {
        if (sensor.handle == handle) {
            return sensor;
        }
    }
    ConnectSensorHidl();
    for (VyrSensor &sensor : mSensors) {
        if (sensor.handle == handle) {
            return sensor;
        }
    }
    LOGE("can not found sensor handle: %d", handle);
    // Never destroyed: a thread left running at exit may still read it.
    static VyrSensor &none = *new VyrSensor();
    return none;
}

bool SensorHub::IsSensorContinuous(unsigned type) {
    std::lock_guard<std::mutex> lock(mLock);
    for (const VyrSensor &sensor : mSensors) {
        if (sensor.type == static_cast<int32_t>(type) && sensor.continuous) {
            return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------------------
// Samples, deaths, idle

void SensorHub::ProcessSensorData(ASensorEvent &event, bool flag) {
    SetEventArrivalMs(event, VyrHal::RealTimeMs());
    // A callback may register or drop callbacks: each entry is held while it
    // runs, and after a change of the map the walk goes on by name.
    for (auto it = mCallbacks.begin(); it != mCallbacks.end();) {
        std::shared_ptr<const CallbackEntry> entry = it->second;
        uint64_t version = mCallbackVersion;
        if (entry->func) {
            entry->func(event, true);
        }
        if (version == mCallbackVersion) {
            ++it;
        } else {
            it = mCallbacks.upper_bound(entry->name);
        }
    }

    VyrSensor &sensor = HandleToSensor(event.sensor);
    if (DataResampleSkip(sensor, event, mResampleInfo[event.type])) {
        LOGD("resample skip event: %d", event.type);
        return;
    }
    mFrame.LockData(true);
    mFrame.GetData().AddEvent(event, sensor.rate, flag);
    mFrame.LockData(false);
    LOGV("%s\t: [0]=%f [1]=%f [2]=%f ts=%lu latency=%lu", sensor.name.c_str(),
         static_cast<double>(event.data[0]), static_cast<double>(event.data[1]),
         static_cast<double>(event.data[2]), static_cast<unsigned long>(event.timestamp),
         static_cast<unsigned long>(VyrHal::BootTimeNs() - static_cast<uint64_t>(event.timestamp)));
}

void SensorHub::ProcessClientDied(SensorSetting &setting) {
    auto connections = mConnections;
    std::string client(setting.name, strnlen(setting.name, sizeof(setting.name)));
    for (const auto &[type, callers] : connections) {
        for (const auto &caller : callers) {
            if (caller.first.find(client) == std::string::npos) {
                continue;
            }
            LOGI("disable type: %d client: %s", static_cast<int32_t>(type), caller.first.c_str());
            setting.type = static_cast<int32_t>(type);
            setting.enable = false;
            errno_t err = memcpy_s(setting.name, sizeof(setting.name), caller.first.c_str(),
                                   caller.first.size() + 1);
            if (err != EOK) {
                __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "memcpy_s failed, err = %d",
                                    err);
                continue;
            }
            ProcessSensorSetting(setting);
        }
    }
}

void SensorHub::ProcessSensorIdle(bool enter, int32_t rate) {
    if (enter == mIdle.load()) {
        return;
    }
    if (enter) {
        uint64_t now = VyrHal::RealTimeMs();
        uint64_t requested = mIdleRequestTime.load();
        if (requested == 0) {
            mIdleRequestTime.store(now);
            return;
        }
        if (now - requested < 2000) {
            return;
        }
    } else {
        mIdleRequestTime.store(0);
    }
    LOGI("%s idle", enter ? "enter" : "outer");
    for (VyrSensor &sensor : mSensors) {
        if (!sensor.enable || !sensor.continuous) {
            continue;
        }
        LOGI("cur sensor: %s idle: %d rate: %4d", sensor.name.c_str(), enter, rate);
        RealSetSensorEnable(&sensor, true, rate, 0);
    }
    mIdle.store(enter);
}

void SensorHub::ResetSensorIdle() {
    mIdle.store(false);
    mIdleRequestTime.store(0);
}

void SensorHub::ProcessDisableAll() {
    for (VyrSensor &sensor : mSensors) {
        if (!sensor.enable) {
            continue;
        }
        LOGI("cur sensor: %s disable", sensor.name.c_str());
        RealSetSensorEnable(&sensor, false, sensor.rate, 0);
    }
}

// ---------------------------------------------------------------------------
// Snapshots

bool SensorHub::GetSensor(int32_t type, bool wakeup, VyrSensor &out) {
    std::lock_guard<std::mutex> lock(mLock);
    const VyrSensor *found = nullptr;
    for (const VyrSensor &sensor : mPrivateSensors) {
        if (sensor.type == type) {
            out = sensor;
            return true;
        }
    }
    for (const VyrSensor &sensor : mSensors) {
        if (sensor.type == type) {
            found = &sensor;
            if (sensor.wakeup == wakeup) {
                break;
            }
        }
    }
    if (found == nullptr) {
        return false;
    }
    out = *found;
    return true;
}

std::vector<VyrSensor> SensorHub::GetSensors() {
    std::lock_guard<std::mutex> lock(mLock);
    return mSensors;
}

std::vector<VyrSensor> SensorHub::GetPrivateSensors() {
    std::lock_guard<std::mutex> lock(mLock);
    return mPrivateSensors;
}

std::map<int32_t, std::pair<int32_t, int64_t>> SensorHub::GetSensorState() {
    std::lock_guard<std::mutex> lock(mLock);
    auto it = mSensorState.find(0);
    return it == mSensorState.end() ? std::map<int32_t, std::pair<int32_t, int64_t>>() : it->second;
}

bool SensorHub::CopySensors(std::vector<VyrSensor> &sensors, std::vector<VyrSensor> &privates,
                            Connections &requests, bool &connected, int waitMs) {
    std::unique_lock<std::mutex> lock;
    if (mThreadId.load() != std::this_thread::get_id() && !LockWithin(mLock, lock, waitMs)) {
        return false;
    }
    sensors = mSensors;
    privates = mPrivateSensors;
    requests = mConnections;
    connected = mSensorCount != 0;
    return true;
}

SensorHub::QueueStats SensorHub::GetQueueStats() {
    QueueState &state = *mQueue;
    std::lock_guard<std::mutex> lock(state.mutex);
    QueueStats stats;
    stats.posted = state.posted;
    stats.handled = state.handled;
    stats.depth = state.posted >= state.handled ? state.posted - state.handled : 0;
    stats.lost = state.lost;
    stats.running = state.running.load() && !state.threadDone;
    return stats;
}

bool SensorHub::IsConnected() {
    std::lock_guard<std::mutex> lock(mLock);
    return mSensorCount != 0;
}

// The sensor data path: one queue and one thread between the sensor
// service and the modules.
//
// Every sample and every request is a message on the queue; the hub's thread
// drains it under the module mutex, so sensors are only ever switched, and
// samples only ever delivered, from that thread. Module callbacks run there
// too, and take their own module mutex inside the hub's: a module must never
// call anything that takes the hub's mutex (FindSensor, IsSensorContinuous,
// RegisterSensorCallback) while it holds its own. Posting (SetSensorEnable,
// PushSensorEvent, ...) only takes the queue mutex and is always safe.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "hal/ModuleBase.h"
#include "platform/api/fusion_sense_api.h"
#include "platform/api/sensor_event.h"
#include "platform/api/vyr_sensor_api.h"
#include "sensor/ResampleInfo.h"
#include "sensor/SensorQueue.h"
#include "sensor/SensorTypes.h"

class LibVyrFusion;
class LibVyrSensor;
class VyrFusionBeta;
class WatchDog;
struct SensorHubGate;

// One entry of a sensor list.
struct VyrSensor {
    int32_t handle = 0;  // library handle; the type number of a private sensor
    int32_t type = 0;
    int32_t rate = 0;  // Hz, 0 when none
    int32_t batch = 0;
    int32_t index = 0;  // position in the library's list; 0 for a private sensor
    int32_t minDelay = 0;
    float resolution = 0.0f;
    float maxRange = 0.0f;
    float power = 0.0f;
    bool wakeup = false;      // the name lacks "Non-wakeup"
    bool enable = false;      // currently on
    bool continuous = false;  // the report mode holds "continue"
    std::string name;
    std::string vendor;
    std::string reportMode;
    VyrSensorRef sensorPtr = nullptr;  // null for a private sensor
};

// A module's view of the samples: (event, true), on the hub's thread.
using SensorCallback = std::function<void(ASensorEvent, bool)>;

class SensorHub : public ModuleBase {
public:
    explicit SensorHub(VyrHal &hal);
    ~SensorHub() override;

    bool PreInit() override;
    bool LastInit() override;
    // Stops the thread and closes the library callbacks; the hub then only
    // queues.
    void Uninit() override;
    bool InitVyrd() override;
    // Posts the disconnect of every caller whose name contains `client`.
    void DisableClient(const std::string client) override;
    void EnableConnectSensor(bool enable) override;

    // Posts. False when the caller does not fit its 128 bytes.
    bool SetSensorEnable(const std::string &caller, int32_t type, bool enable, int32_t rate,
                         int64_t batch, bool wakeup);
    void SensorIdle(bool enter, int32_t rate);
    void DisableAllSensors();
    void RequestFusionSetting();
    void PushSensorEvent(const ASensorEvent &event);
    void PushSensorEvents(const std::vector<ASensorEvent> &events);
    void PushSensorEvents(const ASensorEvent *events, size_t count);
    // Adds a sensor of this library's own (handle = type); a known type is
    // left as it is. For a module's PreInit, before the thread runs.
    void AddPrivateSensor(int32_t type, const std::string &name, const std::string &reportMode);

    // True for a new name; a known name gets the new callable and false.
    bool RegisterSensorCallback(const std::string &name, SensorCallback callback);
    void UnregisterSensorCallback(const std::string &name);

    void ResetSensorIdle();
    bool IsEmulating() const { return mEmulate.load(std::memory_order_relaxed); }
    // Reads the recorded files of a run and queues their events by time.
    bool EmulateEvents();
    bool IsSensorContinuous(unsigned type);

    // The lookups below run under the module mutex: on the hub's thread (a
    // module callback included), or with the mutex held.
    VyrSensor *FindSensor(uint32_t type, bool wakeup);
    VyrSensor &HandleToSensor(int32_t handle);
    // True when the event is to be dropped for the listener of `info`.
    bool DataResampleSkip(ASensorEvent event, ResampleInfo &info);
    // The same for a sensor already looked up; touches nothing but `info`.
    bool DataResampleSkip(const VyrSensor &sensor, const ASensorEvent &event, ResampleInfo &info);

    // Fusion channel.
    void InitFusionSensor();
    bool FusionSenseSetting(VyrSensor &sensor);
    void ProcessFusionData(FSEventStruct &frame);
    // With the boot-time clock given, for the age test.
    void ProcessFusionData(FSEventStruct &frame, uint64_t nowBootNs);
    void ProcessFusionSense(FSEventStruct &frame);

    // Waits until every message posted before the call has been handled.
    // False on timeout or when the thread does not run.
    bool WaitQueueEmpty(int timeoutMs);
    // Copies under the module mutex, for dumps and tests. No connect.
    bool GetSensor(int32_t type, bool wakeup, VyrSensor &out);
    std::vector<VyrSensor> GetSensors();
    std::vector<VyrSensor> GetPrivateSensors();
    std::map<int32_t, std::pair<int32_t, int64_t>> GetSensorState();
    FusionSenseConfig GetFusionConfig();
    bool IsIdle() const { return mIdle.load(); }
    bool IsConnected();
    // Every sensor (the service's and the private ones) and each caller's
    // request by type, in one hold of the module mutex ("dump"). False when
    // the mutex stays busy for waitMs.
    bool CopySensors(std::vector<VyrSensor> &sensors, std::vector<VyrSensor> &privates,
                     Connections &requests, bool &connected, int waitMs);
    struct QueueStats {
        uint64_t posted = 0;
        uint64_t handled = 0;
        uint64_t depth = 0;  // posted, not yet handled
        uint64_t lost = 0;   // no memory for the message
        bool running = false;
    };
    // Under the queue mutex only.
    QueueStats GetQueueStats();

private:
    // Queue and thread state, shared with the thread so that the last
    // unlock of a thread that outlives a stop never touches a freed module.
    struct QueueState {
        std::mutex mutex;
        std::condition_variable cond;      // messages, stop
        std::condition_variable syncCond;  // handled messages, thread end
        SensorQueue pending;
        uint64_t posted = 0;
        uint64_t handled = 0;
        uint64_t lost = 0;
        bool waiting = false;  // the thread sleeps on `cond`
        int syncWaiters = 0;
        bool threadDone = false;
        std::atomic<bool> running{false};
    };

    struct PrivateSensorRow;

    bool InitVyrdSensorEmulate();
    void ThreadProcess(std::shared_ptr<QueueState> state);
    void StopThread();
    void HandleMessage(SensorMessage &msg, bool flag);
    // Appends one message with the tag and payload; wakes the thread.
    void PostMessage(uint32_t tag, const void *payload, size_t size);
    bool FillSetting(SensorSetting &setting, const std::string &caller);

    void AddPrivateRows(const PrivateSensorRow *rows, size_t count);

    void ConnectSensorHidl();
    void RestoreSensorState(VyrSensor &sensor);
    void OnSensorEvent(const ASensorEvent &event, bool ok);
    static void SensorEventCallback(const ASensorEvent *event, bool ok, void *cookie);
    static void FusionCallback(FSEventStruct &frame, bool reset, void *cookie);

    void ProcessSensorData(ASensorEvent &event, bool flag);
    void ProcessSensorSetting(SensorSetting &setting);
    bool RealSetSensorEnable(VyrSensor *sensor, bool enable, int32_t rate, int32_t batch);
    void ProcessClientDied(SensorSetting &setting);
    void ProcessSensorIdle(bool enter, int32_t rate);
    void ProcessDisableAll();
    void CloseCallbacks();
    bool LockFromOutside(std::unique_lock<std::mutex> &lock);

    std::shared_ptr<QueueState> mQueue;
    std::thread mThread;
    std::atomic<std::thread::id> mThreadId{};
    WatchDog *mDog = nullptr;
    bool mStopped = false;

    SensorHubGate *mGate;  // lives for the process: the libraries keep its address
    int32_t mSensorCount = 0;
    VyrSensorRef const *mSensorPtrs = nullptr;
    std::vector<VyrSensor> mSensors;
    std::vector<VyrSensor> mPrivateSensors;
    std::map<int32_t, std::map<int32_t, std::pair<int32_t, int64_t>>> mSensorState;
    struct CallbackEntry {
        std::string name;
        SensorCallback func;
    };
    std::map<std::string, std::shared_ptr<const CallbackEntry>> mCallbacks;
    uint64_t mCallbackVersion = 0;
    std::map<int32_t, ResampleInfo> mResampleInfo;
    std::atomic<bool> mIdle{false};
    std::atomic<uint64_t> mIdleRequestTime{0};
    std::atomic<bool> mEmulate{false};
    std::unique_ptr<LibVyrSensor> mSensorLib;

    // Fusion channel.
    std::unique_ptr<LibVyrFusion> mFusionLib;
    std::unique_ptr<VyrFusionBeta> mFusionBeta;
    FusionSenseConfig mFusionConfig;
    bool mFusionChanged = false;
    bool mFusionActive = false;
    // Channel rates for the frame log line of the fusion thread.
    std::array<std::atomic<int32_t>, FUSION_SENSE_CHANNELS> mChannelRates{};
};

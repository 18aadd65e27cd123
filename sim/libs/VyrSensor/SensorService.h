// The simulated sensor service: the sensor list, the enables, and the thread
// that samples the scenario and calls the client's callback.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "SensorScenario.h"
#include "SensorTable.h"
#include "platform/api/vyr_sensor_api.h"

namespace vyrsim {

class SensorService {
public:
    // The instance of the loaded library; null only while it is unloading.
    static SensorService *Instance();

    SensorService();
    ~SensorService();
    SensorService(const SensorService &) = delete;
    SensorService &operator=(const SensorService &) = delete;

    // The service's entry points (vyr_sensor_api.h).
    int32_t Init(VyrSensorEventCallback_t callback, void *cookie);
    int32_t GetList(VyrSensorRef const **list);
    int32_t Enable(VyrSensorRef sensor, int32_t periodUs, int32_t batchUs);
    int32_t Disable(VyrSensorRef sensor);
    // The description behind a sensor object of any list made since load
    // (stale ones too); null for anything else.
    const SensorInfo *Describe(VyrSensorRef sensor);

    // Test controls (vyr_sensor_sim.h).
    int32_t Inject(const ASensorEvent &event);
    int32_t Play(const std::string &nameOrPath);
    void StopScenario();
    bool ScenarioRunning();
    void Die();
    void Restart();
    bool Alive();
    int32_t PeriodUs(int32_t type);
    int32_t BatchUs(int32_t type);
    int32_t EnableCount(int32_t type);
    int32_t DisableCount(int32_t type);
    int32_t Sync(int32_t timeoutMs);
    void Detach();
    void Reset();

    // Stops the thread for good. True when it is joined (or never ran);
    // false when it cannot be joined from here (called on the service thread
    // itself, or in a forked child that does not have it).
    bool Shutdown();

    static int64_t NowNs();

private:
    struct SensorObject {
        SensorInfo info;
        size_t index;
    };
    // The sensor objects of one connection; stale ones stay readable.
    struct Generation {
        std::unique_ptr<SensorObject[]> objects;
        std::unique_ptr<VyrSensorRef[]> refs;
    };
    struct ActiveSensor {
        bool enabled = false;
        int32_t periodUs = 0;  // as asked
        int32_t batchUs = 0;
        int64_t periodNs = 0;  // as applied
        int64_t batchNs = 0;
        int64_t nextDueNs = 0;
        bool haveLast = false;
        SensorValues last{};
        std::deque<ASensorEvent> fifo;
    };
    enum class CommandKind { kInject, kDie };
    struct Command {
        CommandKind kind;
        ASensorEvent event;
        uint64_t seq;
    };
    struct Delivery {
        ASensorEvent event;
        bool ok;
    };

    // All below with mMutex held.
    int32_t FindCurrent(VyrSensorRef sensor, const char *what) const;
    bool EnsureThreadLocked();
    void NewGenerationLocked();
    void ForgetEnablesLocked();
    void DropCommandsLocked();
    std::map<int32_t, SensorValues> CurrentValuesLocked(int64_t now) const;
    void ProduceLocked(int64_t now, std::vector<Delivery> &out);
    void ProduceModemLocked(int64_t now, std::vector<Delivery> &out);
    int64_t NextWakeLocked() const;
    bool OnServiceThread() const;
    void WaitIdleLocked(std::unique_lock<std::mutex> &lock);

    void ThreadLoop();

    mutable std::mutex mMutex;
    std::condition_variable mCv;
    std::thread mThread;
    pid_t mThreadPid = 0;
    bool mStop = false;

    bool mAlive = true;
    VyrSensorEventCallback_t mCallback = nullptr;
    void *mCookie = nullptr;
    bool mInCallback = false;

    std::vector<Generation> mGenerations;
    int mCurGen = -1;  // index in mGenerations; -1 when there is no list
    std::vector<ActiveSensor> mActive;

    std::deque<Command> mCommands;
    uint64_t mQueuedSeq = 0;
    uint64_t mDoneSeq = 0;

    std::unique_ptr<SensorScenario> mScenario;
    int64_t mScenarioStartNs = 0;
    // The modem values last reported (see vyr_sensor_sim.h).
    SensorValues mModemLast = RestValues(kTypeModem);

    std::map<int32_t, int32_t> mEnableCounts;
    std::map<int32_t, int32_t> mDisableCounts;
};

}  // namespace vyrsim

// Base of all modules: start and stop sequence, name and version, client
// connections per type, the sensors a type needs, and result fan-out.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "hal/ServerCmds.h"
#include "hal/vyr_hal.h"
#include "platform/HalVersion.h"
#include "platform/api/sensor_event.h"
#include "sensor/ResampleInfo.h"

class LogSink;
class VyrFrame;
class VyrHal;

struct ConnectionParam {
    int32_t rate = 0;   // larger is faster
    int64_t batch = 0;  // latency; smaller is sooner
};

struct SensorRate {
    int32_t rate = 0;
};

class ModuleBase {
public:
    ModuleBase(const std::string name, VyrHal &hal);
    virtual ~ModuleBase();

    ModuleBase(const ModuleBase &) = delete;
    ModuleBase &operator=(const ModuleBase &) = delete;

    virtual bool PreInit();
    virtual bool Init();
    virtual bool LastInit();
    virtual void Uninit();
    virtual void LastUninit();
    virtual void PreSos();
    virtual bool InitVyrd();
    virtual void Reserved1() {}
    virtual void Reserved2() {}
    virtual void Reserved3() {}
    virtual std::string GetName();
    virtual std::string GetVersion();
    virtual HalVersion &GetVersionInfo();
    virtual void SyncFrame();
    virtual void SetConnection(const std::string client, int type, bool enable, int32_t rate,
                               int64_t batch);
    virtual bool IsClientConnected(const std::string client, uint32_t type);
    virtual bool IsTypeEnabled(uint32_t type);
    virtual bool IsAnyTypeEnabled();
    virtual bool IsSensorUsed(int32_t sensor);
    virtual void FindBestParameter(int type, int32_t &rate, int64_t &batch);
    virtual void UpdateSensorRates();
    virtual bool SensorEnable(const std::string client, uint32_t type, bool enable);
    virtual void NotifyClients(vyr_msg_t &msg);
    virtual void DisableClient(const std::string client);
    virtual void EnableConnectSensor(bool enable);

    using Connections = std::map<uint32_t, std::map<std::string, ConnectionParam>>;
    // A copy of the clients by type, taken under the lock that guards them
    // ("dump"). False, and nothing copied, when that lock stays busy for
    // waitMs (a thread hangs with it).
    virtual bool CopyConnections(Connections &out, int waitMs);

protected:
    // Adds one command row; false when the allocation or the push fails.
    bool AddCmd(const std::string &name, VyrCmdFunc func);
    bool IsEmulating();
    // Resets the thinning state of every sensor in use to the fastest rate
    // its types ask for (the rates of UpdateSensorRates).
    void RebuildResample();
    // Takes `mutex` into `lock`, trying for waitMs; false when it stayed busy.
    static bool LockWithin(std::mutex &mutex, std::unique_lock<std::mutex> &lock, int waitMs);
    // With mLock held, on the hub's thread: true when the sample serves a
    // connection and passes this module's thinning.
    bool TakeSample(const ASensorEvent &event);

    VyrHal &mHal;
    LogSink &mLog;
    VyrFrame &mFrame;
    HalVersion mVersion;
    std::string mName;
    std::map<uint32_t, std::map<std::string, ConnectionParam>> mConnections;
    std::map<int32_t, std::map<int32_t, ConnectionParam>> mTypeSensors;
    std::map<int32_t, SensorRate> mSensorRates;
    std::map<int32_t, ResampleInfo> mResample;
    std::mutex mLock;
};

// The one object that owns every service and module of the library.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "hal/HalStatus.h"
#include "hal/vyr_hal.h"
#include "log/LogSink.h"
#include "platform/LibSysTrace.h"

class Camera;
class Activity;
class DirOperator;
class Dmd;
class ModuleBase;
class Motion;
class Posture;
class ServerCmds;
class SensorHub;
class TouchScreen;
class Sysfs;
class VyrFmq;
class VyrFrame;
class VyrLog;
class WatchDog;

// Key/value pairs of the kernel command line.
class CmdLine {
public:
    CmdLine();
    std::string Get(const std::string &key) const;

    std::map<std::string, std::string> mValues;
    bool recovery = false;
};

class VyrHal : public HalLogSink {
public:
    explicit VyrHal(vyr_sys_device_t *sys);
    ~VyrHal() override;

    // Start-up.
    bool Init();
    bool InitSystem();
    bool InitLogEnable();
    void SetLogEnable(bool enable);
    bool GetFactoryMode();
    bool GetUpgradeMode();
    bool InitDaemon();
    bool InitVyrd();
    void UninitVyrd();
    bool InitModules();
    bool RegModule(std::shared_ptr<ModuleBase> module);
    void ProcessModule();
    void InitProperties();
    void UninitModules();

    // The way out.
    void DoSos(const std::string where, int code, bool keepAlive);
    void ProcessPreSos();
    bool IsDoingSos() const { return mDoSos.load() != 0; }
    void EnableConnectSensors(bool enable);
    void CheckMemory();
    // The memory guard of CheckMemory, on by default. A fuzzing harness runs
    // the library under a sanitizer whose shadow memory counts in the PSS, for
    // longer than ten checks; it switches the guard off for its own process
    // before vyr_init. The PSS line is still logged. Nothing else calls it.
    static void SetMemoryGuard(bool on);

    // Table entries.
    int VyrInit(vyr_notify_t notify);
    int VyrRunCommand(const std::string client, const std::string cmd,
                      const std::vector<uint8_t> in, std::vector<uint8_t> &out);
    int VyrGetData(const std::string cmd, int32_t size, std::vector<uint8_t> &out);
    int VyrFmqData(uint8_t *data, int32_t size);

    // Accessors: never null; a missing member ends in DoSos.
    DirOperator &GetDirOperator();
    ServerCmds &GetServerCmds();
    VyrFrame &GetCurFrame();
    WatchDog &GetWatchdog();
    SensorHub &GetSensorHub();
    Motion &GetMotion();
    Camera &GetCamera();
    Activity &GetActivity();
    Posture &GetPosture();
    VyrLog &GetVyrlog();
    TouchScreen &GetTouchScreen();
    Sysfs &GetSysfs();
    Dmd &GetDmd();
    const vyr_notify_t &GetNotify();
    vyr_sys_device_t &GetSysDevice();

    bool HasWatchdog() const { return mWatchdog != nullptr; }
    bool HasVyrlog() const { return mVyrLog != nullptr; }

    bool IsLogEnable() const { return mLogEnable.load(std::memory_order_relaxed); }
    int32_t GetLogLevel() const { return mLogLevel.load(std::memory_order_relaxed); }
    void SetLogLevel(int level);
    HalStatus &GetHalStatus() { return mHalStatus; }
    LibSysTrace &GetTrace() { return mTrace; }
    const std::map<uint32_t, std::string> &GetFrameTypes();
    // A copy taken under the lock, for threads that run beside registration.
    std::map<uint32_t, std::string> CopyFrameTypes();
    void AddFrameType(uint32_t id, const std::string &name);
    const std::vector<std::shared_ptr<ModuleBase>> &GetModules() const { return mModules; }
    const std::string &GetVersions() const { return mVersions; }
    int32_t GetFmqSize() const { return mFmqSize; }

    // Clocks; 0 when a read fails.
    static uint64_t RealTimeMs();
    static uint64_t MonoTimeMs();
    static uint64_t RealTimeNs();
    static uint64_t MonoTimeNs();
    static uint64_t BootTimeNs();
    static std::pair<int64_t, int64_t> RealTimeSpec();
    static std::pair<int64_t, int64_t> MonoTimeSpec();
    uint64_t ElapsedMs() const { return MonoTimeMs() - mStartMonoTime; }

    // One JSON document of the library's state ("dump"): sensors with their
    // merged settings and callers, each module's clients by type, the closed
    // libraries open, queue depths and drops, the log thread's statistics,
    // the flag word and the process's PSS. On the command thread.
    std::string DumpState();

private:
    template <typename T>
    T &Checked(const std::unique_ptr<T> &member, const char *text, const char *where, int code);
    template <typename T>
    T &Checked(const std::shared_ptr<T> &member, const char *text, const char *where, int code);

    bool InitVyrdLogLevel();
    bool InitVyrdVersion();
    bool InitVyrdSystrace();
    bool InitVyrdStartTime();
    bool InitVyrdScreenOn();
    bool InitVyrdScreenOff();
    bool InitVyrdUserPresent();
    bool InitVyrdCallback();
    bool InitVyrdFmqSize();
    bool InitVyrdClientDisable();
    bool InitVyrdReboot();
    bool InitVyrdDump();

    LogSink &mLog{*this};  // the logging idiom's name for this sink
    std::atomic<bool> mLogEnable{false};
    std::atomic<int32_t> mLogLevel{3};
    uint64_t mStartRealTime = 0;
    uint64_t mStartMonoTime = 0;
    uint64_t mMemCheckNow = 0;
    uint64_t mMemCheckLast = 0;
    uint32_t mMemOverCount = 0;
    std::string mVersions;
    std::mutex mFrameTypeLock;
    std::map<uint32_t, std::string> mFrameTypes;
    std::atomic<uint32_t> mDoSos{0};
    std::unique_ptr<VyrFrame> mCurFrame;
    std::unique_ptr<VyrFmq> mFmq;
    std::shared_ptr<WatchDog> mWatchdog;
    std::shared_ptr<SensorHub> mSensorHub;
    std::shared_ptr<TouchScreen> mTouchScreen;
    std::shared_ptr<Motion> mMotion;
    std::shared_ptr<Activity> mActivity;
    std::shared_ptr<Posture> mPosture;
    std::shared_ptr<VyrLog> mVyrLog;
    std::shared_ptr<Camera> mCamera;
    LibSysTrace mTrace;
    HalStatus mHalStatus;
    std::unique_ptr<ServerCmds> mCmds;
    std::unique_ptr<DirOperator> mDirOperator;
    std::unique_ptr<Dmd> mDmd;
    std::unique_ptr<Sysfs> mSysfs;
    std::vector<std::shared_ptr<ModuleBase>> mModules;
    vyr_notify_t mNotify{nullptr};
    vyr_sys_device_t *mVyrSys = nullptr;
    int32_t mFmqSize = 0;
    std::mutex mCmdLock;
    std::mutex mFmqLock;
};

// "UserType" is 3 or 5: a beta user.
bool IsBetaUser();

#include "hal/VyrHal.h"

#include <android/log.h>
#include <assert.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <thread>

#include "activity/Activity.h"
#include "camera/Camera.h"
#include "file/DirOperator.h"
#include "file/FileStorer.h"
#include "hal/ModuleBase.h"
#include "hal/ProcessEnd.h"
#include "hal/ServerCmds.h"
#include "log/Dmd.h"
#include "log/VyrFrame.h"
#include "log/VyrLog.h"
#include "motion/Motion.h"
#include "motion/Posture.h"
#include "platform/HalVersion.h"
#include "platform/PropertyTable.h"
#include "platform/Sysfs.h"
#include "platform/ThreadUtils.h"
#include "platform/Utils.h"
#include "platform/WatchDog.h"
#include "sensor/SensorHub.h"
#include "sensor/VyrFmq.h"
#include "touch/TouchScreen.h"

#ifndef VYR_GIT_ID
#define VYR_GIT_ID "unknown"
#endif
#ifndef VYR_GIT_TIME
#define VYR_GIT_TIME "unknown"
#endif

namespace {

constexpr const char *kVyrlogDir = "/data/vendor/log/vyrlog/";
constexpr uint64_t kCmdExpectMs = 20000;
constexpr uint64_t kMemCheckPeriodMs = 60001;
constexpr uint64_t kMemLimitKb = 40961;
constexpr uint32_t kMemOverLimit = 10;
// Process-wide: the fuzzing harness sets it before any VyrHal exists.
std::atomic<bool> gMemoryGuard{true};

uint64_t ClockNs(clockid_t clock) {
    timespec ts{};
    if (clock_gettime(clock, &ts) != 0) {
        return 0;
    }
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000ULL + static_cast<uint64_t>(ts.tv_nsec);
}

std::pair<int64_t, int64_t> ClockSpec(clockid_t clock) {
    timespec ts{};
    if (clock_gettime(clock, &ts) != 0) {
        return {0, 0};
    }
    return {ts.tv_sec, ts.tv_nsec};
}

}  // namespace

CmdLine::CmdLine() {
    std::string text;
    std::string path = CheckPath("/proc/cmdline");
    if (!path.empty()) {
        std::ifstream in(path);
        char line[8193] = {0};
        if (in.getline(line, sizeof(line)) || in.gcount() > 0) {
            text = line;
        }
    }
    for (const auto &piece : Split(text, " ")) {
        auto parts = Split(piece, "=");
        if (parts.size() == 2) {
            mValues.emplace(parts[0], parts[1]);  // the first occurrence wins
        }
    }
    recovery = atoi(Get("enter_recovery").c_str()) != 0;
    if (!recovery) {
        recovery = atoi(Get("enter_erecovery").c_str()) != 0;
    }
}

std::string CmdLine::Get(const std::string &key) const {
    auto it = mValues.find(key);
    return it == mValues.end() ? std::string() : it->second;
}

bool IsBetaUser() {
    PropertyTable props;
    uint32_t userType = 0;
    props.GetUserType(userType);
    return userType == 3 || userType == 5;
}

VyrHal::VyrHal(vyr_sys_device_t *sys)
    : HalLogSink("VyrHal", this),
      mStartRealTime(RealTimeMs()),
      mStartMonoTime(MonoTimeMs()),
      mVyrSys(sys) {}

VyrHal::~VyrHal() {
    LOGI("+");
    for (auto &module : mModules) {
        module->Uninit();
    }
    UninitModules();
    // Modules go before the services they use (their threads may still
    // trace, log and touch the frame while they stop); the watchdog first,
    // but after the touch and camera threads, which guard their work with it.
    mTouchScreen.reset();
    mCamera.reset();
    mWatchdog.reset();
    mSensorHub.reset();
    mPosture.reset();
    mActivity.reset();
    mMotion.reset();
    mVyrLog.reset();
    UninitVyrd();
    LOGI("-");
}

uint64_t VyrHal::RealTimeMs() {
    return ClockNs(CLOCK_REALTIME) / 1000000ULL;
}
uint64_t VyrHal::MonoTimeMs() {
    return ClockNs(CLOCK_MONOTONIC) / 1000000ULL;
}
uint64_t VyrHal::RealTimeNs() {
    return ClockNs(CLOCK_REALTIME);
}
uint64_t VyrHal::MonoTimeNs() {
    return ClockNs(CLOCK_MONOTONIC);
}
uint64_t VyrHal::BootTimeNs() {
    return ClockNs(CLOCK_BOOTTIME);
}
std::pair<int64_t, int64_t> VyrHal::RealTimeSpec() {
    return ClockSpec(CLOCK_REALTIME);
}
std::pair<int64_t, int64_t> VyrHal::MonoTimeSpec() {
    return ClockSpec(CLOCK_MONOTONIC);
}

bool VyrHal::Init() {
    LOGI("+");
    if (!mTrace.Init()) {
        LOGE("System VyrSys library init fail !");
        return false;
    }
    if (mVyrSys != nullptr && mVyrSys->AtraceIsTagEnabled != nullptr &&
        mVyrSys->AtraceBegin != nullptr && mVyrSys->AtraceEnd != nullptr) {
        mTrace.SetHooks(*mVyrSys);
    } else {
        LOGE("get VyrSys trace interface fail, using default setting.");
    }
    ScopedTrace trace(mTrace, "Init");

    InitSystem();
    SetLogEnable(InitLogEnable());
    mHalStatus.Set(HAL_STATUS_SCREEN_ON);
    mHalStatus.Set(HAL_STATUS_WORKING);

    mDirOperator.reset(new (std::nothrow) DirOperator(*this));
    if (mDirOperator == nullptr) {
        LOGE("Error, mDirOperator is nullptr");
        return false;
    }
    mDirOperator->DirCreateVyrlog(kVyrlogDir);
    mDirOperator->DirCleanVyrlog(kVyrlogDir);

    mDmd.reset(new (std::nothrow) Dmd(*this));
    if (mDmd == nullptr) {
        LOGE("mDmd is nullptr");
        return false;
    }
    if (!mDmd->Init()) {
        LOGE("dmd Init fail");
        return false;
    }

    mSysfs.reset(new (std::nothrow) Sysfs(*this));
    if (mSysfs == nullptr) {
        LOGE("mSysfs is nullptr");
        return false;
    }
    if (!mSysfs->Init()) {
        LOGE("sysfs Init fail");
        return false;
    }

    mCmds.reset(new (std::nothrow) ServerCmds(*this));
    if (mCmds == nullptr) {
        LOGE("Error, mCmds is nullptr");
        return false;
    }
    mCmds->Init();

    InitDaemon();

    mCurFrame.reset(new (std::nothrow) VyrFrame(*this));
    if (mCurFrame == nullptr) {
        return false;
    }
    mFmq.reset(new (std::nothrow) VyrFmq(*this));
    if (mFmq == nullptr) {
        return false;
    }
    mFmq->InitVyrd();

    InitVyrd();
    if (!InitModules()) {
        return false;
    }
    ProcessModule();
    LOGI("vyr hal init consume %d ms", static_cast<int>(RealTimeMs() - mStartRealTime));
    LOGI("-");
    return true;
}

bool VyrHal::InitSystem() {
    PropertyTable props;
    props.SetDaeAlive(false);
    uint32_t rebootTimes = 0;
    props.GetRebootTimes(rebootTimes);
    rebootTimes += 1;
    LOGI("rebootTimes: %d", static_cast<int>(rebootTimes));
    props.SetRebootTimes(rebootTimes);

    ThreadSetRRWithFallback();
    GetFactoryMode();
    GetUpgradeMode();
    return true;
}

bool VyrHal::GetFactoryMode() {
    CmdLine cmdline;
    bool factory = cmdline.Get("androidboot.swtype").find("factory") != std::string::npos;
    LOGI("%d", factory);
    mHalStatus.Update(HAL_STATUS_FACTORY, factory);
    return factory;
}

bool VyrHal::GetUpgradeMode() {
    CmdLine cmdline;
    LOGI("%d", cmdline.recovery);
    mHalStatus.Update(HAL_STATUS_UPGRADE, cmdline.recovery);
    return cmdline.recovery;
}

bool VyrHal::InitLogEnable() {
    if (GetUpgradeMode()) {
        return false;
    }
    PropertyTable props;
    std::string value;
    int n = props.GetVYRlogEnable(value);
    LOGI("buf = %s", value.c_str());
    if (n < 0) {
        LOGE("error, can't get VYRlogEnable");
    }
    if (value == "true") {
        return true;
    }
    if (value == "false") {
        return false;
    }
    if (mHalStatus.Get(HAL_STATUS_FACTORY)) {
        LOGI("factory log enable");
        return true;
    }
    if (IsBetaUser()) {
        LOGI("beta version log enable");
        return true;
    }
    return false;
}

void VyrHal::SetLogEnable(bool enable) {
    LOGI("%s", enable ? "enable" : "disable");
    mLogEnable.store(enable);
}

void VyrHal::SetLogLevel(int level) {
    if (level > 5) {
        level = 3;
    }
    if (level != mLogLevel.load()) {
        mLogLevel.store(level);
        PropertyTable props;
        props.SetLogLevel(static_cast<uint32_t>(level));
    }
}

bool VyrHal::InitDaemon() {
    std::string text = HalVersion::Default().GetVersionText();
    mVersions += text + "\n";
    LOGI("%s", text.c_str());
    PropertyTable props;
    props.SetVerHal(text);
    props.SetPersistVerDae(text);
    return true;
}

bool VyrHal::InitModules() {
    bool ok = true;
    auto add = [this, &ok](std::shared_ptr<ModuleBase> module) {
        if (ok && !RegModule(module)) {
            ok = false;
        }
    };

    if (mSysfs->HasXmlConfig("activity_recognition")) {
        mActivity = std::make_shared<Activity>(*this);
        add(mActivity);
    } else {
        mActivity.reset();
    }

    if (mSysfs->HasXmlConfig("thp")) {
        mTouchScreen = std::make_shared<TouchScreen>(*this);
        add(mTouchScreen);
    } else {
        mTouchScreen.reset();
    }

    if (mSysfs->HasXmlConfig("motion")) {
        mMotion = std::make_shared<Motion>(*this);
        add(mMotion);
    } else {
        mMotion.reset();
    }

    if (mSysfs->HasXmlConfig("camera")) {
        // Room for two TOF frames in the daemon's queue.
        mFmqSize = 614400;
        mCamera = std::make_shared<Camera>(*this);
        add(mCamera);
    } else {
        mCamera.reset();
    }

    {
        PropertyTable props;
        std::string systemName;
        uint32_t androidVer = 0;
        props.GetSystemName(systemName);
        props.GetAndroidVer(androidVer);
        LOGI("systemName: %s, curVersion: %d", systemName.c_str(), static_cast<int>(androidVer));
        if (mSysfs->HasXmlConfig("posture") && (systemName != "mainline" || androidVer > 12)) {
            mPosture = std::make_shared<Posture>(*this);
            add(mPosture);
        } else {
            mPosture.reset();
        }
    }

    mSensorHub = std::make_shared<SensorHub>(*this);
    add(mSensorHub);

    if (mLogEnable) {
        AddFrameType(SENSOR_TYPE_FS_DATA, "fs_data");
        AddFrameType(SENSOR_TYPE_FS_RESULT, "fs_result");
        mVyrLog = std::make_shared<VyrLog>(*this);
        add(mVyrLog);
    } else {
        mVyrLog.reset();
    }

    mWatchdog = std::make_shared<WatchDog>(*this);
    add(mWatchdog);
    return ok;
}

bool VyrHal::RegModule(std::shared_ptr<ModuleBase> module) {
    for (const auto &entry : mModules) {
        if (entry == module || entry->GetName() == module->GetName()) {
            LOGE("fail, %s has been registered", module->GetName().c_str());
            return false;
        }
    }
    mModules.push_back(module);
    return true;
}

void VyrHal::ProcessModule() {
    for (auto &module : mModules) {
        std::string name = module->GetName();
        LOGI("init module: %s", name.c_str());
        if (!module->PreInit()) {
            LOGE("init module: %s->PreInit() error", name.c_str());
            return;
        }
        if (!module->Init()) {
            LOGE("init module: %s->Init() error", name.c_str());
            return;
        }
        if (!module->LastInit()) {
            LOGE("init module: %s->LastInit() error", name.c_str());
            return;
        }
        mVersions += module->GetVersion() + "\n";
    }
    PropertyTable props;
    props.SetDaeAlive(true);
    InitProperties();
}

void VyrHal::InitProperties() {
    PropertyTable props;
    props.SetVerAlg("0.0.3");
    props.SetServiceEnable(true);
    props.SetGitID(VYR_GIT_ID);
    props.SetGitTime(VYR_GIT_TIME);
    LOGI("commit id: %s, time: %s", VYR_GIT_ID, VYR_GIT_TIME);
}

void VyrHal::UninitModules() {
    LOGI("+");
    std::vector<std::shared_ptr<ModuleBase>> modules;
    modules.swap(mModules);
    while (!modules.empty()) {
        modules.pop_back();
    }
    LOGI("-");
}

void VyrHal::UninitVyrd() {
    GetServerCmds().ClearCmds();
    std::lock_guard<std::mutex> lock(mFrameTypeLock);
    mFrameTypes.clear();
}

void VyrHal::ProcessPreSos() {
    for (auto &module : mModules) {
        LOGI("+ %s", module->GetName().c_str());
        module->PreSos();
        LOGI("- %s", module->GetName().c_str());
    }
}

void VyrHal::DoSos(const std::string where, int code, bool keepAlive) {
    LOGI("VyrHal::DoSos+, %s, %d", where.c_str(), code);
    ProcessPreSos();
    mDoSos.store(1);
    PropertyTable props;
    props.SetDaeAlive(true);
    props.SetBootFlag(true);
    std::string dump;
    props.GetSosDump(dump);
    bool wantDump = dump == "true" || dump == "1";
    if (!wantDump && !keepAlive) {
        EndProcess();
    }
    if (mDoSos.load() == 1) {
        __assert2(__FILE__, __LINE__, __PRETTY_FUNCTION__, "mDoSos != true");
    }
    LOGI("VyrHal::DoSos-");
}

void EndProcess() {
    static std::atomic<bool> ending{false};
    if (ending.exchange(true)) {
        // Another thread is ending the process: wait for it.
        for (;;) {
            pause();
        }
    }
    // Only the library's own files: flushing every stream would wait for
    // good on one that a daemon thread holds while it waits in it.
    FileStorer::FlushAll();
    quick_exit(0);
}

void VyrHal::EnableConnectSensors(bool enable) {
    bool working = mHalStatus.Get(HAL_STATUS_WORKING);
    if (working == enable) {
        LOGW("working state already set %d", working);
        return;
    }
    if (enable) {
        mHalStatus.Set(HAL_STATUS_WORKING);
    }
    for (auto &module : mModules) {
        module->EnableConnectSensor(enable);
    }
    if (!enable) {
        mHalStatus.Clear(HAL_STATUS_WORKING);
    }
}

void VyrHal::SetMemoryGuard(bool on) {
    gMemoryGuard.store(on);
}

void VyrHal::CheckMemory() {
    uint64_t now = MonoTimeMs();
    mMemCheckNow = now;
    if (now - mMemCheckLast < kMemCheckPeriodMs) {
        return;
    }
    mMemCheckLast = now;
    uint64_t pss = GetSysfs().GetMemoryPss();
    __android_log_print(ANDROID_LOG_WARN, VYR_LOG_TAG, "commit id: %s, CheckMemory = %luKb",
                        VYR_GIT_ID, static_cast<unsigned long>(pss));
    if (pss < kMemLimitKb || !gMemoryGuard.load()) {
        mMemOverCount = 0;
        return;
    }
    mMemOverCount++;
    while (mMemOverCount >= kMemOverLimit) {
        GetSysfs().GetMemInfoDetail();
        std::this_thread::sleep_for(std::chrono::seconds(1));
        DoSos("CheckMemory", 713, false);
    }
}

int VyrHal::VyrInit(vyr_notify_t notify) {
    mNotify = notify;
    return 0;
}

int VyrHal::VyrRunCommand(const std::string client, const std::string cmd,
                          const std::vector<uint8_t> in, std::vector<uint8_t> &out) {
    std::lock_guard<std::mutex> lock(mCmdLock);
    if (IsDoingSos()) {
        LOGE("doing sos, return");
        return 0;
    }
    ScopedWatchNode guard(mWatchdog.get(), "VyrRunCommand950", kCmdExpectMs);
    GetServerCmds().HandleCmd(client, cmd, in, out);
    return 0;
}

int VyrHal::VyrGetData(const std::string cmd, int32_t size, std::vector<uint8_t> &out) {
    if (IsDoingSos()) {
        LOGE("doing sos, return");
        return 0;
    }
    ScopedWatchNode guard(mWatchdog.get(), "VyrGetData963", kCmdExpectMs);
    GetServerCmds().HandleData(cmd, size, out);
    LOGI("get_data size: %d", static_cast<int>(out.size()));
    return 0;
}

int VyrHal::VyrFmqData(uint8_t *data, int32_t size) {
    std::lock_guard<std::mutex> lock(mFmqLock);
    if (IsDoingSos()) {
        LOGE("doing sos, return");
        return 0;
    }
    ScopedWatchNode guard(mWatchdog.get(), "VyrFmqData977", kCmdExpectMs);
    if (mFmq == nullptr) {
        return 0;
    }
    return mFmq->ProcessFmqData(data, size);
}

template <typename T>
T &VyrHal::Checked(const std::unique_ptr<T> &member, const char *text, const char *where,
                   int code) {
    if (member == nullptr) {
        if (text != nullptr) {
            LOGI("%s", text);
        }
        DoSos(where, code, false);
    }
    return *member;
}

template <typename T>
T &VyrHal::Checked(const std::shared_ptr<T> &member, const char *text, const char *where,
                   int code) {
    if (member == nullptr) {
        LOGI("%s", text);
        DoSos(where, code, false);
    }
    return *member;
}

DirOperator &VyrHal::GetDirOperator() {
    return Checked(mDirOperator, nullptr, "GetDirOperator", 648);
}
ServerCmds &VyrHal::GetServerCmds() {
    return Checked(mCmds, nullptr, "GetServerCmds", 656);
}
VyrFrame &VyrHal::GetCurFrame() {
    return Checked(mCurFrame, "mCurFrame is nullptr", "GetCurFrame", 722);
}
WatchDog &VyrHal::GetWatchdog() {
    return Checked(mWatchdog, "mWatchdog is nullptr", "GetWatchdog", 741);
}
SensorHub &VyrHal::GetSensorHub() {
    return Checked(mSensorHub, "mSensorHub is nullptr", "GetSensorHub", 761);
}
Motion &VyrHal::GetMotion() {
    return Checked(mMotion, "mMotion is nullptr", "GetMotion", 771);
}
Camera &VyrHal::GetCamera() {
    return Checked(mCamera, "mCamera is nullptr", "GetCamera", 801);
}
Activity &VyrHal::GetActivity() {
    return Checked(mActivity, "mActivity is nullptr", "GetActivity", 781);
}
Posture &VyrHal::GetPosture() {
    return Checked(mPosture, "mPosture is nullptr", "GetPosture", 791);
}
VyrLog &VyrHal::GetVyrlog() {
    return Checked(mVyrLog, "mVyrlog is nullptr", "GetVyrlog", 731);
}
TouchScreen &VyrHal::GetTouchScreen() {
    return Checked(mTouchScreen, "mTouchScreen is nullptr", "GetTouchScreen", 750);
}
Sysfs &VyrHal::GetSysfs() {
    return Checked(mSysfs, "mSysfs is nullptr", "GetSysfs", 811);
}
Dmd &VyrHal::GetDmd() {
    return Checked(mDmd, "mDmd is nullptr", "GetDmd", 820);
}

const vyr_notify_t &VyrHal::GetNotify() {
    if (mNotify.notify == nullptr) {
        LOGI("mNotify is nullptr");
        DoSos("GetNotify", 829, false);
    }
    return mNotify;
}

vyr_sys_device_t &VyrHal::GetSysDevice() {
    if (mVyrSys == nullptr) {
        LOGI("mVyrSys is nullptr");
        DoSos("GetSysDevice", 838, false);
    }
    return *mVyrSys;
}

const std::map<uint32_t, std::string> &VyrHal::GetFrameTypes() {
    std::lock_guard<std::mutex> lock(mFrameTypeLock);
    return mFrameTypes;
}

void VyrHal::AddFrameType(uint32_t id, const std::string &name) {
    std::lock_guard<std::mutex> lock(mFrameTypeLock);
    mFrameTypes.emplace(id, name);
}

std::map<uint32_t, std::string> VyrHal::CopyFrameTypes() {
    std::lock_guard<std::mutex> lock(mFrameTypeLock);
    return mFrameTypes;
}

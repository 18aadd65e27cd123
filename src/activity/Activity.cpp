#include "activity/Activity.h"

#include <boundchk.h>

#include <cstdlib>
#include <cstring>

#include "hal/HalStatus.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/PropertyTable.h"
#include "platform/Sysfs.h"
#include "platform/Utils.h"
#include "sensor/SensorHub.h"

namespace {

// The activity table; `realActivity` follows the client's activity list.
ActivityEntry gActivities[ar::kActivityCount] = {
    {20, "android.activity_recognition.high_speed_rail", 0},
    {19, "android.activity_recognition.metro", 0},
    {51, "android.activity_recognition.micro_still", 0},
    {41, "android.activity_recognition.non_hand_held", 0},
};

const char *const kHeaderNames[ar::kActivityCount + 1] = {
    "AR_ACTIVITY_TYPE_VE_HIGH_SPEED_RAIL",
    "AR_ACTIVITY_TYPE_VE_METRO",
    "AR_ACTIVITY_TYPE_MICRO_STILL",
    "AR_ACTIVITY_TYPE_HAND_HELD",
    "AR_ACTIVITY_TYPE_MAX",
};

constexpr int64_t kMinLoadLatencyNs = 1000000000LL;

}  // namespace

// The context word handed to every library call that takes one; its
// meaning is the libraries'.
uint64_t gArContext = 1;

Activity::Activity(VyrHal &hal) : ModuleBase("Activity", hal) {}

Activity::~Activity() {
    LOGI("enter");
    mActivityLib.reset();
    mHandLib.reset();
    mMicroLib.reset();
    mEngineLib.reset();
    mPendingEvents.clear();
    mUploadEvents.clear();
}

const char *Activity::HeaderName(int index) {
    if (index < 0 || index >= ar::kActivityCount) {
        return kHeaderNames[ar::kActivityCount];
    }
    return kHeaderNames[index];
}

const ActivityEntry &Activity::Entry(int index) {
    return gActivities[index];
}

bool Activity::PreInit() {
    Sysfs &sysfs = mHal.GetSysfs();
    if (!sysfs.HasXmlConfig("activity_recognition")) {
        LOGE("activity_recognition xml config not enable");
        return false;
    }
    memset_s(mStates, sizeof(mStates), 0, sizeof(mStates));
    const std::string value = sysfs.GetXmlConfig("activity_recognition");
    if (!value.empty()) {
        for (int index = 0; index < ar::kActivityCount; ++index) {
            const std::string key = std::string(kHeaderNames[index]) + "-";
            if (value.find(key) != std::string::npos) {
                mStates[index].configured = 1;
                LOGI("ar config: %s, index: %d", kHeaderNames[index], index);
            }
            mStates[index].reportInterval = kIdleReportInterval;
        }
    }
    RecoverArList();
    LOGI("%s", mVersion.GetVersionText().c_str());
    BuildSensorSets();
    return true;
}

void Activity::BuildSensorSets() {
    const bool fusion = mHal.GetSysfs().HasXmlConfig("fusionsense");
    // Each set is the one before with more sensors: 3 and 2, then 0, then 1.
    std::map<int32_t, ConnectionParam> sensors;
    if (fusion) {
        sensors[SENSOR_TYPE_FUSION_SENSE] = ConnectionParam{5, 0};
        sensors[SENSOR_TYPE_FUSION_ACC] = ConnectionParam{100, 0};
    } else {
        sensors[SENSOR_TYPE_ACCELEROMETER] = ConnectionParam{100, 0};
    }
    mTypeSensors[ar::kHandHeld] = sensors;
    mTypeSensors[ar::kMicroStill] = sensors;
    sensors[SENSOR_TYPE_MODEM] = ConnectionParam{10, 0};
    mTypeSensors[ar::kHighSpeedRail] = sensors;
    if (fusion) {
        sensors[SENSOR_TYPE_FUSION_MAG] = ConnectionParam{10, 0};
    } else {
        sensors[SENSOR_TYPE_MAGNETIC_FIELD] = ConnectionParam{10, 1000000};
    }
    mTypeSensors[ar::kMetro] = sensors;

    if (!fusion) {
        mHal.AddFrameType(SENSOR_TYPE_ACCELEROMETER, "SENSOR_TYPE_ACCELEROMETER");
        mHal.AddFrameType(SENSOR_TYPE_MAGNETIC_FIELD, "SENSOR_TYPE_MAGNETIC_FIELD");
    }
    mHal.AddFrameType(SENSOR_TYPE_MODEM, "SENSOR_TYPE_MODEM_PRIVATE");
    mHal.GetSensorHub().AddPrivateSensor(SENSOR_TYPE_MODEM, "modem Non-wakeup", "other");
}

bool Activity::LastInit() {
    LOGI("+");
    mHal.GetSensorHub().RegisterSensorCallback(
        mName, [this](ASensorEvent event, bool /*ok*/) { OnSensorEvent(event); });
    mCallbackRegistered = true;
    return true;
}

void Activity::Uninit() {
    LOGI("+");
    if (mCallbackRegistered) {
        mHal.GetSensorHub().UnregisterSensorCallback(mName);
        mCallbackRegistered = false;
    }
}

uint64_t Activity::GetArConfigMask() {
    std::lock_guard<std::mutex> lock(mLock);
    return mArConfigMask;
}

void Activity::RecoverArList() {
    PropertyTable props;
    std::string list;
    props.GetArList(list);
    LOGI("ArList Property get: %s", list.c_str());
    const std::vector<std::string> fields = Split(list, ",");
    if (fields.size() < ar::kActivityCount) {
        return;
    }
    mArConfigMask = 0;
    for (int index = 0; index < ar::kActivityCount; ++index) {
        const int value = atoi(fields[static_cast<size_t>(index)].c_str());
        if (value != 0 && mStates[index].configured != 0) {
            gActivities[index].realActivity = value;
            mStates[index].status.activity = static_cast<uint32_t>(value);
            // The shift is of a 32-bit one, widened with its sign.
            const int32_t bit = static_cast<int32_t>(1u << (static_cast<uint32_t>(value) % 32u));
            mArConfigMask |= static_cast<uint64_t>(static_cast<int64_t>(bit));
        }
    }
    LOGI("ar config: 0x%x", static_cast<unsigned>(mArConfigMask));
}

void Activity::UpdateArList(const std::string &list) {
    std::lock_guard<std::mutex> lock(mLock);
    const std::vector<std::string> entries = Split(list, ";");
    std::string text;
    for (int index = 0; index < ar::kActivityCount; ++index) {
        bool found = false;
        for (size_t j = 0; j < entries.size(); ++j) {
            if (entries[j].find(gActivities[index].name) != std::string::npos) {
                LOGI("ar: %s, %d, map: %s, %d", kHeaderNames[index], index, entries[j].c_str(),
                     static_cast<int>(j));
                text += std::to_string(j) + ",";
                found = true;
                break;
            }
        }
        if (!found) {
            text += "0,";
        }
    }
    LOGI("ArList Property set: %s", text.c_str());
    PropertyTable props;
    props.SetArList(text);
    RecoverArList();
}

int Activity::RealActivity2Index(int n) {
    for (int index = 0; index < ar::kActivityCount; ++index) {
        if (gActivities[index].realActivity == n) {
            LOGI("remap activity: %d to %d", n, index);
            return index;
        }
    }
    return -1;
}

bool Activity::HasClients(int index) {
    return IsTypeEnabled(static_cast<uint32_t>(index));
}

void Activity::ActivitySwitch(std::string client, int activityHandle, uint32_t eventType,
                              bool enable, int64_t reportLatencyNs) {
    std::lock_guard<std::mutex> lock(mLock);
    client += std::to_string(eventType);
    const int index = RealActivity2Index(activityHandle);
    if ((eventType != ar::kEventEnter && eventType != ar::kEventExit) || index < 0 ||
        index >= ar::kActivityCount) {
        LOGI("AR params not supported, activityHandle: %d, eventType: %d, reportLatencyNs: %ld",
             index, static_cast<int>(eventType), static_cast<long>(reportLatencyNs));
        return;
    }
    if (mTypeSensors.find(index) == mTypeSensors.end()) {
        LOGW("vyr activity handle: %s not support", kHeaderNames[index]);
        return;
    }
    if (!ActivitySetting(client, index, eventType, enable, reportLatencyNs)) {
        return;
    }
    SensorEnable(client, static_cast<uint32_t>(index), enable);
    RebuildResample();
}

bool Activity::ActivitySetting(std::string client, int index, uint32_t eventType, bool enable,
                               int64_t latency) {
    const bool wasActive = HasClients(index);
    if (!wasActive && !enable) {
        LOGI("activity: %s activityHandle: %d already disable", client.c_str(), index);
        return false;
    }
    if (enable && (index == ar::kHighSpeedRail || index == ar::kMetro) && mActivityLib == nullptr) {
        std::unique_ptr<LibVyrActivity> lib(new (std::nothrow) LibVyrActivity());
        if (lib == nullptr || !lib->Init()) {
            LOGE("LibVyrActivity init failed");
            return false;
        }
        mActivityLib = std::move(lib);
        if (!ArInit()) {
            LOGE("AR init error");
            mActivityLib.reset();
            return false;
        }
        if (latency < kMinLoadLatencyNs) {
            latency = kMinLoadLatencyNs;
        }
        mSampleCount = 0;
    }
    if (enable && index == ar::kHandHeld && mHandLib == nullptr) {
        std::unique_ptr<LibVyrArHand> lib(new (std::nothrow) LibVyrArHand());
        if (lib == nullptr || !lib->Init()) {
            LOGE("LibVyrArHand init failed");
            return false;
        }
        mHandLib = std::move(lib);
        mHandLib->HandHeldInit(0, &gArContext);
    }
    if (enable && index == ar::kMicroStill && mMicroLib == nullptr) {
        std::unique_ptr<LibVyrMicroAr> lib(new (std::nothrow) LibVyrMicroAr());
        if (lib == nullptr || !lib->Init()) {
            LOGE("LibVyrMicroAr init failed");
            return false;
        }
        mMicroLib = std::move(lib);
        mMicroLib->MicroArInit(0, &gArContext);
        const std::string &product = mHal.GetSysfs().GetProduct();
        if (mMicroLib->MicroArSetProjectName(product.c_str(),
                                             static_cast<int32_t>(product.size())) == -1) {
            LOGI("false ar config as: %s, index: %d", kHeaderNames[ar::kMicroStill],
                 ar::kMicroStill);
        }
        mMicroLib->SetQStillAlgSwitch(1);
    }

    SetConnection(client, index, enable, 0, 0);
    const bool nowActive = HasClients(index);
    ArActivityState &state = mStates[index];
    if (!wasActive && nowActive) {
        state.status.eventType = 0;
        state.status.timestamp = 0;
        state.status.confidence = 0;
        state.reportInterval = latency;
        state.armed = 1;
        state.nextReportTime = 0;
    }
    if (nowActive) {
        state.eventMask = static_cast<uint8_t>(state.eventMask | eventType);
    } else if (!IsClientConnected(client, static_cast<uint32_t>(index))) {
        state.eventMask = static_cast<uint8_t>(state.eventMask & ~eventType);
    }
    ReleaseIdleLibraries();
    return true;
}

void Activity::ReleaseIdleLibraries() {
    if (mActivityLib != nullptr && !HasClients(ar::kHighSpeedRail) && !HasClients(ar::kMetro)) {
        mActivityLib.reset();
        LOGI("LibAlgo algo lib reset");
    }
    if (mHandLib != nullptr && !HasClients(ar::kHandHeld)) {
        mHandLib.reset();
        LOGI("LibArhand algo lib reset");
    }
    if (mMicroLib != nullptr && !HasClients(ar::kMicroStill)) {
        mMicroLib.reset();
        LOGI("LibMicroAr algo lib reset");
    }
}

bool Activity::ArInit() {
    if (mActivityLib == nullptr) {
        LOGE("AR handler is nullptr.");
        return false;
    }
    int32_t ret = mActivityLib->AlgInit_AR();
    if ((ret & 0xff) != 0) {
        LOGE("AR init failed, ret = %d.", ret);
        return false;
    }
    uint32_t productId = 0;
    ret = mActivityLib->ProductIdInit(&productId, 2);
    if ((ret & 0xff) != 0) {
        LOGE("AR ProductId init failed, ret = %d.", ret);
        return false;
    }
    mActivityLib->AlgEnableVehicleBicycle();
    mActivityLib->AlgInit_HighSpeedRecog(&gArContext);
    return true;
}

int Activity::GetCurrentArStatus(std::vector<uint8_t> &out) {
    LOGD("AR GetCurrentArStatus");
    std::lock_guard<std::mutex> lock(mLock);
    out.clear();
    for (int index = 0; index < ar::kActivityCount; ++index) {
        const ArActivityState &state = mStates[index];
        if (state.configured != 0 && state.status.eventType == ar::kEventEnter) {
            const auto *bytes = reinterpret_cast<const uint8_t *>(&state.status);
            out.insert(out.end(), bytes, bytes + sizeof(state.status));
        }
    }
    return 0;
}

int Activity::GetAllCurrentArStatus(std::vector<uint8_t> &out) {
    LOGD("AR GetAllCurrentArStatus");
    std::lock_guard<std::mutex> lock(mLock);
    out.resize(ar::kStatusBlockSize);
    errno_t err = memcpy_s(out.data(), out.size(), mStatusBlock, sizeof(mStatusBlock));
    if (err != 0) {
        LOGE("memcpy_s failed, err = %d", static_cast<int>(err));
    }
    return 0;
}

void Activity::SendArEngineCmd(const char *data, uint32_t size) {
    vyr_msg_t msg;
    msg.client = "ar-client";
    msg.type = 1;
    msg.dataSize = static_cast<int32_t>(size);
    msg.data.assign(size / 4 + 1, 0);
    errno_t err = memcpy_s(msg.data.data(), msg.data.size() * sizeof(int32_t), data, size);
    if (err != 0) {
        LOGE("memcpy_s failed, err = %d", static_cast<int>(err));
        return;
    }
    const vyr_notify_t &notify = mHal.GetNotify();
    if (notify.notify != nullptr) {
        notify.notify(msg);
    }
}

namespace {
Activity *gEngineOwner = nullptr;
}  // namespace

void Activity::EngineDataThunk(void *data, int32_t dataType, int32_t size) {
    if (gEngineOwner != nullptr) {
        gEngineOwner->EngineDataCallback(data, dataType, size);
    }
}

void Activity::ProcessArEngineData(const char *data, uint32_t size) {
    std::lock_guard<std::mutex> lock(mLock);
    LOGI("data[0]: %d, size: %d", (data != nullptr && size > 0) ? data[0] : 0,
         static_cast<int>(size));
    if (mEngineLib == nullptr) {
        std::unique_ptr<LibArEngineClient> lib(new (std::nothrow) LibArEngineClient());
        if (lib == nullptr || !lib->Init()) {
            LOGE("LibVyrMicroAr init failed");
            return;
        }
        mEngineLib = std::move(lib);
        mEngineLib->AREGCInit();
        mCallbackOwner.reset(new (std::nothrow) uint8_t(0));
        gEngineOwner = this;
        mEngineLib->AREGCProcessDataFuncRegister(&Activity::EngineDataThunk);
    }
    if (data == nullptr) {
        return;
    }
    mEngineLib->AREGCDecodeData(data, size);
}

void Activity::EngineDataCallback(void *data, int dataType, int size) {
    LOGI("dataType: %d, data size: %d", dataType, size);
    if (dataType == 1 && data != nullptr && size >= 4) {
        int32_t version = 0;
        memcpy_s(&version, sizeof(version), data, sizeof(version));
        LOGI("ar algo version: %d", version);
    }
}

void Activity::InjectModemEvent(int32_t rat, int32_t cid) {
    std::lock_guard<std::mutex> lock(mLock);
    const uint64_t now = VyrHal::MonoTimeNs();
    const int32_t hsFlag = (now - mHsFlagTime <= 59999999999ULL) ? mHsFlag : 0;
    ASensorEvent event{};
    event.sensor = SENSOR_TYPE_MODEM;
    event.type = SENSOR_TYPE_MODEM;
    event.timestamp = static_cast<int64_t>(now);
    event.u64.data[0] = static_cast<uint64_t>(static_cast<int64_t>(rat));
    event.u64.data[2] = static_cast<uint64_t>(static_cast<int64_t>(cid));
    event.u64.data[4] = static_cast<uint64_t>(static_cast<uint32_t>(hsFlag));
    mHal.GetSensorHub().PushSensorEvents(&event, 1);
}

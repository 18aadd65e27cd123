#include "motion/Posture.h"

#include <android/log.h>

#include <cstdio>
#include <new>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/PostureDft.h"
#include "log/VyrFrame.h"
#include "motion/MotionScale.h"
#include "platform/LibSysTrace.h"
#include "platform/Sysfs.h"
#include "platform/WatchDog.h"
#include "sensor/SensorHub.h"

namespace {

constexpr uint32_t kType = 0;
constexpr uint64_t kDropPauseNs = 1000000000ull;
constexpr float kStatusNormal = 0.0f;
constexpr float kStatusDrop = -2.0f;
constexpr float kReportPrecision = 0.05f;
constexpr float kIdlePrecision = 0.002f;
constexpr float kWorkLow = 15.0f;
constexpr float kWorkHigh = 170.0f;
constexpr float kIdleLow = 10.0f;
constexpr float kIdleHigh = 175.0f;
constexpr float kFirstFoldedBelow = 4.0f;
constexpr uint64_t kWatchLimitMs = 20000;

// Product-name fragments of the phones whose beta users report fold
// statistics.
const std::vector<std::string> &DftProducts() {
    static const std::vector<std::string> products = {"VYRFOLD"};
    return products;
}

void MakeAcc(const ASensorEvent &event, int16_t out[3]) {
    for (int i = 0; i < 3; ++i) {
        out[i] = static_cast<int16_t>(motion::Scale(event.data[i]));
    }
}

}  // namespace

Posture::Posture(VyrHal &hal) : ModuleBase("Posture", hal) {}

Posture::~Posture() {
    LOGI("enter");
    mLib.reset();
    mPostureDft.reset();
}

const char *Posture::PostureText(int32_t posture) {
    switch (posture) {
        case kPostureFolded:
            return "FOLD_POSTURE_FOLDED";
        case kPostureHalfFolded:
            return "FOLD_POSTURE_HALF_FOLDED";
        case kPostureFull:
            return "FOLD_POSTURE_FULL";
        case kPostureVerticalUnknown:
            return "FOLD_POSTURE_VERTICAL_UNKNOWN";
        case kPostureException:
            return "POSTURE_POSTURE_EXCEPTION";
        default:
            return "FOLD_POSTURE_UNKNOWN";
    }
}

bool Posture::PreInit() {
    if (!mHal.GetSysfs().HasXmlConfig("posture")) {
        LOGE("posture xml config not enable");
        return false;
    }
    auto &sensors = mTypeSensors[static_cast<int32_t>(kType)];
    sensors[SENSOR_TYPE_ACCELEROMETER] = ConnectionParam{kSensorRate, 0};
    sensors[SENSOR_TYPE_ACCELEROMETER2] = ConnectionParam{kSensorRate, 0};
    sensors[SENSOR_TYPE_HINGE_ANGLE] = ConnectionParam{kSensorRate, 0};
    mHal.AddFrameType(SENSOR_TYPE_ACCELEROMETER, "SENSOR_TYPE_ACCELEROMETER");
    mHal.AddFrameType(SENSOR_TYPE_ACCELEROMETER2, "SENSOR_TYPE_ACCELEROMETER2");
    mHal.AddFrameType(SENSOR_TYPE_HINGE_ANGLE, "SENSOR_TYPE_HINGE_ANGLE");
    return true;
}

bool Posture::LastInit() {
    LOGI("+");
    mHal.GetSensorHub().RegisterSensorCallback(
        mName, [this](ASensorEvent event, bool /*ok*/) { OnSensorEvent(event); });
    mCallbackRegistered = true;
    if (IsSupportDft() && mPostureDft == nullptr) {
        mPostureDft.reset(new (std::nothrow) PostureDft(mHal));
    }
    return true;
}

void Posture::Uninit() {
    LOGI("+");
    if (mCallbackRegistered) {
        mHal.GetSensorHub().UnregisterSensorCallback(mName);
        mCallbackRegistered = false;
    }
}

bool Posture::IsSupportDft() {
    if (!IsBetaUser()) {
        return false;
    }
    const std::string &product = mHal.GetSysfs().GetProduct();
    for (const std::string &fragment : DftProducts()) {
        if (product.find(fragment) != std::string::npos) {
            LOGI("%s find %s", product.c_str(), fragment.c_str());
            return true;
        }
    }
    return false;
}

bool Posture::HasAnyConnection() {
    for (const auto &entry : mConnections) {
        if (!entry.second.empty()) {
            return true;
        }
    }
    return false;
}

void Posture::OnSensorEvent(const ASensorEvent &event) {
    std::lock_guard<std::mutex> lock(mLock);
    if (TakeSample(event)) {
        ProcessHingeAngleData(event);
    }
}

ASensorEvent Posture::LatestEvent(int32_t type) {
    mFrame.LockData(true);
    ASensorEvent event = mFrame.GetData().GetEvent(type);
    mFrame.LockData(false);
    return event;
}

void Posture::SendResult(int32_t posture, int32_t hingeAngle, int32_t info) {
    vyr_msg_t msg;
    msg.client = "posture-client";
    msg.type = static_cast<int32_t>(kType);
    msg.dataSize = 1;
    msg.data = {posture, hingeAngle, info};
    NotifyClients(msg);
}

void Posture::PostureSwitch(std::string client, bool enable) {
    std::lock_guard<std::mutex> lock(mLock);
    const bool was = IsTypeEnabled(kType);
    if (!was && !enable) {
        LOGI("posture already disable");
        return;
    }
    if (enable && !HasAnyConnection() && mLib == nullptr) {
        auto lib = std::make_unique<LibVyrPosture>();
        if (!lib->Init()) {
            LOGE("LibVyrPosture init failed");
            return;
        }
        const char *version = lib->GetFoldableVersion();
        mVersion.SetBuild(version != nullptr ? version : "");
        LOGI("%s", mVersion.GetVersionText().c_str());
        mLib = std::move(lib);
        if (mPostureDft != nullptr) {
            mPostureDft->ResetPosture();
        }
    }
    SetConnection(client, static_cast<int>(kType), enable, 0, 0);
    const bool now = IsTypeEnabled(kType);
    if (now) {
        mWorkRate = kSensorRate;
    }
    if (now && !was) {
        mNeedInit = true;
        mLastResult.posture = -1;
        mStatus = 0.0f;
    } else if (!now) {
        mNeedInit = false;
    }
    // A client that joins before the first good hinge event keeps the
    // library's set-up pending: clearing it then would leave the library
    // without its parameters, and silent, for as long as any client stays
    // (clients ask together when the daemon starts again).
    const bool sensorsSet = SensorEnable(client, kType, enable);
    RebuildResample();
    if (!sensorsSet) {
        SendResult(kPostureException, 0, 0);
    }
    if (!HasAnyConnection() && mLib != nullptr) {
        mLib.reset();
        LOGI("algo lib reset");
    }
}

void Posture::ProcessHingeAngleData(ASensorEvent event) {
    ScopedWatchNode node(mHal.HasWatchdog() ? &mHal.GetWatchdog() : nullptr,
                         "ProcessHingeAngleData207", kWatchLimitMs);
    ScopedTrace trace(mHal.GetTrace(), "ProcessHingeAngleData");

    const ASensorEvent hinge = LatestEvent(SENSOR_TYPE_HINGE_ANGLE);
    const ASensorEvent acc = LatestEvent(SENSOR_TYPE_ACCELEROMETER);
    ASensorEvent acc2Event = LatestEvent(SENSOR_TYPE_ACCELEROMETER2);
    float angle = hinge.data[0];
    float precision = hinge.data[14];
    int64_t secondTimestamp = 0;
    int16_t acc1[3] = {};
    int16_t acc2[3] = {};
    MakeAcc(acc, acc1);

    if (event.type == SENSOR_TYPE_HINGE_ANGLE) {
        MakeAcc(acc2Event, acc2);
        secondTimestamp = acc2Event.timestamp;
        angle = event.data[0];
        const float status = event.data[1];
        precision = event.data[14];
        mStatus = status;
        if (status == kStatusNormal && mNeedInit && IsTypeEnabled(kType)) {
            mNeedInit = false;
            mDropEnd = 0;
            LOGI("run initPostureParameter");
            if (mLib != nullptr) {
                mLib->initPostureParameter(motion::Truncate(angle), acc2, 3, acc1, 3);
            }
            mHal.GetSensorHub().ResetSensorIdle();
        } else if (status == kStatusDrop && mDropEnd == 0) {
            LOGE("detect drop event, posture will disable 1 second");
            mDropEnd = static_cast<uint64_t>(event.timestamp) + kDropPauseNs;
            return;
        }
    } else if (event.type == SENSOR_TYPE_ACCELEROMETER2) {
        MakeAcc(event, acc2);
        secondTimestamp = hinge.timestamp;
    } else {
        return;
    }

    // The pause after a drop ends with the first event at or past its end.
    if (mDropEnd != 0) {
        if (static_cast<uint64_t>(event.timestamp) < mDropEnd) {
            return;
        }
        mDropEnd = 0;
        LOGI("end drop event, run initPostureParameter fold: %f", static_cast<double>(angle));
        if (mLib != nullptr) {
            mLib->initPostureParameter(motion::Truncate(angle), acc2, 3, acc1, 3);
        }
    }

    // A sensor error is told once, until a good result follows.
    if (mStatus < 0.0f && IsTypeEnabled(kType)) {
        if (mLastResult.posture == kPostureException) {
            return;
        }
        LOGE("report posture error: %f", static_cast<double>(mStatus));
        SendResult(kPostureException, motion::Truncate(angle), motion::Truncate(mStatus));
        mLastResult.posture = kPostureException;
        return;
    }

    if (!IsTypeEnabled(kType) || acc.timestamp == 0 || secondTimestamp == 0 || mLib == nullptr) {
        return;
    }
    fold_posture_result_t result{0, 0, 0};
    const uint64_t timeMs = static_cast<uint64_t>(event.timestamp) / 1000000u;
    const int32_t found =
        mLib->FlodableGestrueDetect(acc2, 3, acc1, 3, motion::Truncate(angle), &result, timeMs, 0,
                                    precision, acc.data[0], acc.data[1], acc.data[2]);
    if (precision <= kReportPrecision && result.posture != kPostureVerticalUnknown) {
        // The first report may say folded only when the angle really is small.
        const bool heldFirst = mLastResult.posture == -1 && result.posture == kPostureFolded &&
                               angle >= kFirstFoldedBelow;
        const bool same = result.posture == mLastResult.posture && result.info == mLastResult.info;
        if (found != 0 && !heldFirst && !same) {
            mLastResult = result;
            LOGI("POSTURE: a=%f, p=%f, A:x=%d y=%d z=%d x=%d y=%d z=%d, ts=%lu, result: %s %3d %d",
                 static_cast<double>(angle), static_cast<double>(precision), acc1[0], acc1[1],
                 acc1[2], acc2[0], acc2[1], acc2[2], static_cast<unsigned long>(event.timestamp),
                 PostureText(result.posture), result.hingeAngle, result.info);
            SendResult(result.posture, result.hingeAngle, result.info);
        }
    }
    ProcessIdleData(angle, precision);
    if (mLastResult.posture >= 1 && mLastResult.posture <= 255 && mPostureDft != nullptr) {
        mPostureDft->UpdatePostureData(angle, mLastResult.posture);
    }
}

void Posture::ProcessIdleData(float fold, float precision) {
    LOGV(
        "precision: (%0.3f <= %0.3f), fold = %3.3f, work thd:(%0.3f ~ %0.3f), idle thd:(0 ~ "
        "%0.3f or %0.3f ~ 180)",
        static_cast<double>(precision), static_cast<double>(kIdlePrecision),
        static_cast<double>(fold), static_cast<double>(kWorkLow), static_cast<double>(kWorkHigh),
        static_cast<double>(kIdleLow), static_cast<double>(kIdleHigh));
    if (precision > kIdlePrecision) {
        return;
    }
    if (fold > kIdleHigh || fold < kIdleLow) {
        mHal.GetSensorHub().SensorIdle(true, mIdleRate);
    } else if (fold > kWorkLow && fold < kWorkHigh) {
        mHal.GetSensorHub().SensorIdle(false, mWorkRate);
    }
}

bool Posture::InitVyrd() {
    LOGI("+");
    return InitVyrdPostureOn() && InitVyrdPostureOff() && InitVyrdPostureSet();
}

bool Posture::InitVyrdPostureOn() {
    return AddCmd("posture-on", [this](const std::string client, const std::string param,
                                       std::vector<uint8_t> &out) {
        if (param.empty()) {
            SetReply(out, "usage: posture-on rate");
            return;
        }
        PostureSwitch(client, true);
        LOGI("posture on rate: %s", param.c_str());
        SetReply(out, "posture on done");
    });
}

bool Posture::InitVyrdPostureOff() {
    return AddCmd("posture-off", [this](const std::string client, const std::string /*param*/,
                                        std::vector<uint8_t> &out) {
        LOGI("posture off");
        PostureSwitch(client, false);
        SetReply(out, "posture off done");
    });
}

bool Posture::InitVyrdPostureSet() {
    return AddCmd("posture-set", [this](const std::string /*client*/, const std::string param,
                                        std::vector<uint8_t> &out) {
        unsigned int postureType = 0;
        int hingeAngle = 0;
        int info = 0;
        if (std::sscanf(param.c_str(), "0x%x,%d,%d", &postureType, &hingeAngle, &info) != 3) {
            SetReply(out, "usage: posture-set postureType,hingeAngle,info");
            return;
        }
        const int32_t posture = static_cast<int32_t>(postureType);
        LOGI("postureType: %s, hingeAngle: %d, info: %d", PostureText(posture), hingeAngle, info);
        {
            std::lock_guard<std::mutex> lock(mLock);
            SendResult(posture, hingeAngle, info);
        }
        SetReply(out, "posture-set " + param + " done");
    });
}

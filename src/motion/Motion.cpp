#include "motion/Motion.h"

#include <android/log.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "hal/HalStatus.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"
#include "log/VyrLog.h"
#include "motion/Posture.h"
#include "platform/Sysfs.h"
#include "platform/Utils.h"
#include "sensor/SensorHub.h"
#include "touch/TouchScreen.h"

namespace {

const char *const kTypeNames[Motion::kTypeMax + 1] = {
    "MOTION_TYPE_START",     "MOTION_TYPE_PICKUP",
    "MOTION_TYPE_FLIP",      "MOTION_TYPE_PROXIMITY",
    "MOTION_TYPE_SHAKE",     "MOTION_TYPE_TAP",
    "MOTION_TYPE_TILT_LR",   "MOTION_TYPE_ROTATION",
    "MOTION_TYPE_POCKET",    "MOTION_TYPE_ACTIVITY",
    "MOTION_TYPE_TAKE_OFF",  "MOTION_TYPE_EXTEND_STEP_COUNTER",
    "MOTION_TYPE_FD",        "MOTION_TYPE_POCKET_IOMCU",
    "MOTION_TYPE_SCAN_CODE", "MOTION_TYPE_NONE15",
    "MOTION_TYPE_NONE16",    "MOTION_TYPE_NONE17",
    "MOTION_TYPE_NONE18",    "MOTION_TYPE_HEAD_DOWN_WITH_ALS = 19",
    "MOTION_TYPE_POSTURE",   "MOTION_TYPE_NONE21",
    "MOTION_TYPE_NONE22",    "MOTION_TYPE_ROTATION_GESTURE",
    "MOTION_TYPE_NONE24",    "MOTION_TYPE_BACK_TAP",
    "MOTION_TYPE_NONE26",    "MOTION_TYPE_NONE27",
    "MOTION_TYPE_NONE28",    "MOTION_TYPE_NONE29",
    "MOTION_TYPE_AR",        "MOTION_TYPE_MAX",
};

const char *const kFoldTypeNames[] = {"FOLD_TYPE_IN", "FOLD_TYPE_OUT", "FOLD_TYPE_FLIP"};

constexpr int kFirstType = 1;
constexpr int kLastType = 30;
// Types whose recognisers live outside the motion library.
constexpr uint64_t kOwnLibraryTypes = (1ull << Motion::kTypeWristFlip) |
                                      (1ull << Motion::kTypeRotationGesture) |
                                      (1ull << Motion::kTypeBackTap);
static_assert(kOwnLibraryTypes == 0x2804000ull);
constexpr int kBackTapModes = 4;

uint64_t Bit(int type) {
    return 1ull << static_cast<unsigned>(type);
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace

Motion::Motion(VyrHal &hal) : ModuleBase("Motion", hal) {}

Motion::~Motion() {
    LOGI("enter");
    mRotationGesture.reset();
    mWristFlip.reset();
    mTapFusion.reset();
    mTapGesture.reset();
    mMotionLib.reset();
}

const char *Motion::TypeName(int type) {
    if (type < 0 || type > kTypeMax) {
        return "";
    }
    return kTypeNames[type];
}

const char *Motion::FoldTypeName(int index) {
    if (index < 0 || index >= static_cast<int>(std::size(kFoldTypeNames))) {
        return "";
    }
    return kFoldTypeNames[index];
}

bool Motion::PreInit() {
    Sysfs &sysfs = mHal.GetSysfs();
    if (!sysfs.HasXmlConfig("motion")) {
        LOGE("motion xml config not enable");
        return false;
    }
    const std::string motionText = sysfs.GetXmlConfig("motion");
    if (!motionText.empty()) {
        for (int n = kFirstType; n <= kLastType; ++n) {
            if (motionText.find(std::string(TypeName(n)) + "-") != std::string::npos) {
                mMotionConfig |= Bit(n);
                LOGI("motion config: %s, index: %d", TypeName(n), n);
            }
        }
    }
    if (sysfs.HasXmlConfig("multiple_sensors")) {
        const std::string multiText = sysfs.GetXmlConfig("multiple_sensors");
        for (int n = kFirstType; n <= kLastType; ++n) {
            if (multiText.find(std::string(TypeName(n)) + "-") != std::string::npos) {
                mMultiSensorConfig |= Bit(n);
                LOGI("multiple sensor config: %s, index: %d", TypeName(n), n);
            }
        }
    }
    if (sysfs.HasXmlConfig("foldtype")) {
        const std::string foldText = sysfs.GetXmlConfig("foldtype");
        for (int i = 0; i < static_cast<int>(std::size(kFoldTypeNames)); ++i) {
            if (foldText.find(std::string(FoldTypeName(i)) + "-") != std::string::npos) {
                mFoldType = 2 * i;
                LOGI("fold type config: %s, index: %d", FoldTypeName(i), i);
            }
        }
    }
    mMultiSensorConfig &= mMotionConfig;
    LOGI("motion config: 0x%x; multiple sensor config: 0x%x", static_cast<unsigned>(mMotionConfig),
         static_cast<unsigned>(mMultiSensorConfig));
    BuildSensorTable();
    return true;
}

void Motion::BuildSensorTable() {
    Sysfs &sysfs = mHal.GetSysfs();
    const bool fusion = sysfs.HasXmlConfig("fusionsense");
    const bool fold = sysfs.HasXmlConfig("foldtype");
    auto row = [this](int type, int32_t sensor, int32_t rate) {
        mTypeSensors[type][sensor] = ConnectionParam{rate, 0};
    };

    row(kTypeFlip, SENSOR_TYPE_ACCELEROMETER, 100);
    row(kTypePickCall, SENSOR_TYPE_ACCELEROMETER, 100);
    row(kTypePickCall, SENSOR_TYPE_GYROSCOPE, 100);
    row(kTypePickCall, SENSOR_TYPE_PROXIMITY, 100);
    row(kTypeRotation, SENSOR_TYPE_ACCELEROMETER, 100);
    for (int type : {kTypeWristFlip, kTypeRotationGesture}) {
        if (fusion) {
            row(type, SENSOR_TYPE_FUSION_SENSE, 5);
            row(type, SENSOR_TYPE_FUSION_ACC, 100);
            row(type, SENSOR_TYPE_FUSION_GYRO, 100);
        } else {
            row(type, SENSOR_TYPE_ACCELEROMETER, 100);
            row(type, SENSOR_TYPE_GYROSCOPE, 100);
        }
    }
    if ((mMultiSensorConfig & Bit(kTypeRotationGesture)) != 0) {
        row(kTypeRotationGesture, SENSOR_TYPE_FUSION_ACC1, 100);
        row(kTypeRotationGesture, SENSOR_TYPE_FUSION_GYRO1, 100);
    }
    row(kTypeBackTap, SENSOR_TYPE_FUSION_SENSE, 5);
    row(kTypeBackTap, SENSOR_TYPE_FUSION_ACC, 400);
    row(kTypeBackTap, SENSOR_TYPE_TAP_EVENT, 5);
    row(kTypeBackTap, SENSOR_TYPE_TP, 100);
    if ((mMultiSensorConfig & Bit(kTypeBackTap)) != 0) {
        row(kTypeBackTap, SENSOR_TYPE_FUSION_ACC1, 400);
        row(kTypeBackTap, SENSOR_TYPE_FUSION_TAP, 400);
    }
    if (fold) {
        row(kTypeBackTap, SENSOR_TYPE_POSTURE, 400);
    }

    mHal.AddFrameType(SENSOR_TYPE_ACCELEROMETER, "SENSOR_TYPE_ACCELEROMETER");
    mHal.AddFrameType(SENSOR_TYPE_PROXIMITY, "SENSOR_TYPE_PROXIMITY");
    mHal.AddFrameType(SENSOR_TYPE_GYROSCOPE, "SENSOR_TYPE_GYROSCOPE");
    if (fold) {
        mHal.AddFrameType(SENSOR_TYPE_POSTURE, "SENSOR_TYPE_POSTURE");
    }
}

bool Motion::LastInit() {
    LOGI("+");
    mHal.GetSensorHub().RegisterSensorCallback(
        mName, [this](ASensorEvent event, bool /*ok*/) { OnSensorEvent(event); });
    mCallbackRegistered = true;
    return true;
}

void Motion::Uninit() {
    LOGI("+");
    if (mCallbackRegistered) {
        mHal.GetSensorHub().UnregisterSensorCallback(mName);
        mCallbackRegistered = false;
    }
}

void Motion::OnSensorEvent(const ASensorEvent &event) {
    std::lock_guard<std::mutex> lock(mLock);
    if (TakeSample(event)) {
        DetectMotion(event);
    }
}

bool Motion::HasClientBesides(uint64_t mask) {
    for (const auto &entry : mConnections) {
        if (entry.first < 64 && (mask & Bit(static_cast<int>(entry.first))) != 0) {
            continue;
        }
        if (!entry.second.empty()) {
            return true;
        }
    }
    return false;
}

void Motion::MotionSwitch(std::string client, int type, bool enable, int mode) {
    std::lock_guard<std::mutex> lock(mLock);
    if (type < kFirstType || type > kLastType) {
        return;
    }
    if (type == kTypePosture && mHal.GetSysfs().HasXmlConfig("posture")) {
        mHal.GetPosture().PostureSwitch(client, enable);
        return;
    }
    if ((mMotionConfig & Bit(type)) == 0) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "motion type: %d not config in xml",
                            type);
        return;
    }
    if (type == kTypeBackTap && enable && mode >= kBackTapModes) {
        LOGW("motion: %s not support mode %d", TypeName(type), mode);
        return;
    }
    auto sensors = mTypeSensors.find(type);
    if (sensors == mTypeSensors.end() || sensors->second.empty()) {
        LOGW("motion: %s not support", TypeName(type));
        return;
    }
    if (!MotionSetting(client, type, enable, mode)) {
        return;
    }
    SensorEnable(client, static_cast<uint32_t>(type), enable);
    RebuildResample();
}

bool Motion::LoadLibraries(int type, bool enable, int mode) {
    if (!enable) {
        return true;
    }
    if ((kOwnLibraryTypes & Bit(type)) == 0 && mMotionLib == nullptr) {
        auto lib = std::make_unique<LibVyrMotion>();
        if (!lib->Init()) {
            LOGE("LibVyrMotion init failed");
            return false;
        }
        mMotionLib = std::move(lib);
    }
    if (type == kTypeBackTap && mode >= 1 && mTapGesture == nullptr) {
        auto lib = std::make_unique<LibTapGesture>();
        if (!lib->Init()) {
            LOGE("LibTapGesture init failed");
            return false;
        }
        mTapGesture = std::move(lib);
    }
    if (type == kTypeBackTap && mTapFusion == nullptr) {
        auto lib = std::make_unique<LibTapFusion>();
        if (!lib->Init()) {
            LOGE("LibTapFusion init failed");
            return false;
        }
        mTapFusion = std::move(lib);
    }
    if (type == kTypeWristFlip && mWristFlip == nullptr) {
        auto lib = std::make_unique<LibWristFlipGesture>();
        if (!lib->Init()) {
            LOGE("LibWristFlipGesture init failed");
            return false;
        }
        LOGI("LibWristFlipGesture version %d", lib->GetWristFlipVersion());
        mWristFlip = std::move(lib);
    }
    if (type == kTypeRotationGesture && mRotationGesture == nullptr) {
        auto lib = std::make_unique<LibRotationGesture>();
        if (!lib->Init()) {
            LOGE("LibRotationGesture init failed");
            return false;
        }
        LOGI("LibRotationGesture version %d", lib->GetRotationRecognizeVersion());
        mRotationGesture = std::move(lib);
    }
    return true;
}

void Motion::StartType(int type, int mode) {
    void *state = &mAlgoState;
    switch (type) {
        case kTypeFlip:
            if (mMotionLib != nullptr) {
                mMotionLib->CleanStatusForFlip();
            }
            mLastResult[type] = kNoResult;
            break;
        case kTypePickCall:
            mLastResult[type] = kNoResult;
            break;
        case kTypeRotation:
            mRotationCount = 0;
            mLastResult[type] = kNoResult;
            break;
        case kTypeWristFlip:
            if (mWristFlip != nullptr) {
                mWristFlip->cleanStatusForWristFlipGesture(state);
            }
            mLastResult[type] = kNoResult;
            break;
        case kTypeBackTap:
            if (mode >= 1 && mTapGesture != nullptr) {
                mAcc1Queue.clear();
                mTapGesture->BackTapAlg_Init(state);
                if (mode == 1) {
                    LOGI("MOTION_TYPE_BACK_TAP BACKTAP_DOUBLETAP");
                    mTapGesture->BackTapAlg_EnableTripleTap(0, state);
                } else if (mode == 2) {
                    LOGI("MOTION_TYPE_BACK_TAP BACKTAP_TRIPLETAP");
                    mTapGesture->BackTapAlg_EnableTripleTap(1, state);
                } else if (mode == 3) {
                    LOGI("MOTION_TYPE_BACK_TAP BACKTAP_ALL");
                    mTapGesture->BackTapAlg_EnableTripleTap(1, state);
                }
            }
            if (mTapFusion != nullptr) {
                mTapFusion->BackTapFusion_Init(state);
            }
            ConnectTouch(true);
            mHal.GetHalStatus().Set(HAL_STATUS_BACKTAP);
            break;
        default:
            break;
    }
}

void Motion::ConnectTouch(bool enable) {
    if (!mHal.GetSysfs().HasXmlConfig("thp")) {
        return;
    }
    // Touch types 1 to 5: the input nodes whose touches back tap weighs.
    for (int index = 1; index <= 5; ++index) {
        mHal.GetTouchScreen().ResetPoll(mName, index, enable);
    }
}

void Motion::ReleaseLibraries() {
    void *state = &mAlgoState;
    if (mMotionLib != nullptr && !HasClientBesides(kOwnLibraryTypes)) {
        LOGI("motion algo lib reset");
        mMotionLib.reset();
    }
    if ((mTapGesture != nullptr || mTapFusion != nullptr) && !IsTypeEnabled(kTypeBackTap)) {
        if (mTapGesture != nullptr) {
            mTapGesture->BackTapAlg_Deinit(state);
            mTapGesture.reset();
            LOGI("tap gesture lib reset");
        }
        if (mTapFusion != nullptr) {
            mTapFusion->BackTapFusion_Deinit(state);
            mTapFusion.reset();
            LOGI("tap fusion lib reset");
        }
        ConnectTouch(false);
        mHal.GetHalStatus().Clear(HAL_STATUS_BACKTAP);
    }
    if (mWristFlip != nullptr && !IsTypeEnabled(kTypeWristFlip)) {
        mWristFlip.reset();
        LOGI("wrist flip algo lib reset");
    }
    if (mRotationGesture != nullptr && !IsTypeEnabled(kTypeRotationGesture)) {
        mRotationGesture.reset();
        LOGI("rotation gesture algo lib reset");
    }
}

bool Motion::MotionSetting(std::string client, int type, bool enable, int mode) {
    const bool was = IsTypeEnabled(static_cast<uint32_t>(type));
    if (!was && !enable) {
        LOGI("motion type: %s already disable", TypeName(type));
        return false;
    }
    if (!LoadLibraries(type, enable, mode)) {
        return false;
    }
    SetConnection(client, type, enable, 0, 0);
    const bool now = IsTypeEnabled(static_cast<uint32_t>(type));
    if (!was && now) {
        StartType(type, mode);
    }
    ReleaseLibraries();
    // "backtap on" (mode 0) brings up only the touch fusion: no sensor starts.
    return !(type == kTypeBackTap && enable && mode == 0);
}

void Motion::NotifyMotion(int type, int8_t result) {
    if (type < 0 || type >= kResultCount) {
        return;
    }
    vyr_msg_t msg;
    msg.client = "motion-client";
    msg.type = type;
    msg.dataSize = 2;
    msg.data = {1, static_cast<int32_t>(result)};
    NotifyClients(msg);
    // While the log is captured, the log client hears the results too
    // (once, when it is not a client of the type itself).
    const vyr_notify_t &notify = mHal.GetNotify();
    if (notify.notify != nullptr && VyrLog::CapturesResults(mHal) &&
        !IsClientConnected(VyrLog::kCaptureClient, static_cast<uint32_t>(type))) {
        msg.client = VyrLog::kCaptureClient;
        notify.notify(msg);
    }
    LOGI("motion:%s\t cur res = %d", TypeName(type), static_cast<int>(result));
    mLastResult[type] = result;
}

bool Motion::InitVyrd() {
    LOGI("+");
    return InitVyrdMotionConfig() && InitVyrdPickCall() && InitVyrdFlip() && InitVyrdRotation() &&
           InitVyrdBackTap() && InitVyrdWristFlip() && InitVyrdRotationGesture() &&
           InitVyrdMotionOn() && InitVyrdMotionOff() && InitVyrdBackTapEvent();
}

bool Motion::InitVyrdMotionConfig() {
    return AddCmd("motion_config", [this](const std::string /*client*/, const std::string /*param*/,
                                          std::vector<uint8_t> &out) {
        uint64_t config = 0;
        {
            std::lock_guard<std::mutex> lock(mLock);
            config = mMotionConfig;
        }
        out.clear();
        for (int i = 0; i < 8; ++i) {
            out.push_back(static_cast<uint8_t>(config >> (8 * i)));
        }
    });
}

bool Motion::InitVyrdSwitch(const std::string &command, int type, const std::string &label) {
    return AddCmd(command, [this, command, type, label](const std::string client,
                                                        const std::string param,
                                                        std::vector<uint8_t> &out) {
        const std::string value = Lower(param);
        if (value == "on" || value == "1") {
            MotionSwitch(client, type, true, 0);
            SetReply(out, "enable " + label + " motion");
        } else if (value == "off" || value == "0") {
            MotionSwitch(client, type, false, 0);
            SetReply(out, "disable " + label + " motion");
        } else {
            SetReply(out, "usage: " + (command == "pickcall" ? std::string("pickCall") : command) +
                              " on/off or " +
                              (command == "pickcall" ? std::string("pickCall") : command) + " 1/0");
        }
    });
}

bool Motion::InitVyrdPickCall() {
    return InitVyrdSwitch("pickcall", kTypePickCall, "pickCall");
}

bool Motion::InitVyrdFlip() {
    return InitVyrdSwitch("flip", kTypeFlip, "flip");
}

bool Motion::InitVyrdRotation() {
    return InitVyrdSwitch("rotation", kTypeRotation, "rotation");
}

bool Motion::InitVyrdBackTap() {
    return InitVyrdSwitch("backtap", kTypeBackTap, "backtap");
}

bool Motion::InitVyrdWristFlip() {
    return InitVyrdSwitch("wristflip", kTypeWristFlip, "wristflip");
}

bool Motion::InitVyrdRotationGesture() {
    return InitVyrdSwitch("rotationgesture", kTypeRotationGesture, "rotation gesture");
}

bool Motion::InitVyrdMotionOn() {
    return AddCmd("motion-on", [this](const std::string client, const std::string param,
                                      std::vector<uint8_t> &out) {
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 2) {
            SetReply(out, "usage: motion-on motionType,motionRate");
            return;
        }
        const int type = std::atoi(fields[0].c_str());
        int mode = std::atoi(fields[1].c_str());
        if (type == kTypePosture) {
            mode = kTypePosture;
        }
        LOGI("motionType: %d motionRate: %d, enable", type, mode);
        MotionSwitch(client, type, true, mode);
    });
}

bool Motion::InitVyrdMotionOff() {
    return AddCmd("motion-off", [this](const std::string client, const std::string param,
                                       std::vector<uint8_t> & /*out*/) {
        const int type = std::atoi(param.c_str());
        LOGI("motionType: %d disable", type);
        MotionSwitch(client, type, false, 0);
    });
}

bool Motion::InitVyrdBackTapEvent() {
    return AddCmd("backtap-event", [this](const std::string /*client*/, const std::string param,
                                          std::vector<uint8_t> & /*out*/) {
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 7) {
            return;
        }
        ASensorEvent event{};
        event.sensor = SENSOR_TYPE_TAP_EVENT;
        event.type = SENSOR_TYPE_TAP_EVENT;
        for (size_t i = 0; i < fields.size(); ++i) {
            event.data[i] = static_cast<float>(std::atoi(fields[i].c_str()));
        }
        mHal.GetSensorHub().PushSensorEvent(event);
    });
}

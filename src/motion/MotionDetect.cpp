// The sample side of Motion: routing of each event to the recognisers, the
// result filters, and the back-tap road (two accelerometers paired in a
// queue, the pair fed to the tap detector, its taps judged against the
// touch screen).
#include <cmath>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"
#include "motion/Motion.h"
#include "motion/MotionScale.h"
#include "platform/LibSysTrace.h"
#include "platform/WatchDog.h"
#include "platform/api/back_tap_api.h"
#include "sensor/SensorHub.h"

namespace {

constexpr uint64_t kWatchLimitMs = 20000;
constexpr int32_t kRotationEvery = 6;
constexpr uint8_t kRotationNone = 254;
constexpr uint8_t kPickCallNone = 99;
constexpr int8_t kFlipNone = 99;
constexpr float kProximityFar = 5.0f;
constexpr size_t kAcc1QueueKeep = 3;

uint8_t LowByte(int32_t value) {
    return static_cast<uint8_t>(value & 0xff);
}

}  // namespace

ASensorEvent Motion::LatestEvent(int32_t type) {
    mFrame.LockData(true);
    ASensorEvent event = mFrame.GetData().GetEvent(type);
    mFrame.LockData(false);
    return event;
}

void Motion::DetectMotion(ASensorEvent event) {
    ScopedWatchNode node(mHal.HasWatchdog() ? &mHal.GetWatchdog() : nullptr, "DetectMotion358",
                         kWatchLimitMs);
    ScopedTrace trace(mHal.GetTrace(), "DetectMotion");
    switch (event.type) {
        case SENSOR_TYPE_TP:
            ProcessTouch(event);
            break;
        case SENSOR_TYPE_ACCELEROMETER:
            ProcessAccData(event);
            break;
        case SENSOR_TYPE_PROXIMITY: {
            const ASensorEvent latest = LatestEvent(SENSOR_TYPE_PROXIMITY);
            if (latest.data[0] == kProximityFar && event.data[0] != kProximityFar) {
                LOGI("detect proximity sensor closed");
            }
            break;
        }
        case SENSOR_TYPE_FUSION_TAP:
            ProcessFusionTapData(event);
            break;
        case SENSOR_TYPE_FUSION_ACC:
        case SENSOR_TYPE_FUSION_ACC1:
            ProcessFusionAccData(event);
            break;
        case SENSOR_TYPE_FUSION_GYRO:
            ProcessFusionGyrocData(event);
            break;
        case SENSOR_TYPE_TAP_EVENT:
            ProcessFusionTapEvent(event);
            break;
        case SENSOR_TYPE_FUSION_TAP2:
        case SENSOR_TYPE_FUSION_MAG:
        case SENSOR_TYPE_FUSION_GYRO1:
        case SENSOR_TYPE_FUSION_MAG1:
            break;
        case SENSOR_TYPE_POSTURE:
            if (IsTypeEnabled(kTypeBackTap)) {
                ProcessPosture(event);
            }
            break;
        default:
            break;
    }
}

void Motion::ProcessTouch(const ASensorEvent &event) {
    const int32_t id = motion::Truncate(event.data[0]);
    const float x = event.data[1];
    const float y = event.data[2];
    const float pressure = event.data[5];
    LOGI("id: %d x: %f y: %f pressure: %f", id, static_cast<double>(x), static_cast<double>(y),
         static_cast<double>(pressure));
    if (mTapFusion == nullptr) {
        return;
    }
    if (pressure == 0.0f) {
        mTapFusion->BackTapFusion_TouchUp(event.timestamp, id, 0, 0, &mAlgoState);
    } else {
        mTapFusion->BackTapFusion_TouchDown(event.timestamp, id, motion::Truncate(x),
                                            motion::Truncate(y), &mAlgoState);
    }
}

void Motion::ProcessPosture(const ASensorEvent &event) {
    const float value = event.data[0];
    if (value != 1.0f && value != 3.0f) {
        return;
    }
    const int32_t mode = mFoldType + (value != 3.0f ? 1 : 0);
    LOGI("ASENSOR_TYPE_POSTURE displayMode: %d", mode);
    if (mTapGesture != nullptr) {
        mTapGesture->BackTapAlg_SetDisplayMode(mode);
    }
}

void Motion::ProcessAccData(ASensorEvent event) {
    ScopedTrace trace(mHal.GetTrace(), "ProcessAccData");
    const int32_t x = motion::Scale(event.data[0]);
    const int32_t y = motion::Scale(event.data[1]);
    const int32_t z = motion::Scale(event.data[2]);
    const ASensorEvent gyro = LatestEvent(SENSOR_TYPE_GYROSCOPE);
    const ASensorEvent proximity = LatestEvent(SENSOR_TYPE_PROXIMITY);
    void *state = &mAlgoState;

    if (IsTypeEnabled(kTypeRotation) && mMotionLib != nullptr) {
        ++mRotationCount;
        if (mRotationCount % kRotationEvery == 0) {
            const int32_t result = mMotionLib->oritationRecognize(x, y, z, event.timestamp, state);
            const uint8_t low = LowByte(result);
            if (low != kRotationNone && low != static_cast<uint8_t>(mLastResult[kTypeRotation])) {
                NotifyMotion(kTypeRotation, static_cast<int8_t>(result));
            }
            mRotationCount = 0;
        }
    }

    if (IsTypeEnabled(kTypeFlip) && mMotionLib != nullptr) {
        const int32_t code = mMotionLib->FlipGestrueRecognize(x, y, z);
        const int8_t value = static_cast<int8_t>(LibVyrMotion::TransCode(kTypeFlip, code));
        if (value != kFlipNone && value != mLastResult[kTypeFlip]) {
            NotifyMotion(kTypeFlip, value);
        }
    }

    if (IsTypeEnabled(kTypePickCall) && mMotionLib != nullptr && gyro.timestamp != 0 &&
        proximity.timestamp != 0) {
        const int32_t nearFlag = proximity.data[0] != kProximityFar ? 1 : 0;
        const int32_t result = mMotionLib->ProximityGestureRecognize(
            x, y, z, motion::Scale(gyro.data[0]), motion::Scale(gyro.data[1]),
            motion::Scale(gyro.data[2]), nearFlag, 1, state);
        const uint8_t low = LowByte(result);
        if (low != kPickCallNone && low != static_cast<uint8_t>(mLastResult[kTypePickCall])) {
            const int32_t mapped = LibVyrMotion::TransCode(kTypePickCall, result);
            if (mapped != kPickCallNone) {
                NotifyMotion(kTypePickCall, static_cast<int8_t>(mapped));
                mMotionLib->CleanStatesForProximity(state);
            }
            // The filter runs on the library's raw results, not on what was told.
            mLastResult[kTypePickCall] = static_cast<int8_t>(low);
        }
    }
}

void Motion::ProcessFusionAccData(ASensorEvent event) {
    if (!IsTypeEnabled(kTypeBackTap)) {
        return;
    }
    const ASensorEvent latest1 = LatestEvent(SENSOR_TYPE_FUSION_ACC1);
    if (event.type == SENSOR_TYPE_FUSION_ACC) {
        if (latest1.timestamp == 0) {
            return;
        }
        ASensorEvent acc1 = latest1;
        if (!mAcc1Queue.empty()) {
            acc1 = mAcc1Queue.front();
            mAcc1Queue.pop_front();
        }
        event.data[3] = acc1.data[0];
        event.data[4] = acc1.data[1];
        event.data[5] = acc1.data[2];
        event.sensor = SENSOR_TYPE_FUSION_TAP;
        event.type = SENSOR_TYPE_FUSION_TAP;
        mHal.GetSensorHub().PushSensorEvent(event);
        return;
    }
    if (mAcc1Queue.size() > kAcc1QueueKeep) {
        mAcc1Queue.pop_front();
        LOGD("ACC1 queue max than %d, delete old one", static_cast<int>(kAcc1QueueKeep));
    }
    mAcc1Queue.push_back(event);
}

void Motion::ProcessFusionTapData(ASensorEvent event) {
    ScopedTrace trace(mHal.GetTrace(), "ProcessFusionTapData");
    LOGD("ACC0: x=%f y=%f z=%f %lu", static_cast<double>(event.data[0]),
         static_cast<double>(event.data[1]), static_cast<double>(event.data[2]),
         static_cast<unsigned long>(event.timestamp));
    LOGD("ACC1: x=%f y=%f z=%f %lu", static_cast<double>(event.data[3]),
         static_cast<double>(event.data[4]), static_cast<double>(event.data[5]),
         static_cast<unsigned long>(event.timestamp));
    if (!IsTypeEnabled(kTypeBackTap) || mTapGesture == nullptr) {
        return;
    }
    back_tap_record_t record{};
    int32_t acc[6];
    for (int i = 0; i < 6; ++i) {
        acc[i] = motion::Scale(event.data[i]);
    }
    mTapGesture->BackTapAlg_Process(event.timestamp, acc, &record, &mAlgoState);
    if (record.value[0] < 1) {
        return;
    }
    LOGI("tap event is %d!", record.value[0]);
    event.sensor = SENSOR_TYPE_TAP_EVENT;
    event.type = SENSOR_TYPE_TAP_EVENT;
    for (int i = 0; i < BACK_TAP_RECORD_VALUES; ++i) {
        event.data[i] = static_cast<float>(record.value[i]);
    }
    mHal.GetSensorHub().PushSensorEvent(event);
}

void Motion::ProcessFusionTapEvent(ASensorEvent event) {
    ScopedTrace trace(mHal.GetTrace(), "ProcessFusionTapEvent");
    back_tap_record_t record{};
    for (int i = 0; i < BACK_TAP_RECORD_VALUES; ++i) {
        record.value[i] = motion::Truncate(event.data[i]);
    }
    if (!IsTypeEnabled(kTypeBackTap) || record.value[0] < 1 || mTapFusion == nullptr) {
        return;
    }
    record.timeMs = VyrHal::MonoTimeMs();
    mTapFusion->BackTapFusion_FusionTp(&record, &mAlgoState);
    if (record.value[0] >= 1) {
        LOGI("tapGestureAlg result: %d event ts=%lu", record.value[0],
             static_cast<unsigned long>(event.timestamp));
        NotifyMotion(kTypeBackTap, static_cast<int8_t>(record.value[0]));
    } else {
        LOGI("BackTapFusion_FusionTp skip report");
    }
}

void Motion::ProcessFusionGyrocData(ASensorEvent event) {
    ScopedTrace trace(mHal.GetTrace(), "ProcessFusionGyrocData");
    const int32_t gx = motion::Scale(event.data[0]);
    const int32_t gy = motion::Scale(event.data[1]);
    const int32_t gz = motion::Scale(event.data[2]);
    const ASensorEvent acc0 = LatestEvent(SENSOR_TYPE_FUSION_ACC);
    const ASensorEvent acc1 = LatestEvent(SENSOR_TYPE_FUSION_ACC1);
    const ASensorEvent gyro1 = LatestEvent(SENSOR_TYPE_FUSION_GYRO1);
    LOGD("GYRO:  x=%f y=%f z=%f %lu", static_cast<double>(event.data[0]),
         static_cast<double>(event.data[1]), static_cast<double>(event.data[2]),
         static_cast<unsigned long>(event.timestamp));
    void *state = &mAlgoState;

    if (IsTypeEnabled(kTypeWristFlip) && acc0.timestamp != 0 && mWristFlip != nullptr) {
        const int32_t result = mWristFlip->WristFlipGestureRecognize(
            motion::Scale(acc0.data[0]), motion::Scale(acc0.data[1]), motion::Scale(acc0.data[2]),
            gx, gy, gz, state);
        const uint8_t low = LowByte(result);
        if (low != 0 && low != static_cast<uint8_t>(mLastResult[kTypeWristFlip])) {
            NotifyMotion(kTypeWristFlip, static_cast<int8_t>(result));
            if (low == 1) {
                mWristFlip->cleanStatusForWristFlipGesture(state);
                mLastResult[kTypeWristFlip] = kNoResult;
            }
        }
    }

    if (IsTypeEnabled(kTypeRotationGesture) && acc0.timestamp != 0 && mRotationGesture != nullptr) {
        int16_t acc0Values[3];
        int16_t acc1Values[3];
        int16_t gyro0Values[3];
        int16_t gyro1Values[3];
        for (int i = 0; i < 3; ++i) {
            acc0Values[i] = motion::ScaleShort(acc0.data[i]);
            acc1Values[i] = motion::ScaleShort(acc1.data[i]);
            gyro0Values[i] = motion::ScaleShort(event.data[i]);
            gyro1Values[i] = motion::ScaleShort(gyro1.data[i]);
        }
        const int32_t result = mRotationGesture->RotationRecognize(acc0Values, acc1Values,
                                                                   gyro0Values, gyro1Values, state);
        const uint8_t low = LowByte(result);
        if (low != 0 && low != static_cast<uint8_t>(mLastResult[kTypeRotationGesture])) {
            NotifyMotion(kTypeRotationGesture, static_cast<int8_t>(result));
            if (low == 1) {
                mRotationGesture->CleanStatusForRotationRecognize(state);
                mLastResult[kTypeRotationGesture] = kNoResult;
            }
        }
    }
}

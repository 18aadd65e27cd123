#include "camera/RotationFusion.h"

#include <android/log.h>

#include <mutex>

#include "log/LogSink.h"

namespace {

constexpr int16_t kUnknown = -2;
constexpr int16_t kNoValue = -1;

// The history of the fusion; shared by every client of the process.
struct FusionHistory {
    std::mutex mutex;
    uint16_t lastFace = static_cast<uint16_t>(kUnknown);
    uint16_t lastImu = static_cast<uint16_t>(kNoValue);
    uint16_t lastFusionOut = static_cast<uint16_t>(kUnknown);
};

FusionHistory &History() {
    static FusionHistory history;
    return history;
}

bool InRange(int16_t rotation) {
    return rotation >= kUnknown && rotation <= 3;
}

}  // namespace

void InitScreenRotationFusionAlg() {
    FusionHistory &history = History();
    std::lock_guard<std::mutex> lock(history.mutex);
    history.lastFace = static_cast<uint16_t>(kUnknown);
    history.lastImu = static_cast<uint16_t>(kNoValue);
    history.lastFusionOut = static_cast<uint16_t>(kUnknown);
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "harbel InitScreenRotationFusionAlg");
}

bool RotationFusionAlg(RotationFusionInput *in, RotationFusionOutput *out) {
    if (in == nullptr || out == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "input nullptr");
        return false;
    }
    if (in->lux < 0 || !InRange(in->imuRotation) || !InRange(in->aoRotation) ||
        !InRange(in->tofRotation)) {
        out->imuRotation = kNoValue;
        out->fusionRotation = kUnknown;
        return false;
    }
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG,
                        "[RotationFusionAlg][Input] index=%d Ambient Light=%d, Imu Rotation=%d, "
                        "AO Face Rotation=%d, TOF Face Rotation=%d",
                        in->index, in->lux, in->imuRotation, in->aoRotation, in->tofRotation);

    FusionHistory &history = History();
    std::lock_guard<std::mutex> lock(history.mutex);
    const int16_t face = in->tofRotation != kUnknown ? in->tofRotation : in->aoRotation;
    if (in->tofRotation == kUnknown && in->aoRotation < 0) {
        history.lastFace = static_cast<uint16_t>(kUnknown);
    } else {
        history.lastFace = static_cast<uint16_t>(face);
        if ((face == 3 && in->imuRotation == 1) || (face == 1 && in->imuRotation == 3)) {
            history.lastFace = static_cast<uint16_t>(kUnknown);
            in->aoRotation = kUnknown;
            in->tofRotation = kUnknown;
        }
    }
    __android_log_print(
        ANDROID_LOG_INFO, VYR_LOG_TAG,
        "[RotationFusionAlg][History] Last_IMU_Rotation=%d, Last_Fusion_Rotation=%d",
        static_cast<int16_t>(history.lastImu), static_cast<int16_t>(history.lastFusionOut));

    out->imuRotation = in->imuRotation == kUnknown ? kNoValue : in->imuRotation;
    int16_t fusion = static_cast<int16_t>(history.lastFace);
    if (fusion == kUnknown) {
        if (in->imuRotation == static_cast<int16_t>(history.lastImu) ||
            in->imuRotation == kUnknown) {
            fusion = static_cast<int16_t>(history.lastFusionOut);
        } else {
            fusion = in->imuRotation;
        }
    }
    out->fusionRotation = fusion;
    if (in->imuRotation != kUnknown) {
        history.lastImu = static_cast<uint16_t>(in->imuRotation);
    }
    history.lastFusionOut = static_cast<uint16_t>(fusion);
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG,
                        "[RotationFusionAlg][Output] IMU_Rotation=%d, Fusion_Rotation=%d",
                        out->imuRotation, out->fusionRotation);
    return true;
}

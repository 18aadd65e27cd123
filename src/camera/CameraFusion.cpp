// Light and the face-direction result: the light reading with its test
// override, and one rotation fusion step with its report.
#include <string>

#include "camera/Camera.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"

namespace {

constexpr int kBrightLux = 35;
constexpr int kDarkLux = 15;

}  // namespace

int Camera::GetLightLux() {
    const int lux = ReadLightLux();
    mRotationInput.lux = lux;
    return lux;
}

int Camera::ReadLightLux() {
    mFrame.LockData(true);
    const ASensorEvent event = mFrame.GetData().GetEvent(SENSOR_TYPE_LIGHT);
    mFrame.LockData(false);
    int lux = static_cast<int>(event.data[0]);
    LOGD("current light lux\t: %3d, raw_adc: %8d, cct: %d", lux, static_cast<int>(event.data[1]),
         static_cast<int>(event.data[2]));
    const std::string mode = EnvMode();
    if (mode == "bright" || mode == "dark") {
        const int forced = mode == "bright" ? kBrightLux : kDarkLux;
        LOGI("env_mode=%s lux from %d to %d", mode.c_str(), lux, forced);
        lux = forced;
    }
    return lux;
}

void Camera::HandleRotationFusion(bool skipReport) {
    if (!IsTofClient(CAMERA_FACE_DIRECTION)) {
        mRotationInput.tofRotation = -2;
    }
    ++mRotationInput.index;
    RotationFusionOutput out;
    RotationFusionAlg(&mRotationInput, &out);
    if (out.fusionRotation != mRotationInput.lastFusion && !skipReport) {
        LOGI("detect fusion orientation: %d", out.fusionRotation);
        NotifyResult(CAMERA_FACE_DIRECTION, {out.imuRotation, out.fusionRotation, 0, 0, 0});
        mRotationInput.lastFusion = out.fusionRotation;
    }
}

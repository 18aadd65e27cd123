#include "log/PostureDft.h"

#include <cstdio>

#include "hal/VyrHal.h"
#include "log/LogSink.h"

namespace {

const DftFiles kPostureFiles = {"/data/vendor/log/vyrlog",
                                "/posture_bigdata.tmp",
                                "/posture_bigdata.txt",
                                932030105,
                                86400000,
                                true};
constexpr int kFolded = 1;
constexpr int kFull = 3;
constexpr uint64_t kMaxStepMs = 200;
constexpr float kFoldedBelow = 4.0f;
constexpr float kFullAbove = 176.0f;

}  // namespace

PostureDft::PostureDft(VyrHal &hal) : FileDft(hal, kPostureFiles) {}

void PostureDft::ResetPosture() {
    std::lock_guard<std::mutex> lock(mMutex);
    startAngle = -1.0f;
}

void PostureDft::UpdatePostureData(float angle, int posture) {
    std::lock_guard<std::mutex> lock(mMutex);
    const uint64_t now = VyrHal::RealTimeMs();
    if (startAngle == -1.0f) {
        startTime = now;
        startAngle = angle;
        startPosture = posture;
        lastTime = now;
        lastAngle = angle;
        lastPosture = posture;
        return;
    }
    const int target = (posture == kFolded || posture == kFull) ? posture : startPosture;
    const bool rightWay = (startPosture == kFull && lastAngle - angle >= 0.0f) ||
                          (startPosture == kFolded && angle - lastAngle >= 0.0f);
    const bool atEnd = startPosture == kFolded || startPosture == kFull;
    if (!(atEnd && rightWay && now - lastTime <= kMaxStepMs)) {
        startAngle = -1.0f;
        return;
    }
    if (angle != lastAngle) {
        lastTime = now;
        lastAngle = angle;
        lastPosture = target;
    }
    if (target == startPosture) {
        return;
    }
    if (angle > kFoldedBelow && angle < kFullAbove) {
        return;
    }
    LOGI("posture frome %d to %d, fold forme %f to %f, consume: %d ms", startPosture, target,
         static_cast<double>(startAngle), static_cast<double>(angle),
         static_cast<int>(now - startTime));
    char line[160] = {0};
    snprintf(line, sizeof(line), "%lu,%f,%d,%lu,%f,%d\n", static_cast<unsigned long>(startTime),
             static_cast<double>(startAngle), startPosture, static_cast<unsigned long>(now),
             static_cast<double>(angle), target);
    startAngle = -1.0f;
    StoreString(line);
}

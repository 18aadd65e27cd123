// Wrist flip rule (shared by libFlipWristScanCode.so and libmotion.so): a
// wrist flip is a turn about the phone's long axis, seen as the gyroscope's
// y value above 3 rad/s in magnitude (scaled: 300) for 5 samples in a row;
// the fifth such sample returns 1 (gesture done), earlier ones return 0. Any
// calmer sample starts the count again. The caller's context block is not
// used: the count lives in the library, and the reset clears it.
#include <cstdlib>

#include "platform/api/motion_api.h"

namespace {

constexpr int32_t kTurnThreshold = 300;  // 3 rad/s, scaled
constexpr int32_t kTurnSamples = 5;

int32_t gTurnCount = 0;

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int32_t WristFlipGestureRecognize(
    int32_t /*accX*/, int32_t /*accY*/, int32_t /*accZ*/, int32_t /*gyroX*/, int32_t gyroY,
    int32_t /*gyroZ*/, void * /*state*/) {
    if (std::abs(gyroY) <= kTurnThreshold) {
        gTurnCount = 0;
        return 0;
    }
    ++gTurnCount;
    if (gTurnCount == kTurnSamples) {
        return 1;
    }
    return 0;
}

__attribute__((visibility("default"))) void cleanStatusForWristFlipGesture(void * /*state*/) {
    gTurnCount = 0;
}

}  // extern "C"

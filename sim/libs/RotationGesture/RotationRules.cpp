// Stand-in of the rotation gesture library. Rule: the gesture is a turn of
// the phone about its screen normal, seen as the first gyroscope's z value
// above 2 rad/s in magnitude (scaled: 200) for 10 samples in a row. The
// samples of such a run return 2 (in progress) and the tenth returns 1
// (done); a calmer sample returns 0 and starts the count again. The caller's
// context block is not used: the count lives in the library.
#include <cstdlib>

#include "platform/api/rotation_gesture_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

constexpr int32_t kTurnThreshold = 200;
constexpr int32_t kTurnSamples = 10;

int32_t gTurnCount = 0;

}  // namespace

extern "C" {

VYR_EXPORT int32_t RotationRecognize(const int16_t /*acc0*/[3], const int16_t /*acc1*/[3],
                                     const int16_t gyro0[3], const int16_t /*gyro1*/[3],
                                     void * /*state*/) {
    if (gyro0 == nullptr || std::abs(static_cast<int32_t>(gyro0[2])) <= kTurnThreshold) {
        gTurnCount = 0;
        return 0;
    }
    ++gTurnCount;
    if (gTurnCount >= kTurnSamples) {
        gTurnCount = 0;
        return 1;
    }
    return 2;
}

VYR_EXPORT void CleanStatusForRotationRecognize(void * /*state*/) {
    gTurnCount = 0;
}

VYR_EXPORT int32_t GetRotationRecognizeVersion(void) {
    return 102;
}

}  // extern "C"

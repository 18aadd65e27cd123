// Stand-in of the fold posture library. Rule: the hinge angle picks the
// posture with 10 degrees of hysteresis at both edges: folded (1) below 30,
// full (3) above 150, half folded (2) between; a folded phone stays folded
// until 40 is reached, a full one stays full until it falls to 140. The
// first posture after initPostureParameter comes from the plain bands. When
// the first accelerometer carries gravity along y (above 9 m/s^2, scaled 900)
// the phone stands on its edge and the result is 256 (vertical unknown),
// without a change of the posture held. Before the first
// initPostureParameter there is no result. `info` is always 0.
#include <cstdint>

#include "platform/api/vyr_fold_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

constexpr int32_t kFolded = 1;
constexpr int32_t kHalfFolded = 2;
constexpr int32_t kFull = 3;
constexpr int32_t kVerticalUnknown = 256;
constexpr int32_t kFoldedBelow = 30;
constexpr int32_t kFullAbove = 150;
constexpr int32_t kHysteresis = 10;
constexpr int16_t kStandingPull = 900;

bool gStarted = false;
int32_t gPosture = 0;

int32_t PlainPosture(int32_t angle) {
    if (angle < kFoldedBelow) {
        return kFolded;
    }
    return angle > kFullAbove ? kFull : kHalfFolded;
}

int32_t NextPosture(int32_t held, int32_t angle) {
    if (held == kFolded && angle < kFoldedBelow + kHysteresis) {
        return kFolded;
    }
    if (held == kFull && angle > kFullAbove - kHysteresis) {
        return kFull;
    }
    return PlainPosture(angle);
}

}  // namespace

extern "C" {

VYR_EXPORT const char *GetFoldableVersion(void) {
    return "VyrFold-standin-1.0.0";
}

VYR_EXPORT int32_t initPostureParameter(int32_t angle, const int16_t * /*acc2*/,
                                        int32_t /*acc2Count*/, const int16_t * /*acc1*/,
                                        int32_t /*acc1Count*/) {
    gStarted = true;
    gPosture = PlainPosture(angle);
    return 0;
}

VYR_EXPORT int32_t FlodableGestrueDetect(const int16_t * /*acc2*/, int32_t /*acc2Count*/,
                                         const int16_t *acc1, int32_t acc1Count, int32_t angle,
                                         fold_posture_result_t *result, uint64_t /*timeMs*/,
                                         int32_t /*reserved*/, float /*precision*/, float /*accX*/,
                                         float /*accY*/, float /*accZ*/) {
    if (!gStarted || result == nullptr) {
        return 0;
    }
    result->hingeAngle = angle;
    result->info = 0;
    if (acc1 != nullptr && acc1Count >= 2 && acc1[1] > kStandingPull) {
        result->posture = kVerticalUnknown;
        return 1;
    }
    gPosture = NextPosture(gPosture, angle);
    result->posture = gPosture;
    return 1;
}

}  // extern "C"

// Entry points of the fold posture library "libVyrFold.so" (wrapper
// LibVyrPosture).
//
// acc1 is the first accelerometer, acc2 the second one (in the other half of
// the phone): three values each, value * 100.0 truncated. Angles in degrees,
// truncated to integers.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// The result record, zeroed by the caller. `posture`: 1 folded, 2 half
// folded, 3 full (open), 256 vertical unknown, 4096 exception.
typedef struct fold_posture_result_t {
    int32_t posture;
    int32_t hingeAngle;
    int32_t info;
} fold_posture_result_t;

// Version text of the library; never null.
const char *GetFoldableVersion(void);
// Starts the recognition from a settled angle and both accelerometers.
// 0 on success.
int32_t initPostureParameter(int32_t angle, const int16_t *acc2, int32_t acc2Count,
                             const int16_t *acc1, int32_t acc1Count);
// One step. `timeMs` is the hinge event's timestamp in ms, `reserved` 0,
// `precision` the hinge sensor's precision (smaller is better); accX, accY,
// accZ are the first accelerometer's raw values, which the library may
// ignore. Non-zero when `result` was filled.
int32_t FlodableGestrueDetect(const int16_t *acc2, int32_t acc2Count, const int16_t *acc1,
                              int32_t acc1Count, int32_t angle, fold_posture_result_t *result,
                              uint64_t timeMs, int32_t reserved, float precision, float accX,
                              float accY, float accZ);

typedef const char *(*GetFoldableVersion_t)(void);
typedef int32_t (*initPostureParameter_t)(int32_t angle, const int16_t *acc2, int32_t acc2Count,
                                          const int16_t *acc1, int32_t acc1Count);
typedef int32_t (*FlodableGestrueDetect_t)(const int16_t *acc2, int32_t acc2Count,
                                           const int16_t *acc1, int32_t acc1Count, int32_t angle,
                                           fold_posture_result_t *result, uint64_t timeMs,
                                           int32_t reserved, float precision, float accX,
                                           float accY, float accZ);

#ifdef __cplusplus
}
#endif

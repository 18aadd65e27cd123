// Entry points of the rotation gesture library "libRotationGesture.so"
// (wrapper LibRotationGesture).
//
// Each array holds x, y, z scaled (value * 100.0, truncated) and cut to
// 16 bits. `state` is the caller's context block.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Result: low byte 0 = none, 1 a completed gesture, other values progress.
int32_t RotationRecognize(const int16_t acc0[3], const int16_t acc1[3], const int16_t gyro0[3],
                          const int16_t gyro1[3], void *state);
void CleanStatusForRotationRecognize(void *state);
// Version number of the algorithm.
int32_t GetRotationRecognizeVersion(void);

typedef int32_t (*RotationRecognize_t)(const int16_t acc0[3], const int16_t acc1[3],
                                       const int16_t gyro0[3], const int16_t gyro1[3], void *state);
typedef void (*CleanStatusForRotationRecognize_t)(void *state);
typedef int32_t (*GetRotationRecognizeVersion_t)(void);

#ifdef __cplusplus
}
#endif

// Entry points of the motion gesture library "libmotion.so" (wrapper
// LibVyrMotion). The names are the library's own, misspellings included.
//
// Samples are "scaled": each float multiplied by 100.0 and truncated toward
// zero. `state` is the caller's context block (9 bytes), handed to every
// call that takes one; its bytes are the library's.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Pick-call from accelerometer, gyroscope and proximity. `nearFlag` is 1 when
// the proximity sensor reads near; `mode` is 1. Result: low byte 99 = none,
// 1 or 2 a gesture.
int32_t ProximityGestureRecognize(int32_t accX, int32_t accY, int32_t accZ, int32_t gyroX,
                                  int32_t gyroY, int32_t gyroZ, int32_t nearFlag, int32_t mode,
                                  void *state);
void CleanStatesForProximity(void *state);
// Screen orientation from the accelerometer; `timestamp` in ns. Result: low
// byte 254 = none, otherwise the rotation.
int32_t oritationRecognize(int32_t accX, int32_t accY, int32_t accZ, int64_t timestamp,
                           void *state);
// Wrist flip from accelerometer and gyroscope. Result: low byte 0 = none.
int32_t WristFlipGestureRecognize(int32_t accX, int32_t accY, int32_t accZ, int32_t gyroX,
                                  int32_t gyroY, int32_t gyroZ, void *state);
void cleanStatusForWristFlipGesture(void *state);
// Flip from the accelerometer. Result: low byte 1 or 2 a flip, else none.
int32_t FlipGestrueRecognize(int32_t accX, int32_t accY, int32_t accZ);
void CleanStatusForFlip(void);

typedef int32_t (*ProximityGestureRecognize_t)(int32_t accX, int32_t accY, int32_t accZ,
                                               int32_t gyroX, int32_t gyroY, int32_t gyroZ,
                                               int32_t nearFlag, int32_t mode, void *state);
typedef void (*CleanStatesForProximity_t)(void *state);
typedef int32_t (*oritationRecognize_t)(int32_t accX, int32_t accY, int32_t accZ, int64_t timestamp,
                                        void *state);
typedef int32_t (*WristFlipGestureRecognize_t)(int32_t accX, int32_t accY, int32_t accZ,
                                               int32_t gyroX, int32_t gyroY, int32_t gyroZ,
                                               void *state);
typedef void (*cleanStatusForWristFlipGesture_t)(void *state);
typedef int32_t (*FlipGestrueRecognize_t)(int32_t accX, int32_t accY, int32_t accZ);
typedef void (*CleanStatusForFlip_t)(void);

#ifdef __cplusplus
}
#endif

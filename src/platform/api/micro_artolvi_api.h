// Entry points of the micro-still detector "libmicroartolvi.so" (wrapper
// LibVyrMicroAr). `context` is the caller's 64-bit context word.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// `mode` is 0. 0 on success.
int32_t MicroArInit(int32_t mode, void *context);
// Product name and its length (without NUL). -1 when the product is unknown.
int32_t MicroArSetProjectName(const char *name, int32_t length);
// One accelerometer sample in m/s^2; `axes` is 3.
int32_t AccDataCollect(float x, float y, float z, int32_t axes, void *context);
// Fill two 64-bit words (zeroed by the caller). For the quiet-still result
// the first 32-bit word is 0 when the phone is still. 0 on success.
int32_t GetStatusResult(uint64_t result[2], void *context);
int32_t GetQStillStatusResult(uint64_t result[2], void *context);
int32_t SetQStillAlgSwitch(int32_t on);
int32_t GetQStillAlgSwitch(void);

typedef int32_t (*MicroArInit_t)(int32_t mode, void *context);
typedef int32_t (*MicroArSetProjectName_t)(const char *name, int32_t length);
typedef int32_t (*AccDataCollect_t)(float x, float y, float z, int32_t axes, void *context);
typedef int32_t (*GetStatusResult_t)(uint64_t result[2], void *context);
typedef int32_t (*GetQStillStatusResult_t)(uint64_t result[2], void *context);
typedef int32_t (*SetQStillAlgSwitch_t)(int32_t on);
typedef int32_t (*GetQStillAlgSwitch_t)(void);

#ifdef __cplusplus
}
#endif

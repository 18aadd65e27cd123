// Entry points of the hand-held detector "libarhand.so" (wrapper
// LibVyrArHand). `context` is the caller's 64-bit context word.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// `mode` is 0. 0 on success.
int32_t HandHeldInit(int32_t mode, void *context);
// One accelerometer sample in m/s^2; `axes` is 3.
int32_t HandHeldAccDataCollect(float x, float y, float z, int32_t axes, void *context);
// Fills two 64-bit words (zeroed by the caller); the first 32-bit word is 0
// when the phone is held in the hand. 0 on success.
int32_t GetHandHeldResult(uint64_t result[2], void *context);
int32_t SetHandHeldAlgSwitch(int32_t on);
int32_t GetHandHeldAlgSwitch(void);
// Touch state of the screen: 1 touched, 0 not.
int32_t UpdateTpInfo(int32_t touched, void *context);

typedef int32_t (*HandHeldInit_t)(int32_t mode, void *context);
typedef int32_t (*HandHeldAccDataCollect_t)(float x, float y, float z, int32_t axes, void *context);
typedef int32_t (*GetHandHeldResult_t)(uint64_t result[2], void *context);
typedef int32_t (*SetHandHeldAlgSwitch_t)(int32_t on);
typedef int32_t (*GetHandHeldAlgSwitch_t)(void);
typedef int32_t (*UpdateTpInfo_t)(int32_t touched, void *context);

#ifdef __cplusplus
}
#endif

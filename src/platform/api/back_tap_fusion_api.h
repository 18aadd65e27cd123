// Entry points of the back-tap touch fusion "libBackTapFusion.so" (wrapper
// LibTapFusion): it rejects taps that a touch on the screen explains.
// `state` is the caller's context block.
#pragma once

#include <stdint.h>

#include "platform/api/back_tap_api.h"

#ifdef __cplusplus
extern "C" {
#endif

// 0 on success.
int32_t BackTapFusion_Init(void *state);
void BackTapFusion_Deinit(void *state);
// Judges a tap: reads the record and overwrites value[0] with the verdict
// (1 or more: report the tap).
void BackTapFusion_FusionTp(back_tap_record_t *record, void *state);
// Touch of finger `id` at (x, y) in panel pixels; `timestamp` in ns.
void BackTapFusion_TouchDown(int64_t timestamp, int32_t id, int32_t x, int32_t y, void *state);
// Release of finger `id`; x and y are 0.
void BackTapFusion_TouchUp(int64_t timestamp, int32_t id, int32_t x, int32_t y, void *state);

typedef int32_t (*BackTapFusion_Init_t)(void *state);
typedef void (*BackTapFusion_Deinit_t)(void *state);
typedef void (*BackTapFusion_FusionTp_t)(back_tap_record_t *record, void *state);
typedef void (*BackTapFusion_TouchDown_t)(int64_t timestamp, int32_t id, int32_t x, int32_t y,
                                          void *state);
typedef void (*BackTapFusion_TouchUp_t)(int64_t timestamp, int32_t id, int32_t x, int32_t y,
                                        void *state);

#ifdef __cplusplus
}
#endif

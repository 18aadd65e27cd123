// Entry points of the back-tap detector "libBackTapAlg.so" (wrapper
// LibTapGesture). It finds taps in the samples of two accelerometers.
// `state` is the caller's context block.
#pragma once

#include <stdint.h>

#include "platform/api/back_tap_api.h"

#ifdef __cplusplus
extern "C" {
#endif

// 0 on success.
int32_t BackTapAlg_Init(void *state);
void BackTapAlg_Deinit(void *state);
// One pair of samples: `timestamp` in ns, `acc` = x, y, z of accelerometer 0
// then of accelerometer 1, each scaled (value * 100.0, truncated). Fills
// `record->value` (the caller zeroes the record first).
void BackTapAlg_Process(int64_t timestamp, const int32_t acc[6], back_tap_record_t *record,
                        void *state);
// Display mode of a foldable phone: fold type base plus the posture.
void BackTapAlg_SetDisplayMode(int32_t mode);
// 0 double taps only, 1 triple taps too.
void BackTapAlg_EnableTripleTap(int32_t enable, void *state);

typedef int32_t (*BackTapAlg_Init_t)(void *state);
typedef void (*BackTapAlg_Deinit_t)(void *state);
typedef void (*BackTapAlg_Process_t)(int64_t timestamp, const int32_t acc[6],
                                     back_tap_record_t *record, void *state);
typedef void (*BackTapAlg_SetDisplayMode_t)(int32_t mode);
typedef void (*BackTapAlg_EnableTripleTap_t)(int32_t enable, void *state);

#ifdef __cplusplus
}
#endif

// Records shared by the two back-tap libraries.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define BACK_TAP_RECORD_VALUES 7

// The tap record: BackTapAlg_Process fills `value`; BackTapFusion_FusionTp
// reads `value` and `timeMs` (monotonic ms) and overwrites value[0] with its
// verdict. value[0] is the result or tap count, 1 or more when a tap is seen;
// the others are the libraries' own.
typedef struct back_tap_record_t {
    int32_t value[BACK_TAP_RECORD_VALUES];
    uint64_t timeMs;
} back_tap_record_t;

#ifdef __cplusplus
}
#endif

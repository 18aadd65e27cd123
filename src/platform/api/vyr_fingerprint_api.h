// Entry point of the fingerprint service library "libVyrFingerprint.so"
// (wrapper LibVyrFingerprint).
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Command of the touch check result (a 5120-byte fp_auxiliary_result).
#define VYR_FP_CMD_AUXILIARY_RESULT 407

// Sends `length` bytes to the fingerprint side under `command`. Returns the
// number of bytes taken, 0 when the side refuses this kind of data for good,
// or a negative error.
int32_t VyrSendDataToFp(int32_t command, const void *data, int32_t length);

typedef int32_t (*VyrSendDataToFp_t)(int32_t command, const void *data, int32_t length);

#ifdef __cplusplus
}
#endif

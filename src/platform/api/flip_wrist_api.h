// Entry points of the wrist flip library "libFlipWristScanCode.so" (wrapper
// LibWristFlipGesture). Its recogniser and reset have the same names and
// types as those of the motion library, declared in motion_api.h.
#pragma once

#include <stdint.h>

#include "platform/api/motion_api.h"

#ifdef __cplusplus
extern "C" {
#endif

// Version number of the algorithm.
int32_t GetWristFlipVersion(void);

typedef int32_t (*GetWristFlipVersion_t)(void);

#ifdef __cplusplus
}
#endif

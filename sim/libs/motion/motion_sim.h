// Test control of the simulated motion gesture library "libmotion.so",
// exported beside its entry points (motion_api.h). A test resolves it with
// dlsym from the handle of the copy that the code under test loaded.
// Thread-safe; may be called at any time.
//
// MotionSimHang(ms): the next call of FlipGestrueRecognize or
// oritationRecognize, whichever comes first and only that one, sleeps `ms`
// milliseconds before it answers (a gesture call stuck in the library). A
// second MotionSimHang before that call replaces the time; 0 or less
// disarms it.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void MotionSimHang(int32_t ms);

typedef void (*MotionSimHang_t)(int32_t ms);

#ifdef __cplusplus
}
#endif

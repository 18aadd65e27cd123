// Entry points of the thread hang guard "libpellard.so" (wrapper
// LibPellard), used by the face algorithm thread.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// 0 on success.
int32_t pellard_init(void);
// Starts guarding the calling thread's section `name`, to be ended within
// `timeoutMs`; `flags` 0. Returns the section id (>= 0) or a negative error.
int32_t __pellard_start_ex(const char *name, uint32_t timeoutMs, int32_t flags);
// Ends the section `id`. 0 on success.
int32_t pellard_end(int32_t id);

typedef int32_t (*pellard_init_t)(void);
typedef int32_t (*__pellard_start_ex_t)(const char *name, uint32_t timeoutMs, int32_t flags);
typedef int32_t (*pellard_end_t)(int32_t id);

#ifdef __cplusplus
}
#endif

// The C library's assert.h plus bionic's assertion handler. No include guard
// around the include_next: assert.h is meant to be included again after
// NDEBUG changes.
#include_next <assert.h>

#ifndef VYR_HOST_ASSERT2_DECLARED
#define VYR_HOST_ASSERT2_DECLARED

#ifdef __cplusplus
extern "C" {
#endif

// Logs 'file:line: function: assertion "expression" failed' at FATAL with the
// tag "libc", then aborts.
void __assert2(const char *file, int line, const char *function, const char *failed_expression)
    __attribute__((__noreturn__));

#ifdef __cplusplus
}
#endif

#endif  // VYR_HOST_ASSERT2_DECLARED

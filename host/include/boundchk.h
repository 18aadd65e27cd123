// Bounds-checked C functions. Destination sizes above BOUNDCHK_MAX_LEN are
// treated as corrupt and refused.
#pragma once

#include <errno.h>
#include <stdarg.h>
#include <stddef.h>

#ifndef EOK
#define EOK 0
#endif
#ifndef EOVERLAP
#define EOVERLAP 54
#endif
#ifndef _ERRNO_T_DEFINED
#define _ERRNO_T_DEFINED
typedef int errno_t;
#endif

#define BOUNDCHK_MAX_LEN 0x7fffffffUL

#ifdef __cplusplus
extern "C" {
#endif

// EINVAL: null dest or src (dest cleared when usable). ERANGE: destMax 0 or
// too big, or count > destMax (dest cleared). EOVERLAP: the areas overlap
// (dest cleared).
errno_t memcpy_s(void *dest, size_t destMax, const void *src, size_t count);

// ERANGE when count > destMax: the whole of dest is filled, then refused.
errno_t memset_s(void *dest, size_t destMax, int c, size_t count);

// On any error dest[0] is set to 0 when dest is usable. ERANGE: the result
// does not fit.
errno_t strcpy_s(char *dest, size_t destMax, const char *src);
errno_t strcat_s(char *dest, size_t destMax, const char *src);

// Returns the number of characters written, or -1 on error or when the
// output does not fit (dest then holds "").
int sprintf_s(char *dest, size_t destMax, const char *format, ...)
    __attribute__((__format__(__printf__, 3, 4)));

// Writes at most min(count, destMax - 1) characters, always terminated.
// Returns the number written, or -1 when the output was cut: the buffer then
// keeps the cut text. Bad arguments: -1 and dest "" when dest is usable.
int vsnprintf_s(char *dest, size_t destMax, size_t count, const char *format, va_list ap)
    __attribute__((__format__(__printf__, 4, 0)));

#ifdef __cplusplus
}
#endif

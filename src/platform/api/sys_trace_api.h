// Trace hooks looked up in the process's global scope (the daemon may export
// them) and the version query several closed libraries share. The Atrace
// types are those of vyr_sys_device_t.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Only the pointer types are given here: this header reaches nearly every
// file, and the plain names must stay free there.
//   const char *GetVersion(void)        version text
//   int32_t AtraceIsTagEnabled(int64_t)  non-zero when the tag traces
//   void AtraceBegin(int64_t, const char *)
//   void AtraceEnd(int64_t)
typedef const char *(*GetVersion_t)(void);
typedef int32_t (*AtraceIsTagEnabled_t)(int64_t tag);
typedef void (*AtraceBegin_t)(int64_t tag, const char *name);
typedef void (*AtraceEnd_t)(int64_t tag);

#ifdef __cplusplus
}
#endif

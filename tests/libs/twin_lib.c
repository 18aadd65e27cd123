/* A tiny library for the library wrapper tests, built twice: complete, and
 * with TWIN_PARTIAL lacking twin_second. */
#include <stdint.h>

__attribute__((visibility("default"))) int32_t twin_first(int32_t value) {
    return value + 1;
}

#ifndef TWIN_PARTIAL
__attribute__((visibility("default"))) int32_t twin_second(int32_t value) {
    return value * 2;
}
#endif

__attribute__((visibility("default"))) const char *twin_name(void) {
#ifdef TWIN_PARTIAL
    return "partial";
#else
    return "full";
#endif
}

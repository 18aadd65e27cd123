// Stand-in of the thread hang guard: every call succeeds, sections get
// increasing ids, and nothing is watched.
#include <atomic>

#include "platform/api/pellard_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

std::atomic<int32_t> gNextId{0};

}  // namespace

extern "C" {

VYR_EXPORT int32_t pellard_init(void) {
    return 0;
}

VYR_EXPORT int32_t __pellard_start_ex(const char * /*name*/, uint32_t /*timeoutMs*/,
                                      int32_t /*flags*/) {
    return gNextId.fetch_add(1);
}

VYR_EXPORT int32_t pellard_end(int32_t id) {
    return id >= 0 ? 0 : -1;
}

}  // extern "C"

// Stand-in of the activity engine client. Its rules:
//  - AREGCDecodeData hands the registered function, on the caller's thread,
//    one output of type 1 (the algorithm version, 4 bytes: 7) for a block
//    whose first byte is 1, and one output of type 2 carrying the block
//    unchanged for any other non-empty block. Empty blocks, null, or no
//    function registered: -1.
//  - AREGCInit forgets the registered function.
#include <cstdint>

#include "platform/api/artolvi_engine_client_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

constexpr int32_t kVersion = 7;
AREGCDataCallback_t gCallback = nullptr;

}  // namespace

extern "C" {

VYR_EXPORT int32_t AREGCInit(void) {
    gCallback = nullptr;
    return 0;
}

VYR_EXPORT int32_t AREGCProcessDataFuncRegister(AREGCDataCallback_t callback) {
    gCallback = callback;
    return 0;
}

VYR_EXPORT int32_t AREGCDecodeData(const char *data, uint32_t size) {
    if (data == nullptr || size == 0 || gCallback == nullptr) {
        return -1;
    }
    if (data[0] == 1) {
        int32_t version = kVersion;
        gCallback(&version, 1, sizeof(version));
        return 0;
    }
    gCallback(const_cast<char *>(data), 2, static_cast<int32_t>(size));
    return 0;
}

}  // extern "C"

#include "platform/LibVyrMotion.h"

namespace {

constexpr int32_t kKindFlip = 2;
constexpr int32_t kKindPickCall = 3;
constexpr int32_t kNoResult = 99;

}  // namespace

int32_t LibVyrMotion::TransCode(int32_t kind, int32_t code) {
    const uint8_t low = static_cast<uint8_t>(code & 0xff);
    if (kind == kKindPickCall) {
        return low == 1 ? 0 : (low == 2 ? 1 : kNoResult);
    }
    if (kind == kKindFlip) {
        return low == 1 ? 4 : (low == 2 ? 3 : kNoResult);
    }
    return code;
}

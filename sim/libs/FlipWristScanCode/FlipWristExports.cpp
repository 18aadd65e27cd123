// Version of the wrist flip stand-in; the recogniser is in WristFlipRule.cpp.
#include "platform/api/flip_wrist_api.h"

extern "C" __attribute__((visibility("default"))) int32_t GetWristFlipVersion(void) {
    return 201;
}

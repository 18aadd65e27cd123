// Stand-in of the touch check over the fingerprint area. Rules: the version
// is "fpac-sim-1.0"; init and exit return 0. The classification looks at the
// largest cell of the frames it is given (at least the first frame): the
// confidence is that value over 1000, held between 0 and 1, and the
// threshold is always 0.5. A null frame pointer or a cell count other than
// 81 returns -1 and writes nothing.
#include <cstdint>

#include "platform/api/fpac_tp_alg_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

extern "C" {

VYR_EXPORT const char *fpac_tp_get_version(void) {
    return "fpac-sim-1.0";
}

VYR_EXPORT int32_t init_fpac_tp_alg(void) {
    return 0;
}

VYR_EXPORT int32_t exit_fpac_tp_alg(void) {
    return 0;
}

VYR_EXPORT int32_t fpac_tp_alg_classify(const int16_t *frames, int32_t cells, int32_t validFrames,
                                        int32_t /*mode*/, float *confidence, float *threshold) {
    if (frames == nullptr || cells != 81 || confidence == nullptr || threshold == nullptr) {
        return -1;
    }
    int32_t count = validFrames < 1 ? 1 : validFrames;
    int16_t top = frames[0];
    for (int32_t i = 0; i < count * cells; ++i) {
        top = frames[i] > top ? frames[i] : top;
    }
    float value = static_cast<float>(top) / 1000.0f;
    *confidence = value < 0.0f ? 0.0f : (value > 1.0f ? 1.0f : value);
    *threshold = 0.5f;
    return 0;
}

}  // extern "C"

// Stand-in of the back-tap touch fusion. Rule: a tap is vetoed (verdict 0)
// while a finger is on the screen, or when a finger went down or up less
// than 100 ms before the tap's time; otherwise the verdict is the tap count
// as it came. Touch times are taken from the monotonic clock when the touch
// call arrives, so they compare with the record's `timeMs`. Before
// BackTapFusion_Init every verdict is the count as it came and touches are
// not recorded. The caller's context block is not used.
#include <time.h>

#include <cstdint>

#include "platform/api/back_tap_fusion_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

constexpr uint64_t kVetoMs = 100;
constexpr int32_t kMaxFingers = 10;

bool gRunning = false;
bool gDown[kMaxFingers] = {};
uint64_t gLastTouchMs = 0;
bool gTouched = false;

uint64_t MonoMs() {
    struct timespec ts = {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

void Reset() {
    for (bool &down : gDown) {
        down = false;
    }
    gLastTouchMs = 0;
    gTouched = false;
}

void Touch(int32_t id, bool down) {
    if (!gRunning) {
        return;
    }
    if (id >= 0 && id < kMaxFingers) {
        gDown[id] = down;
    }
    gLastTouchMs = MonoMs();
    gTouched = true;
}

bool AnyFingerDown() {
    for (bool down : gDown) {
        if (down) {
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" {

VYR_EXPORT int32_t BackTapFusion_Init(void * /*state*/) {
    Reset();
    gRunning = true;
    return 0;
}

VYR_EXPORT void BackTapFusion_Deinit(void * /*state*/) {
    Reset();
    gRunning = false;
}

VYR_EXPORT void BackTapFusion_FusionTp(back_tap_record_t *record, void * /*state*/) {
    if (record == nullptr || !gRunning) {
        return;
    }
    if (AnyFingerDown()) {
        record->value[0] = 0;
        return;
    }
    if (gTouched && record->timeMs >= gLastTouchMs && record->timeMs - gLastTouchMs < kVetoMs) {
        record->value[0] = 0;
    }
}

VYR_EXPORT void BackTapFusion_TouchDown(int64_t /*timestamp*/, int32_t id, int32_t /*x*/,
                                        int32_t /*y*/, void * /*state*/) {
    Touch(id, true);
}

VYR_EXPORT void BackTapFusion_TouchUp(int64_t /*timestamp*/, int32_t id, int32_t /*x*/,
                                      int32_t /*y*/, void * /*state*/) {
    Touch(id, false);
}

}  // extern "C"

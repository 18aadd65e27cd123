// Stand-in of the back-tap detector. Rule: a knock is a sample whose first
// accelerometer z value (scaled) differs from the previous sample's by more
// than 500 (5 m/s^2), at least 50 ms after the previous knock (so the
// swing back of a knock is not a second one). Knocks less
// than 500 ms apart form one series. With triple taps off, the second knock
// of a series reports 2 and ends the series. With triple taps on, the third
// knock reports 3, and a series that stopped at two reports 2 with the first
// sample 500 ms after its last knock. A report fills value[0] with the count
// and value[1] with the display mode; nothing is found before
// BackTapAlg_Init. The caller's context block is not used.
#include <cstdlib>

#include "platform/api/back_tap_alg_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

constexpr int32_t kKnockJump = 500;
constexpr int64_t kDebounceNs = 50000000;
constexpr int64_t kSeriesGapNs = 500000000;

bool gRunning = false;
bool gTripleTap = false;
bool gHavePrevious = false;
bool gHaveKnock = false;
int32_t gPreviousZ = 0;
int32_t gSeries = 0;
int64_t gLastKnockNs = 0;
int32_t gDisplayMode = 0;

void Reset() {
    gHavePrevious = false;
    gHaveKnock = false;
    gPreviousZ = 0;
    gSeries = 0;
    gLastKnockNs = 0;
}

void Report(back_tap_record_t *record, int32_t count) {
    record->value[0] = count;
    record->value[1] = gDisplayMode;
    gSeries = 0;
}

}  // namespace

extern "C" {

VYR_EXPORT int32_t BackTapAlg_Init(void * /*state*/) {
    Reset();
    gTripleTap = false;
    gRunning = true;
    return 0;
}

VYR_EXPORT void BackTapAlg_Deinit(void * /*state*/) {
    Reset();
    gRunning = false;
}

VYR_EXPORT void BackTapAlg_Process(int64_t timestamp, const int32_t acc[6],
                                   back_tap_record_t *record, void * /*state*/) {
    if (!gRunning || acc == nullptr || record == nullptr) {
        return;
    }
    const int32_t z = acc[2];
    const bool jump = gHavePrevious && std::abs(z - gPreviousZ) > kKnockJump;
    gHavePrevious = true;
    gPreviousZ = z;
    if (gSeries > 0 && timestamp - gLastKnockNs >= kSeriesGapNs) {
        const int32_t ended = gSeries;
        gSeries = 0;
        if (gTripleTap && ended == 2) {
            Report(record, 2);
            return;
        }
    }
    if (!jump || (gHaveKnock && timestamp - gLastKnockNs < kDebounceNs)) {
        return;
    }
    gHaveKnock = true;
    gLastKnockNs = timestamp;
    ++gSeries;
    if (gSeries == 2 && !gTripleTap) {
        Report(record, 2);
    } else if (gSeries == 3) {
        Report(record, 3);
    }
}

VYR_EXPORT void BackTapAlg_SetDisplayMode(int32_t mode) {
    gDisplayMode = mode;
}

VYR_EXPORT void BackTapAlg_EnableTripleTap(int32_t enable, void * /*state*/) {
    gTripleTap = enable != 0;
}

}  // extern "C"

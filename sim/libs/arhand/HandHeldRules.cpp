// Stand-in of the hand-held detector. Its rules, on accelerometer samples
// in m/s^2, one per call:
//  - the last 100 samples (one second at 100 Hz) are kept; the phone is in
//    the hand when all 100 are there and the variance of their magnitude is
//    at least 0.0004 (m/s^2)^2 (a hand is never quite still), or when the
//    screen is touched (UpdateTpInfo 1).
//  - GetHandHeldResult writes 0 into the first 32-bit word when in the
//    hand, 1 when not (on a table, or fewer than 100 samples seen); the
//    second word is the confidence of that verdict (0 to 100); the third
//    the number of samples seen (capped at 100).
//  - the confidence tells how well the window fits the rule. With r the
//    standard deviation over its limit 0.02: in the hand (r >= 1) scores
//    50 + 50 * (1 - 1 / r), so 50 just at the limit, 75 at twice it, 95 at
//    ten times; not in the hand (r < 1) scores 50 + 50 * (1 - r), 100 for a
//    phone that does not move at all. A touched screen is in the hand with
//    100. Before the window is full (and untouched) the verdict is "not in
//    the hand" and scores the share of the window still missing: 99 after
//    the first sample, 1 after the 99th.
//  - the algorithm switch only answers GetHandHeldAlgSwitch.
// The caller's context word is not used: the window lives in the library,
// and a fresh load starts empty.
#include <cmath>
#include <cstring>

#include "platform/api/arhand_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

constexpr int kWindow = 100;
constexpr double kHeldDeviation = 0.02;  // a variance of 0.0004 (m/s^2)^2

double gMagnitudes[kWindow] = {};
int gCount = 0;
int gNext = 0;
int32_t gSwitch = 0;
int32_t gTouched = 0;

struct Verdict {
    bool held;
    uint32_t confidence;  // 0 to 100
};

Verdict Judge() {
    if (gTouched != 0) {
        return {true, 100};
    }
    if (gCount < kWindow) {
        return {false, static_cast<uint32_t>(100 * (kWindow - gCount) / kWindow)};
    }
    double mean = 0.0;
    for (double m : gMagnitudes) {
        mean += m;
    }
    mean /= kWindow;
    double variance = 0.0;
    for (double m : gMagnitudes) {
        variance += (m - mean) * (m - mean);
    }
    const double r = std::sqrt(variance / kWindow) / kHeldDeviation;
    if (r >= 1.0) {
        return {true, static_cast<uint32_t>(std::lround(50.0 + 50.0 * (1.0 - 1.0 / r)))};
    }
    return {false, static_cast<uint32_t>(std::lround(50.0 + 50.0 * (1.0 - r)))};
}

}  // namespace

extern "C" {

VYR_EXPORT int32_t HandHeldInit(int32_t /*mode*/, void * /*context*/) {
    gCount = 0;
    gNext = 0;
    gTouched = 0;
    return 0;
}

VYR_EXPORT int32_t HandHeldAccDataCollect(float x, float y, float z, int32_t axes,
                                          void * /*context*/) {
    if (axes != 3) {
        return -1;
    }
    gMagnitudes[gNext] = std::sqrt(static_cast<double>(x) * x + static_cast<double>(y) * y +
                                   static_cast<double>(z) * z);
    gNext = (gNext + 1) % kWindow;
    if (gCount < kWindow) {
        ++gCount;
    }
    return 0;
}

VYR_EXPORT int32_t GetHandHeldResult(uint64_t result[2], void * /*context*/) {
    if (result == nullptr) {
        return -1;
    }
    const Verdict verdict = Judge();
    const uint32_t words[4] = {verdict.held ? 0u : 1u, verdict.confidence,
                               static_cast<uint32_t>(gCount), 0u};
    memcpy(result, words, sizeof(words));
    return 0;
}

VYR_EXPORT int32_t SetHandHeldAlgSwitch(int32_t on) {
    gSwitch = on;
    return 0;
}

VYR_EXPORT int32_t GetHandHeldAlgSwitch(void) {
    return gSwitch;
}

VYR_EXPORT int32_t UpdateTpInfo(int32_t touched, void * /*context*/) {
    gTouched = touched;
    return 0;
}

}  // extern "C"

// Stand-in of the micro-still detector. Its rules, on accelerometer samples
// in m/s^2, one per call:
//  - the last 100 samples (one second at 100 Hz) are kept; the phone is
//    still when all 100 are there and the variance of their magnitude is
//    below 0.0004 (m/s^2)^2, a standard deviation of 0.02: a phone lying on
//    a table. Fewer samples, or more movement: not still.
//  - GetQStillStatusResult (and GetStatusResult) write 0 into the first
//    32-bit word when still, 1 when not; the second word is the confidence
//    of that verdict (0 to 100); the third the number of samples seen
//    (capped at 100).
//  - the confidence tells how well the window fits the rule. With r the
//    standard deviation over its limit 0.02: still (r < 1) scores
//    50 + 50 * (1 - r), 100 for a phone that does not move at all; not
//    still (r >= 1) scores 50 + 50 * (1 - 1 / r), so 50 just at the limit,
//    75 at twice it, 95 at ten times. Before the window is full the verdict
//    is "not still" and scores the share of the window still missing: 99
//    after the first sample, 1 after the 99th.
//  - MicroArSetProjectName knows products whose name starts with "VYR";
//    others get -1 (the detector then works with its defaults).
//  - the quiet-still switch only answers GetQStillAlgSwitch.
// The caller's context word is not used: the window lives in the library,
// and a fresh load starts empty.
#include <cmath>
#include <cstring>

#include "platform/api/micro_artolvi_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

constexpr int kWindow = 100;
constexpr double kStillDeviation = 0.02;  // a variance of 0.0004 (m/s^2)^2

double gMagnitudes[kWindow] = {};
int gCount = 0;
int gNext = 0;
int32_t gSwitch = 0;

struct Verdict {
    bool still;
    uint32_t confidence;  // 0 to 100
};

Verdict Judge() {
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
    const double r = std::sqrt(variance / kWindow) / kStillDeviation;
    if (r < 1.0) {
        return {true, static_cast<uint32_t>(std::lround(50.0 + 50.0 * (1.0 - r)))};
    }
    return {false, static_cast<uint32_t>(std::lround(50.0 + 50.0 * (1.0 - 1.0 / r)))};
}

void Fill(uint64_t result[2]) {
    if (result == nullptr) {
        return;
    }
    const Verdict verdict = Judge();
    const uint32_t words[4] = {verdict.still ? 0u : 1u, verdict.confidence,
                               static_cast<uint32_t>(gCount), 0u};
    memcpy(result, words, sizeof(words));
}

}  // namespace

extern "C" {

VYR_EXPORT int32_t MicroArInit(int32_t /*mode*/, void * /*context*/) {
    gCount = 0;
    gNext = 0;
    return 0;
}

VYR_EXPORT int32_t MicroArSetProjectName(const char *name, int32_t length) {
    if (name == nullptr || length < 3 || strncmp(name, "VYR", 3) != 0) {
        return -1;
    }
    return 0;
}

VYR_EXPORT int32_t AccDataCollect(float x, float y, float z, int32_t axes, void * /*context*/) {
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

VYR_EXPORT int32_t GetStatusResult(uint64_t result[2], void * /*context*/) {
    Fill(result);
    return 0;
}

VYR_EXPORT int32_t GetQStillStatusResult(uint64_t result[2], void * /*context*/) {
    Fill(result);
    return 0;
}

VYR_EXPORT int32_t SetQStillAlgSwitch(int32_t on) {
    gSwitch = on;
    return 0;
}

VYR_EXPORT int32_t GetQStillAlgSwitch(void) {
    return gSwitch;
}

}  // extern "C"

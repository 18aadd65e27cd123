// Stand-in of the motion gesture library. Its rules, on scaled samples
// (m/s^2 * 100, rad/s * 100), one sample per call:
//  - flip: 1 (face down) once gravity has stayed on -z (z below -700) for 50
//    samples in a row, half a second at 100 Hz; 2 (face up) once it has
//    stayed on +z (z above 700) as long; 0 in between or before that.
//  - orientation: the axis of x and y that carries more gravity, when it
//    exceeds 500 and |z|: 0 for +y (portrait), 1 for +x, 2 for -y, 3 for -x;
//    254 (none) when the phone lies flat or the pull is too weak.
//  - pick-call: 1 (at the ear) when the proximity reads near and the phone
//    stands up (y above 600) for 10 samples in a row; 2 (taken away) when it
//    stands up but reads far for 10 samples in a row; 99 otherwise.
//  - wrist flip: see WristFlipRule.cpp.
// The caller's context block is not used: the counts live in the library.
// Test control (motion_sim.h): after MotionSimHang(ms), the next call of
// FlipGestrueRecognize or oritationRecognize (whichever comes first, once)
// sleeps ms milliseconds before it answers.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "libs/motion/motion_sim.h"
#include "platform/api/motion_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

constexpr int32_t kGravityOnAxis = 700;
constexpr int32_t kFlipSamples = 50;
constexpr int32_t kOrientationPull = 500;
constexpr int32_t kUpright = 600;
constexpr int32_t kPickCallSamples = 10;

int32_t gFaceDownCount = 0;
int32_t gFaceUpCount = 0;
int32_t gNearCount = 0;
int32_t gFarCount = 0;

// Milliseconds that the next flip or orientation call sleeps; 0 when none.
std::atomic<int32_t> gHangMs{0};

void HangIfArmed() {
    const int32_t ms = gHangMs.exchange(0);
    if (ms > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    }
}

}  // namespace

extern "C" {

VYR_EXPORT void MotionSimHang(int32_t ms) {
    gHangMs.store(ms > 0 ? ms : 0);
}

VYR_EXPORT int32_t FlipGestrueRecognize(int32_t /*accX*/, int32_t /*accY*/, int32_t accZ) {
    HangIfArmed();
    gFaceDownCount = accZ < -kGravityOnAxis ? gFaceDownCount + 1 : 0;
    gFaceUpCount = accZ > kGravityOnAxis ? gFaceUpCount + 1 : 0;
    if (gFaceDownCount >= kFlipSamples) {
        gFaceDownCount = kFlipSamples;
        return 1;
    }
    if (gFaceUpCount >= kFlipSamples) {
        gFaceUpCount = kFlipSamples;
        return 2;
    }
    return 0;
}

VYR_EXPORT void CleanStatusForFlip(void) {
    gFaceDownCount = 0;
    gFaceUpCount = 0;
}

VYR_EXPORT int32_t oritationRecognize(int32_t accX, int32_t accY, int32_t accZ,
                                      int64_t /*timestamp*/, void * /*state*/) {
    HangIfArmed();
    const int32_t ax = std::abs(accX);
    const int32_t ay = std::abs(accY);
    const int32_t az = std::abs(accZ);
    if (ay >= ax && ay > kOrientationPull && ay > az) {
        return accY > 0 ? 0 : 2;
    }
    if (ax > ay && ax > kOrientationPull && ax > az) {
        return accX > 0 ? 1 : 3;
    }
    return 254;
}

VYR_EXPORT int32_t ProximityGestureRecognize(int32_t /*accX*/, int32_t accY, int32_t /*accZ*/,
                                             int32_t /*gyroX*/, int32_t /*gyroY*/,
                                             int32_t /*gyroZ*/, int32_t nearFlag, int32_t /*mode*/,
                                             void * /*state*/) {
    const bool upright = accY > kUpright;
    gNearCount = upright && nearFlag != 0 ? gNearCount + 1 : 0;
    gFarCount = upright && nearFlag == 0 ? gFarCount + 1 : 0;
    if (gNearCount >= kPickCallSamples) {
        gNearCount = kPickCallSamples;
        return 1;
    }
    if (gFarCount >= kPickCallSamples) {
        gFarCount = kPickCallSamples;
        return 2;
    }
    return 99;
}

VYR_EXPORT void CleanStatesForProximity(void * /*state*/) {
    gNearCount = 0;
    gFarCount = 0;
}

}  // extern "C"

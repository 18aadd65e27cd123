// Wrapper of "libmotion.so", the motion gestures (flip, pick-call,
// orientation, wrist flip).
#pragma once

#include <cstdint>

#include "platform/LibBase.h"
#include "platform/api/motion_api.h"

class LibVyrMotion : public LibBase {
public:
    bool Init() { return OpenLib("motion", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(ProximityGestureRecognize);
        VYR_LIB_SYMBOL(CleanStatesForProximity);
        VYR_LIB_SYMBOL(oritationRecognize);
        VYR_LIB_SYMBOL(WristFlipGestureRecognize);
        VYR_LIB_SYMBOL(cleanStatusForWristFlipGesture);
        VYR_LIB_SYMBOL(FlipGestrueRecognize);
        VYR_LIB_SYMBOL(CleanStatusForFlip);
    }

    // Result code of the library to the value told to clients, by motion
    // type (kind): pick-call (3) 1 -> 0, 2 -> 1; flip (2) 1 -> 4, 2 -> 3;
    // other codes of these two give 99 (none). Only the low byte of the code
    // counts there. Other kinds pass the code through.
    static int32_t TransCode(int32_t kind, int32_t code);

    ProximityGestureRecognize_t ProximityGestureRecognize = nullptr;
    CleanStatesForProximity_t CleanStatesForProximity = nullptr;
    oritationRecognize_t oritationRecognize = nullptr;
    WristFlipGestureRecognize_t WristFlipGestureRecognize = nullptr;
    cleanStatusForWristFlipGesture_t cleanStatusForWristFlipGesture = nullptr;
    FlipGestrueRecognize_t FlipGestrueRecognize = nullptr;
    CleanStatusForFlip_t CleanStatusForFlip = nullptr;
};

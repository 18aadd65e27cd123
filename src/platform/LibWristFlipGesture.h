// Wrapper of "libFlipWristScanCode.so", the wrist flip gesture.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/flip_wrist_api.h"

class LibWristFlipGesture : public LibBase {
public:
    bool Init() { return OpenLib("FlipWristScanCode", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(GetWristFlipVersion);
        VYR_LIB_SYMBOL(cleanStatusForWristFlipGesture);
        VYR_LIB_SYMBOL(WristFlipGestureRecognize);
    }

    GetWristFlipVersion_t GetWristFlipVersion = nullptr;
    cleanStatusForWristFlipGesture_t cleanStatusForWristFlipGesture = nullptr;
    WristFlipGestureRecognize_t WristFlipGestureRecognize = nullptr;
};

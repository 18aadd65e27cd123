// Wrapper of "libRotationGesture.so", the rotation gesture.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/rotation_gesture_api.h"

class LibRotationGesture : public LibBase {
public:
    bool Init() { return OpenLib("RotationGesture", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(RotationRecognize);
        VYR_LIB_SYMBOL(CleanStatusForRotationRecognize);
        VYR_LIB_SYMBOL(GetRotationRecognizeVersion);
    }

    RotationRecognize_t RotationRecognize = nullptr;
    CleanStatusForRotationRecognize_t CleanStatusForRotationRecognize = nullptr;
    GetRotationRecognizeVersion_t GetRotationRecognizeVersion = nullptr;
};

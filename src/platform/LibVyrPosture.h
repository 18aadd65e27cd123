// Wrapper of "libVyrFold.so", the fold posture of a foldable phone.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/vyr_fold_api.h"

class LibVyrPosture : public LibBase {
public:
    bool Init() { return OpenLib("VyrFold", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(GetFoldableVersion);
        VYR_LIB_SYMBOL(initPostureParameter);
        VYR_LIB_SYMBOL(FlodableGestrueDetect);
    }

    GetFoldableVersion_t GetFoldableVersion = nullptr;
    initPostureParameter_t initPostureParameter = nullptr;
    FlodableGestrueDetect_t FlodableGestrueDetect = nullptr;
};

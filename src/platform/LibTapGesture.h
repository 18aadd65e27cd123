// Wrapper of "libBackTapAlg.so", the back-tap detector.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/back_tap_alg_api.h"

class LibTapGesture : public LibBase {
public:
    bool Init() { return OpenLib("BackTapAlg", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(BackTapAlg_Init);
        VYR_LIB_SYMBOL(BackTapAlg_Deinit);
        VYR_LIB_SYMBOL(BackTapAlg_Process);
        VYR_LIB_SYMBOL(BackTapAlg_SetDisplayMode);
        VYR_LIB_SYMBOL(BackTapAlg_EnableTripleTap);
    }

    BackTapAlg_Init_t BackTapAlg_Init = nullptr;
    BackTapAlg_Deinit_t BackTapAlg_Deinit = nullptr;
    BackTapAlg_Process_t BackTapAlg_Process = nullptr;
    BackTapAlg_SetDisplayMode_t BackTapAlg_SetDisplayMode = nullptr;
    BackTapAlg_EnableTripleTap_t BackTapAlg_EnableTripleTap = nullptr;
};

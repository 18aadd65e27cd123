// Wrapper of "libBackTapFusion.so", the back-tap touch fusion.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/back_tap_fusion_api.h"

class LibTapFusion : public LibBase {
public:
    bool Init() { return OpenLib("BackTapFusion", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(BackTapFusion_Init);
        VYR_LIB_SYMBOL(BackTapFusion_Deinit);
        VYR_LIB_SYMBOL(BackTapFusion_FusionTp);
        VYR_LIB_SYMBOL(BackTapFusion_TouchDown);
        VYR_LIB_SYMBOL(BackTapFusion_TouchUp);
    }

    BackTapFusion_Init_t BackTapFusion_Init = nullptr;
    BackTapFusion_Deinit_t BackTapFusion_Deinit = nullptr;
    BackTapFusion_FusionTp_t BackTapFusion_FusionTp = nullptr;
    BackTapFusion_TouchDown_t BackTapFusion_TouchDown = nullptr;
    BackTapFusion_TouchUp_t BackTapFusion_TouchUp = nullptr;
};

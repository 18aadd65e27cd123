// Wrapper of "libFusionSense.so", the fusion channel of the sensor hub.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/fusion_sense_api.h"

class LibVyrFusion : public LibBase {
public:
    bool Init() { return OpenLib("FusionSense", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(FusionSenseInit);
        VYR_LIB_SYMBOL(FusionSenseUnInit);
        VYR_LIB_SYMBOL(FusionSenseActivate);
        VYR_LIB_SYMBOL(FusionSenseFlush);
    }

    FusionSenseInit_t FusionSenseInit = nullptr;
    FusionSenseUnInit_t FusionSenseUnInit = nullptr;
    FusionSenseActivate_t FusionSenseActivate = nullptr;
    FusionSenseFlush_t FusionSenseFlush = nullptr;
};

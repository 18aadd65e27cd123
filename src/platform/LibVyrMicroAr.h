// Wrapper of "libmicroartolvi.so", the micro-still detector.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/micro_artolvi_api.h"

class LibVyrMicroAr : public LibBase {
public:
    bool Init() { return OpenLib("microartolvi", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(MicroArInit);
        VYR_LIB_SYMBOL(MicroArSetProjectName);
        VYR_LIB_SYMBOL(AccDataCollect);
        VYR_LIB_SYMBOL(GetStatusResult);
        VYR_LIB_SYMBOL(GetQStillStatusResult);
        VYR_LIB_SYMBOL(SetQStillAlgSwitch);
        VYR_LIB_SYMBOL(GetQStillAlgSwitch);
    }

    MicroArInit_t MicroArInit = nullptr;
    MicroArSetProjectName_t MicroArSetProjectName = nullptr;
    AccDataCollect_t AccDataCollect = nullptr;
    GetStatusResult_t GetStatusResult = nullptr;
    GetQStillStatusResult_t GetQStillStatusResult = nullptr;
    SetQStillAlgSwitch_t SetQStillAlgSwitch = nullptr;
    GetQStillAlgSwitch_t GetQStillAlgSwitch = nullptr;
};

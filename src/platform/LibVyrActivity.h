// Wrapper of "libartolvi.so", activity recognition.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/artolvi_api.h"

class LibVyrActivity : public LibBase {
public:
    bool Init() { return OpenLib("artolvi", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(AlgInit_AR);
        VYR_LIB_SYMBOL(AlgGetResult_AR);
        VYR_LIB_SYMBOL(ProductIdInit);
        VYR_LIB_SYMBOL(TransInit);
        VYR_LIB_SYMBOL(AlgEnableVehicleBicycle);
        VYR_LIB_SYMBOL(AlgDisableVehicleBicycle);
        VYR_LIB_SYMBOL(AlgDataCollect);
        VYR_LIB_SYMBOL(AlgInit_HighSpeedRecog);
        VYR_LIB_SYMBOL(AlgGetResult_HighSpeedRecog);
        VYR_LIB_SYMBOL(AlgClose_HighSpeedRecog);
    }

    AlgInit_AR_t AlgInit_AR = nullptr;
    AlgGetResult_AR_t AlgGetResult_AR = nullptr;
    ProductIdInit_t ProductIdInit = nullptr;
    TransInit_t TransInit = nullptr;
    AlgEnableVehicleBicycle_t AlgEnableVehicleBicycle = nullptr;
    AlgDisableVehicleBicycle_t AlgDisableVehicleBicycle = nullptr;
    AlgDataCollect_t AlgDataCollect = nullptr;
    AlgInit_HighSpeedRecog_t AlgInit_HighSpeedRecog = nullptr;
    AlgGetResult_HighSpeedRecog_t AlgGetResult_HighSpeedRecog = nullptr;
    AlgClose_HighSpeedRecog_t AlgClose_HighSpeedRecog = nullptr;
};

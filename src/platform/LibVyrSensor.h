// Wrapper of "libVyrSensor.so", the Android sensor service.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/vyr_sensor_api.h"

class LibVyrSensor : public LibBase {
public:
    bool Init() { return OpenLib("VyrSensor", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(VyrEnableSensor);
        VYR_LIB_SYMBOL(VyrDisableSensor);
        VYR_LIB_SYMBOL(VyrGetName);
        VYR_LIB_SYMBOL(VyrGetVendor);
        VYR_LIB_SYMBOL(VyrGetType);
        VYR_LIB_SYMBOL(VyrGetResolution);
        VYR_LIB_SYMBOL(VyrGetMinDelay);
        VYR_LIB_SYMBOL(VyrGetFifoMaxEventCount);
        VYR_LIB_SYMBOL(VyrGetFifoReservedEventCount);
        VYR_LIB_SYMBOL(VyrGetStringType);
        VYR_LIB_SYMBOL(VyrGetMaxRange);
        VYR_LIB_SYMBOL(VyrGetPower);
        VYR_LIB_SYMBOL(VyrGetHandle);
        VYR_LIB_SYMBOL(VyrGetReportingMode);
        VYR_LIB_SYMBOL(VyrInit);
        VYR_LIB_SYMBOL(VyrGetSensorList);
    }

    VyrEnableSensor_t VyrEnableSensor = nullptr;
    VyrDisableSensor_t VyrDisableSensor = nullptr;
    VyrGetName_t VyrGetName = nullptr;
    VyrGetVendor_t VyrGetVendor = nullptr;
    VyrGetType_t VyrGetType = nullptr;
    VyrGetResolution_t VyrGetResolution = nullptr;
    VyrGetMinDelay_t VyrGetMinDelay = nullptr;
    VyrGetFifoMaxEventCount_t VyrGetFifoMaxEventCount = nullptr;
    VyrGetFifoReservedEventCount_t VyrGetFifoReservedEventCount = nullptr;
    VyrGetStringType_t VyrGetStringType = nullptr;
    VyrGetMaxRange_t VyrGetMaxRange = nullptr;
    VyrGetPower_t VyrGetPower = nullptr;
    VyrGetHandle_t VyrGetHandle = nullptr;
    VyrGetReportingMode_t VyrGetReportingMode = nullptr;
    VyrInit_t VyrInit = nullptr;
    VyrGetSensorList_t VyrGetSensorList = nullptr;
};

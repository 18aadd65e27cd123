// Wrapper of "libVyrAoClient.so", the always-on vision service.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/vyr_ao_client_api.h"

class LibVyrAoClient : public LibBase {
public:
    bool Init() { return OpenLib("VyrAoClient", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(VyrAoInit);
        VYR_LIB_SYMBOL(VyrAoRegisterListener);
        VYR_LIB_SYMBOL(VyrAoUnregisterListener);
        VYR_LIB_SYMBOL(VyrAoRegisterPipelineWithParams);
        VYR_LIB_SYMBOL(VyrAoRunCommandWithParams);
        VYR_LIB_SYMBOL(VyrMotionRegisterCallback);
        VYR_LIB_SYMBOL(VyrMotionStartMotionReco);
        VYR_LIB_SYMBOL(VyrMotionStopMotionReco);
        VYR_LIB_SYMBOL(VyrMotionSendInfo);
        VYR_LIB_SYMBOL(VyrNovenGetCapabilities);
        VYR_LIB_SYMBOL(VyrNovenRegisterClient);
        VYR_LIB_SYMBOL(VyrSendCommonData);
        VYR_LIB_SYMBOL(VyrNovenUnregisterClient);
        VYR_LIB_SYMBOL(VyrFaceIdSendCommand);
    }

    VyrAoInit_t VyrAoInit = nullptr;
    VyrAoRegisterListener_t VyrAoRegisterListener = nullptr;
    VyrAoUnregisterListener_t VyrAoUnregisterListener = nullptr;
    VyrAoRegisterPipelineWithParams_t VyrAoRegisterPipelineWithParams = nullptr;
    VyrAoRunCommandWithParams_t VyrAoRunCommandWithParams = nullptr;
    VyrMotionRegisterCallback_t VyrMotionRegisterCallback = nullptr;
    VyrMotionStartMotionReco_t VyrMotionStartMotionReco = nullptr;
    VyrMotionStopMotionReco_t VyrMotionStopMotionReco = nullptr;
    VyrMotionSendInfo_t VyrMotionSendInfo = nullptr;
    VyrNovenGetCapabilities_t VyrNovenGetCapabilities = nullptr;
    VyrNovenRegisterClient_t VyrNovenRegisterClient = nullptr;
    VyrSendCommonData_t VyrSendCommonData = nullptr;
    VyrNovenUnregisterClient_t VyrNovenUnregisterClient = nullptr;
    VyrFaceIdSendCommand_t VyrFaceIdSendCommand = nullptr;
};

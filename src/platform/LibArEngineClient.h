// Wrapper of "libartolviengineclient.so", the activity engine client.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/artolvi_engine_client_api.h"

class LibArEngineClient : public LibBase {
public:
    bool Init() { return OpenLib("artolviengineclient", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(AREGCInit);
        VYR_LIB_SYMBOL(AREGCDecodeData);
        VYR_LIB_SYMBOL(AREGCProcessDataFuncRegister);
    }

    AREGCInit_t AREGCInit = nullptr;
    AREGCDecodeData_t AREGCDecodeData = nullptr;
    AREGCProcessDataFuncRegister_t AREGCProcessDataFuncRegister = nullptr;
};

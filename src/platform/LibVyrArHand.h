// Wrapper of "libarhand.so", the hand-held detector.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/arhand_api.h"

class LibVyrArHand : public LibBase {
public:
    bool Init() { return OpenLib("arhand", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(HandHeldInit);
        VYR_LIB_SYMBOL(HandHeldAccDataCollect);
        VYR_LIB_SYMBOL(GetHandHeldResult);
        VYR_LIB_SYMBOL(SetHandHeldAlgSwitch);
        VYR_LIB_SYMBOL(GetHandHeldAlgSwitch);
        VYR_LIB_SYMBOL(UpdateTpInfo);
    }

    HandHeldInit_t HandHeldInit = nullptr;
    HandHeldAccDataCollect_t HandHeldAccDataCollect = nullptr;
    GetHandHeldResult_t GetHandHeldResult = nullptr;
    SetHandHeldAlgSwitch_t SetHandHeldAlgSwitch = nullptr;
    GetHandHeldAlgSwitch_t GetHandHeldAlgSwitch = nullptr;
    UpdateTpInfo_t UpdateTpInfo = nullptr;
};

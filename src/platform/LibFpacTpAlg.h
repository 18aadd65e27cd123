// Wrapper of "libfpac_tp_alg.so", the touch check over the fingerprint area.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/fpac_tp_alg_api.h"

class LibFpacTpAlg : public LibBase {
public:
    bool Init() { return OpenLib("fpac_tp_alg", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(fpac_tp_get_version);
        VYR_LIB_SYMBOL(init_fpac_tp_alg);
        VYR_LIB_SYMBOL(exit_fpac_tp_alg);
        VYR_LIB_SYMBOL(fpac_tp_alg_classify);
    }

    fpac_tp_get_version_t fpac_tp_get_version = nullptr;
    init_fpac_tp_alg_t init_fpac_tp_alg = nullptr;
    exit_fpac_tp_alg_t exit_fpac_tp_alg = nullptr;
    fpac_tp_alg_classify_t fpac_tp_alg_classify = nullptr;
};

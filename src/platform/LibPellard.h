// Wrapper of "libpellard.so", the thread hang guard.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/pellard_api.h"

class LibPellard : public LibBase {
public:
    bool Init() { return OpenLib("pellard", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL(pellard_init);
        VYR_LIB_SYMBOL(__pellard_start_ex);
        VYR_LIB_SYMBOL(pellard_end);
    }

    pellard_init_t pellard_init = nullptr;
    __pellard_start_ex_t __pellard_start_ex = nullptr;
    pellard_end_t pellard_end = nullptr;
};

// Wrapper of "libVyrFingerprint.so", the fingerprint service.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/vyr_fingerprint_api.h"

class LibVyrFingerprint : public LibBase {
public:
    bool Init() { return OpenLib("VyrFingerprint", ""); }

    void LoadSymbols() override { VYR_LIB_SYMBOL(VyrSendDataToFp); }

    VyrSendDataToFp_t VyrSendDataToFp = nullptr;
};

// The library as vyrd sees it: loaded with dlopen, its two exports resolved,
// and the table of four entries.
#pragma once

#include <string>

#include "hal/vyr_hal.h"

namespace vyrd {

class HalLibrary {
public:
    HalLibrary() = default;
    // The library stays loaded until the process ends: its threads may still
    // run while exit handlers do.
    ~HalLibrary() = default;
    HalLibrary(const HalLibrary &) = delete;
    HalLibrary &operator=(const HalLibrary &) = delete;

    // dlopen, then get_vyr_hal_stub (required) and get_vyr_hal_version
    // (optional). False with a reason in error.
    bool Load(const std::string &path, std::string &error);

    // "" when the library has no version export.
    const std::string &Version() const { return mVersion; }
    // Valid after a successful Load.
    const vyr_hal_ops_t &Ops() const { return *mOps; }

private:
    void *mHandle = nullptr;
    vyr_hal_ops_t *mOps = nullptr;
    std::string mVersion;
};

}  // namespace vyrd

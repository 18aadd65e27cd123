#include "vyrd/HalLibrary.h"

#include <dlfcn.h>

namespace vyrd {

bool HalLibrary::Load(const std::string &path, std::string &error) {
    mHandle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (mHandle == nullptr) {
        const char *why = dlerror();
        error = "dlopen " + path + ": " + (why != nullptr ? why : "unknown error");
        return false;
    }
    auto stub = reinterpret_cast<get_vyr_hal_stub_t>(dlsym(mHandle, "get_vyr_hal_stub"));
    if (stub == nullptr) {
        error = path + " has no get_vyr_hal_stub";
        return false;
    }
    auto version = reinterpret_cast<get_vyr_hal_version_t>(dlsym(mHandle, "get_vyr_hal_version"));
    if (version != nullptr) {
        const char *text = version();
        mVersion = text != nullptr ? text : "";
    }
    mOps = static_cast<vyr_hal_ops_t *>(stub());
    if (mOps == nullptr) {
        error = "get_vyr_hal_stub returned no table";
        return false;
    }
    if (mOps->vyr_init == nullptr || mOps->vyr_run_command == nullptr ||
        mOps->vyr_get_data == nullptr || mOps->vyr_fmq_data == nullptr) {
        error = "the table of " + path + " has empty entries";
        mOps = nullptr;
        return false;
    }
    return true;
}

}  // namespace vyrd

// Loads a stand-in closed library from the build's stand-in directory and
// resolves its symbols, for tests that drive a stand-in directly.
#pragma once

#include <dlfcn.h>

#include <string>

class StandinLib {
public:
    explicit StandinLib(const std::string &shortName)
        : mPath(std::string(VYR_SIM_LIB_DIR) + "/lib" + shortName + ".so"),
          mHandle(dlopen(mPath.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (mHandle == nullptr) {
            const char *error = dlerror();
            mError = error != nullptr ? error : "dlopen failed";
        }
    }
    ~StandinLib() { Close(); }
    StandinLib(const StandinLib &) = delete;
    StandinLib &operator=(const StandinLib &) = delete;

    bool IsOpen() const { return mHandle != nullptr; }
    const std::string &Error() const { return mError; }
    const std::string &Path() const { return mPath; }

    // The symbol as a function pointer of type T, or null.
    template <typename T>
    T Get(const char *name) const {
        return mHandle != nullptr ? reinterpret_cast<T>(dlsym(mHandle, name)) : nullptr;
    }

    void Close() {
        if (mHandle != nullptr) {
            dlclose(mHandle);
            mHandle = nullptr;
        }
    }

    // True while some handle of the process still keeps the file mapped.
    bool StillLoaded() const {
        void *probe = dlopen(mPath.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (probe == nullptr) {
            return false;
        }
        dlclose(probe);
        return true;
    }

private:
    std::string mPath;
    void *mHandle;
    std::string mError;
};

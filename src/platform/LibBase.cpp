#include "platform/LibBase.h"

#include <android/log.h>
#include <dlfcn.h>

#include <mutex>
#include <vector>

#include "platform/Utils.h"

namespace {

// Never destroyed: a module thread may still open a library while the
// process runs its exit handlers.
const std::vector<std::string> &SearchDirs() {
    static const auto *dirs = new std::vector<std::string>{"/odm/lib64/", "/vendor/lib64/"};
    return *dirs;
}

const char *DlErrorText() {
    const char *text = dlerror();
    return text != nullptr ? text : "unknown error";
}

// The wrappers whose library is open, with its device path. A leaf lock;
// never destroyed, since wrappers may close during exit.
struct OpenLibraries {
    std::mutex mutex;
    std::map<const LibBase *, std::string> paths;
};

OpenLibraries &Registry() {
    static auto *registry = new OpenLibraries();
    return *registry;
}

}  // namespace

LibBase::~LibBase() {
    CloseHandle();
}

void LibBase::CloseHandle() {
    if (mHandle == nullptr) {
        return;
    }
    {
        OpenLibraries &registry = Registry();
        std::lock_guard<std::mutex> lock(registry.mutex);
        registry.paths.erase(this);
    }
    dlclose(mHandle);
    mHandle = nullptr;
}

std::map<std::string, int> LibBase::LoadedLibraries() {
    OpenLibraries &registry = Registry();
    std::lock_guard<std::mutex> lock(registry.mutex);
    std::map<std::string, int> loaded;
    for (const auto &entry : registry.paths) {
        ++loaded[entry.second];
    }
    return loaded;
}

const char *LibBase::UnknownVersion() {
    return "sys_unknown";
}

bool LibBase::IsOpened() {
    return mHandle != nullptr;
}

std::string LibBase::ToSnakeCase(const std::string prefix, const std::string name) {
    std::string result = prefix;
    for (char c : name) {
        if (c >= 'A' && c <= 'Z') {
            result += '_';
            result += static_cast<char>(c - 'A' + 'a');
        } else {
            result += c;
        }
    }
    return result;
}

bool LibBase::OpenLib(const std::string name, const std::string suffix) {
    for (const std::string &dir : SearchDirs()) {
        const std::string path = dir + "lib" + name + suffix + ".so";
        const std::string checked = CheckPath(path);
        if (checked.empty()) {
            continue;
        }
        // A handle of an earlier attempt whose symbols failed is given up.
        CloseHandle();
        mHandle = dlopen(checked.c_str(), RTLD_NOW);
        if (mHandle == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "OpenLib %s failed: %s",
                                path.c_str(), DlErrorText());
            continue;
        }
        __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "OpenLib %s successfully", path.c_str());
        {
            OpenLibraries &registry = Registry();
            std::lock_guard<std::mutex> lock(registry.mutex);
            registry.paths[this] = path;
        }
        LoadSymbols();
        if (mLoaded) {
            return true;
        }
    }
    __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "OpenLib: %s%s error.", name.c_str(),
                        suffix.c_str());
    LoadSymbols();
    return false;
}

void *LibBase::FindSymbol(const char *name, bool hasDefault) {
    if (hasDefault) {
        mRequired = false;
    }
    void *symbol = dlsym(mHandle != nullptr ? mHandle : RTLD_DEFAULT, name);
    if (symbol == nullptr && mRequired) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "can not load func %s from library(%d)",
                            name, mHandle != nullptr ? 1 : 0);
        mLoaded = false;
    }
    mRequired = true;
    return symbol;
}

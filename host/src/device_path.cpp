#include "device_path.h"

#include <sys/stat.h>

#include <cstdlib>
#include <string_view>

namespace {

// True when path is dir itself or lies below it ("/dev/x", not "/devices").
bool IsUnder(const std::string &path, std::string_view dir) {
    return path.compare(0, dir.size(), dir) == 0 &&
           (path.size() == dir.size() || path[dir.size()] == '/');
}

bool IsDeviceTree(const std::string &path) {
    static constexpr std::string_view kTrees[] = {"/odm", "/vendor", "/data", "/sys", "/dev"};
    if (path == "/proc/cmdline") {
        return true;
    }
    for (std::string_view tree : kTrees) {
        if (IsUnder(path, tree)) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string DeviceRoot() {
    const char *env = getenv("VYR_ROOT");
    if (env == nullptr || env[0] == '\0') {
        return {};
    }
    struct stat st {};
    if (stat(env, &st) != 0 || !S_ISDIR(st.st_mode)) {
        return {};
    }
    std::string root(env);
    while (root.size() > 1 && root.back() == '/') {
        root.pop_back();
    }
    return root;
}

std::string MapDevicePath(const std::string &path) {
    // The tree test comes first: most paths never touch the environment.
    if (!IsDeviceTree(path)) {
        return path;
    }
    std::string root = DeviceRoot();
    if (root.empty() || root == "/" || IsUnder(path, root)) {
        return path;
    }
    return root + path;
}

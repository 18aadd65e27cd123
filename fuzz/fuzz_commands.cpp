// Drives vyr_run_command and vyr_get_data with arbitrary names and
// parameters. The input is split at the first NUL: name, then parameter.
// "reboot" ends the process by design and is left out.
#include <stdlib.h>
#include <strings.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "hal/VyrHal.h"
#include "hal/vyr_hal.h"
#include "sandbox/Sandbox.h"

namespace {

vyr_hal_ops_t *gOps = nullptr;

void Drop(vyr_msg_t &) {}

bool IsReboot(const std::string &name) {
    // The lookup trims non-letters at both ends and ignores case.
    size_t begin = 0;
    size_t end = name.size();
    while (begin < end && isalpha(static_cast<unsigned char>(name[begin])) == 0) {
        ++begin;
    }
    while (end > begin && isalpha(static_cast<unsigned char>(name[end - 1])) == 0) {
        --end;
    }
    std::string trimmed = name.substr(begin, end - begin);
    return strcasecmp(trimmed.c_str(), "reboot") == 0;
}

// "VNT_remove_file" removes any file the process may remove, by design: a
// fuzzed path could reach files outside the sandbox, so it is left out.
bool IsRemoveFile(const std::string &name) {
    return strcasestr(name.c_str(), "remove_file") != nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    // The sanitizer's shadow memory counts in the PSS: a run of any length
    // would end in the memory guard, which is for the daemon's process.
    VyrHal::SetMemoryGuard(false);
    char templ[] = "/tmp/vyr-fuzz.XXXXXX";
    const char *root = mkdtemp(templ);
    if (root == nullptr) {
        abort();
    }
    setenv("VYR_ROOT", root, 1);
    setenv("VYR_LOG_STDERR", "0", 1);
    vyrsim::SandboxOptions options;
    options.installLibs = false;
    if (!vyrsim::CreateSandbox(root, options, nullptr)) {
        abort();
    }
    gOps = static_cast<vyr_hal_ops_t *>(get_vyr_hal_stub());
    if (gOps->vyr_init(vyr_notify_t{Drop}, nullptr) != 0) {
        abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const uint8_t *split = static_cast<const uint8_t *>(memchr(data, 0, size));
    size_t nameLen = split == nullptr ? size : static_cast<size_t>(split - data);
    std::string name(reinterpret_cast<const char *>(data), nameLen);
    if (IsReboot(name) || IsRemoveFile(name)) {
        return 0;
    }
    std::vector<uint8_t> param;
    if (split != nullptr) {
        param.assign(split + 1, data + size);
    }
    std::vector<uint8_t> out;
    gOps->vyr_run_command("fuzz", name, param, out);
    out.clear();
    gOps->vyr_get_data(name, static_cast<int32_t>(param.size()), out);
    return 0;
}

// Drives vyr_fmq_data with arbitrary buffers through the exported table, on
// the simulated phone's product, which has every owner of a queue message
// (touch, camera, activity). Seeds: one valid message of every head.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "hal/VyrHal.h"
#include "hal/vyr_hal.h"
#include "sandbox/Sandbox.h"

namespace {

vyr_hal_ops_t *gOps = nullptr;

void Drop(vyr_msg_t &) {}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    // The sanitizer's shadow memory counts in the PSS: a run of any length
    // would end in the memory guard, which is for the daemon's process.
    VyrHal::SetMemoryGuard(false);
    char templ[] = "/tmp/vyr-fuzz-fmq.XXXXXX";
    const char *root = mkdtemp(templ);
    if (root == nullptr) {
        abort();
    }
    setenv("VYR_ROOT", root, 1);
    setenv("VYR_LOG_STDERR", "0", 1);
    vyrsim::SandboxOptions options;
    options.installLibs = false;
    // With file logging on, the watchdog hands the frame on every tick, so the
    // events that queue messages file there do not pile up over a long run.
    options.properties["persist.odm.vyr.vyrlog_enabled"] = "true";
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
    // A buffer of exactly the input's size, so that a read past its end is
    // caught; the reader may write into it (time stamps).
    std::vector<uint8_t> buffer(data, data + size);
    gOps->vyr_fmq_data(buffer.empty() ? nullptr : buffer.data(), static_cast<int32_t>(size));
    return 0;
}

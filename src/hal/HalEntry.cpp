// The library's entry points: two exports and the table of four calls.
#include <android/log.h>

#include <exception>
#include <memory>
#include <new>

#include "hal/VyrHal.h"
#include "hal/vyr_hal.h"

namespace {

std::unique_ptr<VyrHal> gHal;

// Nothing thrown below a table entry crosses it.
template <typename F>
int32_t Guarded(const char *entry, F &&body) {
    try {
        return body();
    } catch (const std::exception &e) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "%s failed: %s", entry, e.what());
    } catch (...) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "%s failed: unknown exception", entry);
    }
    return 0;
}

int32_t VyrInitEntry(vyr_notify_t notify, vyr_sys_device_t *sys) {
    try {
        if (gHal == nullptr) {
            gHal.reset(new (std::nothrow) VyrHal(sys));
            if (gHal == nullptr) {
                __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "%s new VyrHal memory error",
                                    "vyr_init");
                return -14;
            }
            if (!gHal->Init()) {
                __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "%s Init VyrHal error",
                                    "vyr_init");
                return -14;
            }
        }
        return gHal->VyrInit(notify);
    } catch (const std::exception &e) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "%s failed: %s", "vyr_init", e.what());
    } catch (...) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "%s failed: unknown exception",
                            "vyr_init");
    }
    return -14;
}

int32_t VyrRunCommandEntry(const std::string &client, const std::string &cmd,
                           const std::vector<uint8_t> &in, std::vector<uint8_t> &out) {
    return Guarded("vyr_run_command", [&] { return gHal->VyrRunCommand(client, cmd, in, out); });
}

int32_t VyrGetDataEntry(const std::string &cmd, int32_t size, std::vector<uint8_t> &out) {
    return Guarded("vyr_get_data", [&] { return gHal->VyrGetData(cmd, size, out); });
}

int32_t VyrFmqDataEntry(uint8_t *data, int32_t size) {
    return Guarded("vyr_fmq_data", [&] { return gHal->VyrFmqData(data, size); });
}

vyr_hal_ops_t gOps;

}  // namespace

extern "C" __attribute__((visibility("default"))) void *get_vyr_hal_stub(void) {
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "%s enter", "get_vyr_hal_stub");
    gOps.vyr_init = VyrInitEntry;
    gOps.vyr_run_command = VyrRunCommandEntry;
    gOps.vyr_get_data = VyrGetDataEntry;
    gOps.vyr_fmq_data = VyrFmqDataEntry;
    return &gOps;
}

extern "C" __attribute__((visibility("default"))) const char *get_vyr_hal_version(void) {
    return "0.0.3";
}

#include "log/VyrStelmo.h"

#include <boundchk.h>

#include <cstdio>
#include <new>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/LibVyrMonitor.h"

namespace {

constexpr int32_t kConfigSize = 12;

}  // namespace

VyrStelmo::VyrStelmo(VyrHal &hal) : mLog(hal) {}

VyrStelmo::~VyrStelmo() = default;

std::string VyrStelmo::Command(uint64_t timeMs) {
    return std::string("t=10,T=") + VYR_LOG_TAG +
           ",T=zuphal,d=40,e=" + std::to_string(timeMs + kEventDelayMs);
}

VyrStelmoInitEnum VyrStelmo::Getconfig() {
    char buffer[kConfigSize];
    if (memset_s(buffer, sizeof(buffer), 0, sizeof(buffer)) != 0) {
        LOGE("memset_s error");
        return STELMO_INIT_FAILED;
    }
    LOGI("%p, %d, %p", static_cast<void *>(library.get()), STELMO_WP_VYR,
         static_cast<void *>(buffer));
    if (library == nullptr || library->stelmo_get_config(STELMO_WP_VYR, buffer, kConfigSize) != 0) {
        return STELMO_INIT_FAILED;
    }
    buffer[kConfigSize - 1] = '\0';
    int value = 0;
    if (sscanf(buffer, "%d", &value) != 1) {
        return STELMO_INIT_NOT_NUMBER;
    }
    return value == 1 ? STELMO_INIT_ENABLED : STELMO_INIT_DISABLED;
}

void VyrStelmo::SendEvent(const std::string key, const std::string message, uint64_t timeMs) {
    if (key.find("DMDI_") == 0) {
        LOGI("it is DMDI");
        return;
    }
    library.reset(new (std::nothrow) LibVyrMonitor());
    if (library == nullptr || !library->Init()) {
        LOGE("init LibVyrMotion failed !");
        library.reset();
        return;
    }
    if (!initDone) {
        const VyrStelmoInitEnum config = Getconfig();
        if (config != STELMO_INIT_ENABLED) {
            LOGE("Error:%d, stelmo_sendEvent disabled", static_cast<int>(config));
            library.reset();
            return;
        }
        initDone = true;
    }
    const std::string command = Command(timeMs);
    if (library->stelmo_send_event(STELMO_WP_VYR, command.c_str(), message.c_str()) != 0) {
        LOGE("StelmoSendEvent STELMO_WP_VYR failed. %s", command.c_str());
    }
    library.reset();
    LOGI("Done");
}

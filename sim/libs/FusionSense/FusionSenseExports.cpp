// The exported entry points of the simulated fusion channel: the library's
// own (fusion_sense_api.h) and the test controls (fusion_sense_sim.h). Each
// one checks its arguments and hands over to FusionHub; nothing throws out.
#include "FusionHub.h"
#include "libs/FusionSense/fusion_sense_sim.h"

using vyrsim::FusionHub;

namespace {
constexpr int32_t kErrNoDevice = -19;
}  // namespace

extern "C" {

int32_t FusionSenseInit(FusionSenseCallback_t callback, void *cookie, int32_t /*flags*/) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr ? hub->Init(callback, cookie) : kErrNoDevice;
}

int32_t FusionSenseUnInit(int32_t /*flags*/) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr ? hub->UnInit() : kErrNoDevice;
}

int32_t FusionSenseActivate(const FusionSenseConfig &config, bool enable) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr ? hub->Activate(config, enable) : kErrNoDevice;
}

int32_t FusionSenseFlush(int32_t /*flags*/) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr ? hub->Flush() : kErrNoDevice;
}

int32_t FusionSimInjectFrame(const FSEventStruct &frame) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr ? hub->Inject(frame) : -1;
}

int32_t FusionSimHubRestart(void) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr ? hub->HubRestart() : -1;
}

void FusionSimPauseFrames(bool pause) {
    if (FusionHub *hub = FusionHub::Instance()) {
        hub->Pause(pause);
    }
}

bool FusionSimSetChannelValue(int32_t channel, float x, float y, float z) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr && hub->SetChannelValue(channel, vyrsim::Vec3{x, y, z});
}

bool FusionSimIsOpen(void) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr && hub->IsOpen();
}

bool FusionSimIsActive(void) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr && hub->IsActive();
}

bool FusionSimGetConfig(FusionSenseConfig *config, bool *enable) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr && hub->GetConfig(config, enable);
}

int32_t FusionSimCallCount(const char *function) {
    FusionHub *hub = FusionHub::Instance();
    if (hub == nullptr || function == nullptr) {
        return -1;
    }
    try {
        return hub->CallCount(function);
    } catch (...) {
        return -1;
    }
}

uint32_t FusionSimChecksum(const void *data, size_t size) {
    return data != nullptr ? vyrsim::ByteSum(data, size) : 0;
}

int64_t FusionSimNowNs(void) {
    return FusionHub::NowNs();
}

int32_t FusionSimSync(int32_t timeoutMs) {
    FusionHub *hub = FusionHub::Instance();
    return hub != nullptr ? hub->Sync(timeoutMs) : -1;
}

void FusionSimReset(void) {
    if (FusionHub *hub = FusionHub::Instance()) {
        hub->Reset();
    }
}

}  // extern "C"

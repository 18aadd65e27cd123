// Hands arbitrary events to the Camera module of a started HAL with the
// simulated phone's stand-ins, as its thread would: the first byte picks
// the kind (0 to 15), the rest is the event's data. For a frame (kind 0)
// whose data is at least 16 bytes those bytes become the marker of a whole
// 640 x 480 TOF image, so the face pipeline runs; shorter frame data is
// handed on as it is.
#include <stdlib.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "camera/Camera.h"
#include "camera/TofFrame.h"
#include "hal/VyrHal.h"
#include "sandbox/Sandbox.h"

namespace {

VyrHal *gHal = nullptr;

void Drop(vyr_msg_t &) {}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    // The sanitizer's shadow memory counts in the PSS: a run of any length
    // would end in the memory guard, which is for the daemon's process.
    VyrHal::SetMemoryGuard(false);
    char templ[] = "/tmp/vyr-fuzz-camera.XXXXXX";
    const char *root = mkdtemp(templ);
    if (root == nullptr) {
        abort();
    }
    setenv("VYR_ROOT", root, 1);
    setenv("VYR_LOG_STDERR", "0", 1);
    vyrsim::SandboxOptions options;
    options.productXml = vyrsim::ProductXmlFor(
        "<camera><item>CAMERA_FACE_DIRECTION</item><item>CAMERA_EYE_GAZE</item>"
        "<item>CAMERA_FACE_ID</item><item>CAMERA_TOF_IMAGE</item></camera>"
        "<tof_products><item>VYR</item></tof_products>");
    if (!vyrsim::CreateSandbox(root, options, nullptr)) {
        abort();
    }
    gHal = new VyrHal(nullptr);
    if (!gHal->Init()) {
        abort();
    }
    gHal->VyrInit(vyr_notify_t{Drop});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) {
        return 0;
    }
    CameraEvent event;
    event.kind = data[0] % 16;
    if (event.kind == EVENT_CAMERA_FRAME && size > 16) {
        event.data = MakeTofFrameMessage(1, 100);
        memcpy(PixelsOf(event.data), data + 1, 16);
    } else {
        event.data.assign(data + 1, data + size);
    }
    gHal->GetCamera().ProcessCameraEvent(event);
    return 0;
}

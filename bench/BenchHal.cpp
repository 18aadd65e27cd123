#include "BenchHal.h"

#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "camera/Camera.h"
#include "camera/TofFrame.h"
#include "libs/face3d_sdk/face3d_sim.h"
#include "sandbox/Sandbox.h"

namespace {

std::atomic<uint64_t> gGazeResults{0};
std::atomic<uint32_t> gLastGazeFrame{0};

void OnMessage(vyr_msg_t &msg) {
    if (msg.type == CAMERA_EYE_GAZE && msg.data.size() >= 4) {
        gLastGazeFrame.store(static_cast<uint32_t>(msg.data[3]));
        gGazeResults.fetch_add(1);
    }
}

void Run(const std::string &cmd, const std::string &param) {
    std::vector<uint8_t> in(param.begin(), param.end());
    std::vector<uint8_t> out;
    SharedBenchHal().VyrRunCommand("bench", cmd, in, out);
}

}  // namespace

VyrHal &SharedBenchHal() {
    static VyrHal *hal = [] {
        char pattern[] = "/tmp/vyr_bench_XXXXXX";
        const char *root = mkdtemp(pattern);
        std::string dir = root != nullptr ? root : "/tmp";
        setenv("VYR_ROOT", dir.c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
        unsetenv("VYR_LOGCAT");
        vyrsim::SandboxOptions options;
        // Only the camera's gaze over TOF: its module idles until a
        // benchmark switches it on.
        options.productXml = vyrsim::ProductXmlFor(
            "<camera><item>CAMERA_EYE_GAZE</item><item>CAMERA_TOF_IMAGE</item></camera>"
            "<tof_products><item>VYR</item></tof_products>");
        vyrsim::CreateSandbox(dir, options, nullptr);
        auto *made = new VyrHal(nullptr);
        made->Init();
        made->VyrInit(vyr_notify_t{OnMessage});
        return made;
    }();
    return *hal;
}

uint64_t BenchGazeResults() {
    return gGazeResults.load();
}

void BenchCameraOn() {
    Run("camera-on", "1,100");
}

bool BenchCameraOff() {
    // Off and on again behind whatever is queued (the TOF may have timed out
    // meanwhile), then one marked frame: its result is the last thing the
    // Camera thread does for this benchmark.
    Run("camera-off", "1,0");
    BenchCameraOn();
    static uint32_t marker = 0x40000000;
    ++marker;
    std::vector<uint8_t> frame = MakeTofFrameMessage(marker, 100);
    const face3d_sim_scene_t face{1, 0, 1, 0, 0};
    Face3dSimDraw(PixelsOf(frame), TofFrameHeader::kImageBytes, &face);
    SharedBenchHal().GetCamera().PostEvent(EVENT_CAMERA_FRAME, frame);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    bool drained = false;
    while (!(drained = gLastGazeFrame.load() == marker) &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    Run("camera-off", "1,0");
    return drained;
}

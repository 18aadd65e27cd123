#include "BenchHal.h"

#include <stdlib.h>

#include <string>

#include "sandbox/Sandbox.h"

VyrHal &SharedBenchHal() {
    static VyrHal *hal = [] {
        char pattern[] = "/tmp/vyr_bench_XXXXXX";
        const char *root = mkdtemp(pattern);
        std::string dir = root != nullptr ? root : "/tmp";
        setenv("VYR_ROOT", dir.c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
        vyrsim::SandboxOptions options;
        // Only the camera's gaze over TOF: its module idles until a
        // benchmark switches it on.
        options.productXml = vyrsim::ProductXmlFor(
            "<camera><item>CAMERA_EYE_GAZE</item><item>CAMERA_TOF_IMAGE</item></camera>"
            "<tof_products><item>VYR</item></tof_products>");
        vyrsim::CreateSandbox(dir, options, nullptr);
        auto *made = new VyrHal(nullptr);
        made->Init();
        return made;
    }();
    return *hal;
}

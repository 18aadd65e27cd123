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
        options.productXml = vyrsim::ProductXmlFor("");
        vyrsim::CreateSandbox(dir, options, nullptr);
        auto *made = new VyrHal(nullptr);
        made->Init();
        return made;
    }();
    return *hal;
}

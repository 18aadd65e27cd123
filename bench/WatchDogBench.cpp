// The watch node pair that guards every sensor batch: ResetWatchNode then
// CleanWatchNode on a started HAL (its WatchDog thread waiting).
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "hal/VyrHal.h"
#include "platform/WatchDog.h"
#include "sandbox/Sandbox.h"

namespace {

// One started HAL for all runs, in its own sandbox; quiet logcat.
VyrHal &BenchHal() {
    static VyrHal *hal = [] {
        char pattern[] = "/tmp/vyr_bench_wd_XXXXXX";
        const char *root = mkdtemp(pattern);
        std::string dir = root != nullptr ? root : "/tmp";
        setenv("VYR_ROOT", dir.c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
        vyrsim::SandboxOptions options;
        options.productXml = vyrsim::ProductXmlFor("");
        options.installLibs = false;
        vyrsim::CreateSandbox(dir, options, nullptr);
        auto *made = new VyrHal(nullptr);
        made->Init();
        return made;
    }();
    return *hal;
}

void BM_WatchNodePair(benchmark::State &state) {
    WatchDog &dog = BenchHal().GetWatchdog();
    const std::string name = "SensorBatch1021";
    for (auto _ : state) {
        dog.ResetWatchNode(name, 5000);
        dog.CleanWatchNode(name);
    }
}
BENCHMARK(BM_WatchNodePair);

// The guard as modules write it, name built from a literal each time.
void BM_ScopedWatchNode(benchmark::State &state) {
    WatchDog &dog = BenchHal().GetWatchdog();
    for (auto _ : state) {
        ScopedWatchNode guard(dog, "VyrRunCommand950", 20000);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ScopedWatchNode);

// Four threads on the one mutex.
void BM_WatchNodePairContended(benchmark::State &state) {
    WatchDog &dog = BenchHal().GetWatchdog();
    const std::string name = "Batch" + std::to_string(state.thread_index());
    for (auto _ : state) {
        dog.ResetWatchNode(name, 5000);
        dog.CleanWatchNode(name);
    }
}
BENCHMARK(BM_WatchNodePairContended)->Threads(4)->UseRealTime();

}  // namespace

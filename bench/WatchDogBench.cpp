// The watch node pair that guards every sensor batch: ResetWatchNode then
// CleanWatchNode on a started HAL (its WatchDog thread waiting).
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "BenchHal.h"
#include "hal/VyrHal.h"
#include "platform/WatchDog.h"

namespace {

void BM_WatchNodePair(benchmark::State &state) {
    WatchDog &dog = SharedBenchHal().GetWatchdog();
    const std::string name = "SensorBatch1021";
    for (auto _ : state) {
        dog.ResetWatchNode(name, 5000);
        dog.CleanWatchNode(name);
    }
}
BENCHMARK(BM_WatchNodePair);

// The guard as modules write it, name built from a literal each time.
void BM_ScopedWatchNode(benchmark::State &state) {
    WatchDog &dog = SharedBenchHal().GetWatchdog();
    for (auto _ : state) {
        ScopedWatchNode guard(dog, "VyrRunCommand950", 20000);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ScopedWatchNode);

// Four threads on the one mutex.
void BM_WatchNodePairContended(benchmark::State &state) {
    WatchDog &dog = SharedBenchHal().GetWatchdog();
    const std::string name = "Batch" + std::to_string(state.thread_index());
    for (auto _ : state) {
        dog.ResetWatchNode(name, 5000);
        dog.CleanWatchNode(name);
    }
}
BENCHMARK(BM_WatchNodePairContended)->Threads(4)->UseRealTime();

}  // namespace

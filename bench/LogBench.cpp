// Cost of a log statement: gated off, and fully on with file logging.
#include <benchmark/benchmark.h>

#include "BenchHal.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"

namespace {

// A HAL built but never started: its destructor expects a started one, so
// it lives to the end of the process. It shares the sandbox of the started
// HAL of the other benchmarks: the process has one VYR_ROOT, and a
// benchmark that moved it would send the others' files astray.
VyrHal &BenchHal() {
    static VyrHal *hal = [] {
        SharedBenchHal();
        return new VyrHal(nullptr);
    }();
    return *hal;
}

// Below the level: one virtual call and a compare; the argument is never
// formatted.
void BM_LogBelowLevel(benchmark::State &state) {
    VyrHal &hal = BenchHal();
    hal.SetLogLevel(3);
    hal.SetLogEnable(true);
    LogSink &mLog = hal;
    int value = 0;
    for (auto _ : state) {
        LOGD("value %d", value);
        benchmark::DoNotOptimize(value);
        ++value;
    }
}
BENCHMARK(BM_LogBelowLevel);

// Enabled with file logging on: format, logcat stand-in, file line, pending
// text. The pending text is taken now and then so it does not grow without
// bound.
void BM_LogEnabledToFile(benchmark::State &state) {
    VyrHal &hal = BenchHal();
    hal.SetLogLevel(4);
    hal.SetLogEnable(true);
    LogSink &mLog = hal;
    int value = 0;
    for (auto _ : state) {
        LOGI("sensor: %d value %d, state %s", 1, value, "running");
        if ((++value & 1023) == 0) {
            state.PauseTiming();
            benchmark::DoNotOptimize(hal.TakeText());
            state.ResumeTiming();
        }
    }
    hal.TakeText();
}
BENCHMARK(BM_LogEnabledToFile);

// The same statement with file logging off: logcat only.
void BM_LogEnabledLogcatOnly(benchmark::State &state) {
    VyrHal &hal = BenchHal();
    hal.SetLogLevel(4);
    hal.SetLogEnable(false);
    LogSink &mLog = hal;
    int value = 0;
    for (auto _ : state) {
        LOGI("sensor: %d value %d, state %s", 1, value, "running");
        ++value;
    }
}
BENCHMARK(BM_LogEnabledLogcatOnly);

}  // namespace

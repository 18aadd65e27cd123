// The benchmark programs' entry. The HAL a benchmark starts keeps its module
// threads running to the end of the process, as in the daemon, so the
// program ends the way the library's own planned end does: output flushed,
// then quick_exit, with no destructor of the HAL run under its threads.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    fflush(nullptr);
    std::quick_exit(0);
}

// The log thread's work on one frame of the demo with its sensors at their
// highest rates (one frame a second, the default frame timer): CSV records
// of every type, appended to one file per type, rolls and pruning included.
// Beside it the floor: fwrite and fflush of the same bytes to the same file
// system, one file, in the same run. Reported: CPU time per frame, bytes
// per frame (= bytes written per second at the demo's rates), the share of
// one core at one frame a second, and the ratio to the floor.
#include <benchmark/benchmark.h>
#include <time.h>

#include <cstdio>
#include <string>
#include <vector>

#include "BenchHal.h"
#include "hal/VyrHal.h"
#include "log/LogToFile.h"
#include "log/VyrFrame.h"
#include "platform/Utils.h"

namespace {

struct StreamRate {
    uint32_t type;
    const char *name;
    int perSecond;
    int values;
};

// The demo's sensors at their fastest: flip and rotation on the first
// accelerometer, posture on the second and the hinge, back tap on the
// fusion channels.
constexpr StreamRate kStreams[] = {
    {1, "SENSOR_TYPE_ACCELEROMETER", 100, 3},      {0x20001, "SENSOR_TYPE_ACCELEROMETER2", 100, 3},
    {36, "SENSOR_TYPE_HINGE_ANGLE", 50, 16},       {0x2000001, "SENSOR_TYPE_FUSION_TAP", 400, 6},
    {0x2000003, "SENSOR_TYPE_FUSION_ACC", 400, 3}, {0x2000006, "SENSOR_TYPE_FUSION_ACC1", 400, 3},
};
constexpr size_t kLogTextBytes = 2048;  // a second of log text at level 3

double ThreadCpuNs() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e9 + static_cast<double>(ts.tv_nsec);
}

void FillFrame(VyrHal &hal, VyrFrame &frame) {
    uint64_t arrival = VyrHal::RealTimeMs();
    for (const StreamRate &stream : kStreams) {
        hal.AddFrameType(stream.type, stream.name);
        frame.GetData().SetSensorName(stream.type, std::string(stream.name) + ",tolvi,continue");
        std::vector<ASensorEvent> events(static_cast<size_t>(stream.perSecond));
        for (int i = 0; i < stream.perSecond; ++i) {
            ASensorEvent &event = events[static_cast<size_t>(i)];
            event.type = static_cast<int32_t>(stream.type);
            event.timestamp = 1000000000LL + i * (1000000000LL / stream.perSecond);
            for (int v = 0; v < stream.values; ++v) {
                event.data[v] = 9.80665f * static_cast<float>((i + v) % 7) / 7.0f;
            }
            SetEventArrivalMs(event, arrival + static_cast<uint64_t>(i * 1000 / stream.perSecond));
        }
        frame.GetData().AddEvents(stream.type, events);
    }
    hal.AddFrameType(0, "SENSOR_TYPE_LOG");
    frame.SetLogText(std::string(kLogTextBytes - 1, 'x') + "\n");
}

// Bytes one frame puts into the files (records and log text).
size_t FrameBytes(VyrFrame &frame) {
    size_t bytes = frame.GetLogText().size();
    for (const StreamRate &stream : kStreams) {
        bytes += frame.CsvRecords(stream.type).size();
    }
    return bytes;
}

// fwrite and fflush of one frame's bytes per iteration; CPU ns per frame.
double FloorNsPerFrame(const std::string &bytes, int frames) {
    const std::string path = DevicePathOf("/data/vendor/log/vyrlog/floor.bin");
    FILE *file = fopen(path.c_str(), "w");
    if (file == nullptr) {
        return 0;
    }
    double start = ThreadCpuNs();
    for (int i = 0; i < frames; ++i) {
        fwrite(bytes.data(), 1, bytes.size(), file);
        fflush(file);
        if (ftell(file) >= 0x200000) {
            fclose(file);
            file = fopen(path.c_str(), "w");
            if (file == nullptr) {
                return 0;
            }
        }
    }
    double used = ThreadCpuNs() - start;
    fclose(file);
    remove(path.c_str());
    return used / frames;
}

void BM_LogThreadDemoFrame(benchmark::State &state) {
    VyrHal &hal = SharedBenchHal();
    VyrFrame frame(hal);
    FillFrame(hal, frame);
    std::string all = frame.GetLogText();
    for (const StreamRate &stream : kStreams) {
        all += frame.CsvRecords(stream.type);
    }
    const size_t bytes = FrameBytes(frame);
    const double floorNs = FloorNsPerFrame(all, 200);
    if (floorNs <= 0) {
        state.SkipWithError("the floor's file could not be written");
        return;
    }

    LogToFile socket(hal, 1);
    socket.StartLog();
    double start = ThreadCpuNs();
    for (auto _ : state) {
        socket.SaveFrame(frame);
    }
    const double perFrameNs = (ThreadCpuNs() - start) / static_cast<double>(state.iterations());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    state.counters["bytes_per_frame"] = static_cast<double>(bytes);
    state.counters["cpu_us_per_frame"] = perFrameNs / 1000.0;
    state.counters["floor_us_per_frame"] = floorNs / 1000.0;
    state.counters["ratio_to_floor"] = perFrameNs / floorNs;
    // One frame a second at the demo's rates: CPU time per frame over 1 s.
    state.counters["core_share_pct"] = perFrameNs / 1e9 * 100.0;
    socket.StopLog();
}
BENCHMARK(BM_LogThreadDemoFrame)->Unit(benchmark::kMicrosecond)->MinTime(2.0);

}  // namespace

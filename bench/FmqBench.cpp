// Parse throughput of the queue reader on a started HAL: a buffer of mixed
// small messages (messages/s) and TOF frames (MB/s), each beside its floor,
// a memcpy of the same bytes into a fresh vector (the one copy the reader
// makes of a frame). The VsFloor runs print the ratio of one to the other.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <vector>

#include "BenchHal.h"
#include "hal/VyrHal.h"
#include "sensor/FmqMessages.h"

namespace {

using Bytes = std::vector<uint8_t>;

void PutWord(Bytes &out, uint32_t word) {
    const size_t at = out.size();
    out.resize(at + 4);
    memcpy(out.data() + at, &word, 4);
}

// 1000 small messages of four heads whose owners are not on the bench
// product: the reader frames and checks them and hands nothing on.
constexpr int kSmallMessages = 1000;

Bytes SmallMessages() {
    Bytes out;
    for (int i = 0; i < kSmallMessages / 4; ++i) {
        PutWord(out, fmq::kHeadFaceRecognize);
        PutWord(out, 1);
        PutWord(out, 16);
        out.resize(out.size() + 8 + 16, 0);
        PutWord(out, fmq::kHeadFaceSecond);
        out.resize(out.size() + 16, 0);
        PutWord(out, fmq::kHeadFaceThird);
        out.resize(out.size() + 16, 0);
        PutWord(out, fmq::kHeadArEngine);
        PutWord(out, 24);
        out.resize(out.size() + 24, 0x33);
    }
    return out;
}

Bytes TofFrame() {
    // Sized once: growing a small vector to 300 kB trips GCC 12's bounds
    // check at -O3.
    Bytes out(fmq::kTofHeaderSize + fmq::kTofImageSize, 0x5a);
    memset(out.data(), 0, fmq::kTofHeaderSize);
    const uint32_t head = fmq::kHeadTofCamera;
    memcpy(out.data(), &head, 4);
    const uint32_t size = fmq::kTofImageSize;
    memcpy(out.data() + fmq::kTofImageSizeOffset, &size, 4);
    return out;
}

// The floor: one copy of the bytes into a new vector.
void CopyFloor(const Bytes &bytes) {
    std::vector<uint8_t> copy(bytes.data(), bytes.data() + bytes.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
}

void BM_FmqSmallMessages(benchmark::State &state) {
    VyrHal &hal = SharedBenchHal();
    Bytes buffer = SmallMessages();
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            hal.VyrFmqData(buffer.data(), static_cast<int32_t>(buffer.size())));
    }
    state.SetItemsProcessed(state.iterations() * kSmallMessages);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(buffer.size()));
}
BENCHMARK(BM_FmqSmallMessages);

void BM_FmqTofFrame(benchmark::State &state) {
    VyrHal &hal = SharedBenchHal();
    Bytes frame = TofFrame();
    for (auto _ : state) {
        benchmark::DoNotOptimize(hal.VyrFmqData(frame.data(), static_cast<int32_t>(frame.size())));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(frame.size()));
    // The frames went on to the Camera queue: handled before the next
    // benchmark starts.
    BenchCameraOff();
}
BENCHMARK(BM_FmqTofFrame);

void BM_FloorMemcpySmall(benchmark::State &state) {
    SharedBenchHal();  // the same threads around it, alone or in a full run
    Bytes buffer = SmallMessages();
    for (auto _ : state) {
        CopyFloor(buffer);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(buffer.size()));
}
BENCHMARK(BM_FloorMemcpySmall);

void BM_FloorMemcpyTof(benchmark::State &state) {
    SharedBenchHal();
    Bytes frame = TofFrame();
    for (auto _ : state) {
        CopyFloor(frame);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(frame.size()));
}
BENCHMARK(BM_FloorMemcpyTof);

// Seconds per call of `work`, over `rounds` calls.
template <typename Work>
double SecondsPerCall(int rounds, Work work) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < rounds; ++i) {
        work();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / rounds;
}

// Both sides in one run on the same clock: the reader's time over the
// floor's (target for TOF frames: at most 2).
void RunVsFloor(benchmark::State &state, Bytes bytes, int rounds, double itemsPerCall) {
    VyrHal &hal = SharedBenchHal();
    double reader = 0.0;
    double floor = 0.0;
    std::vector<double> ratios;
    for (auto _ : state) {
        const double readerRun = SecondsPerCall(rounds, [&] {
            benchmark::DoNotOptimize(
                hal.VyrFmqData(bytes.data(), static_cast<int32_t>(bytes.size())));
        });
        const double floorRun = SecondsPerCall(rounds, [&] { CopyFloor(bytes); });
        reader += readerRun;
        floor += floorRun;
        ratios.push_back(readerRun / floorRun);
    }
    const double n = static_cast<double>(state.iterations());
    reader /= n;
    floor /= n;
    state.counters["reader_MB_per_s"] = static_cast<double>(bytes.size()) / reader / 1e6;
    state.counters["floor_MB_per_s"] = static_cast<double>(bytes.size()) / floor / 1e6;
    state.counters["reader_items_per_s"] = itemsPerCall / reader;
    // Each paired run's ratio; the median of them, as it swings with the
    // machine.
    std::sort(ratios.begin(), ratios.end());
    state.counters["reader_to_floor_time"] = ratios[ratios.size() / 2];
}

void BM_FmqTofVsFloor(benchmark::State &state) {
    RunVsFloor(state, TofFrame(), 500, 1.0);
    BenchCameraOff();
}
BENCHMARK(BM_FmqTofVsFloor)->Iterations(7)->Unit(benchmark::kMillisecond);

void BM_FmqSmallVsFloor(benchmark::State &state) {
    RunVsFloor(state, SmallMessages(), 2000, kSmallMessages);
}
BENCHMARK(BM_FmqSmallVsFloor)->Iterations(7)->Unit(benchmark::kMillisecond);

}  // namespace

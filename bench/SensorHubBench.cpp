// The sample road of the sensor hub: post, queue, the hub's thread, the
// module callback and the frame, on a started HAL with the stand-in sensor
// service. Beside it the floor: the same handoff of 104-byte records through
// a bare mutex and condition variable queue.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "BareQueue.h"
#include "BenchHal.h"
#include "hal/VyrHal.h"
#include "platform/api/sensor_event.h"
#include "sensor/SensorHub.h"

namespace {

constexpr int32_t kAccType = 1;
constexpr int32_t kAccHandle = 0x10;  // the stand-in's non-wakeup accelerometer
constexpr int kBatch = 10000;
// Marks the benchmark's own events among the stand-in's.
constexpr int32_t kMark = 0x5a5a;

uint64_t NowNs() {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                     std::chrono::steady_clock::now().time_since_epoch())
                                     .count());
}

// What a module callback does: its own mutex around its own bookkeeping.
struct Consumer {
    std::mutex mutex;
    uint64_t count = 0;
    std::vector<uint64_t> latencies;  // ns, filled while recording
    bool recording = false;

    void OnEvent(const ASensorEvent &event) {
        std::lock_guard<std::mutex> lock(mutex);
        ++count;
        if (recording && event.reserved0 == kMark && latencies.size() < latencies.capacity()) {
            latencies.push_back(NowNs() - event.u64.data[0]);
        }
    }
};

Consumer &TheConsumer() {
    static auto *consumer = new Consumer();
    return *consumer;
}

// The floor's consumer: what the module callback does.
void ConsumeLikeTheModule(const ASensorEvent &event) {
    TheConsumer().OnEvent(event);
}

// One started HAL for all runs, with the stand-in sensor service.
VyrHal &BenchHal() {
    static VyrHal *hal = [] {
        VyrHal *made = &SharedBenchHal();
        SensorHub &hub = made->GetSensorHub();
        hub.RegisterSensorCallback("Bench",
                                   [](ASensorEvent event, bool) { TheConsumer().OnEvent(event); });
        hub.WaitQueueEmpty(5000);
        return made;
    }();
    return *hal;
}

// The accelerometer on at 400 Hz for one benchmark, so that the hub keeps
// its events (the stand-in's own 400 events a second are noise beside the
// benchmark's); off again, and the queue empty, when it ends.
struct Accelerometer {
    SensorHub &hub;
    explicit Accelerometer(SensorHub &h) : hub(h) {
        hub.SetSensorEnable("bench", kAccType, true, 400, 0, false);
        hub.WaitQueueEmpty(5000);
    }
    ~Accelerometer() {
        hub.SetSensorEnable("bench", kAccType, false, 0, 0, false);
        hub.WaitQueueEmpty(5000);
    }
};

ASensorEvent AccEvent(int64_t timestamp) {
    ASensorEvent event{};
    event.version = VYR_SENSOR_EVENT_VERSION;
    event.sensor = kAccHandle;
    event.type = kAccType;
    event.timestamp = timestamp;
    event.reserved0 = kMark;
    return event;
}

void BM_FloorMutexQueue(benchmark::State &state) {
    BenchHal();  // same scheduling class as the road, alone or in a full run
    BareQueue queue(ConsumeLikeTheModule);
    int64_t t = 0;
    uint64_t target = 0;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            t += 2500000;
            queue.Push(AccEvent(t));
        }
        target += kBatch;
        while (queue.Handled() < target) {
            std::this_thread::yield();
        }
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
    state.counters["events_per_s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * kBatch, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_FloorMutexQueue)->UseRealTime()->Unit(benchmark::kMillisecond);

// Post to module callback through the hub's queue, thread and frame.
void BM_SensorRoadThroughput(benchmark::State &state) {
    SensorHub &hub = BenchHal().GetSensorHub();
    Accelerometer accelerometer(hub);
    int64_t t = 1000000000000LL;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            t += 2500000;  // 400 Hz: the hub keeps every one
            hub.PushSensorEvent(AccEvent(t));
        }
        if (!hub.WaitQueueEmpty(10000)) {
            state.SkipWithError("queue did not drain");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
    state.counters["events_per_s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * kBatch, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_SensorRoadThroughput)->UseRealTime()->Unit(benchmark::kMillisecond);

// The same road for fusion-like bulk posts: one lock for a whole frame.
void BM_SensorRoadBulkThroughput(benchmark::State &state) {
    SensorHub &hub = BenchHal().GetSensorHub();
    Accelerometer accelerometer(hub);
    std::vector<ASensorEvent> frame(100);
    int64_t t = 2000000000000LL;
    for (auto _ : state) {
        for (int i = 0; i < kBatch / 100; ++i) {
            for (auto &event : frame) {
                t += 2500000;
                event = AccEvent(t);
            }
            hub.PushSensorEvents(frame);
        }
        if (!hub.WaitQueueEmpty(10000)) {
            state.SkipWithError("queue did not drain");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
    state.counters["events_per_s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * kBatch, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_SensorRoadBulkThroughput)->UseRealTime()->Unit(benchmark::kMillisecond);

// Throughput of the road against the floor, one run each, same clock.
void BM_SensorRoadVsFloor(benchmark::State &state) {
    SensorHub &hub = BenchHal().GetSensorHub();
    Accelerometer accelerometer(hub);
    constexpr int kEvents = 100000;
    double road = 0.0;
    double floor = 0.0;
    std::vector<double> ratios;
    int64_t t = 3000000000000LL;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < kEvents; ++i) {
            t += 2500000;
            hub.PushSensorEvent(AccEvent(t));
        }
        hub.WaitQueueEmpty(20000);
        double roadSeconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

        BareQueue queue(ConsumeLikeTheModule);
        start = std::chrono::steady_clock::now();
        for (int i = 0; i < kEvents; ++i) {
            t += 2500000;
            queue.Push(AccEvent(t));
        }
        while (queue.Handled() < static_cast<uint64_t>(kEvents)) {
            std::this_thread::yield();
        }
        double floorSeconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        road += kEvents / roadSeconds;
        floor += kEvents / floorSeconds;
        ratios.push_back(floorSeconds / roadSeconds);
    }
    road /= static_cast<double>(state.iterations());
    floor /= static_cast<double>(state.iterations());
    state.counters["road_events_per_s"] = road;
    state.counters["floor_events_per_s"] = floor;
    // The ratio of one paired run swings with the machine: the median.
    std::sort(ratios.begin(), ratios.end());
    state.counters["road_to_floor"] = ratios[ratios.size() / 2];
}
BENCHMARK(BM_SensorRoadVsFloor)->UseRealTime()->Iterations(9)->Unit(benchmark::kMillisecond);

// Posts at a steady 10 000 events a second for two seconds per iteration and
// reports the post-to-callback latency, median and p99.
template <typename Push, typename Drain>
void MeasureLatency(benchmark::State &state, Push push, Drain drain) {
    Consumer &consumer = TheConsumer();
    constexpr int kEvents = 20000;
    constexpr long kPeriodNs = 100000;
    std::vector<uint64_t> all;
    int64_t t = 4000000000000LL;
    for (auto _ : state) {
        {
            std::lock_guard<std::mutex> lock(consumer.mutex);
            consumer.latencies.clear();
            consumer.latencies.reserve(kEvents);
            consumer.recording = true;
        }
        // Sleeping to an absolute time, not spinning: the HAL runs its
        // threads round-robin where it may, and a spinning real-time thread
        // gets the whole class throttled.
        timespec next{};
        clock_gettime(CLOCK_MONOTONIC, &next);
        for (int i = 0; i < kEvents; ++i) {
            next.tv_nsec += kPeriodNs;
            if (next.tv_nsec >= 1000000000L) {
                next.tv_nsec -= 1000000000L;
                next.tv_sec += 1;
            }
            while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr) == EINTR) {
            }
            t += 100000;
            ASensorEvent event = AccEvent(t);
            event.u64.data[0] = NowNs();
            push(event);
        }
        drain();
        std::lock_guard<std::mutex> lock(consumer.mutex);
        consumer.recording = false;
        all.insert(all.end(), consumer.latencies.begin(), consumer.latencies.end());
    }
    if (all.empty()) {
        state.SkipWithError("no samples");
        return;
    }
    std::sort(all.begin(), all.end());
    auto at = [&](double q) {
        size_t index =
            std::min(all.size() - 1, static_cast<size_t>(q * static_cast<double>(all.size())));
        return static_cast<double>(all[index]) / 1000.0;
    };
    state.counters["median_us"] = at(0.5);
    state.counters["p99_us"] = at(0.99);
    state.counters["max_us"] = static_cast<double>(all.back()) / 1000.0;
    state.counters["samples"] = static_cast<double>(all.size());
}

void BM_SensorRoadLatency(benchmark::State &state) {
    SensorHub &hub = BenchHal().GetSensorHub();
    Accelerometer accelerometer(hub);
    MeasureLatency(
        state, [&](const ASensorEvent &event) { hub.PushSensorEvent(event); },
        [&] { hub.WaitQueueEmpty(10000); });
}
BENCHMARK(BM_SensorRoadLatency)->UseRealTime()->Iterations(2)->Unit(benchmark::kMillisecond);

// The same handoff through the bare queue, for comparison.
void BM_FloorLatency(benchmark::State &state) {
    BenchHal();  // same scheduling class as the road
    BareQueue queue(ConsumeLikeTheModule);
    uint64_t pushed = 0;
    MeasureLatency(
        state,
        [&](const ASensorEvent &event) {
            queue.Push(event);
            ++pushed;
        },
        [&] {
            while (queue.Handled() < pushed) {
                std::this_thread::yield();
            }
        });
}
BENCHMARK(BM_FloorLatency)->UseRealTime()->Iterations(2)->Unit(benchmark::kMillisecond);

}  // namespace

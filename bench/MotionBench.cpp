// End-to-end latency of a flip: from the sample that completes the gesture
// entering the simulated sensor service to the flip result reaching the
// daemon's notify callback. The library is loaded with dlopen in a sandbox of
// the default phone, as the daemon loads it.
//
// The flip stand-in reports face down after 50 samples in a row with gravity
// on -z. Each iteration injects 49 such samples, lets them through, and
// measures from the injection of the 50th, so the figure covers the service's
// delivery, the hub's queue and thread, the motion module and the notify
// callback for one sample. The service's own stream (the phone at rest, face
// up) then turns the phone back up before the next iteration; an iteration in
// which one of its samples slipped between the 49th and the 50th gives no
// result and is not measured.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "hal/vyr_hal.h"
#include "platform/api/sensor_event.h"
#include "sandbox/Sandbox.h"

namespace {

using Clock = std::chrono::steady_clock;
using Inject = int32_t (*)(const ASensorEvent *);
using NowNs = int64_t (*)();
using Sync = int32_t (*)(int32_t);

constexpr int kFlipType = 2;
constexpr int kFaceDown = 4;
constexpr int kSamplesForFlip = 50;

std::atomic<int64_t> gFaceDownAt{0};

int64_t NowTicks() {
    return Clock::now().time_since_epoch().count();
}

void OnResult(vyr_msg_t &msg) {
    if (msg.type == kFlipType && msg.data.size() == 2 && msg.data[1] == kFaceDown) {
        gFaceDownAt.store(NowTicks());
    }
}

struct Phone {
    vyr_hal_ops_t *ops = nullptr;
    Inject inject = nullptr;
    NowNs now = nullptr;
    Sync sync = nullptr;
    int32_t handle = 0;
};

// One library per process: started on first use and kept.
Phone *StartPhone() {
    static Phone *phone = [] {
        auto *p = new Phone();
        char templ[] = "/tmp/vyr-bench.XXXXXX";
        const char *root = mkdtemp(templ);
        if (root == nullptr) {
            return p;
        }
        setenv("VYR_ROOT", root, 1);
        setenv("VYR_LOG_STDERR", "0", 1);
        setenv("VYR_LOGCAT", (std::string(root) + "/logcat.txt").c_str(), 1);
        std::string error;
        if (!vyrsim::CreateSandbox(root, vyrsim::SandboxOptions(), &error)) {
            fprintf(stderr, "sandbox: %s\n", error.c_str());
            return p;
        }
        void *lib = dlopen(VYR_LIB_PATH, RTLD_NOW | RTLD_LOCAL);
        if (lib == nullptr) {
            fprintf(stderr, "dlopen: %s\n", dlerror());
            return p;
        }
        auto stub = reinterpret_cast<get_vyr_hal_stub_t>(dlsym(lib, "get_vyr_hal_stub"));
        p->ops = static_cast<vyr_hal_ops_t *>(stub());
        p->ops->vyr_init(vyr_notify_t{OnResult}, nullptr);
        std::string param = "on";
        std::vector<uint8_t> out;
        p->ops->vyr_run_command("bench", "flip", {param.begin(), param.end()}, out);
        std::string service = std::string(root) + "/vendor/lib64/libVyrSensor.so";
        // The hub's thread connects to the service on its own time.
        void *sim = nullptr;
        for (int i = 0; i < 300 && sim == nullptr; ++i) {
            sim = dlopen(service.c_str(), RTLD_NOW | RTLD_NOLOAD);
            if (sim == nullptr) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        }
        if (sim != nullptr) {
            p->inject = reinterpret_cast<Inject>(dlsym(sim, "VyrSimInjectEvent"));
            p->now = reinterpret_cast<NowNs>(dlsym(sim, "VyrSimNowNs"));
            p->sync = reinterpret_cast<Sync>(dlsym(sim, "VyrSimSync"));
        }
        if (sim == nullptr) {
            fprintf(stderr, "no sensor service at %s: %s\n", service.c_str(), dlerror());
        }
        p->handle = 0x10;  // the accelerometer of the simulated sensor list
        return p;
    }();
    return phone;
}

// Samples 10 ms apart by their own clock (the listeners thin streams by
// timestamp), the last one now.
ASensorEvent FaceDownSample(const Phone &phone, int index) {
    ASensorEvent event{};
    event.version = static_cast<int32_t>(sizeof(ASensorEvent));
    event.sensor = phone.handle;
    event.type = 1;
    event.timestamp = phone.now() - static_cast<int64_t>(kSamplesForFlip - index) * 10000000;
    event.data[2] = -9.81f;
    return event;
}

void BM_FlipEndToEndLatency(benchmark::State &state) {
    Phone *phone = StartPhone();
    if (phone->ops == nullptr || phone->inject == nullptr || phone->now == nullptr ||
        phone->sync == nullptr) {
        state.SkipWithError("the simulated phone did not start");
        return;
    }
    std::vector<double> latenciesUs;
    for (auto _ : state) {
        // Let the resting stream turn the phone face up again.
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        gFaceDownAt.store(0);
        for (int i = 1; i < kSamplesForFlip; ++i) {
            ASensorEvent event = FaceDownSample(*phone, i);
            phone->inject(&event);
        }
        // The first 49 are through the library before the measured one goes.
        phone->sync(1000);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        ASensorEvent last = FaceDownSample(*phone, kSamplesForFlip);
        int64_t start = NowTicks();
        phone->inject(&last);
        auto deadline = Clock::now() + std::chrono::seconds(2);
        while (gFaceDownAt.load() == 0 && Clock::now() < deadline) {
            std::this_thread::yield();
        }
        int64_t end = gFaceDownAt.load();
        if (end == 0 || end < start) {
            state.SetIterationTime(0.0);
            continue;  // a sample of the stream broke the run: not measured
        }
        latenciesUs.push_back(
            std::chrono::duration<double, std::micro>(Clock::duration(end - start)).count());
        state.SetIterationTime(static_cast<double>(end - start) * 1e-9);
    }
    if (latenciesUs.empty()) {
        state.SkipWithError("no flip result was measured");
        return;
    }
    std::sort(latenciesUs.begin(), latenciesUs.end());
    state.counters["median_us"] = latenciesUs[latenciesUs.size() / 2];
    state.counters["p99_us"] = latenciesUs[(latenciesUs.size() * 99) / 100];
    state.counters["measured"] = static_cast<double>(latenciesUs.size());
}
BENCHMARK(BM_FlipEndToEndLatency)->UseManualTime()->Iterations(40)->Unit(benchmark::kMicrosecond);

}  // namespace

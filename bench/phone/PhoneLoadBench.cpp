// The whole phone under load: one HAL of the simulated phone (every feature
// key of the default product, file logging on, the touch panel's nodes),
// started in this process as the daemon starts it. The demo's client holds
// flip, rotation, back tap and posture, so that the simulated sensor service
// streams at the demo's rates and the log thread writes their records.
//
// Measured, beside each other in one run:
//  - the sensor road: a sample posted to the SensorHub queue until the
//    module callback has it (2000 samples a second of a sensor no module
//    uses, so that nothing but the road is measured), median, p99 and max;
//  - the floor: the same handoff through a bare mutex and condition variable
//    queue, in slices that alternate with the road's under the same load;
//  - the flip end to end: from the sample that completes the gesture
//    entering the simulated sensor service to the result in the notify
//    callback;
//  - the PSS of the process from the start to the end of the run.
//
// The load: TOF frames at 30 a second through vyr_fmq_data (on a thread of
// normal priority, as the daemon's queue reader), a face library that
// computes for the benchmark's argument in milliseconds on every frame, a finger that
// taps and swipes on the touch panel, and the demo's streams with logging.
// The argument -1 is the phone without the camera and the finger.
//
// One phone per process: this is a program apart from vyr_bench.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/input.h>
#include <pthread.h>
#include <sched.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "BareQueue.h"
#include "camera/TofFrame.h"
#include "hal/VyrHal.h"
#include "libs/face3d_sdk/face3d_sim.h"
#include "platform/Sysfs.h"
#include "platform/api/sensor_event.h"
#include "sandbox/Sandbox.h"
#include "sensor/SensorHub.h"

namespace {

using Clock = std::chrono::steady_clock;
using Inject = int32_t (*)(const ASensorEvent *);
using NowNs = int64_t (*)();
using Sync = int32_t (*)(int32_t);

constexpr int kFlipType = 2;
constexpr int kFaceDown = 4;
constexpr int kGazeType = 1;
constexpr int kSamplesForFlip = 50;
constexpr int32_t kAccHandle = 0x10;
// The magnetometer of the simulated list: nobody on the demo uses it, and the
// hub keeps none of it in the frame while it is off.
constexpr int32_t kRoadType = 2;
constexpr int32_t kRoadHandle = 0x30;
constexpr int32_t kMark = 0x5a5a;
constexpr long kRoadPeriodNs = 500000;  // 2000 samples a second
constexpr int kSliceSamples = 2000;     // one second
constexpr int kPairs = 5;
constexpr int kFlips = 11;
constexpr long kTofPeriodNs = 33333333;  // 30 frames a second

uint64_t MonoNs() {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
            .count());
}

void SleepUntil(timespec &next, long periodNs) {
    next.tv_nsec += periodNs;
    while (next.tv_nsec >= 1000000000L) {
        next.tv_nsec -= 1000000000L;
        next.tv_sec += 1;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr) == EINTR) {
    }
}

// The load threads are the daemon's and the simulated phone's, which run
// with the normal policy; they are made by a thread that the HAL's start may
// have made round-robin.
void NormalPolicy() {
    sched_param zero{};
    pthread_setschedparam(pthread_self(), SCHED_OTHER, &zero);
}

// Post-to-callback latencies of the marked samples, ns.
struct Recorder {
    std::mutex mutex;
    std::vector<uint64_t> latencies;
    bool recording = false;

    void OnEvent(const ASensorEvent &event) {
        if (event.reserved0 != kMark) {
            return;
        }
        std::lock_guard<std::mutex> lock(mutex);
        if (recording && latencies.size() < latencies.capacity()) {
            latencies.push_back(MonoNs() - event.u64.data[0]);
        }
    }
    void Start(size_t count) {
        std::lock_guard<std::mutex> lock(mutex);
        latencies.clear();
        latencies.reserve(count);
        recording = true;
    }
    std::vector<uint64_t> Stop() {
        std::lock_guard<std::mutex> lock(mutex);
        recording = false;
        return latencies;
    }
};

Recorder &TheRecorder() {
    static auto *recorder = new Recorder();
    return *recorder;
}

// The floor's consumer: the same recorder as the module callback.
void RecordLikeTheModule(const ASensorEvent &event) {
    TheRecorder().OnEvent(event);
}

std::atomic<int64_t> gFaceDownAt{0};
std::atomic<uint64_t> gGazeResults{0};

void OnResult(vyr_msg_t &msg) {
    if (msg.type == kFlipType && msg.data.size() == 2 && msg.data[1] == kFaceDown) {
        gFaceDownAt.store(Clock::now().time_since_epoch().count());
    } else if (msg.type == kGazeType && msg.data.size() == 5) {
        gGazeResults.fetch_add(1);
    }
}

struct Phone {
    std::string root;
    VyrHal *hal = nullptr;
    Inject inject = nullptr;
    NowNs now = nullptr;
    Sync sync = nullptr;
    Face3dSimSetDetectDelayMs_t setDetectDelay = nullptr;
    Face3dSimSetDetectBusy_t setDetectBusy = nullptr;
    int fingerFd = -1;
    bool ok = false;
};

std::string Command(VyrHal &hal, const std::string &cmd, const std::string &param) {
    std::vector<uint8_t> out;
    hal.VyrRunCommand("demo", cmd, std::vector<uint8_t>(param.begin(), param.end()), out);
    return std::string(out.begin(), out.end());
}

void *WaitForStandin(const std::string &path) {
    for (int i = 0; i < 300; ++i) {
        void *lib = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (lib != nullptr) {
            return lib;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    fprintf(stderr, "not loaded: %s\n", path.c_str());
    return nullptr;
}

Phone &ThePhone() {
    static Phone *phone = [] {
        auto *p = new Phone();
        char pattern[] = "/tmp/vyr-phone-bench.XXXXXX";
        const char *root = mkdtemp(pattern);
        if (root == nullptr) {
            return p;
        }
        p->root = root;
        setenv("VYR_ROOT", root, 1);
        setenv("VYR_LOG_STDERR", "0", 1);
        setenv("VYR_LOGCAT", (p->root + "/logcat.txt").c_str(), 1);
        vyrsim::SandboxOptions options;
        options.touchNodes = true;
        options.properties["persist.odm.vyr.vyrlog_enabled"] = "true";
        std::string error;
        if (!vyrsim::CreateSandbox(p->root, options, &error)) {
            fprintf(stderr, "sandbox: %s\n", error.c_str());
            return p;
        }
        // The writers of the touch nodes open before the library does.
        size_t count = 0;
        const char *const *nodes = vyrsim::TouchNodeList(&count);
        for (size_t i = 0; i < count; ++i) {
            const int fd =
                open((p->root + "/" + nodes[i]).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
            if (std::string(nodes[i]) == "dev/input/event1") {
                p->fingerFd = fd;
            }
        }
        p->hal = new VyrHal(nullptr);
        if (!p->hal->Init()) {
            fprintf(stderr, "the HAL did not start\n");
            return p;
        }
        p->hal->VyrInit(vyr_notify_t{OnResult});
        p->hal->GetSensorHub().RegisterSensorCallback(
            "Bench", [](ASensorEvent event, bool) { TheRecorder().OnEvent(event); });
        // The demo's client.
        Command(*p->hal, "flip", "on");
        Command(*p->hal, "rotation", "on");
        Command(*p->hal, "motion-on", "25,1");
        Command(*p->hal, "posture-on", "20");
        void *service = WaitForStandin(p->root + "/vendor/lib64/libVyrSensor.so");
        if (service != nullptr) {
            p->inject = reinterpret_cast<Inject>(dlsym(service, "VyrSimInjectEvent"));
            p->now = reinterpret_cast<NowNs>(dlsym(service, "VyrSimNowNs"));
            p->sync = reinterpret_cast<Sync>(dlsym(service, "VyrSimSync"));
        }
        p->ok = p->inject != nullptr && p->now != nullptr && p->sync != nullptr;
        return p;
    }();
    return *phone;
}

// The eye-gaze client of the camera, on for a run with TOF frames: the face
// library loads with the first setting.
bool CameraOn(Phone &phone) {
    Command(*phone.hal, "camera-on", "1,100");
    if (phone.setDetectDelay == nullptr) {
        void *face = WaitForStandin(phone.root + "/vendor/lib64/libface3d_sdk.so");
        if (face != nullptr) {
            phone.setDetectDelay = reinterpret_cast<Face3dSimSetDetectDelayMs_t>(
                dlsym(face, "Face3dSimSetDetectDelayMs"));
            phone.setDetectBusy =
                reinterpret_cast<Face3dSimSetDetectBusy_t>(dlsym(face, "Face3dSimSetDetectBusy"));
        }
    }
    if (phone.setDetectBusy != nullptr) {
        // A real detector computes for its time.
        phone.setDetectBusy(1);
    }
    return phone.setDetectDelay != nullptr && phone.setDetectBusy != nullptr;
}

// TOF frames and a finger, on threads of their own while the run lasts.
class Load {
public:
    explicit Load(Phone &phone) : mPhone(phone) {
        mThreads.emplace_back([this] { Frames(); });
        mThreads.emplace_back([this] { Finger(); });
    }
    ~Load() {
        mRunning = false;
        for (std::thread &thread : mThreads) {
            thread.join();
        }
    }
    uint64_t FramesSent() const { return mFrames.load(); }
    uint64_t TouchReports() const { return mReports.load(); }

private:
    void Frames() {
        NormalPolicy();
        std::vector<uint8_t> frame = MakeTofFrameMessage(1, 100);
        const face3d_sim_scene_t face{1, 0, 1, 0, 0};
        Face3dSimDraw(PixelsOf(frame), TofFrameHeader::kImageBytes, &face);
        timespec next{};
        clock_gettime(CLOCK_MONOTONIC, &next);
        uint64_t number = 1;
        while (mRunning) {
            SleepUntil(next, kTofPeriodNs);
            memcpy(frame.data() + TofFrameHeader::kFrameNumber, &number, sizeof(number));
            ++number;
            mPhone.hal->VyrFmqData(frame.data(), static_cast<int32_t>(frame.size()));
            mFrames.fetch_add(1);
        }
    }

    void Report(const std::vector<input_event> &events) {
        if (mPhone.fingerFd < 0) {
            return;
        }
        const ssize_t bytes = static_cast<ssize_t>(events.size() * sizeof(input_event));
        if (write(mPhone.fingerFd, events.data(), static_cast<size_t>(bytes)) == bytes) {
            mReports.fetch_add(1);
        }
    }

    static input_event Ev(uint16_t type, uint16_t code, int32_t value) {
        input_event event{};
        event.type = type;
        event.code = code;
        event.value = value;
        return event;
    }

    // A tap and swipe every half second: down, 20 moves 8 ms apart, up.
    void Finger() {
        NormalPolicy();
        while (mRunning) {
            for (int step = 0; step <= 20 && mRunning; ++step) {
                Report({Ev(EV_ABS, ABS_MT_TRACKING_ID, 1), Ev(EV_ABS, ABS_MT_POSITION_X, 300),
                        Ev(EV_ABS, ABS_MT_POSITION_Y, 400 + step * 20),
                        Ev(EV_ABS, ABS_MT_PRESSURE, 30), Ev(EV_SYN, SYN_MT_REPORT, 0),
                        Ev(EV_SYN, SYN_REPORT, 0)});
                std::this_thread::sleep_for(std::chrono::milliseconds(8));
            }
            Report({Ev(EV_SYN, SYN_REPORT, 0)});
            std::this_thread::sleep_for(std::chrono::milliseconds(330));
        }
    }

    Phone &mPhone;
    std::atomic<bool> mRunning{true};
    std::atomic<uint64_t> mFrames{0};
    std::atomic<uint64_t> mReports{0};
    std::vector<std::thread> mThreads;
};

ASensorEvent RoadSample(int64_t timestamp) {
    ASensorEvent event{};
    event.sensor = kRoadHandle;
    event.type = kRoadType;
    event.timestamp = timestamp;
    event.reserved0 = kMark;
    return event;
}

// One slice of samples at 2000 a second through `push`; their latencies.
template <typename Push, typename Drain>
std::vector<uint64_t> Slice(Push push, Drain drain) {
    static int64_t t = 1000000000LL;
    TheRecorder().Start(kSliceSamples);
    timespec next{};
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (int i = 0; i < kSliceSamples; ++i) {
        SleepUntil(next, kRoadPeriodNs);
        t += kRoadPeriodNs;
        ASensorEvent event = RoadSample(t);
        event.u64.data[0] = MonoNs();
        push(event);
    }
    drain();
    return TheRecorder().Stop();
}

double Quantile(std::vector<uint64_t> values, double q) {
    if (values.empty()) {
        return 0.0;
    }
    std::sort(values.begin(), values.end());
    const size_t index =
        std::min(values.size() - 1, static_cast<size_t>(q * static_cast<double>(values.size())));
    return static_cast<double>(values[index]) / 1000.0;
}

double Median(std::vector<double> values) {
    if (values.empty()) {
        return 0.0;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Samples 10 ms apart by the service's clock, in the near future: the
// listeners thin their streams by timestamp and drop a sample older than
// the last they took, so the service's own stream (one sample a second once
// the phone lies still and the sensors idle) cannot break a row.
constexpr int64_t kAheadNs = 100000000;
constexpr int64_t kSampleNs = 10000000;

ASensorEvent AccSample(int64_t timestamp, float z) {
    ASensorEvent event{};
    event.version = static_cast<int32_t>(sizeof(ASensorEvent));
    event.sensor = kAccHandle;
    event.type = 1;
    event.timestamp = timestamp;
    event.data[2] = z;
    return event;
}

// One flip, in microseconds; negative when no result came. A row of 50
// samples face up turns the phone up, a row of 50 face down turns it down;
// measured from the injection of the last.
double OneFlip(Phone &phone) {
    static int64_t last = 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    gFaceDownAt.store(0);
    int64_t t = std::max(phone.now() + kAheadNs, last);
    for (int i = 0; i < kSamplesForFlip; ++i) {
        t += kSampleNs;
        ASensorEvent event = AccSample(t, 9.81f);
        phone.inject(&event);
    }
    for (int i = 1; i < kSamplesForFlip; ++i) {
        t += kSampleNs;
        ASensorEvent event = AccSample(t, -9.81f);
        phone.inject(&event);
    }
    // Everything before the measured sample is through the library.
    phone.sync(1000);
    phone.hal->GetSensorHub().WaitQueueEmpty(1000);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    t += kSampleNs;
    last = t;
    ASensorEvent final = AccSample(t, -9.81f);
    const int64_t start = Clock::now().time_since_epoch().count();
    phone.inject(&final);
    const auto deadline = Clock::now() + std::chrono::seconds(2);
    while (gFaceDownAt.load() == 0 && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    const int64_t end = gFaceDownAt.load();
    if (end == 0 || end < start) {
        return -1.0;
    }
    return std::chrono::duration<double, std::micro>(Clock::duration(end - start)).count();
}

// Waits until the Camera thread has given its last result: none for 300 ms.
void WaitCameraQuiet() {
    uint64_t seen = gGazeResults.load();
    auto quietSince = Clock::now();
    const auto deadline = Clock::now() + std::chrono::seconds(120);
    while (Clock::now() - quietSince < std::chrono::milliseconds(300) && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const uint64_t now = gGazeResults.load();
        if (now != seen) {
            seen = now;
            quietSince = Clock::now();
        }
    }
}

// Argument: the face library's time per frame in ms; -1 for no camera and
// no finger.
void BM_PhoneUnderLoad(benchmark::State &state) {
    Phone &phone = ThePhone();
    if (!phone.ok) {
        state.SkipWithError("the simulated phone did not start");
        return;
    }
    const int detectMs = static_cast<int>(state.range(0));
    const bool loaded = detectMs >= 0;
    if (loaded && !CameraOn(phone)) {
        state.SkipWithError("the face library did not load");
        return;
    }
    SensorHub &hub = phone.hal->GetSensorHub();
    Sysfs &sysfs = phone.hal->GetSysfs();
    std::vector<uint64_t> road;
    std::vector<uint64_t> floor;
    std::vector<double> p99Ratios;
    std::vector<double> flips;
    uint64_t pssStart = 0;
    uint64_t pssEnd = 0;
    uint64_t frames = 0;
    uint64_t reports = 0;
    const uint64_t gazeBefore = gGazeResults.load();
    for (auto _ : state) {
        if (loaded) {
            phone.setDetectDelay(detectMs);
        }
        std::unique_ptr<Load> load(loaded ? new Load(phone) : nullptr);
        // A second for the streams to settle before the first reading.
        std::this_thread::sleep_for(std::chrono::seconds(1));
        pssStart = sysfs.GetMemoryPss();
        BareQueue bare(RecordLikeTheModule);
        for (int pair = 0; pair < kPairs; ++pair) {
            std::vector<uint64_t> r = Slice([&](const ASensorEvent &e) { hub.PushSensorEvent(e); },
                                            [&] { hub.WaitQueueEmpty(10000); });
            std::vector<uint64_t> f =
                Slice([&](const ASensorEvent &e) { bare.Push(e); }, [&] { bare.Drain(); });
            const double floorP99 = Quantile(f, 0.99);
            if (floorP99 > 0.0) {
                p99Ratios.push_back(Quantile(r, 0.99) / floorP99);
            }
            road.insert(road.end(), r.begin(), r.end());
            floor.insert(floor.end(), f.begin(), f.end());
        }
        for (int i = 0; i < kFlips; ++i) {
            const double us = OneFlip(phone);
            if (us >= 0.0) {
                flips.push_back(us);
            }
        }
        pssEnd = sysfs.GetMemoryPss();
        if (load != nullptr) {
            frames = load->FramesSent();
            reports = load->TouchReports();
        }
    }
    if (loaded) {
        phone.setDetectDelay(0);
        WaitCameraQuiet();
        Command(*phone.hal, "camera-off", "1,0");
    }
    if (road.empty() || floor.empty() || flips.empty()) {
        state.SkipWithError(road.empty() || floor.empty() ? "no road or floor samples"
                                                          : "no flip was measured");
        return;
    }
    const double floorMedian = Quantile(floor, 0.5);
    state.counters["road_median_us"] = Quantile(road, 0.5);
    state.counters["road_p99_us"] = Quantile(road, 0.99);
    state.counters["road_max_us"] = Quantile(road, 1.0);
    state.counters["floor_median_us"] = floorMedian;
    state.counters["floor_p99_us"] = Quantile(floor, 0.99);
    state.counters["floor_max_us"] = Quantile(floor, 1.0);
    // Median over the paired slices of road p99 / floor p99 (target <= 2).
    state.counters["road_p99_to_floor"] = Median(p99Ratios);
    const double flipMedian = Median(flips);
    std::sort(flips.begin(), flips.end());
    state.counters["flip_median_us"] = flipMedian;
    state.counters["flip_max_us"] = flips.back();
    state.counters["flips"] = static_cast<double>(flips.size());
    // Target <= 3: the flip crosses two thread hops.
    state.counters["flip_to_floor_hop"] = floorMedian > 0.0 ? flipMedian / floorMedian : 0.0;
    state.counters["pss_growth_kb"] = static_cast<double>(pssEnd) - static_cast<double>(pssStart);
    state.counters["tof_frames"] = static_cast<double>(frames);
    state.counters["gaze_results"] = static_cast<double>(gGazeResults.load() - gazeBefore);
    state.counters["touch_reports"] = static_cast<double>(reports);
}
BENCHMARK(BM_PhoneUnderLoad)
    ->Arg(-1)
    ->Arg(0)
    ->Arg(20)
    ->Arg(50)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kSecond);

}  // namespace

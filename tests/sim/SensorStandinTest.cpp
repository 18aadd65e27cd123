// The simulated sensor service, loaded as the library loads it: its list,
// its event stream, its scenarios and its death.
#include <gtest/gtest.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "libs/VyrSensor/vyr_sensor_sim.h"
#include "platform/api/vyr_sensor_api.h"
#include "sim/StandinLib.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

int64_t BootNs() {
    timespec ts{};
    clock_gettime(CLOCK_BOOTTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

// Every call of the callback, with its arrival time.
class Collector {
public:
    struct Entry {
        ASensorEvent event;
        int64_t arrivalNs;
    };

    static void Callback(const ASensorEvent *event, bool ok, void *cookie) {
        auto *self = static_cast<Collector *>(cookie);
        std::lock_guard<std::mutex> lock(self->mMutex);
        if (!ok) {
            ++self->mDeaths;
        } else if (event != nullptr) {
            self->mEntries.push_back(Entry{*event, BootNs()});
        }
        self->mCv.notify_all();
    }

    std::vector<Entry> Of(int32_t handle) {
        std::lock_guard<std::mutex> lock(mMutex);
        std::vector<Entry> out;
        for (const Entry &entry : mEntries) {
            if (entry.event.sensor == handle) {
                out.push_back(entry);
            }
        }
        return out;
    }

    size_t Count() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mEntries.size();
    }

    int Deaths() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mDeaths;
    }

    void Clear() {
        std::lock_guard<std::mutex> lock(mMutex);
        mEntries.clear();
    }

    // Waits until the predicate over the events of a handle holds.
    bool WaitFor(int32_t handle, const std::function<bool(const std::vector<Entry> &)> &done,
                 std::chrono::milliseconds timeout) {
        auto deadline = std::chrono::steady_clock::now() + timeout;
        while (std::chrono::steady_clock::now() < deadline) {
            if (done(Of(handle))) {
                return true;
            }
            std::this_thread::sleep_for(10ms);
        }
        return done(Of(handle));
    }

private:
    std::mutex mMutex;
    std::condition_variable mCv;
    std::vector<Entry> mEntries;
    int mDeaths = 0;
};

// clang-format off
#define SENSOR_API(X) \
    X(VyrInit) X(VyrGetSensorList) X(VyrEnableSensor) X(VyrDisableSensor) X(VyrGetName) \
    X(VyrGetVendor) X(VyrGetType) X(VyrGetResolution) X(VyrGetMinDelay) \
    X(VyrGetFifoMaxEventCount) X(VyrGetFifoReservedEventCount) X(VyrGetStringType) \
    X(VyrGetMaxRange) X(VyrGetPower) X(VyrGetHandle) X(VyrGetReportingMode) \
    X(VyrSimInjectEvent) X(VyrSimPlayScenario) X(VyrSimStopScenario) X(VyrSimScenarioRunning) \
    X(VyrSimServiceDie) X(VyrSimServiceRestart) X(VyrSimServiceAlive) \
    X(VyrSimGetSensorPeriodUs) X(VyrSimGetSensorBatchUs) X(VyrSimEnableCount) \
    X(VyrSimDisableCount) X(VyrSimSync) X(VyrSimDetach) X(VyrSimReset) X(VyrSimNowNs)
// clang-format on

class SensorStandinTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(mLib.IsOpen()) << mLib.Error();
#define RESOLVE(name)                 \
    name = mLib.Get<name##_t>(#name); \
    ASSERT_NE(name, nullptr) << "missing " #name;
        SENSOR_API(RESOLVE)
#undef RESOLVE
        VyrSimReset();
    }

    void TearDown() override {
        if (mLib.IsOpen() && VyrSimReset != nullptr) {
            VyrSimReset();
        }
    }

    void Connect() {
        ASSERT_EQ(VyrInit(&Collector::Callback, &mCollector), 0);
        VyrSensorRef const *list = nullptr;
        int32_t count = VyrGetSensorList(&list);
        ASSERT_GT(count, 0);
        ASSERT_NE(list, nullptr);
        mSensors.assign(list, list + count);
    }

    // The first sensor of the type whose wake-up kind is as asked.
    VyrSensorRef Find(int32_t type, bool wakeup = false) {
        for (VyrSensorRef sensor : mSensors) {
            bool isWakeup = strstr(VyrGetName(sensor), "Non-wakeup") == nullptr;
            if (VyrGetType(sensor) == type && isWakeup == wakeup) {
                return sensor;
            }
        }
        ADD_FAILURE() << "no sensor of type " << type << " wakeup " << wakeup;
        return nullptr;
    }

    StandinLib mLib{"VyrSensor"};
    Collector mCollector;
    std::vector<VyrSensorRef> mSensors;
#define DECLARE(name) name##_t name = nullptr;
    SENSOR_API(DECLARE)
#undef DECLARE
};

TEST_F(SensorStandinTest, ListDescribesTheFoldablePhone) {
    VyrSensorRef const sentinel[1] = {nullptr};
    VyrSensorRef const *list = sentinel;
    EXPECT_LE(VyrGetSensorList(&list), 0) << "a list before VyrInit";
    EXPECT_EQ(list, sentinel);
    EXPECT_LT(VyrInit(nullptr, nullptr), 0);

    Connect();
    struct Expect {
        const char *stringType;
        const char *mode;
    };
    const std::map<int32_t, Expect> expected = {
        {1, {"android.sensor.accelerometer", "continue"}},
        {0x20001, {nullptr, "continue"}},
        {4, {"android.sensor.gyroscope", "continue"}},
        {2, {"android.sensor.magnetic_field", "continue"}},
        {5, {"android.sensor.light", "onchange"}},
        {8, {"android.sensor.proximity", "onchange"}},
        {36, {"android.sensor.hinge_angle", "onchange"}},
        {65573, {nullptr, "onchange"}},
    };
    std::set<int32_t> handles;
    std::map<int32_t, int> wakeups;
    std::map<int32_t, int> nonWakeups;
    for (VyrSensorRef sensor : mSensors) {
        int32_t type = VyrGetType(sensor);
        std::string name = VyrGetName(sensor);
        SCOPED_TRACE(name);
        auto it = expected.find(type);
        ASSERT_NE(it, expected.end()) << "unexpected type " << type;
        EXPECT_FALSE(name.empty());
        EXPECT_STRNE(VyrGetVendor(sensor), "");
        EXPECT_STRNE(VyrGetStringType(sensor), "");
        if (it->second.stringType != nullptr) {
            EXPECT_STREQ(VyrGetStringType(sensor), it->second.stringType);
        }
        EXPECT_STREQ(VyrGetReportingMode(sensor), it->second.mode);
        EXPECT_TRUE(handles.insert(VyrGetHandle(sensor)).second) << "handle used twice";
        EXPECT_GT(VyrGetResolution(sensor), 0.0f);
        EXPECT_GT(VyrGetMaxRange(sensor), VyrGetResolution(sensor));
        EXPECT_GT(VyrGetPower(sensor), 0.0f);
        EXPECT_LE(VyrGetFifoReservedEventCount(sensor), VyrGetFifoMaxEventCount(sensor));
        if (strcmp(it->second.mode, "continue") == 0) {
            EXPECT_GT(VyrGetMinDelay(sensor), 0);
            EXPECT_GT(VyrGetFifoMaxEventCount(sensor), 0);
        } else {
            EXPECT_EQ(VyrGetMinDelay(sensor), 0);
        }
        if (name.find("Non-wakeup") == std::string::npos) {
            ++wakeups[type];
        } else {
            ++nonWakeups[type];
        }
    }
    for (const auto &[type, expect] : expected) {
        EXPECT_EQ(wakeups[type] + nonWakeups[type] > 0, true) << "no sensor of type " << type;
    }
    EXPECT_EQ(wakeups[8], 1) << "the proximity sensor has a wake-up variant";
    EXPECT_EQ(nonWakeups[8], 1);

    // Anything that is not a sensor object reads as empty.
    int notASensor = 0;
    EXPECT_STREQ(VyrGetName(nullptr), "");
    EXPECT_STREQ(VyrGetReportingMode(&notASensor), "");
    EXPECT_EQ(VyrGetType(&notASensor), 0);
    EXPECT_NE(VyrEnableSensor(&notASensor, 10000, 0), 0);
}

TEST_F(SensorStandinTest, EventsArriveAtTheRequestedPeriod) {
    Connect();
    VyrSensorRef acc = Find(1);
    ASSERT_NE(acc, nullptr);
    int32_t handle = VyrGetHandle(acc);
    int64_t start = BootNs();
    ASSERT_EQ(VyrEnableSensor(acc, 10000, 0), 0);
    EXPECT_EQ(VyrSimGetSensorPeriodUs(1), 10000);
    EXPECT_EQ(VyrSimGetSensorBatchUs(1), 0);
    EXPECT_EQ(VyrSimEnableCount(1), 1);
    EXPECT_EQ(VyrSimGetSensorPeriodUs(4), 0);

    std::this_thread::sleep_for(1s);
    std::vector<Collector::Entry> events = mCollector.Of(handle);
    EXPECT_GE(events.size(), 80u);
    EXPECT_LE(events.size(), 120u);
    EXPECT_EQ(mCollector.Count(), events.size()) << "only the enabled sensor reports";
    ASSERT_GE(events.size(), 2u);
    for (size_t i = 0; i < events.size(); ++i) {
        const ASensorEvent &e = events[i].event;
        ASSERT_EQ(e.version, 104);
        ASSERT_EQ(e.type, 1);
        ASSERT_GE(e.timestamp, start) << "timestamps are CLOCK_BOOTTIME";
        ASSERT_LE(e.timestamp, events[i].arrivalNs);
        if (i > 0) {
            ASSERT_GT(e.timestamp, events[i - 1].event.timestamp);
        }
        EXPECT_NEAR(e.data[2], 9.80665f, 0.01f) << "at rest, gravity on +z";
    }
    double meanMs = (events.back().event.timestamp - events.front().event.timestamp) / 1e6 /
                    static_cast<double>(events.size() - 1);
    EXPECT_NEAR(meanMs, 10.0, 1.0);
    EXPECT_LT(std::llabs(VyrSimNowNs() - BootNs()), 50000000LL);

    ASSERT_EQ(VyrDisableSensor(acc), 0);
    EXPECT_EQ(VyrSimGetSensorPeriodUs(1), 0);
    EXPECT_EQ(VyrSimDisableCount(1), 1);
    ASSERT_EQ(VyrSimSync(1000), 0);
    size_t stopped = mCollector.Count();
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(mCollector.Count(), stopped) << "events after the disable";

    // Faster than the sensor can: the period asked is kept, the minimum
    // delay (2404 us) is what runs.
    ASSERT_EQ(VyrEnableSensor(acc, 500, 0), 0);
    EXPECT_EQ(VyrSimGetSensorPeriodUs(1), 500);
    mCollector.Clear();
    std::this_thread::sleep_for(300ms);
    EXPECT_LE(mCollector.Of(handle).size(), 150u);
    EXPECT_GE(mCollector.Of(handle).size(), 60u);
}

TEST_F(SensorStandinTest, BatchLatencyHoldsEventsBack) {
    Connect();
    VyrSensorRef gyro = Find(4);
    ASSERT_NE(gyro, nullptr);
    ASSERT_EQ(VyrEnableSensor(gyro, 20000, 300000), 0);
    EXPECT_EQ(VyrSimGetSensorBatchUs(4), 300000);
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(mCollector.Count(), 0u) << "nothing before the latency has passed";
    std::this_thread::sleep_for(950ms);
    std::vector<Collector::Entry> events = mCollector.Of(VyrGetHandle(gyro));
    ASSERT_GE(events.size(), 30u);
    int bursts = 1;
    int64_t worstAge = 0;
    for (size_t i = 0; i < events.size(); ++i) {
        worstAge = std::max(worstAge, events[i].arrivalNs - events[i].event.timestamp);
        if (i > 0) {
            EXPECT_NEAR(events[i].event.timestamp - events[i - 1].event.timestamp, 20000000,
                        2000000)
                << "a batch keeps the sample times";
            if (events[i].arrivalNs - events[i - 1].arrivalNs > 100000000) {
                ++bursts;
            }
        }
    }
    EXPECT_LE(bursts, 4) << "events come in batches";
    EXPECT_GE(worstAge, 250000000) << "the oldest of a batch waited the latency";
}

TEST_F(SensorStandinTest, OnChangeSensorReportsOnlyChanges) {
    Connect();
    VyrSensorRef proximity = Find(8, true);
    ASSERT_NE(proximity, nullptr);
    int32_t handle = VyrGetHandle(proximity);
    ASSERT_EQ(VyrEnableSensor(proximity, 20000, 0), 0);
    std::this_thread::sleep_for(400ms);
    std::vector<Collector::Entry> events = mCollector.Of(handle);
    ASSERT_EQ(events.size(), 1u) << "one report at the start, then nothing while steady";
    EXPECT_EQ(events[0].event.distance, 5.0f);

    // Face down: the proximity sensor closes.
    ASSERT_EQ(VyrSimPlayScenario("flip"), 0);
    EXPECT_TRUE(mCollector.WaitFor(
        handle, [](const auto &e) { return e.size() >= 2 && e.back().event.distance == 0.0f; },
        2s));
    EXPECT_EQ(mCollector.Of(handle).size(), 2u);
}

TEST_F(SensorStandinTest, FlipEndsWithGravityOnMinusZ) {
    Connect();
    VyrSensorRef acc = Find(1);
    VyrSensorRef gyro = Find(4);
    ASSERT_NE(acc, nullptr);
    ASSERT_NE(gyro, nullptr);
    ASSERT_EQ(VyrEnableSensor(acc, 20000, 0), 0);
    ASSERT_EQ(VyrEnableSensor(gyro, 20000, 0), 0);
    ASSERT_EQ(VyrSimPlayScenario("flip"), 0);
    EXPECT_TRUE(VyrSimScenarioRunning());
    std::this_thread::sleep_for(1200ms);
    EXPECT_FALSE(VyrSimScenarioRunning());

    std::vector<Collector::Entry> events = mCollector.Of(VyrGetHandle(acc));
    ASSERT_GE(events.size(), 40u);
    EXPECT_GT(events.front().event.acceleration.z, 9.0f) << "starts face up";
    const ASensorVector &last = events.back().event.acceleration;
    EXPECT_LT(last.z, -9.5f);
    EXPECT_NEAR(last.x, 0.0f, 0.1f);
    EXPECT_NEAR(last.y, 0.0f, 0.1f);
    float side = 0.0f;
    for (const auto &entry : events) {
        side = std::max(side, std::fabs(entry.event.acceleration.x));
    }
    EXPECT_GT(side, 9.0f) << "turns over through the side";
    float turnRate = 0.0f;
    for (const auto &entry : mCollector.Of(VyrGetHandle(gyro))) {
        turnRate = std::max(turnRate, std::fabs(entry.event.gyro.y));
    }
    EXPECT_GT(turnRate, 6.0f) << "half a turn in half a second";

    // Stopped, the phone stays where it is.
    VyrSimStopScenario();
    mCollector.Clear();
    std::this_thread::sleep_for(100ms);
    ASSERT_FALSE(mCollector.Of(VyrGetHandle(acc)).empty());
    EXPECT_LT(mCollector.Of(VyrGetHandle(acc)).back().event.acceleration.z, -9.5f);
}

TEST_F(SensorStandinTest, FoldClosesAndOpensTheHinge) {
    Connect();
    VyrSensorRef hinge = Find(36);
    VyrSensorRef posture = Find(65573);
    VyrSensorRef acc2 = Find(0x20001);
    ASSERT_NE(hinge, nullptr);
    ASSERT_NE(posture, nullptr);
    ASSERT_NE(acc2, nullptr);
    ASSERT_EQ(VyrEnableSensor(hinge, 20000, 0), 0);
    ASSERT_EQ(VyrEnableSensor(posture, 20000, 0), 0);
    ASSERT_EQ(VyrEnableSensor(acc2, 50000, 0), 0);
    ASSERT_EQ(VyrSimPlayScenario("fold"), 0);
    for (int i = 0; i < 60 && VyrSimScenarioRunning(); ++i) {
        std::this_thread::sleep_for(100ms);
    }
    ASSERT_FALSE(VyrSimScenarioRunning());
    ASSERT_EQ(VyrSimSync(1000), 0);
    std::this_thread::sleep_for(100ms);

    std::vector<Collector::Entry> angles = mCollector.Of(VyrGetHandle(hinge));
    ASSERT_GE(angles.size(), 20u);
    EXPECT_EQ(angles.front().event.data[0], 180.0f);
    EXPECT_EQ(angles.back().event.data[0], 180.0f);
    EXPECT_EQ(angles.back().event.data[1], 0.0f) << "status normal";
    EXPECT_LT(angles.back().event.data[14], 0.002f) << "settled precision";
    size_t closed = 0;
    for (size_t i = 0; i < angles.size(); ++i) {
        if (angles[i].event.data[0] < angles[closed].event.data[0]) {
            closed = i;
        }
    }
    EXPECT_LE(angles[closed].event.data[0], 1.0f);
    for (size_t i = 1; i < angles.size(); ++i) {
        if (i <= closed) {
            EXPECT_LE(angles[i].event.data[0], angles[i - 1].event.data[0]) << "closing at " << i;
        } else {
            EXPECT_GE(angles[i].event.data[0], angles[i - 1].event.data[0]) << "opening at " << i;
        }
    }

    std::vector<float> postures;
    for (const auto &entry : mCollector.Of(VyrGetHandle(posture))) {
        postures.push_back(entry.event.data[0]);
    }
    EXPECT_EQ(postures, (std::vector<float>{3.0f, 2.0f, 1.0f, 2.0f, 3.0f}));

    float lowestZ = 10.0f;
    for (const auto &entry : mCollector.Of(VyrGetHandle(acc2))) {
        lowestZ = std::min(lowestZ, entry.event.acceleration.z);
    }
    EXPECT_LT(lowestZ, -9.0f) << "the closed half lies face down";
}

class ScopedRoot {
public:
    explicit ScopedRoot(const std::string &root) {
        const char *old = getenv("VYR_ROOT");
        mHad = old != nullptr;
        mOld = mHad ? old : "";
        setenv("VYR_ROOT", root.c_str(), 1);
    }
    ~ScopedRoot() {
        if (mHad) {
            setenv("VYR_ROOT", mOld.c_str(), 1);
        } else {
            unsetenv("VYR_ROOT");
        }
    }

private:
    bool mHad;
    std::string mOld;
};

TEST_F(SensorStandinTest, CsvScenarioReplaysRecordedRows) {
    fs::path dir = fs::temp_directory_path() / ("vyr_sensor_csv_" + std::to_string(getpid()));
    fs::create_directories(dir / "data");
    auto write = [&](const fs::path &path, const std::string &text) {
        std::ofstream(path) << text;
        return path.string();
    };
    std::string good = write(dir / "data/rec.csv",
                             "time_ms,type,v0,v1,v2\n"
                             "# a recorded stretch\n"
                             "0,1,1.0,2.0,3.0\n"
                             "0,0x24,90,0,0,0,0,0,0,0,0,0,0,0,0,0,0.001\n"
                             "\n"
                             "300,1, 4.5 ,-5,6e0\n"
                             "300,36,45\n");

    Connect();
    VyrSensorRef acc = Find(1);
    VyrSensorRef hinge = Find(36);
    ASSERT_EQ(VyrEnableSensor(acc, 20000, 0), 0);
    ASSERT_EQ(VyrEnableSensor(hinge, 20000, 0), 0);
    ASSERT_EQ(VyrSimPlayScenario(good.c_str()), 0);
    std::this_thread::sleep_for(150ms);
    ASSERT_FALSE(mCollector.Of(VyrGetHandle(acc)).empty());
    ASSERT_FALSE(mCollector.Of(VyrGetHandle(hinge)).empty());
    const ASensorEvent first = mCollector.Of(VyrGetHandle(acc)).back().event;
    EXPECT_EQ(first.data[0], 1.0f);
    EXPECT_EQ(first.data[1], 2.0f);
    EXPECT_EQ(first.data[2], 3.0f);
    const ASensorEvent firstHinge = mCollector.Of(VyrGetHandle(hinge)).back().event;
    EXPECT_EQ(firstHinge.data[0], 90.0f);
    EXPECT_EQ(firstHinge.data[14], 0.001f);

    std::this_thread::sleep_for(300ms);
    EXPECT_FALSE(VyrSimScenarioRunning());
    const ASensorEvent second = mCollector.Of(VyrGetHandle(acc)).back().event;
    EXPECT_EQ(second.data[0], 4.5f);
    EXPECT_EQ(second.data[1], -5.0f);
    EXPECT_EQ(second.data[2], 6.0f);
    std::vector<float> angles;
    for (const auto &entry : mCollector.Of(VyrGetHandle(hinge))) {
        angles.push_back(entry.event.data[0]);
    }
    EXPECT_EQ(angles, (std::vector<float>{180.0f, 90.0f, 45.0f}))
        << "at rest before the play, then each change once";

    // Refused whole; the phone stays as it is.
    EXPECT_EQ(VyrSimPlayScenario("no-such-scenario"), -1);
    EXPECT_EQ(VyrSimPlayScenario(""), -1);
    EXPECT_EQ(VyrSimPlayScenario(write(dir / "value.csv", "0,1,1,x,3\n").c_str()), -1);
    EXPECT_EQ(VyrSimPlayScenario(write(dir / "back.csv", "10,1,1\n5,1,2\n").c_str()), -1);
    EXPECT_EQ(VyrSimPlayScenario(write(dir / "type.csv", "0,999,1\n").c_str()), -1);
    EXPECT_EQ(
        VyrSimPlayScenario(
            write(dir / "wide.csv", "0,1,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17\n").c_str()),
        -1);
    EXPECT_EQ(VyrSimPlayScenario(write(dir / "empty.csv", "time_ms,type,v0\n").c_str()), -1);
    mCollector.Clear();
    std::this_thread::sleep_for(100ms);
    ASSERT_FALSE(mCollector.Of(VyrGetHandle(acc)).empty());
    EXPECT_EQ(mCollector.Of(VyrGetHandle(acc)).back().event.data[0], 4.5f);

    // A device path is looked up in the sandbox.
    {
        ScopedRoot root(dir.string());
        EXPECT_EQ(VyrSimPlayScenario("/data/rec.csv"), 0);
        EXPECT_EQ(VyrSimPlayScenario("/data/missing.csv"), -1);
    }
    fs::remove_all(dir);
}

TEST_F(SensorStandinTest, InjectedEventsArriveAsGiven) {
    ASensorEvent event;
    memset(&event, 0x5A, sizeof(event));
    event.version = 104;
    event.sensor = 0x51;
    event.type = 8;
    event.timestamp = 12345;
    event.distance = 0.0f;
    EXPECT_EQ(VyrSimInjectEvent(&event), -1) << "no connection yet";

    Connect();
    EXPECT_EQ(VyrSimInjectEvent(nullptr), -1);
    ASSERT_EQ(VyrSimInjectEvent(&event), 0);
    ASensorEvent odd = event;
    odd.version = 7;
    odd.sensor = 0x7777;
    ASSERT_EQ(VyrSimInjectEvent(&odd), 0);
    ASSERT_EQ(VyrSimSync(1000), 0);
    std::vector<Collector::Entry> first = mCollector.Of(0x51);
    std::vector<Collector::Entry> second = mCollector.Of(0x7777);
    ASSERT_EQ(first.size(), 1u) << "delivered although the sensor is off";
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(memcmp(&first[0].event, &event, sizeof(event)), 0);
    EXPECT_EQ(memcmp(&second[0].event, &odd, sizeof(odd)), 0);
    EXPECT_LE(first[0].arrivalNs, second[0].arrivalNs) << "in the order injected";
}

TEST_F(SensorStandinTest, ServiceDeathAndRestart) {
    Connect();
    VyrSensorRef oldAcc = Find(1);
    ASSERT_NE(oldAcc, nullptr);
    ASSERT_EQ(VyrEnableSensor(oldAcc, 10000, 0), 0);
    ASSERT_TRUE(mCollector.WaitFor(
        VyrGetHandle(oldAcc), [](const auto &e) { return e.size() >= 5; }, 2s));

    VyrSimServiceDie();
    EXPECT_EQ(mCollector.Deaths(), 1) << "told before VyrSimServiceDie returns";
    EXPECT_FALSE(VyrSimServiceAlive());
    EXPECT_EQ(VyrSimGetSensorPeriodUs(1), 0) << "enables forgotten";
    VyrSensorRef const *list = nullptr;
    EXPECT_LE(VyrGetSensorList(&list), 0);
    EXPECT_LT(VyrInit(&Collector::Callback, &mCollector), 0) << "no service to connect to";
    EXPECT_NE(VyrEnableSensor(oldAcc, 10000, 0), 0);
    size_t silent = mCollector.Count();
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(mCollector.Count(), silent);
    EXPECT_EQ(mCollector.Deaths(), 1);
    EXPECT_STREQ(VyrGetStringType(oldAcc), "android.sensor.accelerometer")
        << "a stale object stays readable";

    VyrSimServiceRestart();
    EXPECT_TRUE(VyrSimServiceAlive());
    std::vector<VyrSensorRef> oldList = mSensors;
    Connect();
    ASSERT_EQ(mSensors.size(), oldList.size());
    EXPECT_NE(mSensors[0], oldList[0]) << "a new connection has new sensor objects";
    EXPECT_NE(VyrEnableSensor(oldAcc, 10000, 0), 0) << "stale object refused";
    VyrSensorRef acc = Find(1);
    ASSERT_EQ(VyrEnableSensor(acc, 10000, 0), 0);
    mCollector.Clear();
    EXPECT_TRUE(mCollector.WaitFor(
        VyrGetHandle(acc), [](const auto &e) { return e.size() >= 5; }, 2s));
    EXPECT_EQ(VyrSimEnableCount(1), 2);
}

TEST_F(SensorStandinTest, DetachStopsCallbacksAndUnloadStopsTheThread) {
    Connect();
    VyrSensorRef acc = Find(1);
    ASSERT_EQ(VyrEnableSensor(acc, 2500, 0), 0);
    ASSERT_TRUE(mCollector.WaitFor(
        VyrGetHandle(acc), [](const auto &e) { return e.size() >= 5; }, 2s));
    VyrSimDetach();
    size_t detached = mCollector.Count();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(mCollector.Count(), detached);

    ASSERT_EQ(VyrInit(&Collector::Callback, &mCollector), 0);
    ASSERT_TRUE(mCollector.WaitFor(
        VyrGetHandle(acc), [&](const auto &e) { return e.size() >= detached + 5; }, 2s))
        << "a new VyrInit picks the stream up again";

    mLib.Close();
    if (mLib.StillLoaded()) {
        GTEST_SKIP() << "another handle keeps the library loaded";
    }
    size_t unloaded = mCollector.Count();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(mCollector.Count(), unloaded) << "no callback after the unload";
}

// The process ends while the service streams: from the main thread, and
// from within the callback itself. Neither may hang or crash.
void StreamThenExit(bool fromCallback) {
    StandinLib lib("VyrSensor");
    auto init = lib.Get<VyrInit_t>("VyrInit");
    auto getList = lib.Get<VyrGetSensorList_t>("VyrGetSensorList");
    auto enable = lib.Get<VyrEnableSensor_t>("VyrEnableSensor");
    auto play = lib.Get<VyrSimPlayScenario_t>("VyrSimPlayScenario");
    if (init == nullptr || getList == nullptr || enable == nullptr || play == nullptr) {
        _exit(90);
    }
    VyrSensorEventCallback_t callback = [](const ASensorEvent *, bool, void *cookie) {
        if (cookie != nullptr) {
            exit(3);
        }
    };
    if (init(callback, fromCallback ? &lib : nullptr) != 0) {
        _exit(91);
    }
    VyrSensorRef const *list = nullptr;
    int32_t count = getList(&list);
    for (int32_t i = 0; i < count; ++i) {
        enable(list[i], 2500, 0);
    }
    play("walk");
    // From the callback, the exit comes long before this (allowing for a
    // slow exit under sanitizers).
    std::this_thread::sleep_for(fromCallback ? 10s : 100ms);
    exit(fromCallback ? 92 : 0);
}

TEST(SensorStandinExitTest, ProcessMayExitWhileTheServiceRuns) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(StreamThenExit(false), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(StreamThenExit(true), ::testing::ExitedWithCode(3), "");
}

}  // namespace

TEST_F(SensorStandinTest, ModemReportsEachCellOfTheTrainWithoutAnEnable) {
    Connect();
    constexpr int32_t kModem = 0x1000000;
    // At rest nothing changes: the modem is silent.
    std::this_thread::sleep_for(150ms);
    EXPECT_TRUE(mCollector.Of(kModem).empty());
    ASSERT_EQ(VyrSimPlayScenario("train"), 0);
    ASSERT_TRUE(mCollector.WaitFor(
        kModem, [](const auto &e) { return e.size() >= 2; }, 3s));
    std::vector<Collector::Entry> events = mCollector.Of(kModem);
    EXPECT_EQ(events[0].event.type, kModem);
    // rat, cell id and hsFlag in 64-bit words 0, 2 and 4: the ride's first
    // cells, one after the other, on the metro leg.
    EXPECT_EQ(events[0].event.u64.data[0], 3u);
    EXPECT_EQ(events[0].event.u64.data[2], 1101u);
    EXPECT_EQ(events[1].event.u64.data[2], 1102u);
    EXPECT_EQ(events[1].event.u64.data[4], 0u);
    EXPECT_EQ(mCollector.Count(), events.size()) << "no listed sensor reports unasked";
}

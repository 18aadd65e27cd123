// Activities end to end: a command in, samples from the simulated sensor
// service through SensorHub into the stand-in libraries, the 24-byte events
// out of the notify callback.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <thread>

#include "activity/ArRecords.h"
#include "libs/VyrSensor/vyr_sensor_sim.h"
#include "support/HalFixture.h"

using vyrtest::HalFixture;

namespace {

constexpr int32_t kAccelerometer = 1;
// The client's numbers of the activities (sandbox property "1,2,3,4,").
constexpr int32_t kRail = 1;
constexpr int32_t kStill = 3;
constexpr int32_t kHand = 4;

const char *const kProduct =
    "<activity_recognition><item>AR_ACTIVITY_TYPE_VE_HIGH_SPEED_RAIL</item>"
    "<item>AR_ACTIVITY_TYPE_VE_METRO</item><item>AR_ACTIVITY_TYPE_MICRO_STILL</item>"
    "<item>AR_ACTIVITY_TYPE_HAND_HELD</item><item>AR_ACTIVITY_TYPE_MAX</item>"
    "</activity_recognition>";

bool WaitUntil(const std::function<bool()> &done, int timeoutMs = 3000) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        if (done()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
}

int64_t MonoNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

// The events of one result message, as laid out on the wire.
std::vector<ar::ArEvent> Decode(const vyr_msg_t &msg) {
    std::vector<ar::ArEvent> events(static_cast<size_t>(msg.dataSize) / sizeof(ar::ArEvent));
    EXPECT_EQ(msg.data.size() * sizeof(int32_t), static_cast<size_t>(msg.dataSize));
    if (!events.empty()) {
        memcpy(events.data(), msg.data.data(), events.size() * sizeof(ar::ArEvent));
    }
    return events;
}

struct Seen {
    ar::ArEvent event;
    int64_t arrivedNs;
};

class ActivityRoadTest : public HalFixture {
protected:
    void SetUp() override {
        HalFixture::SetUp();
        vyrsim::SandboxOptions options;
        options.productXml = vyrsim::ProductXmlFor(kProduct);
        options.properties["odm.vyr.arlist"] = ArList();
        if (LogEnabled()) {
            options.properties["persist.odm.vyr.vyrlog_enabled"] = "true";
        }
        MakeSandbox(options);
        const std::string path = Root() + "/vendor/lib64/libVyrSensor.so";
        mSim = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(mSim, nullptr) << dlerror();
        mPlay = reinterpret_cast<VyrSimPlayScenario_t>(dlsym(mSim, "VyrSimPlayScenario"));
        mPeriod =
            reinterpret_cast<VyrSimGetSensorPeriodUs_t>(dlsym(mSim, "VyrSimGetSensorPeriodUs"));
        ASSERT_TRUE(mPlay && mPeriod);
        ASSERT_EQ(StartHal(), 0);
    }

    virtual std::string ArList() const { return "1,2,3,4,"; }
    virtual bool LogEnabled() const { return false; }

    // Every activity event received so far, in order.
    static std::vector<ar::ArEvent> Events() {
        std::vector<ar::ArEvent> out;
        for (const vyr_msg_t &msg : Messages()) {
            if (msg.client == "ar-client" && msg.type == 0) {
                for (const ar::ArEvent &event : Decode(msg)) {
                    out.push_back(event);
                }
            }
        }
        return out;
    }

    static bool Has(int32_t activity, int32_t eventType) {
        for (const ar::ArEvent &event : Events()) {
            if (event.activity == activity && event.eventType == eventType) {
                return true;
            }
        }
        return false;
    }

    static bool WaitEvent(int32_t activity, int32_t eventType, int timeoutMs = 4000) {
        return WaitUntil([&] { return Has(activity, eventType); }, timeoutMs);
    }

    bool LibraryLoaded(const std::string &file) {
        const std::string path = Root() + "/vendor/lib64/" + file;
        void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (handle != nullptr) {
            dlclose(handle);
        }
        return handle != nullptr;
    }

    size_t Count(const std::string &text) const {
        const std::string log = Logcat();
        size_t count = 0;
        for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    void *mSim = nullptr;
    VyrSimPlayScenario_t mPlay = nullptr;
    VyrSimGetSensorPeriodUs_t mPeriod = nullptr;
};

}  // namespace

TEST_F(ActivityRoadTest, MicroStillEntersOnTheTableAndExitsInTheHand) {
    const int64_t start = MonoNs();
    EXPECT_EQ(Run("ar-on", "3,1,0,0;3,2,0,0", "app"), "3,1,0,0;3,2,0,0 ok");
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 10000; }));
    // Not still before a full second of samples: the armed activity tells
    // its exit first, then enters.
    ASSERT_TRUE(WaitEvent(kStill, 1));
    std::vector<ar::ArEvent> events = Events();
    ASSERT_GE(events.size(), 2u);
    EXPECT_EQ(events[0].eventType, 2);
    EXPECT_EQ(events[1].eventType, 1);
    EXPECT_EQ(events[1].activity, kStill);
    // The detector's confidence rides in the events: the first exit came
    // with an almost empty window (sure it has not been still a second
    // yet), the entry with a window inside the rule (50 at its limit).
    EXPECT_GE(events[0].confidence, 90);
    EXPECT_LE(events[0].confidence, 100);
    EXPECT_GE(events[1].confidence, 50);
    EXPECT_LE(events[1].confidence, 100);
    EXPECT_EQ(events[1].padding, 0);
    EXPECT_GT(events[1].timestamp, start);
    EXPECT_LE(events[1].timestamp, MonoNs());
    EXPECT_GE(events[1].timestamp, events[0].timestamp);
    const vyr_msg_t last = Messages().back();
    EXPECT_EQ(last.dataSize, 24);
    EXPECT_EQ(last.data.size(), 6u);

    // The entered activity is what "ar_status" gives: one 128-byte record.
    std::vector<uint8_t> status = RunRaw("ar_status");
    ASSERT_EQ(status.size(), sizeof(ar::ArStatusRecord));
    ar::ArStatusRecord record{};
    memcpy(&record, status.data(), sizeof(record));
    EXPECT_EQ(record.eventType, 1u);
    EXPECT_EQ(record.activity, static_cast<uint32_t>(kStill));
    EXPECT_EQ(record.timestamp, events[1].timestamp);
    EXPECT_EQ(RunRaw("ar_all_status").size(), ar::kStatusBlockSize);

    ClearMessages();
    ASSERT_EQ(mPlay("hand"), 0);
    ASSERT_TRUE(WaitEvent(kStill, 2));
    EXPECT_TRUE(RunRaw("ar_status").empty());
    for (const ar::ArEvent &event : Events()) {
        EXPECT_GE(event.confidence, 50) << "exit on a moving window";
    }
}

TEST_F(ActivityRoadTest, HandHeldTellsOnlyTheEventTypesAskedFor) {
    Run("ar-on", "4,1,0,0", "app");
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 10000; }));
    ASSERT_EQ(mPlay("hand"), 0);
    ASSERT_TRUE(WaitEvent(kHand, 1));
    EXPECT_GE(Events().front().confidence, 50);
    EXPECT_LE(Events().front().confidence, 100);
    ASSERT_EQ(mPlay("still"), 0);
    // Laid down and still for well over the detector's second: no exit.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    for (const ar::ArEvent &event : Events()) {
        EXPECT_EQ(event.eventType, 1);
        EXPECT_EQ(event.activity, kHand);
    }
    EXPECT_EQ(Events().size(), 1u);
    // Another client asks for the exit: it follows.
    Run("ar-on", "4,2,0,0", "other");
    ASSERT_TRUE(WaitEvent(kHand, 2));
}

TEST_F(ActivityRoadTest, ReportIntervalHoldsTheNextChangeBack) {
    Run("ar-on", "3,1,2000000000,0;3,2,2000000000,0", "app");
    std::vector<Seen> seen;
    ASSERT_TRUE(WaitUntil(
        [&] {
            std::vector<ar::ArEvent> events = Events();
            while (seen.size() < events.size()) {
                seen.push_back(Seen{events[seen.size()], MonoNs()});
            }
            return seen.size() >= 2;
        },
        5000));
    EXPECT_EQ(seen[0].event.eventType, 2);
    EXPECT_EQ(seen[1].event.eventType, 1);
    // The enter was found after about a second but waited for the interval;
    // its time is that of the change, not of the sending.
    EXPECT_GE(seen[1].arrivedNs - seen[0].event.timestamp, 1900000000LL);
    EXPECT_LT(seen[1].event.timestamp - seen[0].event.timestamp, 1900000000LL);
    EXPECT_EQ(Messages().size(), 2u);
}

TEST_F(ActivityRoadTest, LibrariesLoadWithTheFirstClientAndGoWithTheLast) {
    EXPECT_FALSE(LibraryLoaded("libmicroartolvi.so"));
    Run("ar-on", "3,1,0,0", "a");
    EXPECT_TRUE(LibraryLoaded("libmicroartolvi.so"));
    // The same command again from the same caller changes nothing.
    EXPECT_EQ(Run("ar-on", "3,1,0,0", "a"), "3,1,0,0 ok");
    EXPECT_EQ(Count("remap activity: 3 to 2"), 1u);
    Run("ar-on", "3,1,0,0", "b");
    EXPECT_EQ(Count("remap activity: 3 to 2"), 2u);

    Run("ar-off", "3,1", "a");
    EXPECT_TRUE(LibraryLoaded("libmicroartolvi.so"));
    EXPECT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) != 0; }));
    Run("ar-off", "3,1", "b");
    EXPECT_TRUE(LogcatHas("LibMicroAr algo lib reset"));
    EXPECT_FALSE(LibraryLoaded("libmicroartolvi.so"));
    EXPECT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 0; }));
    // A last client that already left is told so.
    Run("ar-off", "3,2", "b");
    EXPECT_TRUE(LogcatHas("already disable"));

    // The next client loads it afresh: its window starts empty, so the
    // enter takes a full second again.
    ClearMessages();
    Run("ar-on", "3,1,0,0", "a");
    EXPECT_TRUE(LibraryLoaded("libmicroartolvi.so"));
    ASSERT_TRUE(WaitEvent(kStill, 1));
}

TEST_F(ActivityRoadTest, HighSpeedRailFromHumAndCellChanges) {
    // A humming car: the accelerometer swings 0.3 m/s^2 around gravity for
    // four seconds, then the train stands.
    const std::string csv = Root() + "/data/hum.csv";
    {
        std::ofstream out(csv);
        for (int ms = 0; ms <= 4000; ms += 20) {
            out << ms << ",1,0,0," << (ms % 40 == 0 ? 9.5 : 10.1) << "\n";
        }
        out << "4020,1,0,0,9.8\n";
    }
    Run("ar-on", "1,1,0,0;1,2,0,0", "app");
    EXPECT_TRUE(LibraryLoaded("libartolvi.so"));
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 10000; }));
    ASSERT_EQ(mPlay("/data/hum.csv"), 0);
    EXPECT_EQ(Run("hsFlag-update", "1"), "hsflag update");
    EXPECT_EQ(Run("modem-update", "3,2001"), "modem update");
    EXPECT_EQ(Run("scene-update", "modem_state,3,2002"), "scene update");
    ASSERT_TRUE(WaitForLog("MODEM: rat=3, cid=2002, hsFlag=1"));
    ASSERT_TRUE(WaitEvent(kRail, 1, 5000));
    for (const ar::ArEvent &event : Events()) {
        if (event.eventType == 1) {
            EXPECT_EQ(event.confidence, 80);
        }
    }
    // The hum stops: the ride is over.
    ASSERT_TRUE(WaitUntil(
        [&] {
            std::vector<ar::ArEvent> events = Events();
            return !events.empty() && events.back().eventType == 2 && events.size() >= 3;
        },
        8000));
    Run("ar-off", "1,1;1,2", "app");
    EXPECT_TRUE(LogcatHas("LibAlgo algo lib reset"));
    EXPECT_FALSE(LibraryLoaded("libartolvi.so"));
}

TEST_F(ActivityRoadTest, CommandRepliesAndBadInput) {
    // The mask of the client's numbers 1 to 4.
    EXPECT_EQ(RunRaw("ar_config"), (std::vector<uint8_t>{0x1e, 0, 0, 0, 0, 0, 0, 0}));
    // A bad item in the middle: the others are carried out.
    EXPECT_EQ(Run("ar-on", "3,1,0,0;4,1;4,2,0,0", "app"),
              "index: 1, usage: ar-on arType,eventType,reportLatency,isWakeAp.\n");
    EXPECT_TRUE(WaitForLog("remap activity: 4 to 3"));
    EXPECT_TRUE(LibraryLoaded("libarhand.so"));
    EXPECT_EQ(Run("ar-off", "3", "app"), "index: 0, usage: ar-off arType,eventType.\n");
    EXPECT_EQ(Run("ar-off", "3,1;4,2", "app"), "3,1;4,2 ok");
    EXPECT_FALSE(LibraryLoaded("libarhand.so"));
    // ar-off stored its own text, so the first ar-on runs again.
    EXPECT_EQ(Run("ar-on", "3,1,0,0;4,1;4,2,0,0", "app"),
              "index: 1, usage: ar-on arType,eventType,reportLatency,isWakeAp.\n");
    EXPECT_TRUE(LibraryLoaded("libarhand.so"));

    Run("ar-on", "3,3,0,0", "app");
    EXPECT_TRUE(
        WaitForLog("AR params not supported, activityHandle: 2, eventType: 3, reportLatencyNs: 0"));
    Run("ar-on", "9,1,0,0", "app");
    EXPECT_TRUE(WaitForLog("AR params not supported, activityHandle: -1, eventType: 1"));

    EXPECT_EQ(Run("modem-update", "3"), "usage: modem-update rat,cellId");
    EXPECT_EQ(Run("modem-update", "3,4,5"), "usage: modem-update rat,cellId");
    EXPECT_EQ(Run("scene-update", "screen_state"),
              "usage: scene-update para1,para2,para3,para4,para5");
    EXPECT_EQ(Run("scene-update", "modem_state,3"), "scene update");
    EXPECT_EQ(Run("scene-update", "other,1,2"), "scene update");
    EXPECT_EQ(Run("hsFlag-update", ""), "usage: hsflag-update hsflag");
    EXPECT_EQ(Run("ar-cmd", ""), "ar-cmd: usage: ar-cmd xxx");

    ClearMessages();
    EXPECT_EQ(Run("ar-cmd", "300"), "ar-cmd: 300");
    ASSERT_TRUE(WaitForMessages(1));
    const vyr_msg_t msg = Messages().front();
    EXPECT_EQ(msg.client, "ar-client");
    EXPECT_EQ(msg.type, 1);
    EXPECT_EQ(msg.dataSize, 1);
    EXPECT_EQ(msg.data, std::vector<int32_t>{44});
}

// The activity list the framework gave in an earlier run comes back from
// the property at start.
class ActivityListTest : public ActivityRoadTest {
protected:
    std::string ArList() const override { return "5,0,7,8,"; }
};

TEST_F(ActivityListTest, TheListOfAnEarlierRunIsRecovered) {
    EXPECT_TRUE(LogcatHas("ArList Property get: 5,0,7,8,"));
    EXPECT_EQ(RunRaw("ar_config"), (std::vector<uint8_t>{0xa0, 0x01, 0, 0, 0, 0, 0, 0}));
    Run("ar-on", "8,1,0,0", "app");
    EXPECT_TRUE(WaitForLog("remap activity: 8 to 3"));
    EXPECT_TRUE(LibraryLoaded("libarhand.so"));
}

class ActivityShortListTest : public ActivityRoadTest {
protected:
    std::string ArList() const override { return "5,6,7"; }
};

TEST_F(ActivityShortListTest, AListWithoutFourFieldsChangesNothing) {
    EXPECT_EQ(RunRaw("ar_config"), std::vector<uint8_t>(8, 0));
    // Every activity still answers to 0: the first row takes it.
    Run("ar-on", "0,1,0,0", "app");
    EXPECT_TRUE(WaitForLog("remap activity: 0 to 0"));
}

TEST_F(ActivityRoadTest, AMissingLibraryStopsTheEnableBeforeAnySensor) {
    ASSERT_EQ(std::remove((Root() + "/vendor/lib64/libarhand.so").c_str()), 0);
    EXPECT_EQ(Run("ar-on", "4,1,0,0", "app"), "4,1,0,0 ok");
    EXPECT_TRUE(WaitForLog("LibVyrArHand init failed"));
    // No client was recorded: leaving again finds nothing to leave.
    Run("ar-off", "4,1", "app");
    EXPECT_TRUE(WaitForLog("activity: app1 activityHandle: 3 already disable"));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(mPeriod(kAccelerometer), 0);
    EXPECT_TRUE(Events().empty());
}

// With file logging on and the log captured ("collectlog on"), the activity
// results go to the log client "vyr-client" instead of "ar-client".
class ActivityCaptureTest : public ActivityRoadTest {
protected:
    bool LogEnabled() const override { return true; }

    static size_t CapturedEvents(int32_t activity, int32_t eventType) {
        size_t n = 0;
        for (const vyr_msg_t &msg : Messages()) {
            if (msg.client != "vyr-client" || msg.type != 0) {
                continue;
            }
            for (const ar::ArEvent &event : Decode(msg)) {
                n += event.activity == activity && event.eventType == eventType ? 1 : 0;
            }
        }
        return n;
    }
};

TEST_F(ActivityCaptureTest, CapturedLogHearsTheResultsInsteadOfTheClient) {
    Run("ar-on", "4,1,0,0;4,2,0,0", "app");
    ASSERT_TRUE(WaitUntil([&] { return mPeriod(kAccelerometer) == 10000; }));
    ASSERT_TRUE(WaitEvent(kHand, 2));
    EXPECT_EQ(CapturedEvents(kHand, 2), 0u);

    EXPECT_EQ(Run("collectlog", "on"), "start collect log success.\n");
    ASSERT_EQ(mPlay("hand"), 0);
    ASSERT_TRUE(WaitUntil([] { return CapturedEvents(kHand, 1) == 1; }));
    EXPECT_FALSE(Has(kHand, 1));

    EXPECT_EQ(Run("collectlog", "off"), "stop collect log success.\n");
    ClearMessages();
    ASSERT_EQ(mPlay("still"), 0);
    ASSERT_TRUE(WaitEvent(kHand, 2));
    EXPECT_EQ(CapturedEvents(kHand, 2), 0u);
}

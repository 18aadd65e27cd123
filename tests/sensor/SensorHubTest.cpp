// The hub between the stand-in sensor service and a module: requests merged
// and applied, samples delivered, the service's death, idle, bad input.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "log/VyrFrame.h"
#include "sensor/SensorHubFixture.h"

using namespace sensortest;

namespace {

class PlainHubTest : public HubTest {
protected:
    std::string Product() const override { return kPlainProduct; }
};

ASensorEvent OwnEvent(int32_t type, int64_t timestamp) {
    ASensorEvent event{};
    event.sensor = type;
    event.type = type;
    event.timestamp = timestamp;
    return event;
}

}  // namespace

TEST_F(HubTest, TwoCallersRunTheSensorAtTheFastestRateAndTheLastDisableStopsIt) {
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc100, true));
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kAccType) == 10000; }));
    ASSERT_TRUE(Probe().Ask("b", ProbeModule::kAcc400, true));
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kAccType) == 2500; }));
    EXPECT_TRUE(WaitForLog("rate2us: 2500, mindelay: 2404"));

    // The module sees the merged stream, before any thinning.
    Probe().ClearCounts();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    int count = Probe().Count(kAccType);
    EXPECT_GT(count, 100);
    EXPECT_LT(count, 260);
    // The frame keeps the newest sample of the type.
    EXPECT_NE(mHal->GetCurFrame().GetData().GetEvent(kAccType).timestamp, 0);

    ASSERT_TRUE(Probe().Ask("b", ProbeModule::kAcc400, false));
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kAccType) == 10000; }));
    EXPECT_EQ(DisableCount(kAccType), 0);

    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc100, false));
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kAccType) == 0; }));
    Drain();
    EXPECT_EQ(DisableCount(kAccType), 1);
    VyrSensor sensor;
    ASSERT_TRUE(Hub().GetSensor(kAccType, false, sensor));
    EXPECT_FALSE(sensor.enable);
    EXPECT_EQ(sensor.handle, kAccHandle);
    EXPECT_TRUE(Hub().GetSensorState().empty());
    EXPECT_TRUE(
        LogHas("cur sensor: KX-ACC Accelerometer Non-wakeup, set enable: 0, rate: 0, batch: "
               "500654080"));
}

TEST_F(HubTest, UnchangedSettingIsSkippedAndAnOffSensorIsNotDisabledAgain) {
    mHal->SetLogLevel(4);
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc100, true));
    Drain();
    EXPECT_EQ(EnableCount(kAccType), 1);
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc100, true));
    Drain();
    EXPECT_EQ(EnableCount(kAccType), 1);
    EXPECT_TRUE(
        LogHas("pre sensor: KX-ACC Accelerometer Non-wakeup, en: 1, rate: 100, batch: 0 "
               "skip setting"));

    ASSERT_TRUE(Probe().Ask("z", ProbeModule::kGyro50, false));
    Drain();
    EXPECT_EQ(DisableCount(kGyroType), 0);
    EXPECT_EQ(EnableCount(kGyroType), 0);
}

TEST_F(HubTest, TheServiceIsConnectedOnTheFirstLookupAndTheWakeupFlagIsAPreference) {
    EXPECT_FALSE(Hub().IsConnected());
    ASSERT_TRUE(Hub().SetSensorEnable("w", kAccType, true, 50, 0, true));
    Drain();
    EXPECT_TRUE(Hub().IsConnected());
    EXPECT_TRUE(
        LogHas("sensor[00] type:          1 sensor name: KX-ACC Accelerometer Non-wakeup "
               "wakeup: 0 reportMode: continue"));
    EXPECT_EQ(PeriodUs(kAccType), 20000);
    for (const VyrSensor &sensor : Hub().GetSensors()) {
        if (sensor.type == kAccType) {
            EXPECT_EQ(sensor.enable, sensor.wakeup) << sensor.name;
        }
    }
    // No wakeup light sensor: the other one serves.
    ASSERT_TRUE(Hub().SetSensorEnable("w", 5, true, 5, 0, true));
    Drain();
    EXPECT_EQ(EnableCount(5), 1);
    EXPECT_TRUE(Hub().IsSensorContinuous(kAccType));
    EXPECT_FALSE(Hub().IsSensorContinuous(5));
}

TEST_F(HubTest, ClientDeathDisablesEveryCallerThatHoldsTheName) {
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc100, true));
    ASSERT_TRUE(Probe().Ask("b", ProbeModule::kAcc400, true));
    ASSERT_TRUE(Probe().Ask("b", ProbeModule::kGyro50, true));
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kAccType) == 2500; }));
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kGyroType) == 20000; }));

    Hub().DisableClient("bProbe");
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kAccType) == 10000; }));
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kGyroType) == 0; }));
    EXPECT_TRUE(LogHas("disable type: 1 client: bProbe2"));
    EXPECT_TRUE(LogHas("disable type: 4 client: bProbe4"));
    // The module's own table is its business.
    EXPECT_TRUE(Probe().Connected("b", ProbeModule::kAcc400));

    Hub().DisableClient("");
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kAccType) == 0; }));
}

TEST_F(HubTest, DisableAllTurnsTheRealSensorsOff) {
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc100, true));
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kGyro50, true));
    Drain();
    Hub().DisableAllSensors();
    Drain();
    EXPECT_EQ(PeriodUs(kAccType), 0);
    EXPECT_EQ(PeriodUs(kGyroType), 0);
    EXPECT_TRUE(LogHas("cur sensor: KX-ACC Accelerometer Non-wakeup disable"));
    EXPECT_TRUE(LogHas("cur sensor: KX-GYR Gyroscope Non-wakeup disable"));
}

TEST_F(HubTest, IdleTakesTwoRequestsTwoSecondsApart) {
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc100, true));
    Drain();
    Hub().SensorIdle(true, 5);
    Drain();
    EXPECT_FALSE(Hub().IsIdle());
    Hub().SensorIdle(true, 5);
    Drain();
    EXPECT_FALSE(Hub().IsIdle());
    // Leaving while not idle neither changes anything nor forgets the first
    // request.
    Hub().SensorIdle(false, 100);
    Drain();
    EXPECT_EQ(PeriodUs(kAccType), 10000);

    std::this_thread::sleep_for(std::chrono::milliseconds(2050));
    Hub().SensorIdle(true, 5);
    Drain();
    EXPECT_TRUE(Hub().IsIdle());
    EXPECT_EQ(PeriodUs(kAccType), 200000);
    EXPECT_TRUE(LogHas("enter idle"));
    EXPECT_TRUE(LogHas("cur sensor: KX-ACC Accelerometer Non-wakeup idle: 1 rate:    5"));

    Hub().SensorIdle(false, 100);
    Drain();
    EXPECT_FALSE(Hub().IsIdle());
    EXPECT_EQ(PeriodUs(kAccType), 10000);
    EXPECT_TRUE(LogHas("outer idle"));

    // A reset forgets a pending first request.
    Hub().SensorIdle(true, 5);
    Drain();
    Hub().ResetSensorIdle();
    std::this_thread::sleep_for(std::chrono::milliseconds(2050));
    Hub().SensorIdle(true, 5);
    Drain();
    EXPECT_FALSE(Hub().IsIdle());
}

TEST_F(HubTest, ReconnectRestoresEnableAndRateWithoutTellingTheModules) {
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc100, true));
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kAccType) == 10000; }));
    Drain();

    ServiceDie();
    EXPECT_FALSE(Hub().IsConnected());
    EXPECT_TRUE(Hub().GetSensors().empty());
    auto saved = Hub().GetSensorState();
    ASSERT_EQ(saved.count(kAccType), 1u);
    EXPECT_EQ(saved[kAccType].first, 100);
    ServiceRestart();
    EXPECT_EQ(PeriodUs(kAccType), 0);  // the new service knows nothing

    // The next lookup reconnects; the sensor believes itself on at 100 Hz, so
    // the same request again is skipped.
    int enables = EnableCount(kAccType);
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc100, true));
    Drain();
    EXPECT_TRUE(Hub().IsConnected());
    VyrSensor sensor;
    ASSERT_TRUE(Hub().GetSensor(kAccType, false, sensor));
    EXPECT_TRUE(sensor.enable);
    EXPECT_EQ(sensor.rate, 100);
    EXPECT_EQ(EnableCount(kAccType), enables);
    EXPECT_TRUE(Probe().Connected("a", ProbeModule::kAcc100));

    // A request that differs goes through to the new service.
    ASSERT_TRUE(Probe().Ask("b", ProbeModule::kAcc400, true));
    EXPECT_TRUE(WaitUntil([&] { return PeriodUs(kAccType) == 2500; }));
    Probe().ClearCounts();
    EXPECT_TRUE(WaitUntil([&] { return Probe().Count(kAccType) > 20; }));
}

TEST_F(HubTest, BadEventsAndRequestsAreLoggedAndDropped) {
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc100, true));
    Drain();
    ASSERT_TRUE(Hub().IsConnected());

    ASSERT_EQ(Inject(ServiceEvent(kAccHandle, 99, SensorNowNs())), 0);
    ASSERT_EQ(Inject([&] {
                  ASensorEvent event = ServiceEvent(kAccHandle, 99, SensorNowNs());
                  event.version = 0;
                  return event;
              }()),
              0);
    ASSERT_EQ(Inject(ServiceEvent(0x999, 98, SensorNowNs())), 0);
    ASSERT_EQ(SensorSync(), 0);
    Drain();
    EXPECT_EQ(Probe().Count(99), 1);
    EXPECT_TRUE(LogHas("ASensorEvent version: 0 != 104"));
    // An unknown handle still reaches the module and the frame.
    EXPECT_EQ(Probe().Count(98), 1);
    EXPECT_TRUE(LogHas("can not found sensor handle: 2457"));
    EXPECT_EQ(mHal->GetCurFrame().GetData().GetEvent(98).sensor, 0x999);

    ASSERT_TRUE(Probe().Ask("u", ProbeModule::kUnknown, true));
    Drain();
    EXPECT_TRUE(LogHas("can not found sensor type: 30583"));

    EXPECT_FALSE(Hub().SetSensorEnable(std::string(128, 'x'), kGyroType, true, 10, 0, false));
    EXPECT_TRUE(LogHas("memcpy_s failed, err = 34"));
    EXPECT_TRUE(Hub().SetSensorEnable(std::string(127, 'y'), kGyroType, true, 10, 0, false));
    Drain();
    EXPECT_EQ(PeriodUs(kGyroType), 100000);
}

TEST_F(PlainHubTest, CallbacksRunInNameOrderAndAreReplacedByName) {
    std::vector<std::string> calls;  // touched on the hub thread only, read after Drain
    EXPECT_TRUE(Hub().RegisterSensorCallback(
        "b", [&](ASensorEvent, bool ok) { calls.push_back(ok ? "b" : "b?"); }));
    EXPECT_TRUE(
        Hub().RegisterSensorCallback("a", [&](ASensorEvent, bool) { calls.push_back("a"); }));
    EXPECT_FALSE(Hub().RegisterSensorCallback("c", SensorCallback()));
    Hub().PushSensorEvent(OwnEvent(SENSOR_TYPE_TP, 1));
    Drain();
    EXPECT_EQ(calls, (std::vector<std::string>{"a", "b"}));

    calls.clear();
    EXPECT_FALSE(
        Hub().RegisterSensorCallback("a", [&](ASensorEvent, bool) { calls.push_back("A"); }));
    EXPECT_TRUE(WaitForLog("callback name: a registered, replace func"));
    Hub().UnregisterSensorCallback("b");
    Hub().UnregisterSensorCallback("none");
    Hub().PushSensorEvent(OwnEvent(SENSOR_TYPE_TP, 2));
    Drain();
    EXPECT_EQ(calls, (std::vector<std::string>{"A"}));
    Hub().UnregisterSensorCallback("a");
}

TEST_F(PlainHubTest, ACallbackMayDropItselfAndAddAnother) {
    std::atomic<int> once{0};
    std::atomic<int> later{0};
    Hub().RegisterSensorCallback("m", [&](ASensorEvent, bool) {
        once++;
        Hub().UnregisterSensorCallback("m");
        Hub().RegisterSensorCallback("n", [&](ASensorEvent, bool) { later++; });
    });
    Hub().PushSensorEvent(OwnEvent(SENSOR_TYPE_TP, 1));
    Hub().PushSensorEvent(OwnEvent(SENSOR_TYPE_TP, 2));
    Drain();
    EXPECT_EQ(once.load(), 1);
    EXPECT_GE(later.load(), 1);
    Hub().UnregisterSensorCallback("n");
}

TEST_F(PlainHubTest, EventsOfOneBatchKeepTheirOrder) {
    std::vector<int64_t> stamps;
    Hub().RegisterSensorCallback("order", [&](ASensorEvent event, bool) {
        if (event.type == SENSOR_TYPE_TP) {
            stamps.push_back(event.timestamp);
        }
    });
    std::vector<ASensorEvent> batch;
    for (int i = 0; i < 1000; ++i) {
        batch.push_back(OwnEvent(SENSOR_TYPE_TP, i));
    }
    Hub().PushSensorEvents(batch);
    for (int i = 1000; i < 1300; ++i) {
        Hub().PushSensorEvent(OwnEvent(SENSOR_TYPE_TP, i));
    }
    Drain();
    Hub().UnregisterSensorCallback("order");
    ASSERT_EQ(stamps.size(), 1300u);
    for (size_t i = 0; i < stamps.size(); ++i) {
        ASSERT_EQ(stamps[i], static_cast<int64_t>(i));
    }
    // Own events go to the frame untouched by the hub's thinning, stamped on
    // arrival.
    ASensorEvent last = mHal->GetCurFrame().GetData().GetEvent(SENSOR_TYPE_TP);
    EXPECT_EQ(last.timestamp, 1299);
    EXPECT_GT(GetEventArrivalMs(last), 0u);
}

TEST_F(PlainHubTest, PrivateTableWithoutTheFusionGroups) {
    auto sensors = Hub().GetPrivateSensors();
    ASSERT_EQ(sensors.size(), 20u);
    EXPECT_EQ(static_cast<uint32_t>(sensors.front().type), 0xF4000000u);
    EXPECT_EQ(sensors.back().type, SENSOR_TYPE_TP);
    VyrSensor sensor;
    EXPECT_FALSE(Hub().GetSensor(SENSOR_TYPE_FUSION_SENSE, false, sensor));
    const auto &types = mHal->GetFrameTypes();
    EXPECT_EQ(types.count(0xF2000000u), 0u);
    EXPECT_EQ(types.at(0xF1000002u), "SENSOR_TYPE_TP");
}

TEST_F(HubTest, PrivateTableOfAFusionProduct) {
    auto sensors = Hub().GetPrivateSensors();
    ASSERT_EQ(sensors.size(), 37u);
    EXPECT_EQ(sensors[0].type, SENSOR_TYPE_FUSION_ACC);
    EXPECT_EQ(sensors[8].type, SENSOR_TYPE_FUSION_SENSE);
    for (const VyrSensor &sensor : sensors) {
        EXPECT_EQ(sensor.handle, sensor.type);
        EXPECT_EQ(sensor.vendor, "tolvi");
        EXPECT_FALSE(sensor.wakeup);
        EXPECT_EQ(sensor.sensorPtr, nullptr);
    }
    VyrSensor modem;
    ASSERT_TRUE(Hub().GetSensor(static_cast<int32_t>(0xF2000002u), false, modem));
    EXPECT_EQ(modem.name, "AR_BETA_MODEM Non-wakeup");
    EXPECT_EQ(modem.reportMode, "onchange");
    EXPECT_FALSE(modem.continuous);
    const auto &types = mHal->GetFrameTypes();
    EXPECT_EQ(types.at(0x2000003u), "SENSOR_TYPE_FUSION_ACC");
    EXPECT_EQ(types.at(0xF3000002u), "SENSOR_TYPE_MOTION_BETA_PROXIMITY");
    EXPECT_EQ(types.count(0x2000000u), 0u);
}

TEST_F(HubTest, StopsCleanlyWhileSamplesFlow) {
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kAcc400, true));
    ASSERT_TRUE(Probe().Ask("a", ProbeModule::kGyro50, true));
    EXPECT_TRUE(WaitUntil([&] { return Probe().Count(kAccType) > 10; }));
    std::atomic<bool> stop{false};
    SensorHub &hub = Hub();
    std::thread pusher([&] {
        int64_t t = 0;
        while (!stop.load()) {
            hub.PushSensorEvent(OwnEvent(SENSOR_TYPE_TP, ++t));
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    stop = true;
    pusher.join();
    // The stand-in keeps sampling while the HAL goes away.
    mProbe.reset();
    mHal.reset();
    EXPECT_TRUE(LogHas("quit thread Process"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

// The way out through SOS ends the process even when it starts on the hub's
// thread, or while that thread hangs in a module callback with the module
// mutex held; the HAL is then destroyed by exit() as the library's own is.
TEST_F(HubTest, SosFromAModuleCallbackEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static std::unique_ptr<VyrHal> keep;
            keep = std::move(mHal);
            keep->GetSensorHub().RegisterSensorCallback(
                "sos", [](ASensorEvent, bool) { keep->DoSos("test", 1, false); });
            keep->GetSensorHub().PushSensorEvent(OwnEvent(SENSOR_TYPE_TP, 1));
            std::this_thread::sleep_for(std::chrono::seconds(20));
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(HubTest, SosWhileTheHubHangsEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static std::unique_ptr<VyrHal> keep;
            static std::atomic<bool> entered{false};
            keep = std::move(mHal);
            keep->GetSensorHub().RegisterSensorCallback("hang", [](ASensorEvent, bool) {
                entered = true;
                std::this_thread::sleep_for(std::chrono::seconds(60));
            });
            keep->GetSensorHub().PushSensorEvent(OwnEvent(SENSOR_TYPE_TP, 1));
            while (!entered) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            keep->DoSos("test", 2, false);
            std::this_thread::sleep_for(std::chrono::seconds(20));
        },
        ::testing::ExitedWithCode(0), "");
}

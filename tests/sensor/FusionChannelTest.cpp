// The fusion channel between the stand-in hub and a module: the setting of
// all channels at once, frames turned into events, frames refused.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sensor/SensorHubFixture.h"

using namespace sensortest;

namespace {

constexpr uint64_t kT0 = 1000000000000ULL;  // a boot time, ns

std::string Command(VyrHal &hal, const std::string &name, const std::string &param) {
    std::vector<uint8_t> in(param.begin(), param.end());
    std::vector<uint8_t> out;
    hal.VyrRunCommand("test", name, in, out);
    return std::string(out.begin(), out.end());
}

}  // namespace

TEST_F(HubTest, FusionSettingReachesTheHubAndFramesBecomeEvents) {
    ASSERT_TRUE(Probe().Ask("f", ProbeModule::kFusion, true));
    Drain();
    FusionSenseConfig config;
    bool enable = false;
    ASSERT_TRUE(FusionConfig(config, enable));
    EXPECT_TRUE(enable);
    EXPECT_EQ(config.reportRate, 5);
    EXPECT_EQ(config.channelRates, (std::vector<float>{100.0f, 200.0f, 0, 0, 0, 0}));
    EXPECT_EQ(FusionCalls("FusionSenseActivate"), 1);
    EXPECT_TRUE(LogHas("fusion sensor report rate: 5"));
    EXPECT_TRUE(LogHas("fusion sensor type: 1, rate: 200.000000"));

    ASSERT_TRUE(WaitUntil([&] {
        return Probe().Count(SENSOR_TYPE_FUSION_ACC) >= 40 &&
               Probe().Count(SENSOR_TYPE_FUSION_GYRO) >= 80;
    }));
    EXPECT_EQ(Probe().Count(SENSOR_TYPE_FUSION_MAG), 0);
    auto events = Probe().Events(SENSOR_TYPE_FUSION_ACC);
    for (size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events[i].version, 0);
        EXPECT_EQ(events[i].sensor, SENSOR_TYPE_FUSION_ACC);
        EXPECT_FLOAT_EQ(events[i].data[2], 9.80665f);
        if (i > 0) {
            EXPECT_GT(events[i].timestamp, events[i - 1].timestamp);
        }
    }

    ASSERT_TRUE(Probe().Ask("f", ProbeModule::kFusion, false));
    Drain();
    EXPECT_TRUE(LogHas("fusion sensor disable"));
    EXPECT_FALSE(FusionOpen());
    EXPECT_EQ(FusionCalls("FusionSenseUnInit"), 1);
}

TEST_F(HubTest, RepeatedFusionSettingGoesThroughOnlyAfterAChannelChanged) {
    ASSERT_TRUE(Probe().Ask("f", ProbeModule::kFusion, true));
    ASSERT_TRUE(Probe().Ask("g", ProbeModule::kFusion, true));
    Drain();
    EXPECT_EQ(FusionCalls("FusionSenseActivate"), 1);

    ASSERT_TRUE(Hub().SetSensorEnable("x", SENSOR_TYPE_FUSION_MAG, true, 50, 0, false));
    ASSERT_TRUE(Hub().SetSensorEnable("x", SENSOR_TYPE_FUSION_SENSE, true, 5, 0, false));
    Drain();
    EXPECT_EQ(FusionCalls("FusionSenseActivate"), 2);
    FusionSenseConfig config;
    bool enable = false;
    ASSERT_TRUE(FusionConfig(config, enable));
    EXPECT_EQ(config.channelRates, (std::vector<float>{100.0f, 200.0f, 50.0f, 0, 0, 0}));

    // A restart of the hub: the whole configuration is sent again.
    ASSERT_EQ(FusionRestart(), 0);
    ASSERT_EQ(FusionSync(), 0);
    Drain();
    EXPECT_EQ(FusionCalls("FusionSenseActivate"), 3);
    ASSERT_TRUE(FusionConfig(config, enable));
    EXPECT_EQ(config.channelRates[2], 50.0f);
}

TEST_F(HubTest, FrameAgeLimitIsFiveSecondsInclusive) {
    FSEventStruct frame = FusionFrame({{0, 1, 2, 3}}, kT0);
    Hub().ProcessFusionData(frame, kT0 + 5000000000ULL);
    Drain();
    ASSERT_EQ(Probe().Count(SENSOR_TYPE_FUSION_ACC), 1);
    EXPECT_EQ(Probe().Events(SENSOR_TYPE_FUSION_ACC)[0].timestamp, static_cast<int64_t>(kT0));
    EXPECT_FLOAT_EQ(Probe().Events(SENSOR_TYPE_FUSION_ACC)[0].data[1], 2.0f);

    FSEventStruct old = FusionFrame({{0, 1, 2, 3}}, kT0);
    Hub().ProcessFusionData(old, kT0 + 5000000001ULL);
    Drain();
    EXPECT_EQ(Probe().Count(SENSOR_TYPE_FUSION_ACC), 1);
    EXPECT_TRUE(LogHas("in deepsleep mode, Discarding the fusion event befor 5000ms"));
}

TEST_F(HubTest, FrameTimestampsRiseByOneWithinAFrameOnly) {
    FSEventStruct frame = FusionFrame({{0, 0, 0, 1}, {1, 0, 0, 2}, {0, 0, 0, 3}}, kT0);
    Hub().ProcessFusionData(frame, kT0);
    FSEventStruct next = FusionFrame({{0, 0, 0, 4}}, kT0 + 200000000);
    Hub().ProcessFusionData(next, kT0 + 200000000);
    Drain();
    auto acc = Probe().Events(SENSOR_TYPE_FUSION_ACC);
    auto gyro = Probe().Events(SENSOR_TYPE_FUSION_GYRO);
    ASSERT_EQ(acc.size(), 3u);
    ASSERT_EQ(gyro.size(), 1u);
    EXPECT_EQ(acc[0].timestamp, static_cast<int64_t>(kT0));
    EXPECT_EQ(gyro[0].timestamp, static_cast<int64_t>(kT0 + 1));
    EXPECT_EQ(acc[1].timestamp, static_cast<int64_t>(kT0 + 2));
    EXPECT_EQ(acc[2].timestamp, static_cast<int64_t>(kT0 + 200000000));
}

TEST_F(HubTest, AStrayChannelDropsTheWholeFrame) {
    ASSERT_TRUE(Probe().Ask("f", ProbeModule::kFusion, true));
    Drain();
    FusionPause(true);
    ASSERT_EQ(FusionSync(), 0);
    Drain();
    Probe().ClearCounts();

    uint64_t now = static_cast<uint64_t>(FusionNowNs());
    ASSERT_EQ(
        FusionInject(FusionFrame({{0, 0, 0, 1}, {1, 0, 0, 1}, {0, 0, 0, 1}, {6, 0, 0, 1}}, now)),
        0);
    ASSERT_EQ(FusionSync(), 0);
    Drain();
    EXPECT_EQ(Probe().Count(SENSOR_TYPE_FUSION_ACC), 0);
    EXPECT_EQ(Probe().Count(SENSOR_TYPE_FUSION_GYRO), 0);
    EXPECT_TRUE(LogHas("fusion sense sensor type: 6 error"));

    ASSERT_EQ(FusionInject(FusionFrame({{1, 0, 0, 1}}, now + 1000)), 0);
    ASSERT_EQ(FusionSync(), 0);
    Drain();
    EXPECT_EQ(Probe().Count(SENSOR_TYPE_FUSION_GYRO), 1);
}

TEST_F(HubTest, BadFramesAreLoggedAndDropped) {
    mHal->SetLogLevel(4);
    FSEventStruct empty = FusionFrame({}, kT0);
    Hub().ProcessFusionData(empty, kT0);
    EXPECT_TRUE(LogHas("fusion sense callback event: 0, report rate: 5.000000"));

    FSEventStruct failed = FusionFrame({}, kT0);
    failed.modeArg = -3;
    failed.data = "hub down";
    Hub().ProcessFusionData(failed, kT0);
    EXPECT_TRUE(LogHas("sensorhub failed: -3 reason: hub down"));

    FSEventStruct sum = FusionFrame({{0, 1, 1, 1}}, kT0);
    sum.checksum += 1;
    Hub().ProcessFusionData(sum, kT0);
    EXPECT_TRUE(LogHas("checksum failed: "));

    FSEventStruct odd = FusionFrame({{0, 1, 1, 1}}, kT0);
    odd.data.push_back('\x01');
    odd.checksum += 1;
    Hub().ProcessFusionData(odd, kT0);
    EXPECT_TRUE(LogHas("date size error 17 < 16"));

    FSEventStruct beta = FusionFrame({{0, 1, 1, 1}}, kT0);
    beta.mode = 1;
    Hub().ProcessFusionData(beta, kT0);
    // Read as beta records, never as samples: a record of type 0 is unknown.
    EXPECT_TRUE(LogHas("unknow sensor type: 0x0"));

    Drain();
    EXPECT_EQ(Probe().Count(SENSOR_TYPE_FUSION_ACC), 0);

    // Frames the hub discarded before this one are reported; this one counts.
    FSEventStruct late = FusionFrame({{2, 1, 1, 1}}, kT0);
    late.modeArg = 3;
    Hub().ProcessFusionData(late, kT0);
    Drain();
    EXPECT_TRUE(LogHas("sensorhub discard frame: 3"));
    EXPECT_EQ(Probe().Count(SENSOR_TYPE_FUSION_MAG), 1);
    EXPECT_TRUE(LogHas("sensorhub rate:   5.0HZ, hal rate: 0HZ, type: 2 recv  1 events"));
}

TEST_F(HubTest, FusionConfigCommandWithoutClientsTakesTheChannelDown) {
    EXPECT_EQ(Command(*mHal, "fusionConfig", "0"), "setting fusion config: 0");
    Drain();
    EXPECT_EQ(FusionCalls("FusionSenseInit"), 1);
    EXPECT_EQ(FusionCalls("FusionSenseActivate"), 1);
    EXPECT_EQ(FusionCalls("FusionSenseUnInit"), 1);
    EXPECT_FALSE(FusionOpen());

    // Beta traffic keeps the channel up.
    EXPECT_EQ(Command(*mHal, "fusionConfig", "3"), "setting fusion config: 3");
    Drain();
    EXPECT_TRUE(LogHas("fusion sensor beta config: 3, buffer size: 77824"));
    EXPECT_TRUE(FusionOpen());
    FusionSenseConfig config;
    bool enable = true;
    ASSERT_TRUE(FusionConfig(config, enable));
    EXPECT_FALSE(enable);
    EXPECT_EQ(config.betaConfig, 3);
    EXPECT_TRUE(WaitForLog("sensorhub beta mode: 1", 3000));
}

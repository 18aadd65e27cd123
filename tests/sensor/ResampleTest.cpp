// Thinning of a stream down to a listener's rate.
#include <gtest/gtest.h>

#include <cmath>

#include "sensor/SensorHubFixture.h"

using namespace sensortest;

namespace {

class ResampleTest : public HubTest {
protected:
    std::string Product() const override { return kPlainProduct; }

    // A continuous real sensor as the library reports one.
    static VyrSensor RealSensor() {
        static const int kObject = 0;
        VyrSensor sensor;
        sensor.handle = kAccHandle;
        sensor.type = kAccType;
        sensor.continuous = true;
        sensor.name = "acc";
        sensor.sensorPtr = &kObject;
        return sensor;
    }

    // Events that pass out of `seconds` of a stream at `hz`, starting at a
    // boot time of 100 s.
    int Passed(const VyrSensor &sensor, ResampleInfo &info, double hz, double seconds) {
        const int n = static_cast<int>(hz * seconds);
        int passed = 0;
        for (int i = 0; i < n; ++i) {
            ASensorEvent event = ServiceEvent(sensor.handle, sensor.type,
                                              100000000000LL + std::llround(i * 1e9 / hz));
            if (!Hub().DataResampleSkip(sensor, event, info)) {
                ++passed;
            }
        }
        return passed;
    }
};

}  // namespace

TEST_F(ResampleTest, FastStreamIsCutToTheTargetRate) {
    ResampleInfo info;
    info.rate = 100;
    int passed = Passed(RealSensor(), info, 400.0, 10.0);
    EXPECT_NEAR(passed, 1000, 10);  // within one event a second
}

TEST_F(ResampleTest, ModeratelyFastStreamDropsEveryNthEvent) {
    ResampleInfo info;
    info.rate = 100;
    EXPECT_NEAR(Passed(RealSensor(), info, 150.0, 10.0), 1000, 10);
    ResampleInfo info2;
    info2.rate = 50;
    EXPECT_NEAR(Passed(RealSensor(), info2, 60.0, 10.0), 500, 10);
}

TEST_F(ResampleTest, SlowStreamPassesWhole) {
    ResampleInfo info;
    info.rate = 100;
    EXPECT_EQ(Passed(RealSensor(), info, 50.0, 4.0), 200);
    EXPECT_EQ(info.count, 0);
}

TEST_F(ResampleTest, ZeroTargetDropsEveryEvent) {
    ResampleInfo info;
    info.rate = 0;
    EXPECT_EQ(Passed(RealSensor(), info, 400.0, 2.0), 0);
}

TEST_F(ResampleTest, FirstEventPassesWithoutStartingTheClock) {
    ResampleInfo info;
    info.rate = 100;
    ASensorEvent event = ServiceEvent(kAccHandle, kAccType, 5000000000LL);
    EXPECT_FALSE(Hub().DataResampleSkip(RealSensor(), event, info));
    EXPECT_EQ(info.preTimeStamp, 5000000000u);
    EXPECT_EQ(info.startTimeStamp, 0u);
    // Equal timestamps: only the time since the last passed event counts.
    event.timestamp = 5000000000LL;
    EXPECT_FALSE(Hub().DataResampleSkip(RealSensor(), event, info));  // 5 s since "start" 0
    EXPECT_EQ(info.startTimeStamp, 5000000000u);
    EXPECT_TRUE(Hub().DataResampleSkip(RealSensor(), event, info));
    event.timestamp += 9000000;  // 9 ms: under the target, the count decides
    EXPECT_FALSE(Hub().DataResampleSkip(RealSensor(), event, info));
}

TEST_F(ResampleTest, OnChangeAndPrivateSensorsAreNeverThinned) {
    ResampleInfo info;
    info.rate = 0;
    VyrSensor onChange = RealSensor();
    onChange.continuous = false;
    ASensorEvent event = ServiceEvent(kAccHandle, kAccType, 1);
    EXPECT_FALSE(Hub().DataResampleSkip(onChange, event, info));
    VyrSensor own = RealSensor();
    own.sensorPtr = nullptr;
    EXPECT_FALSE(Hub().DataResampleSkip(own, event, info));
    // By handle: a private sensor is found without the service.
    ASensorEvent tp = ServiceEvent(SENSOR_TYPE_TP, SENSOR_TYPE_TP, 1);
    EXPECT_FALSE(Hub().DataResampleSkip(tp, info));
    EXPECT_EQ(info.preTimeStamp, 0u);
}

// Beta frames of the fusion channel decoded into private events of the
// current frame.
#include <gtest/gtest.h>

#include "sensor/FmqMessages.h"
#include "sensor/SensorHub.h"
#include "sensor/VyrFusionBeta.h"
#include "support/FmqBuilder.h"
#include "support/InProcessHal.h"

using namespace fmqbuild;

namespace {

class FusionBetaTest : public vyrtest::InProcessHal {
protected:
    void Process(const std::string &data) {
        FSEventStruct frame;
        frame.mode = 1;
        frame.data = data;
        VyrFusionBeta beta(Hal());
        beta.ProcessFusionBeta(frame);
    }

    static Bytes AccPayload(float first) {
        Bytes payload;
        for (int i = 0; i < 50; ++i) {
            PutWord(payload, FloatBits(first + static_cast<float>(i)));
            PutWord(payload, FloatBits(0.5f));
            PutWord(payload, FloatBits(-9.5f));
        }
        return payload;
    }

    static constexpr uint32_t kAcc = SENSOR_TYPE_AR_BETA_BASE;
};

}  // namespace

TEST_F(FusionBetaTest, RecordsOfAFrameBecomeEvents) {
    Bytes modem;
    PutWord(modem, 1);
    PutWord(modem, 460);
    PutWord(modem, 7);
    fmq::ArResultRecord result{};
    result.clk = 5;
    result.currentARStatus = 2;
    result.stepsInfo = 30;
    result.stationaryScore = 100;
    Bytes resultBytes;
    PutBytes(resultBytes, &result, sizeof(result));
    Process(BetaRecord(fmq::kBetaArAcc, 1000, AccPayload(1.0f)) +
            BetaRecord(fmq::kBetaArModem, 1001, modem) +
            BetaRecord(fmq::kBetaArResult, 1002, resultBytes));

    auto acc = FrameEvents(kAcc);
    ASSERT_EQ(acc.size(), 50u);
    EXPECT_EQ(static_cast<uint32_t>(acc[0].sensor), kAcc);
    EXPECT_EQ(acc[0].version, 0);
    EXPECT_EQ(acc[49].timestamp, 1000);
    EXPECT_FLOAT_EQ(acc[49].data[0], 50.0f);
    EXPECT_FLOAT_EQ(acc[49].data[2], -9.5f);

    auto modemEvents = FrameEvents(kAcc + 2);
    ASSERT_EQ(modemEvents.size(), 1u);
    EXPECT_EQ(modemEvents[0].u64.data[0], 460u);
    EXPECT_EQ(modemEvents[0].u64.data[1], 7u);
    // Records of one frame arrive one millisecond apart.
    EXPECT_EQ(GetEventArrivalMs(modemEvents[0]), GetEventArrivalMs(acc[0]) + 1);

    auto results = FrameEvents(kAcc + 3);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_FLOAT_EQ(results[0].data[0], 100.0f);
    EXPECT_EQ(results[0].flags, 5u);
    EXPECT_EQ(results[0].reserved1[0], 2);
    EXPECT_EQ(results[0].reserved1[1], 30);
    EXPECT_EQ(results[0].timestamp, 1002);
    EXPECT_FALSE(LogHas("beta data format error")) << Logcat();
}

TEST_F(FusionBetaTest, StrayBytesAfterARecord) {
    Process(BetaRecord(fmq::kBetaArAcc, 1, AccPayload(0.0f)) + std::string(2, '\0'));
    EXPECT_EQ(FrameEvents(kAcc).size(), 50u);
    EXPECT_TRUE(LogHas("beta data format error remainSize 2 < 12")) << Logcat();
}

TEST_F(FusionBetaTest, BadSizesEndTheFrame) {
    Bytes short599 = AccPayload(0.0f);
    short599.pop_back();
    Process(BetaRecord(fmq::kBetaArAcc, 1, short599) + BetaRecord(fmq::kBetaArMag, 1, Bytes(60)));
    EXPECT_TRUE(LogHas("BETA_AR_ACC data size error 599 != 600"));
    EXPECT_TRUE(FrameEvents(kAcc).empty());
    EXPECT_TRUE(FrameEvents(kAcc + 1).empty());

    // A record that claims more than the frame holds.
    std::string cut = BetaRecord(fmq::kBetaArMag, 1, Bytes(60));
    cut.resize(cut.size() - 3);
    Process(cut);
    EXPECT_TRUE(LogHas("beta data format error remainSize 69 < 72")) << Logcat();

    Process(BetaRecord(0x2000, 1, Bytes(4)));
    EXPECT_TRUE(LogHas("unknow sensor type: 0x2000"));
    Process(std::string(11, '\0'));
    EXPECT_TRUE(LogHas("date size 11 < 12"));
    EXPECT_TRUE(FrameEvents(kAcc + 1).empty());
}

// A good magnetometer record: five triples of floats, one event each, all
// with the record's time, behind an accelerometer record of the same frame.
TEST_F(FusionBetaTest, MagnetometerRecordGivesFiveEvents) {
    Bytes mag;
    for (int i = 0; i < 5; ++i) {
        PutWord(mag, FloatBits(10.0f * static_cast<float>(i) + 0.25f));
        PutWord(mag, FloatBits(-20.5f));
        PutWord(mag, FloatBits(static_cast<float>(i)));
    }
    Process(BetaRecord(fmq::kBetaArAcc, 40, AccPayload(0.0f)) +
            BetaRecord(fmq::kBetaArMag, 41, mag));
    auto events = FrameEvents(kAcc + 1);
    ASSERT_EQ(events.size(), 5u);
    for (int i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(static_cast<uint32_t>(events[i].sensor), kAcc + 1);
        EXPECT_EQ(static_cast<uint32_t>(events[i].type), kAcc + 1);
        EXPECT_EQ(events[i].timestamp, 41);
        EXPECT_FLOAT_EQ(events[i].data[0], 10.0f * static_cast<float>(i) + 0.25f);
        EXPECT_FLOAT_EQ(events[i].data[1], -20.5f);
        EXPECT_FLOAT_EQ(events[i].data[2], static_cast<float>(i));
    }
    EXPECT_EQ(GetEventArrivalMs(events[0]), GetEventArrivalMs(FrameEvents(kAcc).at(0)) + 1);
    EXPECT_FALSE(LogHas("BETA_AR_MAG data size error")) << Logcat();
    EXPECT_FALSE(LogHas("beta data format error")) << Logcat();
}

// The queue reader through the entry the exported table calls: framing of
// every head (bytes taken: the message behind it is still read), cut
// messages costing the rest of the buffer, and what each head leaves behind
// (frame events, big-data files, monitor events, hand-over lines).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>

#include "sensor/FmqMessages.h"
#include "sensor/SensorHub.h"
#include "support/FmqBuilder.h"
#include "support/HalFixture.h"
#include "support/InProcessHal.h"

using namespace fmqbuild;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr const char *kArTmp = "/data/vendor/log/arlog/ar_bigdata.tmp";
constexpr const char *kMotionTmp = "/data/vendor/log/motionlog/motion_bigdata.tmp";

class FmqTest : public vyrtest::InProcessHal {
protected:
    void SetUp() override {
        InProcessHal::SetUp();
        Hal().SetLogLevel(4);
    }

    // A message behind which a marker big-data line follows: the marker is
    // stored only when the first message took exactly its own bytes.
    void ExpectFramed(const Bytes &message, const std::string &marker) {
        Bytes buffer = Join({message, LengthMessage(fmq::kHeadArBigData, marker)});
        EXPECT_EQ(Feed(buffer), static_cast<int32_t>(buffer.size()));
        EXPECT_THAT(ReadArTmp(), HasSubstr(marker + "\n"));
        EXPECT_FALSE(LogHas("error fmq msg head")) << Logcat();
    }
    // A message whose buffer ends one byte early: the size error, the whole
    // buffer used, and nothing else read.
    void ExpectCut(const Bytes &message) {
        const Bytes cut = Cut(message, 1);
        const size_t before = LogCount("data size error");
        const size_t heads = LogCount("recv fmq msg head");
        EXPECT_EQ(Feed(cut), static_cast<int32_t>(cut.size()));
        EXPECT_EQ(LogCount("data size error"), before + 1) << Logcat();
        EXPECT_EQ(LogCount("recv fmq msg head"), heads + 1);
    }
    std::string ReadArTmp() const { return vyrtest::ReadText(Real(kArTmp)); }
};

}  // namespace

TEST_F(FmqTest, ThreeBytesAreTooFewForAHead) {
    EXPECT_EQ(Feed({0x00, 0x30, 0x00}), 3);
    EXPECT_TRUE(LogHas("date size 3 < 4"));
    EXPECT_FALSE(LogHas("recv fmq msg head"));
    EXPECT_EQ(Hal().VyrFmqData(nullptr, 12), 12);
}

TEST_F(FmqTest, TwoGoodMessagesThenAnUnknownHead) {
    Bytes unknown;
    PutWord(unknown, 0x1234);
    Bytes buffer = Join({LengthMessage(fmq::kHeadArBigData, "first"),
                         LengthMessage(fmq::kHeadMotionBigData, "second"), unknown,
                         LengthMessage(fmq::kHeadArBigData, "lost")});
    EXPECT_EQ(Feed(buffer), static_cast<int32_t>(buffer.size()));
    EXPECT_THAT(ReadArTmp(), HasSubstr("first\n"));
    EXPECT_THAT(vyrtest::ReadText(Real(kMotionTmp)), HasSubstr("second\n"));
    EXPECT_THAT(ReadArTmp(), Not(HasSubstr("lost")));
    EXPECT_TRUE(LogHas("error fmq msg head: 0x1234 remainSize: 16")) << Logcat();
    EXPECT_EQ(LogCount("recv fmq msg head"), 3u);
}

TEST_F(FmqTest, BigDataFilesStartWithTheSeparator) {
    ExpectFramed(LengthMessage(fmq::kHeadMotionBigData, "motion,1,2"), "marker");
    EXPECT_EQ(vyrtest::ReadText(Real(kMotionTmp)), "==========\nmotion,1,2\n");
    EXPECT_EQ(ReadArTmp(), "==========\nmarker\n");
    ExpectCut(LengthMessage(fmq::kHeadArBigData, "cut text"));
    // A length that claims more than a 32-bit count can hold.
    Bytes huge;
    PutWord(huge, fmq::kHeadMotionBigData);
    PutWord(huge, 0xFFFFFFFFu);
    PutWord(huge, 0);
    EXPECT_EQ(Feed(huge), 12);
    EXPECT_TRUE(LogHas("data size error: 2147483647 < 12")) << Logcat();
}

TEST_F(FmqTest, ArContextLines) {
    ExpectFramed(ArContext(7, 1, "a,b,c"), "m1");
    ExpectFramed(ArContext(7, 3, "x,y"), "m2");
    EXPECT_EQ(ReadArTmp(), "==========\nARContext=7,1,a@c@\nm1\nARContext=7,3,x,y\nm2\n");
    // An event above 4 drops the record and all behind it, silently.
    Bytes buffer = Join({ArContext(7, 5, "q"), LengthMessage(fmq::kHeadArBigData, "gone")});
    Feed(buffer);
    Feed(Cut(ArContext(7, 1, "short"), 1));
    EXPECT_THAT(ReadArTmp(), Not(HasSubstr("gone")));
    EXPECT_THAT(ReadArTmp(), Not(HasSubstr("short")));
    EXPECT_FALSE(LogHas("data size error")) << Logcat();
}

TEST_F(FmqTest, ArRefillEventsLandInTheFrame) {
    const uint32_t acc = SENSOR_TYPE_AR_REFILL_BASE;
    Bytes records = Join({RefillRecord({FloatBits(1.5f), FloatBits(-2.0f), FloatBits(9.75f)}),
                          RefillRecord({FloatBits(0.0f), FloatBits(1.0f), FloatBits(2.0f)})});
    ExpectFramed(ArRefill(fmq::kArRefillAcc, 2, 4242, records), "after-acc");
    auto events = FrameEvents(acc);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(static_cast<uint32_t>(events[0].type), acc);
    EXPECT_EQ(static_cast<uint32_t>(events[0].sensor), acc);
    EXPECT_EQ(events[0].timestamp, 4242);
    EXPECT_FLOAT_EQ(events[0].data[2], 9.75f);
    EXPECT_FLOAT_EQ(events[1].data[1], 1.0f);
    EXPECT_NE(GetEventArrivalMs(events[0]), 0u);

    ExpectFramed(ArRefill(fmq::kArRefillMag, 1, 1, RefillRecord({static_cast<uint32_t>(-3), 4, 5})),
                 "after-mag");
    auto mag = FrameEvents(acc + 1);
    ASSERT_EQ(mag.size(), 1u);
    EXPECT_FLOAT_EQ(mag[0].data[0], -3.0f);

    ExpectFramed(ArRefill(fmq::kArRefillModem, 1, 1, RefillRecord({10, 11, 12, 13})),
                 "after-modem");
    auto modem = FrameEvents(acc + 2);
    ASSERT_EQ(modem.size(), 1u);
    EXPECT_EQ(modem[0].u64.data[0], 13u);
    EXPECT_EQ(modem[0].u64.data[1], 12u);
    EXPECT_EQ(modem[0].u64.data[2], 10u);

    fmq::ArResultRecord result{};
    result.clk = 77;
    result.currentARStatus = 3;
    result.stepsInfo = 120;
    result.walkScore = 90;
    result.feat[9] = -4;
    Bytes resultBytes;
    PutBytes(resultBytes, &result, sizeof(result));
    ExpectFramed(ArRefill(fmq::kArRefillResult, 1, 5, resultBytes), "after-result");
    auto results = FrameEvents(acc + 3);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_FLOAT_EQ(results[0].data[1], 90.0f);
    EXPECT_FLOAT_EQ(results[0].data[15], -4.0f);
    EXPECT_EQ(results[0].flags, 77u);
    EXPECT_EQ(results[0].reserved1[0], 3);
    EXPECT_EQ(results[0].reserved1[1], 120);
    EXPECT_NEAR(results[0].reserved1[2], static_cast<int32_t>(VyrHal::RealTimeMs() / 1000), 5);
    EXPECT_TRUE(LogHas("BETA_AR_RESULT clk: 77 currentARStatus: 3, stepsInfo: 120"));

    // Count 0 appends nothing; a cut packet costs the rest.
    ExpectFramed(ArRefill(fmq::kArRefillAcc, 0, 1, Bytes{}), "after-empty");
    EXPECT_EQ(FrameEvents(acc).size(), 2u);
    ExpectCut(ArRefill(fmq::kArRefillAcc, 2, 1, records));
    EXPECT_EQ(FrameEvents(acc).size(), 2u);
}

TEST_F(FmqTest, ArRefillErrorGoesToTheBigDataOnceItExists) {
    // No activity record yet: the refill decoder sees it.
    ExpectFramed(ArRefill(fmq::kArRefillError, 0, 55, Bytes{}), "made");
    EXPECT_TRUE(LogHas("unknow sensor type: 0x3"));
    ExpectFramed(ArRefill(fmq::kArRefillError, 0, 56, Bytes{}), "again");
    EXPECT_THAT(ReadArTmp(), HasSubstr("errorcode=56\n"));
    EXPECT_TRUE(LogHas("get REFILL_DATA_DMD event errorcode=56"));
}

TEST_F(FmqTest, MotionRefillIsTheLastOfItsBuffer) {
    fmq::MotionRefillDataPacketT packet{};
    packet.motionType = 3;
    packet.timestamp = 900;
    packet.first[0] = -7;
    packet.second[0] = FloatBits(2.5f);
    packet.third = 4;
    packet.fourth = 6;
    Bytes buffer = Join({MotionRefill(packet), LengthMessage(fmq::kHeadArBigData, "behind")});
    EXPECT_EQ(Feed(buffer), static_cast<int32_t>(buffer.size()));
    EXPECT_THAT(ReadArTmp(), Not(HasSubstr("behind")));
    const uint32_t base = SENSOR_TYPE_MOTION_REFILL_BASE;
    auto acc = FrameEvents(base + 5);
    ASSERT_EQ(acc.size(), 1u);
    EXPECT_FLOAT_EQ(acc[0].data[0], -7.0f);
    EXPECT_EQ(acc[0].timestamp, 900);
    auto gyro = FrameEvents(base + 6);
    ASSERT_EQ(gyro.size(), 1u);
    EXPECT_FLOAT_EQ(gyro[0].data[0], 2.5f);  // raw bits
    EXPECT_FLOAT_EQ(FrameEvents(base + 7).at(0).data[0], 4.0f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 8).at(0).data[0], 6.0f);

    packet.motionType = 7;
    packet.third = FloatBits(33.0f);
    Feed(MotionRefill(packet));
    EXPECT_FLOAT_EQ(FrameEvents(base + 14).at(0).data[0], 33.0f);  // raw

    packet.motionType = 40;
    Feed(MotionRefill(packet));
    EXPECT_TRUE(LogHas("unknow sensor type: 0x28"));

    Feed(Cut(MotionRefill(packet), 1));
    EXPECT_TRUE(LogHas("data size error: 44 < 43")) << Logcat();
}

// The other rows of the motion refill table: pick-up (1), flip (2) and
// head-down (19), and rotation (7) whose first two groups are integers
// converted to floats. Each packet fills only its row's types.
TEST_F(FmqTest, MotionRefillRowsFillTheirTypes) {
    const uint32_t base = SENSOR_TYPE_MOTION_REFILL_BASE;
    auto packet = [](uint32_t motionType, int32_t first, uint32_t second, uint32_t third,
                     uint32_t fourth) {
        fmq::MotionRefillDataPacketT p{};
        p.motionType = motionType;
        p.timestamp = 100 + motionType;
        p.first[0] = first;
        p.first[1] = -first;
        p.first[2] = 3;
        p.second[0] = second;
        p.second[1] = 0;
        p.second[2] = 5;
        p.third = third;
        p.fourth = fourth;
        return MotionRefill(p);
    };
    auto only = [&](std::initializer_list<uint32_t> offsets) {
        for (uint32_t offset = 0; offset < 15; ++offset) {
            const bool want = std::find(offsets.begin(), offsets.end(), offset) != offsets.end();
            EXPECT_EQ(FrameEvents(base + offset).size(), want ? 1u : 0u) << offset;
        }
    };

    // Pick-up: first group floats, second raw, third as float, no fourth.
    Feed(packet(1, -12, FloatBits(1.5f), static_cast<uint32_t>(-2), 77));
    only({9, 10, 11});
    EXPECT_FLOAT_EQ(FrameEvents(base + 9).at(0).data[0], -12.0f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 9).at(0).data[1], 12.0f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 9).at(0).data[2], 3.0f);
    EXPECT_EQ(FrameEvents(base + 9).at(0).timestamp, 101);
    EXPECT_FLOAT_EQ(FrameEvents(base + 10).at(0).data[0], 1.5f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 11).at(0).data[0], -2.0f);

    // Flip: the first group only.
    Feed(packet(2, 8, 1, 1, 1));
    only({0, 9, 10, 11});
    EXPECT_FLOAT_EQ(FrameEvents(base + 0).at(0).data[0], 8.0f);
    EXPECT_EQ(FrameEvents(base + 0).at(0).timestamp, 102);

    // Head-down: floats, raw, third as float, fourth raw.
    Feed(packet(19, 4, FloatBits(-0.5f), 9, FloatBits(250.0f)));
    only({0, 1, 2, 3, 4, 9, 10, 11});
    EXPECT_FLOAT_EQ(FrameEvents(base + 1).at(0).data[0], 4.0f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 2).at(0).data[0], -0.5f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 3).at(0).data[0], 9.0f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 4).at(0).data[0], 250.0f);
    EXPECT_EQ(FrameEvents(base + 4).at(0).timestamp, 119);

    // Rotation: both groups are integers made floats.
    Feed(packet(7, 6, 21, FloatBits(90.0f), 0));
    only({0, 1, 2, 3, 4, 9, 10, 11, 12, 13, 14});
    EXPECT_FLOAT_EQ(FrameEvents(base + 12).at(0).data[0], 6.0f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 12).at(0).data[1], -6.0f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 13).at(0).data[0], 21.0f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 13).at(0).data[2], 5.0f);
    EXPECT_FLOAT_EQ(FrameEvents(base + 14).at(0).data[0], 90.0f);
    EXPECT_FALSE(LogHas("unknow sensor type")) << Logcat();
}

TEST_F(FmqTest, PalmetryRecordIsStampedIntoTheFrame) {
    ExpectFramed(Palmetry(), "after-log");
    VyrFrame &frame = Hal().GetCurFrame();
    frame.LockData(true);
    auto logs = frame.GetData().GetFsLogList();
    frame.LockData(false);
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_NEAR(static_cast<double>(logs[0].time), static_cast<double>(VyrHal::RealTimeMs()),
                5000.0);
    ExpectCut(Palmetry());
}

TEST_F(FmqTest, CameraMessagesAreHandedOnWithTheirHeader) {
    ExpectFramed(Tof(fmq::kTofImageSize, fmq::kTofImageSize), "after-tof");
    // The frame goes on with all that follows it in the buffer.
    EXPECT_TRUE(LogHas("camera event 0 of 307249 bytes")) << Logcat();
    // A wrong size that fits is logged and still passed on.
    ExpectFramed(Tof(64, 64), "after-small");
    EXPECT_TRUE(LogHas("image size error: 64 != 307200"));
    EXPECT_TRUE(LogHas("camera event 0 of 115 bytes")) << Logcat();
    ExpectCut(Tof(64, 64));

    ExpectFramed(Face(fmq::kHeadFaceRecognize, 8), "after-a000");
    EXPECT_TRUE(LogHas("recv facerecognize event: A000"));
    EXPECT_TRUE(LogHas("camera event 7 of 28 bytes"));
    ExpectFramed(Face(fmq::kHeadFaceSecond, 0), "after-a100");
    EXPECT_TRUE(LogHas("camera event 8 of 20 bytes"));
    ExpectFramed(Face(fmq::kHeadFaceThird, 0), "after-a200");
    EXPECT_TRUE(LogHas("camera event 9 of 20 bytes"));
    ExpectCut(Face(fmq::kHeadFaceRecognize, 8));
    ExpectCut(Face(fmq::kHeadFaceThird, 0));
}

TEST_F(FmqTest, CameraConflictReachesTheMonitor) {
    ExpectFramed(Conflict(7, "tof busy"), "after-conflict");
    EXPECT_TRUE(LogHas("ProcessCameraConflictEvent event_content : tof busy"));
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("event 918100005 "));
    EXPECT_THAT(lines[0], HasSubstr("INFO_ID=7 EVENT_CONTENT=tof busy"));
    ExpectCut(Conflict(7, "cut"));
    EXPECT_EQ(MonitorLines().size(), 1u);
}

TEST_F(FmqTest, EngineDataAndTouchPacketsGoToTheirOwners) {
    ExpectFramed(LengthMessage(fmq::kHeadArEngine, "engine"), "after-engine");
    EXPECT_TRUE(LogHas("ar engine data of 6 bytes"));
    ExpectCut(LengthMessage(fmq::kHeadArEngine, "engine"));
    // The touch reader takes what it says it took; here all of it.
    Bytes buffer = Join({Thp(fmq::kHeadThpSecond, 40), LengthMessage(fmq::kHeadArBigData, "x")});
    Feed(buffer);
    EXPECT_TRUE(LogHas("thp packet of 53 bytes")) << Logcat();
}

TEST_F(FmqTest, ListCommandsWriteKeyContent) {
    Command("arlist", "AR_A,AR_B");
    std::string text = ReadArTmp();
    EXPECT_EQ(text.find("frombootsecond="), 0u) << text;
    EXPECT_THAT(text, HasSubstr("\nbootsecond="));
    EXPECT_THAT(text, HasSubstr("ARList=AR_A,AR_B\n==========\n"));
    EXPECT_TRUE(LogHas("UpdateArList +"));
    EXPECT_TRUE(LogHas("calFuncCount: 0"));
    // A later call appends the two time lines as a record.
    Command("arlist", "AR_A");
    EXPECT_TRUE(LogHas("calFuncCount: 1"));
    text = ReadArTmp();
    size_t times = 0;
    for (size_t at = text.find("frombootsecond="); at != std::string::npos;
         at = text.find("frombootsecond=", at + 1)) {
        ++times;
    }
    EXPECT_EQ(times, 2u) << text;

    Command("motionlist", "FLIP");
    EXPECT_THAT(vyrtest::ReadText(Real(kMotionTmp)), HasSubstr("MotionList=FLIP\n==========\n"));
    EXPECT_TRUE(LogHas("mMotionDft_addr: "));
}

// A product without touch, camera and activity: their heads are framed and
// skipped.
class FmqBareTest : public FmqTest {
protected:
    std::string Product() const override { return vyrsim::ProductXmlFor(""); }
};

TEST_F(FmqBareTest, OwnersMissingFromTheProduct) {
    Bytes buffer = Join({Thp(fmq::kHeadThpFirst, 8), LengthMessage(fmq::kHeadArBigData, "x")});
    EXPECT_EQ(Feed(buffer), static_cast<int32_t>(buffer.size()));
    EXPECT_FALSE(LogHas("thp packet"));
    EXPECT_FALSE(LogHas("error fmq msg head"));
    EXPECT_FALSE(LogHas("data size error"));
    EXPECT_THAT(ReadArTmp(), Not(HasSubstr("x\n")));
    ExpectFramed(Tof(fmq::kTofImageSize, fmq::kTofImageSize), "after-tof");
    ExpectFramed(LengthMessage(fmq::kHeadArEngine, "engine"), "after-engine");
    EXPECT_FALSE(LogHas("camera event"));
    EXPECT_FALSE(LogHas("ar engine data"));
    Command("arlist", "AR_A");
    EXPECT_FALSE(LogHas("UpdateArList +"));
}

// The same road from the daemon's side: the exported table of the built
// library.
using FmqTableTest = vyrtest::HalFixture;

TEST_F(FmqTableTest, FmqThroughTheExportedTable) {
    ASSERT_EQ(StartHal(), 0);
    Bytes buffer = Join({LengthMessage(fmq::kHeadArBigData, "1700000000,walk"),
                         ArContext(2, 1, "x,y,z"), Thp(fmq::kHeadThpFirst, 4)});
    EXPECT_EQ(Ops().vyr_fmq_data(buffer.data(), static_cast<int32_t>(buffer.size())),
              static_cast<int32_t>(buffer.size()));
    EXPECT_EQ(vyrtest::ReadText(Root() + kArTmp),
              "==========\n1700000000,walk\nARContext=2,1,x@z@\n");
    Run("motionlist", "FLIP,ROTATION");
    EXPECT_THAT(vyrtest::ReadText(Root() + kMotionTmp),
                HasSubstr("MotionList=FLIP,ROTATION\n==========\n"));
}

// The activity big-data record is fed from two threads at once: the queue
// reader's records and the "arlist" command's key content and time lines.
// Every record lands whole, in the report file of the period that the first
// one ended or in the new temporary file.
TEST_F(FmqTest, ActivityBigDataFromTheQueueAndTheListCommandAtOnce) {
    // A period left by an earlier run, long over.
    vyrtest::WriteText(Real(kArTmp), "ARList=A\n==========\n1000,walk\n");
    Hal().SetLogLevel(3);
    // The first command ends the old period, so the new file starts with the
    // list whichever thread writes next.
    Command("arlist", "AR_A,AR_B");
    constexpr int kRecords = 200;
    std::thread reader([this] {
        for (int i = 0; i < kRecords; ++i) {
            Feed(LengthMessage(fmq::kHeadArBigData, std::to_string(1700000000 + i) + ",walk"));
        }
    });
    for (int i = 1; i < 40; ++i) {
        Command("arlist", "AR_A,AR_B");
    }
    reader.join();
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("event 936005012 "));
    const std::string all = vyrtest::ReadText(Real("/data/vendor/log/arlog/ar_bigdata.txt")) +
                            vyrtest::ReadText(Real(kArTmp));
    size_t walks = 0;
    for (size_t at = all.find(",walk\n"); at != std::string::npos;
         at = all.find(",walk\n", at + 1)) {
        ++walks;
    }
    EXPECT_EQ(walks, static_cast<size_t>(kRecords) + 1);
    EXPECT_THAT(ReadArTmp(), HasSubstr("ARList=AR_A,AR_B\n==========\n"));
}

// The big-data family in a started HAL: files and key content, periods
// across restarts, the size limit, reports reaching the monitor stand-in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "log/EventDft.h"
#include "log/FaceDft.h"
#include "log/FileDft.h"
#include "log/PostureDft.h"
#include "support/InProcessHal.h"

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr const char *kArTmp = "/data/vendor/log/arlog/ar_bigdata.tmp";
constexpr const char *kArTxt = "/data/vendor/log/arlog/ar_bigdata.txt";

class DftTest : public vyrtest::InProcessHal {};

}  // namespace

TEST_F(DftTest, FileHoldsKeyContentThenRecords) {
    ActivityDft dft(Hal());
    dft.SetKeyContent("ARList=A\n");
    dft.StoreString("1,walk\n");
    dft.StoreString("2,run\n");
    EXPECT_EQ(vyrtest::ReadText(Real(kArTmp)), "ARList=A\n==========\n1,walk\n2,run\n");
    EXPECT_TRUE(MonitorLines().empty());
    EXPECT_EQ(dft.GetEventId(), 936005012u);
    EXPECT_EQ(dft.GetInterval(), 86400u);
}

TEST_F(DftTest, EndOfPeriodRenamesAndReports) {
    ActivityDft dft(Hal());
    dft.StoreString("1,walk\n");
    dft.Init(936005012, 0);
    dft.StoreString("2,run\n");
    EXPECT_FALSE(std::filesystem::exists(Real(kArTmp)));
    EXPECT_EQ(vyrtest::ReadText(Real(kArTxt)), "==========\n1,walk\n2,run\n");
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("event 936005012 time="));
    EXPECT_THAT(lines[0], HasSubstr(" OUT_OF_RANGE=0"));
    // The next record starts a new temporary file.
    dft.Init(936005012, 86400);
    dft.StoreString("3,still\n");
    EXPECT_EQ(vyrtest::ReadText(Real(kArTmp)), "==========\n3,still\n");
}

TEST_F(DftTest, RestartKeepsThePeriodOfTheFile) {
    vyrtest::WriteText(Real(kArTmp), "ARList=A\n==========\n1000,walk\n");
    ActivityDft kept(Hal());
    EXPECT_EQ(kept.GetPreTime(), 1000u);
    EXPECT_TRUE(LogHas("first bigdata event ts: 1000, return ts: 1000"));

    vyrtest::WriteText(Real(kArTmp), "no comma here\n");
    const uint64_t before = VyrHal::RealTimeMs() / 1000;
    ActivityDft fresh(Hal());
    EXPECT_GE(fresh.GetPreTime(), before);
    EXPECT_TRUE(LogHas("fgets end of file"));
}

TEST_F(DftTest, FileNeverPassesTwoMegabytes) {
    vyrtest::WriteText(Real(kArTmp), std::string(FileDft::kMaxFileSize - 10, 'x'));
    ActivityDft dft(Hal());
    dft.StoreString("0123456789abcdef\n");
    EXPECT_TRUE(dft.IsOutOfRange());
    EXPECT_THAT(vyrtest::ReadText(Real(kArTmp)), Not(HasSubstr("0123456789")));
    dft.Init(936005012, 0);
    dft.StoreString("more\n");
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr(" OUT_OF_RANGE=1"));
}

TEST_F(DftTest, ReportWithoutTheLibraryStillClearsTheParameters) {
    const std::string lib = Real("/vendor/lib64/libbrimlog.so");
    std::filesystem::rename(lib, lib + ".away");
    EventDft events(Hal());
    events.SetInt("STALE", 1);
    events.Report();
    EXPECT_TRUE(LogHas("LibVyrMonitor init failed"));
    EXPECT_TRUE(MonitorLines().empty());
    std::filesystem::rename(lib + ".away", lib);
    events.ReportEvent(4, "back");
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("INFO_ID=4 EVENT_CONTENT=back"));
    EXPECT_THAT(lines[0], Not(HasSubstr("STALE")));
}

TEST_F(DftTest, TwoHundredCameraRunsReportAtOnce) {
    FaceDirectionDft dft(Hal());
    dft.Activate(true);
    dft.SetExpectedCode(1);
    for (int i = 0; i < 199; ++i) {
        dft.AddOpen();
        dft.AddAlgoRet(i % 2);
        dft.AddLux(i % 2 == 0 ? 3 : 60);
        dft.AddSessionEnd();
    }
    EXPECT_TRUE(MonitorLines().empty());
    EXPECT_EQ(dft.GetCounter("TOF_OPEN_CNT"), 199);
    EXPECT_EQ(dft.GetCounter("AO_TOF_SAME_CNT"), 99);
    EXPECT_EQ(dft.GetCounter("TOF_LUX_LESS_5_CNT"), 100);
    EXPECT_EQ(dft.GetCounter("TOF_LUX_MORE_15_CNT"), 99);
    // Stats record: detect, success, one, two, more, up, down, left, right,
    // yaw, roll, pitch (floats), quality, algo time.
    int32_t stats[14] = {3, 2, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 80, 12};
    const float yaw = 1.234f;
    memcpy(&stats[9], &yaw, sizeof(yaw));
    dft.AddResult(reinterpret_cast<const uint8_t *>(stats), sizeof(stats));
    EXPECT_EQ(dft.GetCounter("TOF_YAW_MEAN"), 123);
    EXPECT_EQ(dft.GetCounter("TOF_DETECT_SUCCESS_CNT"), 2);
    dft.AddOpen();
    dft.AddSessionEnd();
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("event 991383003 "));
    EXPECT_THAT(lines[0], HasSubstr(" TOF_OPEN_CNT=200"));
    EXPECT_THAT(lines[0], HasSubstr(" TOF_YAW_MEAN=123"));
    EXPECT_THAT(lines[0], HasSubstr(" TOF_ALGO_RET=0,1,0,"));
    EXPECT_EQ(dft.GetCounter("TOF_OPEN_CNT"), 0);
    EXPECT_TRUE(std::filesystem::exists(Real("/data/vendor/log/fdlog/fd_bigdata.txt")));
}

// A temporary file that cannot be opened for appending (here a directory
// stands at its path) loses the record, yet the period ends as always: the
// report goes out with the counters, which start again from zero.
TEST_F(DftTest, PeriodEndsWhenTheFileCannotBeOpened) {
    const std::string tmp = "/data/vendor/log/faceidlog/faceid_bigdata.tmp";
    ASSERT_TRUE(std::filesystem::create_directories(Real(tmp)));
    FaceidDft dft(Hal());
    dft.Activate(true);
    for (int i = 0; i < 200; ++i) {
        dft.AddOpen();
    }
    EXPECT_TRUE(MonitorLines().empty());
    dft.AddResult(1, 0, 80, 60);
    EXPECT_TRUE(LogHas("open " + tmp + " failed, record lost"));
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("event 991383005 "));
    EXPECT_THAT(lines[0], HasSubstr(" TOF_OPEN_CNT=200"));
    EXPECT_THAT(lines[0], HasSubstr(" AO_DETECT_CNT=1"));
    EXPECT_EQ(dft.GetCounter("TOF_OPEN_CNT"), 0);
    EXPECT_EQ(dft.GetCounter("AO_DETECT_CNT"), 0);
    // The next period writes a new temporary file.
    dft.AddResult(1, 5, 80, 60);
    EXPECT_THAT(vyrtest::ReadText(Real(tmp)), HasSubstr(",5\n"));
    EXPECT_EQ(MonitorLines().size(), 1u);
}

TEST_F(DftTest, FaceCountersWaitForTheTof) {
    FaceidDft dft(Hal());
    dft.AddOpen();
    dft.AddLux(10);
    dft.AddResult(1, 0, 80, 60);
    EXPECT_EQ(dft.GetCounter("TOF_OPEN_CNT"), 0);
    EXPECT_EQ(dft.GetCounter("LUX_5_10_CNT"), 1);  // lux counts regardless
    dft.Activate(true);
    dft.AddResult(1, 0, 80, 60);
    dft.AddResult(2, 0, 40, 20);
    dft.AddResult(3, -1, 0, 0);
    EXPECT_EQ(dft.GetCounter("AO_DETECT_CNT"), 3);
    EXPECT_EQ(dft.GetCounter("AO_SIMILARITY_SCORE"), 60);
    EXPECT_EQ(dft.GetCounter("AO_QUALITY_SCORE"), 40);
    EXPECT_EQ(dft.GetCounter("MORE_THREE_FACE_CNT"), 1);
    EXPECT_EQ(dft.GetText("AO_ALGO_RET"), "0,0,-1,");
}

TEST_F(DftTest, PostureRecordsACompletedFold) {
    PostureDft dft(Hal());
    dft.UpdatePostureData(179.0f, 3);
    dft.UpdatePostureData(120.0f, 2);
    dft.UpdatePostureData(60.0f, 2);
    dft.UpdatePostureData(2.0f, 1);
    const std::string text = vyrtest::ReadText(Real("/data/vendor/log/vyrlog/posture_bigdata.tmp"));
    EXPECT_THAT(text, Not(HasSubstr("==========")));
    EXPECT_THAT(text, HasSubstr(",179.000000,3,"));
    EXPECT_THAT(text, HasSubstr(",2.000000,1\n"));
    EXPECT_TRUE(LogHas("posture frome 3 to 1"));
    // Moving back the wrong way forgets the fold.
    dft.UpdatePostureData(1.0f, 1);
    dft.UpdatePostureData(40.0f, 2);
    dft.UpdatePostureData(20.0f, 2);
    dft.UpdatePostureData(179.5f, 3);
    EXPECT_EQ(LogCount("posture frome"), 1u);
}

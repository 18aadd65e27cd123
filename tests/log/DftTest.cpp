// The big-data family in a started HAL: files and key content, periods
// across restarts, the size limit, reports reaching the monitor stand-in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <memory>

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

// Every class reports under its own event id, once per period of its own
// length in its own unit, from a file in its own directory.
TEST_F(DftTest, EveryClassHasItsEventPeriodAndFiles) {
    struct Row {
        std::unique_ptr<FileDft> dft;
        uint32_t eventId;
        uint64_t interval;
        bool millis;
        const char *tmp;
        const char *txt;
    };
    const uint64_t beforeSec = VyrHal::RealTimeMs() / 1000;
    Row rows[] = {
        {std::make_unique<ActivityDft>(Hal()), 936005012, 86400, false, kArTmp, kArTxt},
        {std::make_unique<FaceDirectionDft>(Hal()), 991383003, 21600, false,
         "/data/vendor/log/fdlog/fd_bigdata.tmp", "/data/vendor/log/fdlog/fd_bigdata.txt"},
        {std::make_unique<FaceGazeDft>(Hal()), 991383004, 21600, false,
         "/data/vendor/log/facegazelog/facegaze_bigdata.tmp",
         "/data/vendor/log/facegazelog/facegaze_bigdata.txt"},
        {std::make_unique<FaceidDft>(Hal()), 991383005, 21600, false,
         "/data/vendor/log/faceidlog/faceid_bigdata.tmp",
         "/data/vendor/log/faceidlog/faceid_bigdata.txt"},
        {std::make_unique<PostureDft>(Hal()), 932030105, 86400000, true,
         "/data/vendor/log/vyrlog/posture_bigdata.tmp",
         "/data/vendor/log/vyrlog/posture_bigdata.txt"},
        {std::make_unique<MotionDft>(Hal()), 936005019, 86400, false,
         "/data/vendor/log/motionlog/motion_bigdata.tmp",
         "/data/vendor/log/motionlog/motion_bigdata.txt"},
    };
    const uint64_t afterSec = VyrHal::RealTimeMs() / 1000 + 1;
    for (Row &row : rows) {
        SCOPED_TRACE(row.tmp);
        EXPECT_EQ(row.dft->GetEventId(), row.eventId);
        EXPECT_EQ(row.dft->GetInterval(), row.interval);
        const uint64_t scale = row.millis ? 1000 : 1;
        EXPECT_GE(row.dft->GetPreTime(), beforeSec * scale);
        EXPECT_LE(row.dft->GetPreTime(), afterSec * scale);
        EXPECT_EQ(row.dft->GetTmpPath(), row.tmp);
        EXPECT_EQ(row.dft->GetTxtPath(), row.txt);
        // A record inside the period stays in the temporary file.
        row.dft->StoreString("1,a\n");
        EXPECT_THAT(vyrtest::ReadText(Real(row.tmp)), HasSubstr("1,a\n"));
        EXPECT_FALSE(std::filesystem::exists(Real(row.txt)));
    }
    EXPECT_TRUE(MonitorLines().empty());
    // An elapsed period sends the class's event.
    for (Row &row : rows) {
        row.dft->Init(row.eventId, 0);
        row.dft->StoreString("2,b\n");
        EXPECT_THAT(vyrtest::ReadText(Real(row.txt)), HasSubstr("1,a\n2,b\n"));
    }
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), std::size(rows));
    for (size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_THAT(lines[i], HasSubstr("event " + std::to_string(rows[i].eventId) + " "));
    }

    EventDft events(Hal());
    EXPECT_EQ(events.GetEventId(), 918100005u);
    EXPECT_EQ(events.GetInterval(), 0u);
    EXPECT_GE(events.GetPreTime(), beforeSec * 1000);
    events.ReportEvent(7, "x");
    events.ReportEvent(8, "y");
    lines = MonitorLines();
    ASSERT_EQ(lines.size(), std::size(rows) + 2);
    EXPECT_THAT(lines.back(), HasSubstr("event 918100005 "));
    EXPECT_THAT(lines.back(), HasSubstr("INFO_ID=8 EVENT_CONTENT=y"));
}

// A text buffer of more than 1,018 characters ends the period at the next
// stored line, before the buffer could overflow.
TEST_F(DftTest, FullTextBufferReportsAtTheNextLine) {
    FaceGazeDft gaze(Hal());
    gaze.Activate(true);
    for (int i = 0; i < 509; ++i) {
        gaze.AddAlgoRet(1);  // "1," each: 1,018 characters
    }
    gaze.AddSessionEnd();
    EXPECT_TRUE(MonitorLines().empty());
    gaze.AddAlgoRet(1);
    EXPECT_EQ(gaze.GetText("TOF_ALGO_RET").size(), 1020u);
    EXPECT_TRUE(MonitorLines().empty());  // no line stored yet
    gaze.AddSessionEnd();
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("event 991383004 "));
    EXPECT_THAT(lines[0], HasSubstr(" TOF_ALGO_RET=1,1,1,"));
    EXPECT_TRUE(gaze.GetText("TOF_ALGO_RET").empty());

    // The identity class's own buffer of always-on codes fills the same way;
    // its result stores a line each time.
    FaceidDft faceid(Hal());
    faceid.Activate(true);
    for (int i = 0; i < 509; ++i) {
        faceid.AddResult(0, 7, 0, 0);
    }
    EXPECT_EQ(MonitorLines().size(), 1u);
    faceid.AddResult(0, 7, 0, 0);
    lines = MonitorLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[1], HasSubstr("event 991383005 "));
    EXPECT_THAT(lines[1], HasSubstr(" AO_DETECT_SUCCESS_CNT=510"));
    EXPECT_EQ(faceid.GetCounter("AO_DETECT_SUCCESS_CNT"), 0);
}

// A failed rename keeps the temporary file and sends nothing; the lines of
// the next period go on into it, and the next good end reports them all.
TEST_F(DftTest, FailedRenameKeepsTheLines) {
    ActivityDft dft(Hal());
    dft.SetKeyContent("ARList=A\n");
    dft.StoreString("1,walk\n");
    // A directory with a file in it where the report file goes.
    vyrtest::WriteText(Real(kArTxt) + "/blocker", "x");
    dft.Init(936005012, 0);
    dft.StoreString("2,run\n");
    EXPECT_TRUE(LogHas(std::string("rename error: ") + kArTmp + " to " + kArTxt));
    EXPECT_TRUE(MonitorLines().empty());
    EXPECT_THAT(vyrtest::ReadText(Real(kArTmp)), HasSubstr("1,walk\n2,run\n"));

    std::filesystem::remove_all(Real(kArTxt));
    dft.StoreString("3,still\n");
    EXPECT_FALSE(std::filesystem::exists(Real(kArTmp)));
    const std::string report = vyrtest::ReadText(Real(kArTxt));
    EXPECT_THAT(report, HasSubstr("ARList=A\n==========\n1,walk\n2,run\n"));
    EXPECT_THAT(report, HasSubstr("3,still\n"));
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("event 936005012 "));
}

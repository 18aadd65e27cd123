// Fault records through a real FIFO at the sandbox's report node, budgets,
// mergers and hang events reaching the monitor stand-in.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "log/Dmd.h"
#include "log/VyrStelmo.h"
#include "support/InProcessHal.h"

using ::testing::HasSubstr;

namespace {

class DmdTest : public vyrtest::InProcessHal {
protected:
    void SetUp() override {
        InProcessHal::SetUp();
        const std::string fifo = Real("/dev/dsm");
        ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
        mReader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
        ASSERT_GE(mReader, 0);
    }
    void TearDown() override {
        close(mReader);
        InProcessHal::TearDown();
    }

    // Everything written since the last read.
    std::string ReadAll() {
        std::string all;
        char buffer[512];
        while (true) {
            const ssize_t got = read(mReader, buffer, sizeof(buffer));
            if (got <= 0) {
                break;
            }
            all.append(buffer, static_cast<size_t>(got));
        }
        return all;
    }
    // The records written since the last read (none carries a newline or a
    // terminator: each starts with the record word).
    std::vector<std::string> Records() {
        const std::string all = ReadAll();
        std::vector<std::string> records;
        const std::string word = Dmd::kRecordWord;
        for (size_t at = all.find(word); at != std::string::npos;) {
            const size_t next = all.find(word, at + 1);
            records.push_back(all.substr(at, next == std::string::npos ? next : next - at));
            at = next;
        }
        return records;
    }

    static LogDmdParam Param(DMD_ERROR_ENUM err, bool hang = false) {
        LogDmdParam param;
        param.err = err;
        param.name = "Touch";
        param.content = "stuck";
        param.module = "thp";
        param.hang = hang;
        return param;
    }

    int mReader = -1;
};

}  // namespace

TEST_F(DmdTest, OneRecordPerReport) {
    Dmd &dmd = Hal().GetDmd();
    dmd.Report(DMDW_VYR_OTHER, "mod", "what happened");
    EXPECT_EQ(ReadAll(), "dsm_tphostprocessing,999010001,mod,what happened");
    LogDmdParam param = Param(DMDW_VYR_OTHER);
    dmd.Logout(param);
    EXPECT_EQ(ReadAll(), "dsm_tphostprocessing,999010001,thp,stuck");
    EXPECT_TRUE(LogHas("thp, DMD triggered, 999010001_Touch"));
    EXPECT_EQ(dmd.IdOf("DMDW_VYR_OTHER"), 999010001);
}

TEST_F(DmdTest, MissingNodeIsLoggedAndNotRetried) {
    unlink(Real("/dev/dsm").c_str());
    Hal().GetDmd().Report(DMDW_VYR_OTHER, "a", "1");
    EXPECT_TRUE(LogHas("Open /dev/dsm failed fd = -1"));
}

TEST_F(DmdTest, BudgetOfOne) {
    Dmd &dmd = Hal().GetDmd();
    dmd.SetLimit(DMDW_VYR_OTHER, 1);
    EXPECT_TRUE(dmd.CanReport(DMDW_VYR_OTHER));
    LogDmdParam param = Param(DMDW_VYR_OTHER);
    dmd.Logout(param);
    EXPECT_FALSE(dmd.CanReport(DMDW_VYR_OTHER));
    dmd.Logout(param);
    EXPECT_EQ(Records().size(), 1u);
    EXPECT_EQ(LogCount("can Report"), 1u);
}

TEST_F(DmdTest, QuietIdNeedsFileLogging) {
    Dmd &dmd = Hal().GetDmd();
    LogDmdParam param = Param(DMD_VYR_LOG_ONLY);
    EXPECT_FALSE(dmd.CanReport(DMD_VYR_LOG_ONLY));
    dmd.Logout(param);
    EXPECT_TRUE(Records().empty());
    Hal().SetLogEnable(true);
    dmd.Logout(param);
    auto records = Records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0], "dsm_tphostprocessing,999010000,thp,stuck");
    Hal().SetLogEnable(false);
}

TEST_F(DmdTest, MergerReportsOncePerIntervalWithItsCount) {
    Dmd &dmd = Hal().GetDmd();
    EXPECT_TRUE(dmd.MergerCanReport(1234));  // no merger
    dmd.AddMerger(1234, 0, 5);
    for (int i = 0; i < 4; ++i) {
        EXPECT_FALSE(dmd.MergerCanReport(1234));
    }
    EXPECT_TRUE(dmd.MergerCanReport(1234));
    EXPECT_TRUE(LogHas("dmd: 1234 arise 5 times within 0ms"));

    dmd.AddMerger(77, 150, 1);
    EXPECT_TRUE(dmd.MergerCanReport(77));
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(dmd.MergerCanReport(77));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(160));
    EXPECT_TRUE(dmd.MergerCanReport(77));
    EXPECT_TRUE(LogHas("dmd: 77 arise 4 times within 150ms")) << Logcat();
}

TEST_F(DmdTest, HangEventReachesTheMonitor) {
    Dmd &dmd = Hal().GetDmd();
    LogDmdParam param = Param(DMDW_VYR_OTHER, true);
    const uint64_t before = VyrHal::MonoTimeMs();
    dmd.Logout(param);
    EXPECT_EQ(Records().size(), 1u);
    auto lines = MonitorLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr("hang 9 command=t=10,T=vyr_tolvi,T=zuphal,d=40,e="));
    EXPECT_THAT(lines[0], HasSubstr(" message=Touch"));
    const size_t at = lines[0].find("e=") + 2;
    const uint64_t e = std::stoull(lines[0].substr(at));
    EXPECT_GE(e, before + 30);
    EXPECT_LE(e, VyrHal::MonoTimeMs() + 30);
    EXPECT_TRUE(LogHas("Done"));
}

TEST_F(DmdTest, StelmoConfigurationAndInfoKeys) {
    VyrStelmo info(Hal());
    info.SendEvent("DMDI_x", "m", 1);
    EXPECT_TRUE(LogHas("it is DMDI"));
    EXPECT_TRUE(MonitorLines().empty());
    VyrStelmo notInfo(Hal());
    notInfo.SendEvent("xDMDI_", "m", 1);
    ASSERT_EQ(MonitorLines().size(), 1u);
    EXPECT_THAT(MonitorLines()[0], HasSubstr("e=31 message=m"));

    vyrtest::WriteText(Real("/monitor_stelmo.cfg"), "2");
    VyrStelmo disabled(Hal());
    disabled.SendEvent("k", "m", 1);
    EXPECT_TRUE(LogHas("Error:3, stelmo_sendEvent disabled"));
    vyrtest::WriteText(Real("/monitor_stelmo.cfg"), "abc");
    VyrStelmo notNumber(Hal());
    notNumber.SendEvent("k", "m", 1);
    EXPECT_TRUE(LogHas("Error:2, stelmo_sendEvent disabled"));
    EXPECT_EQ(MonitorLines().size(), 1u);
    EXPECT_EQ(VyrStelmo::Command(100), "t=10,T=vyr_tolvi,T=zuphal,d=40,e=130");
}

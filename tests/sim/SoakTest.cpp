// The soak supervisor's own logic: the seeded plan, the ledger that judges
// results against what clients switched off, the CSV check and the growth
// measure. The soak itself runs in scripts/test.sh.
#include <gtest/gtest.h>

#include <set>

#include "soak/SoakChecks.h"
#include "soak/SoakLedger.h"
#include "soak/SoakPlan.h"
#include "support/TestFiles.h"

namespace {

using soak::FaultKind;
using soak::StepKind;

TEST(SoakPlan, SameSeedSamePlanEveryFaultInAMinute) {
    const soak::Plan a = soak::MakePlan(42, 60000);
    EXPECT_EQ(soak::PlanText(a), soak::PlanText(soak::MakePlan(42, 60000)));
    EXPECT_NE(soak::PlanText(a), soak::PlanText(soak::MakePlan(43, 60000)));

    std::set<FaultKind> faults;
    int64_t last = 0;
    size_t malformed = 0;
    for (const soak::Step &step : a.steps) {
        EXPECT_GE(step.atMs, last);
        EXPECT_LT(step.atMs, a.lengthMs);
        last = step.atMs;
        if (step.kind == StepKind::FaultBegin) {
            faults.insert(step.fault);
        }
        malformed += step.kind == StepKind::BadInput ? 1 : 0;
    }
    // The missing library is the supervisor's, at each start of the daemon.
    EXPECT_EQ(faults, (std::set<FaultKind>{FaultKind::SensorServiceDeath, FaultKind::HubReset,
                                           FaultKind::DiskFull, FaultKind::LogDirDeleted,
                                           FaultKind::Hang, FaultKind::SlowFaceLibrary}));
    EXPECT_GT(malformed, 20u);

    // A longer run of the same seed begins the same way.
    const std::string text = soak::PlanText(a);
    const std::string longer = soak::PlanText(soak::MakePlan(42, 120000));
    const std::string body = text.substr(text.find('\n') + 1);
    EXPECT_EQ(longer.find(body.substr(0, body.size() / 2)), longer.find('\n') + 1);
}

// While the face library is slow the fault has the camera to itself: TOF
// frames at 30 a second, turns in the dark, and none of the rounds' light
// or always-on answers.
TEST(SoakPlan, SlowFaceLibraryOwnsTheCameraForItsWindow) {
    const soak::Plan plan = soak::MakePlan(1, 60000);
    ASSERT_EQ(soak::SlowFaceWindows(60000).size(), 1u);
    const auto [begin, end] = soak::SlowFaceWindows(60000)[0];
    EXPECT_EQ(end - begin, soak::kSlowFaceLibraryMs);
    EXPECT_LT(end, 38000);  // before the hang of the first cycle
    int frames = 0;
    int turns = 0;
    int64_t lastFrame = -1;
    bool began = false;
    bool ended = false;
    for (const soak::Step &step : plan.steps) {
        if (step.fault == FaultKind::SlowFaceLibrary && step.kind == StepKind::FaultBegin) {
            EXPECT_EQ(step.atMs, begin);
            began = true;
        }
        if (step.fault == FaultKind::SlowFaceLibrary && step.kind == StepKind::FaultEnd) {
            EXPECT_EQ(step.atMs, end);
            ended = true;
        }
        if (step.kind != StepKind::Command || step.atMs < begin || step.atMs >= end) {
            continue;
        }
        EXPECT_NE(step.text, "light 300");
        EXPECT_NE(step.text.rfind("ao 0 fd", 0), 0u) << step.text;
        if (step.text == "tof 1 nobody") {
            if (lastFrame >= 0) {
                EXPECT_LE(step.atMs - lastFrame, 34);
            }
            lastFrame = step.atMs;
            ++frames;
        }
        turns += step.text == "ao 0 rot 0; 300 rot 1" ? 1 : 0;
    }
    EXPECT_TRUE(began && ended);
    EXPECT_GE(frames, 590);
    EXPECT_GE(turns, 7);
}

TEST(SoakPlan, ClientsAlternateOnAndOffPerFeature) {
    const soak::Plan plan = soak::MakePlan(7, 120000);
    std::map<std::pair<std::string, std::string>, bool> on;
    size_t toggles = 0;
    for (const soak::Step &step : plan.steps) {
        for (const soak::Feature &feature : soak::Features()) {
            if (step.client == soak::kSteadyClient) {
                continue;
            }
            const bool isOn = step.text == feature.onCommand;
            if (isOn || step.text == feature.offCommand) {
                bool &state = on[{step.client, feature.key}];
                EXPECT_NE(state, isOn) << step.client << " " << step.text;
                state = isOn;
                ++toggles;
            }
        }
    }
    EXPECT_GT(toggles, 60u);
}

std::string Result(const std::string &client, int type, const std::string &data, int size) {
    return "{\"client\":\"" + client + "\",\"type\":" + std::to_string(type) +
           ",\"dataSize\":" + std::to_string(size) + ",\"data\":[" + data + "]}";
}
std::string Reply(const std::string &client, const std::string &command, const std::string &param) {
    return "{\"command\":\"" + command + "\",\"client\":\"" + client + "\",\"param\":\"" + param +
           "\",\"reply\":\"ok\"}";
}

TEST(SoakLedger, ResultAfterTheOffReplyIsAViolationBeforeItIsNot) {
    int64_t now = 0;
    soak::Ledger ledger([&now]() { return now; });
    ledger.Sent("soak-a", "flip on", false);
    ledger.OnLine(Result("soak-a", 2, "1,4", 2));  // before the reply: already on
    ledger.OnLine(Reply("soak-a", "flip", "on"));
    ledger.Sent("soak-a", "flip off", false);
    ledger.OnLine(Result("soak-a", 2, "1,3", 2));  // still on its way
    ledger.OnLine(Reply("soak-a", "flip", "off"));
    EXPECT_EQ(ledger.ViolationCount(), 0u);
    ledger.OnLine(Result("soak-a", 2, "1,4", 2));
    ledger.OnLine(Result("soak-b", 7, "1,0", 2));          // never asked
    ledger.OnLine(Result("aoservice-client", 3, "9", 1));  // not a client of the soak
    EXPECT_EQ(ledger.ViolationCount(), 2u);
    ASSERT_EQ(ledger.Violations().size(), 2u);
    EXPECT_NE(ledger.Violations()[0].find("flip delivered to soak-a"), std::string::npos);
    EXPECT_EQ(ledger.GetCounts().results["motion"], 4u);
    EXPECT_EQ(ledger.GetCounts().otherResults, 1u);
}

TEST(SoakLedger, ActivityEventsAreJudgedPerActivityAndMeetExpectations) {
    int64_t now = 100;
    soak::Ledger ledger([&now]() { return now; });
    ledger.Sent("ar-client", "ar-on 3,1,0,0;3,2,0,0", false);
    ledger.OnLine(Reply("ar-client", "ar-on", "3,1,0,0;3,2,0,0"));
    const size_t activity = ledger.Expect(0, "activity", 200);
    const size_t camera = ledger.Expect(0, "camera", 200);
    // An event of micro still (3) before the fault ended does not count.
    ledger.OnLine(Result("ar-client", 0, "1,3,0,0,0,0", 24));
    now = 450;
    ledger.OnLine(Result("ar-client", 0, "2,3,0,0,0,0,1,4,0,0,0,0", 48));
    EXPECT_EQ(ledger.ViolationCount(), 1u);  // hand held (4) was never switched on
    EXPECT_EQ(ledger.GetExpectations()[activity].metMs, 450);
    EXPECT_EQ(ledger.GetExpectations()[camera].metMs, -1);
    // Switched off, an activity may still tell one event of the type its
    // mask keeps; a second is a violation.
    ledger.Sent("ar-client", "ar-off 3,1;3,2", false);
    ledger.OnLine(Reply("ar-client", "ar-off", "3,1;3,2"));
    ledger.OnLine(Result("ar-client", 0, "1,3,0,0,0,0", 24));
    EXPECT_EQ(ledger.ViolationCount(), 1u);
    EXPECT_EQ(ledger.GetCounts().activityEventsAfterOff, 1u);
    ledger.OnLine(Result("ar-client", 0, "2,3,0,0,0,0", 24));
    EXPECT_EQ(ledger.ViolationCount(), 2u);
    ledger.NewLife();
    ledger.OnLine(Result("ar-client", 0, "1,3,0,0,0,0", 24));
    EXPECT_EQ(ledger.ViolationCount(), 3u);  // a new daemon knows no client
}

TEST(SoakChecks, CsvFilesWithTornOrRaggedLinesAreFound) {
    vyrtest::TempDir dir;
    vyrtest::WriteText(dir.Path() + "/a.csv", "ACC,maker,continue\nt,x,y\n1,2,3\n4,5,6\n");
    vyrtest::WriteText(dir.Path() + "/b.csv", "ACC,maker,continue\nt,x,y\n1,2,3\n4,5");
    vyrtest::WriteText(dir.Path() + "/c.csv", "ACC,maker,continue\nt,x,y\n1,2\nx,y,z\n");
    vyrtest::WriteText(dir.Path() + "/LOG.vyrlog", "not,a,csv\n");
    const soak::CsvReport report = soak::CheckCsvFiles(dir.Path());
    EXPECT_EQ(report.files, 3u);
    EXPECT_EQ(report.dataLines, 3u);
    EXPECT_EQ(report.problemCount, 4u);  // b: torn and ragged; c: ragged and not a number
}

TEST(SoakChecks, GrowthComparesMediansOfBothEnds) {
    EXPECT_FALSE(soak::MedianGrowth({1, 2, 3}, 2).measured);
    const soak::Growth growth = soak::MedianGrowth({10, 90, 11, 12, 13, 20, 21, 500, 22}, 3);
    EXPECT_TRUE(growth.measured);
    EXPECT_EQ(growth.first, 11);
    EXPECT_EQ(growth.last, 22);
    EXPECT_EQ(growth.growth, 11);
}

}  // namespace

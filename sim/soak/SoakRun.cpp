#include "soak/SoakRun.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "sandbox/Sandbox.h"

namespace fs = std::filesystem;

namespace soak {

namespace {

constexpr const char *kLogDir = "data/vendor/log/vyrlog";
constexpr const char *kLibDir = "vendor/lib64";
constexpr const char *kHeldDir = "soak-held";
// The libraries of back tap, loaded when a client first asks for it.
constexpr const char *kMissingLibraries[] = {"libBackTapAlg.so", "libBackTapFusion.so"};
constexpr int64_t kInitWaitMs = 30000;
constexpr int64_t kEndWaitMs = 20000;
constexpr int64_t kSampleMs = 1000;
constexpr size_t kGrowthWindow = 5;
// PSS is sampled this often while the face library is slow (frames come and
// go within a few seconds), and for this long after it.
constexpr int64_t kFaultSampleMs = 250;
constexpr int64_t kAfterSlowFaultMs = 5000;
// Long enough that only the watchdog ends it.
constexpr const char *kHangCommand = "hang 600000";
constexpr const char *kNotApplicable = "not applicable (logging off)";
// The Camera's line for TOF frames dropped behind a slow face library; the
// total follows.
constexpr const char *kDropLine = "tof frame dropped, ";
constexpr const char *kDropTotal = " dropped in all";

// Records a client's feature switch in `features`; false for any other command.
bool ApplySwitch(std::set<std::pair<std::string, std::string>> &features, const std::string &client,
                 const std::string &text) {
    for (const Feature &feature : Features()) {
        if (text == feature.onCommand) {
            features.insert({client, feature.key});
            return true;
        }
        if (text == feature.offCommand) {
            features.erase({client, feature.key});
            return true;
        }
    }
    return false;
}

int64_t WallMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::string ReadFrom(const std::string &path, uint64_t offset) {
    std::ifstream in(path, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(offset));
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

uint64_t FileSize(const std::string &path) {
    std::error_code ec;
    const uintmax_t size = fs::file_size(path, ec);
    return ec ? 0 : size;
}

const char *PassFail(bool pass) {
    return pass ? "PASS" : "FAIL";
}

// The sanitizer's or the runtime's own report of a fault, if any.
std::string FindSanitizerReport(const std::string &text) {
    for (const char *marker :
         {"ERROR: AddressSanitizer", "runtime error:", "WARNING: ThreadSanitizer",
          "ERROR: LeakSanitizer", "terminate called"}) {
        const size_t at = text.find(marker);
        if (at != std::string::npos) {
            const size_t end = text.find('\n', at);
            return text.substr(at, end == std::string::npos ? std::string::npos : end - at);
        }
    }
    return std::string();
}

}  // namespace

SoakRun::SoakRun(Options options) : mOpt(std::move(options)), mLedger([this]() { return Now(); }) {
    for (const auto &[client, key] : SteadyAsks()) {
        mWanted.insert({client, key});
    }
}

std::string SoakRun::LogDir() const {
    return mOpt.root + "/" + kLogDir;
}

int64_t SoakRun::RebootTimes() const {
    const auto props = vyrsim::ReadProperties(mOpt.root + "/properties");
    const auto value = props.find("odm.vyr.dae_reboot_times");
    if (value == props.end()) {
        return 0;
    }
    return atoll(value->second.c_str());
}

void SoakRun::Note(const std::string &text) {
    fprintf(stderr, "soak %8.3f s: %s\n", static_cast<double>(Now()) / 1000.0, text.c_str());
}

void SoakRun::Send(const std::string &client, const std::string &text, bool malformed) {
    if (mVyrd == nullptr) {
        return;
    }
    if (client != mClient) {
        mVyrd->Send("client " + client);
        mClient = client;
    }
    if (mOpt.verbose) {
        fprintf(stderr, "%9.3f > %s: %s\n", static_cast<double>(Now()) / 1000.0, client.c_str(),
                text.c_str());
    }
    mLedger.Sent(client, text, malformed);
    if (!malformed) {
        ApplySwitch(mWanted, client, text);
        ApplySwitch(mToldOn, client, text);
    }
    mVyrd->Send(text);
}

void SoakRun::HideLibraries(bool hide) {
    const fs::path libs = fs::path(mOpt.root) / kLibDir;
    const fs::path held = fs::path(mOpt.root) / kHeldDir;
    std::error_code ec;
    fs::create_directories(held, ec);
    for (const char *name : kMissingLibraries) {
        fs::rename(hide ? libs / name : held / name, hide ? held / name : libs / name, ec);
    }
}

void SoakRun::LimitFileSize(bool limit) {
    if (mVyrd == nullptr) {
        return;
    }
    struct rlimit old {};
    if (prlimit(mVyrd->Pid(), RLIMIT_FSIZE, nullptr, &old) != 0) {
        Note("cannot read the file-size limit of the daemon");
        return;
    }
    struct rlimit next = old;
    next.rlim_cur = limit ? 1 : old.rlim_max;
    if (prlimit(mVyrd->Pid(), RLIMIT_FSIZE, &next, nullptr) != 0) {
        Note("cannot set the file-size limit of the daemon");
    }
}

bool SoakRun::StartLife() {
    mLedger.NewLife();
    mClient.clear();
    mServiceDown = false;
    mToldOn.clear();
    LifeRecord life;
    life.startMs = Now();
    life.rebootTimesBefore = RebootTimes();
    HideLibraries(true);
    BeginFault(FaultKind::LibraryMissing);
    mLibrariesBackAtMs = Now() + kLibraryMissingMs;
    mLogcatStart = FileSize(mOpt.root + "/logcat.txt");

    mVyrd = std::make_unique<VyrdProcess>();
    const std::string errPath =
        mOpt.root + "/soak-vyrd-stderr-" + std::to_string(mLives.size() + 1) + ".txt";
    const bool verbose = mOpt.verbose;
    if (!mVyrd->Start(mOpt.vyrd, {"--root", mOpt.root, "--quiet-log"}, errPath,
                      [this, verbose](const std::string &line) {
                          mLedger.OnLine(line);
                          if (verbose) {
                              fprintf(stderr, "%9.3f < %s\n", static_cast<double>(Now()) / 1000.0,
                                      line.c_str());
                          }
                      })) {
        Note("cannot start " + mOpt.vyrd);
        mCrashes.push_back("cannot start " + mOpt.vyrd);
        mVyrd.reset();
        mLives.push_back(life);
        return false;
    }
    const int64_t deadline = WallMs() + kInitWaitMs;
    while (!mLedger.SawInit() && WallMs() < deadline) {
        int status = 0;
        if (mVyrd->Wait(0, status)) {
            break;
        }
        usleep(5000);
    }
    life.rebootTimesAfter = RebootTimes();
    mLives.push_back(life);
    if (!mLedger.SawInit()) {
        Note("the daemon did not start");
        mCrashes.push_back("daemon " + std::to_string(mLives.size()) + " did not start");
        return false;
    }
    // A new daemon knows no client: each asks again for what it wants.
    const auto wanted = mWanted;
    for (const auto &[client, key] : wanted) {
        Send(client, FindFeature(key)->onCommand);
    }
    Note("daemon " + std::to_string(mLives.size()) + " started, pid " +
         std::to_string(mVyrd->Pid()) + ", reboot count " + std::to_string(life.rebootTimesBefore) +
         " -> " + std::to_string(life.rebootTimesAfter));
    return true;
}

void SoakRun::EndLife(int status, bool sosExpected) {
    LifeRecord &life = mLives.back();
    const std::string err =
        ReadFrom(mOpt.root + "/soak-vyrd-stderr-" + std::to_string(mLives.size()) + ".txt", 0);
    const std::string logcat = ReadFrom(mOpt.root + "/logcat.txt", mLogcatStart);
    const std::string report = FindSanitizerReport(err);
    const size_t sosAt = logcat.find("DoSos+");
    std::string sos;
    if (sosAt != std::string::npos) {
        const size_t end = logcat.find('\n', sosAt);
        sos = logcat.substr(sosAt, end == std::string::npos ? std::string::npos : end - sosAt);
    }
    const bool exitedZero = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!report.empty()) {
        life.end = DescribeStatus(status) + ", " + report;
        life.expected = false;
    } else if (sosExpected) {
        life.expected = exitedZero && !sos.empty();
        life.end = life.expected ? "SOS: " + sos : DescribeStatus(status) + ", no SOS line";
        if (life.expected) {
            ++mSosRestarts;
        }
    } else if (mPlanMs.load() >= mPlan.lengthMs) {
        life.expected = exitedZero && sos.empty();
        life.end = life.expected ? "ended with its input" : DescribeStatus(status) + " " + sos;
    } else {
        life.expected = false;
        life.end = DescribeStatus(status) + (sos.empty() ? "" : ", " + sos);
    }
    if (!life.expected) {
        mCrashes.push_back("daemon " + std::to_string(mLives.size()) + " at " +
                           std::to_string(Now()) + " ms: " + life.end);
        Note("daemon ended: " + life.end);
    }
    mVyrd.reset();
}

int64_t SoakRun::DroppedFramesLogged() const {
    const std::string logcat = ReadFrom(mOpt.root + "/logcat.txt", mLogcatStart);
    const size_t line = logcat.rfind(kDropLine);
    if (line == std::string::npos) {
        return 0;
    }
    const size_t total = logcat.find(kDropTotal, line);
    if (total == std::string::npos || logcat.find('\n', line) < total) {
        return 0;
    }
    return atoll(logcat.c_str() + line + strlen(kDropLine));
}

void SoakRun::BeginFault(FaultKind kind) {
    FaultRecord record;
    record.kind = kind;
    record.beginMs = Now();
    record.life = static_cast<int>(mLives.size());
    if (!mOpt.logging && IsLogFileFault(kind)) {
        record.notApplicable = true;
        record.note = kNotApplicable;
        mFaults.push_back(record);
        return;
    }
    if (kind == FaultKind::SlowFaceLibrary && mVyrd != nullptr) {
        record.pssBeforeKb = ReadPssKb(mVyrd->Pid());
    }
    mFaults.push_back(record);
    if (mOpt.verbose || kind == FaultKind::Hang) {
        Note(std::string("fault: ") + FaultName(kind));
    }
    switch (kind) {
        case FaultKind::SensorServiceDeath:
            Send(kSteadyClient, "sensorsvc die");
            mServiceDown = true;
            break;
        case FaultKind::HubReset:
            Send(kSteadyClient, "hub reset");
            break;
        case FaultKind::LogDirDeleted: {
            std::error_code ec;
            fs::remove_all(LogDir(), ec);
            break;
        }
        case FaultKind::DiskFull:
            LimitFileSize(true);
            break;
        case FaultKind::Hang:
            Send(kSteadyClient, kHangCommand);
            AwaitSos();
            break;
        case FaultKind::LibraryMissing:
            break;  // the libraries were moved before the daemon started
        case FaultKind::SlowFaceLibrary:
            // The dark of the test override: the sensor service's scenarios
            // would bring the light back in the middle of it.
            Send(kSteadyClient, "facedelay " + std::to_string(kSlowFaceDelayMs));
            Send(kSteadyClient, "light 5");
            Send(kSteadyClient, "set-env dark");
            break;
    }
}

void SoakRun::EndFault(FaultKind kind) {
    FaultRecord *record = nullptr;
    for (auto it = mFaults.rbegin(); it != mFaults.rend(); ++it) {
        if (it->kind == kind && it->endMs < 0) {
            record = &*it;
            break;
        }
    }
    if (record == nullptr) {
        return;
    }
    record->endMs = Now();
    if (record->notApplicable) {
        return;
    }
    const size_t index = static_cast<size_t>(record - mFaults.data());
    auto expect = [&](const char *what) {
        record->expectations.push_back(mLedger.Expect(index, what, Now()));
    };
    switch (kind) {
        case FaultKind::LibraryMissing:
            HideLibraries(false);
            mLibrariesBackAtMs = -1;
            Send(kSteadyClient, FindFeature("backtap")->onCommand);
            expect("backtap");
            break;
        case FaultKind::SensorServiceDeath:
            Send(kSteadyClient, "sensorsvc restart");
            mServiceDown = false;
            // The library keeps its sensors' settings over the new
            // connection and tells the new service only a setting that
            // differs, and a sensor shared by modules changes only when all
            // of them let it go: every client switches everything off and on
            // again, as on a service restart notice.
            AskAgain({"motion", "posture", "camera", "activity"});
            expect("motion");
            expect("posture");
            break;
        case FaultKind::HubReset:
            expect("activity");
            expect("backtap");
            break;
        case FaultKind::LogDirDeleted:
            // Logging stays off until the next start; the modules go on.
            expect("motion");
            expect("activity");
            break;
        case FaultKind::DiskFull:
            LimitFileSize(false);
            expect("log");
            break;
        case FaultKind::Hang:
            for (const char *what : {"motion", "posture", "camera", "activity"}) {
                expect(what);
            }
            break;
        case FaultKind::SlowFaceLibrary: {
            Send(kSteadyClient, "facedelay 0");
            Send(kSteadyClient, "set-env normal");
            Send(kSteadyClient, "light 300");
            expect("camera");
            record->note = "at least " + std::to_string(DroppedFramesLogged()) +
                           " TOF frames dropped in this daemon";
            break;
        }
    }
}

bool SoakRun::HoldSwitch(const std::string &client, const std::string &text) {
    return ApplySwitch(mWanted, client, text);
}

void SoakRun::AskAgain(const std::vector<std::string> &modules) {
    // Off goes to everything the daemon was told to switch on, held switches
    // included; on to what the clients want now.
    auto told = mToldOn;
    const auto wanted = mWanted;
    told.insert(wanted.begin(), wanted.end());
    for (bool on : {false, true}) {
        for (const auto &[client, key] : on ? wanted : told) {
            const Feature *feature = FindFeature(key);
            if (std::find(modules.begin(), modules.end(), feature->module) != modules.end()) {
                Send(client, on ? feature->onCommand : feature->offCommand);
            }
        }
    }
}

void SoakRun::AwaitSos() {
    const int64_t pauseStart = WallMs();
    FaultRecord &hang = mFaults.back();
    const size_t hangIndex = mFaults.size() - 1;
    int status = 0;
    if (mVyrd != nullptr && mVyrd->Wait(static_cast<int>(mOpt.hangWaitMs), status)) {
        EndLife(status, true);
        mFaults[hangIndex].note =
            "the daemon ended after " + std::to_string(WallMs() - pauseStart) + " ms";
        if (!mLives.back().expected) {
            mFaults[hangIndex].failed = true;
        }
    } else {
        hang.failed = true;
        hang.note =
            "the watchdog did not end the daemon within " + std::to_string(mOpt.hangWaitMs) + " ms";
        Note(hang.note);
        if (mVyrd != nullptr) {
            mVyrd->Kill();
            mVyrd->Wait(5000, status);
        }
        mLives.back().end = "killed by the soak: " + hang.note;
        mLives.back().expected = false;
        mCrashes.push_back(mLives.back().end);
        mVyrd.reset();
    }
    // The libraries of a life that ended before putting them back.
    EndFault(FaultKind::LibraryMissing);
    StartLife();
    EndFault(FaultKind::Hang);
    mWallStartMs += WallMs() - pauseStart;  // the plan clock stood still
}

void SoakRun::DoStep(const Step &step) {
    switch (step.kind) {
        case StepKind::Command:
            if (mServiceDown && HoldSwitch(step.client, step.text)) {
                break;
            }
            Send(step.client, step.text);
            break;
        case StepKind::BadInput:
            Send(step.client, step.text, true);
            break;
        case StepKind::FaultBegin:
            BeginFault(step.fault);
            break;
        case StepKind::FaultEnd:
            EndFault(step.fault);
            break;
    }
}

void SoakRun::SampleSlowFault() {
    if (mVyrd == nullptr || mFaults.empty() ||
        (mLastFaultSampleMs >= 0 && Now() - mLastFaultSampleMs < kFaultSampleMs)) {
        return;
    }
    for (auto it = mFaults.rbegin(); it != mFaults.rend(); ++it) {
        if (it->kind != FaultKind::SlowFaceLibrary) {
            continue;
        }
        const bool during = it->endMs < 0;
        if (it->life != static_cast<int>(mLives.size()) ||
            (!during && Now() - it->endMs >= kAfterSlowFaultMs)) {
            return;
        }
        mLastFaultSampleMs = Now();
        const int64_t pss = ReadPssKb(mVyrd->Pid());
        if (pss >= 0) {
            (during ? it->pssDuring : it->pssAfter).push_back(pss);
        }
        return;
    }
}

void SoakRun::Sample() {
    SampleSlowFault();
    if (mLastSampleMs >= 0 && Now() - mLastSampleMs < kSampleMs) {
        return;
    }
    mLastSampleMs = Now();
    if (mVyrd != nullptr && !mLives.empty() && Now() - mLives.back().startMs >= mOpt.warmupMs) {
        const int64_t pss = ReadPssKb(mVyrd->Pid());
        const int64_t fds = CountFds(mVyrd->Pid());
        if (pss >= 0 && fds >= 0) {
            mLives.back().pss.push_back(pss);
            mLives.back().fds.push_back(fds);
        }
    }
    auto sizes = FileSizes(LogDir());
    if (AnyGrew(mLogSizes, sizes)) {
        mLedger.LogWritten(Now());
    }
    mLogSizes = std::move(sizes);
}

void SoakRun::Tick() {
    mPlanMs.store(WallMs() - mWallStartMs);
}

bool SoakRun::Run(nlohmann::ordered_json &summary) {
    mPlan = MakePlan(mOpt.seed, mOpt.lengthMs);
    std::error_code ec;
    if (fs::exists(mOpt.root, ec) && !fs::is_empty(mOpt.root, ec) &&
        !fs::exists(fs::path(mOpt.root) / "properties", ec)) {
        fprintf(stderr, "soak: %s is not a sandbox; not removing it\n", mOpt.root.c_str());
        return false;
    }
    fs::remove_all(mOpt.root, ec);
    vyrsim::SandboxOptions sandbox;
    if (mOpt.logging) {
        sandbox.properties["persist.odm.vyr.vyrlog_enabled"] = "true";
    }
    sandbox.touchNodes = true;
    std::string error;
    if (!vyrsim::CreateSandbox(mOpt.root, sandbox, &error)) {
        fprintf(stderr, "soak: sandbox %s: %s\n", mOpt.root.c_str(), error.c_str());
        return false;
    }
    std::ofstream(mOpt.root + "/soak-plan.txt") << PlanText(mPlan);
    fprintf(stderr, "soak: seed %llu, %lld s of use, sandbox %s\n",
            static_cast<unsigned long long>(mOpt.seed),
            static_cast<long long>(mOpt.lengthMs / 1000), mOpt.root.c_str());

    const int64_t wallStart = WallMs();
    mWallStartMs = wallStart;
    Tick();
    StartLife();
    size_t next = 0;
    while (Now() < mPlan.lengthMs) {
        Tick();
        while (next < mPlan.steps.size() && mPlan.steps[next].atMs <= Now()) {
            DoStep(mPlan.steps[next++]);
            Tick();
        }
        if (mLibrariesBackAtMs >= 0 && Now() >= mLibrariesBackAtMs) {
            EndFault(FaultKind::LibraryMissing);
        }
        Sample();
        int status = 0;
        if (mVyrd != nullptr && mVyrd->Wait(0, status)) {
            EndLife(status, false);
            StartLife();
        }
        usleep(5000);
    }
    EndFault(FaultKind::LibraryMissing);
    mPlanMs.store(mPlan.lengthMs);
    if (mVyrd != nullptr) {
        int status = 0;
        mVyrd->CloseInput();
        if (!mVyrd->Wait(static_cast<int>(kEndWaitMs), status)) {
            mVyrd->Kill();
            mVyrd->Wait(5000, status);
            mCrashes.push_back("the daemon did not end within " + std::to_string(kEndWaitMs) +
                               " ms of its input's end");
        }
        EndLife(status, false);
    }
    const double wallSeconds = static_cast<double>(WallMs() - wallStart) / 1000.0;
    bool pass = true;
    summary = Summarise(pass);
    summary["wallSeconds"] = wallSeconds;
    std::ofstream(mOpt.root + "/soak-summary.json") << summary.dump(2) << "\n";
    return pass;
}

nlohmann::ordered_json SoakRun::Summarise(bool &pass) {
    using nlohmann::ordered_json;
    const Counts counts = mLedger.GetCounts();
    const CsvReport csv = CheckCsvFiles(LogDir());
    const std::vector<Expectation> expectations = mLedger.GetExpectations();
    std::vector<std::string> failures = mCrashes;

    // Faults: survived when nothing went wrong and every module came back in time.
    ordered_json faultList = ordered_json::array();
    std::map<std::string, std::pair<int, int>> byKind;  // injected, survived
    int survived = 0;
    bool recoveryPass = true;
    int64_t slowest = 0;
    int injected = 0;
    bool slowPssPass = true;
    int slowJudged = 0;
    for (FaultRecord &fault : mFaults) {
        ordered_json item;
        item["fault"] = FaultName(fault.kind);
        item["atMs"] = fault.beginMs;
        item["endMs"] = fault.endMs;
        item["daemon"] = fault.life;
        if (fault.notApplicable) {
            item["survived"] = kNotApplicable;
            byKind.try_emplace(FaultName(fault.kind), 0, 0);
            faultList.push_back(item);
            continue;
        }
        ++injected;
        ordered_json recovered = ordered_json::object();
        for (size_t index : fault.expectations) {
            const Expectation &e = expectations[index];
            if (e.metMs >= 0 && e.metMs - e.fromMs <= mOpt.recoveryMs) {
                recovered[e.what] = e.metMs - e.fromMs;
                slowest = std::max(slowest, e.metMs - e.fromMs);
            } else if (e.metMs < 0 && mPlan.lengthMs - e.fromMs < mOpt.recoveryMs) {
                recovered[e.what] = "run ended first";
            } else {
                recovered[e.what] =
                    e.metMs < 0 ? "never" : "late: " + std::to_string(e.metMs - e.fromMs) + " ms";
                fault.failed = true;
                recoveryPass = false;
                failures.push_back(std::string(FaultName(fault.kind)) + " at " +
                                   std::to_string(fault.beginMs) + " ms: " + e.what + " " +
                                   recovered[e.what].get<std::string>());
            }
        }
        item["recoveredMs"] = recovered;
        if (fault.kind == FaultKind::SlowFaceLibrary && !fault.pssDuring.empty()) {
            // Flat: the peak while the library was slow stays within the
            // bound of the level the daemon settles at after it, which holds
            // whatever was loaded for good on the way.
            const int64_t peak = *std::max_element(fault.pssDuring.begin(), fault.pssDuring.end());
            ordered_json pss = {{"before", fault.pssBeforeKb}, {"peak", peak}};
            std::vector<int64_t> after = fault.pssAfter;
            if (!after.empty()) {
                std::sort(after.begin(), after.end());
                const int64_t settled = after[after.size() / 2];
                pss["after"] = settled;
                ++slowJudged;
                if (peak - settled > mOpt.pssBoundKb) {
                    fault.failed = true;
                    slowPssPass = false;
                    failures.push_back("slow face library at " + std::to_string(fault.beginMs) +
                                       " ms: PSS peak " + std::to_string(peak) + " kB, " +
                                       std::to_string(peak - settled) + " kB over the " +
                                       std::to_string(settled) + " kB after it");
                }
            }
            item["pssKb"] = pss;
            fault.note += ", PSS before " + std::to_string(fault.pssBeforeKb) + " kB, peak " +
                          std::to_string(peak) + " kB, after " +
                          (after.empty() ? std::string("not measured")
                                         : std::to_string(pss["after"].get<int64_t>()) + " kB");
        }
        if (!fault.note.empty()) {
            item["note"] = fault.note;
        }
        item["survived"] = !fault.failed;
        survived += fault.failed ? 0 : 1;
        auto &kind = byKind[FaultName(fault.kind)];
        ++kind.first;
        kind.second += fault.failed ? 0 : 1;
        faultList.push_back(item);
    }

    // Lives: memory and descriptors after the warm-up, reboot count.
    ordered_json lives = ordered_json::array();
    bool pssPass = true;
    bool fdPass = true;
    bool rebootPass = true;
    size_t judged = 0;
    for (size_t i = 0; i < mLives.size(); ++i) {
        const LifeRecord &life = mLives[i];
        ordered_json item;
        item["startMs"] = life.startMs;
        item["end"] = life.end;
        item["rebootTimes"] = {life.rebootTimesBefore, life.rebootTimesAfter};
        if (life.rebootTimesAfter != life.rebootTimesBefore + 1) {
            rebootPass = false;
            failures.push_back("daemon " + std::to_string(i + 1) + ": reboot count " +
                               std::to_string(life.rebootTimesBefore) + " -> " +
                               std::to_string(life.rebootTimesAfter));
        }
        const Growth pss = MedianGrowth(life.pss, kGrowthWindow);
        const Growth fds = MedianGrowth(life.fds, kGrowthWindow);
        judged += pss.measured && fds.measured ? 1 : 0;
        if (pss.measured) {
            ordered_json every = ordered_json::array();
            for (size_t at = 0; at < life.pss.size(); at += 10) {
                every.push_back(life.pss[at]);
            }
            item["pssKb"] = {{"afterWarmup", pss.first},
                             {"atEnd", pss.last},
                             {"growth", pss.growth},
                             {"every10s", every}};
            if (pss.growth > mOpt.pssBoundKb) {
                pssPass = false;
                failures.push_back("daemon " + std::to_string(i + 1) + ": PSS grew " +
                                   std::to_string(pss.growth) + " kB");
            }
        }
        if (fds.measured) {
            item["fds"] = {{"afterWarmup", fds.first}, {"atEnd", fds.last}, {"growth", fds.growth}};
            if (fds.growth > mOpt.fdBound) {
                fdPass = false;
                failures.push_back("daemon " + std::to_string(i + 1) + ": descriptors grew by " +
                                   std::to_string(fds.growth));
            }
        }
        lives.push_back(item);
    }
    for (const std::string &problem : csv.problems) {
        failures.push_back("CSV " + problem);
    }
    for (const std::string &violation : mLedger.Violations()) {
        failures.push_back(violation);
    }

    const bool crashPass = mCrashes.empty();
    // No log files on a user's phone: nothing to check.
    const bool csvPass = !mOpt.logging || (csv.problemCount == 0 && csv.files > 0);
    const bool offPass = mLedger.ViolationCount() == 0;
    const std::string recoveryName =
        "results again within " + std::to_string(mOpt.recoveryMs / 1000) + " s after each fault";
    ordered_json invariants;
    invariants["no crash other than the injected SOS"] = PassFail(crashPass);
    invariants["every CSV line whole"] = mOpt.logging ? PassFail(csvPass) : kNotApplicable;
    const std::string warmup = " after " + std::to_string(mOpt.warmupMs / 1000) + " s; " +
                               std::to_string(judged) + " of " + std::to_string(mLives.size()) +
                               " daemons lived long enough)";
    invariants["PSS flat (growth <= " + std::to_string(mOpt.pssBoundKb) + " kB" + warmup] =
        PassFail(pssPass);
    invariants["descriptors flat (growth <= " + std::to_string(mOpt.fdBound) + warmup] =
        PassFail(fdPass);
    const std::string slowName = "PSS peak during a slow face library within " +
                                 std::to_string(mOpt.pssBoundKb) + " kB of the level after it (" +
                                 std::to_string(slowJudged) + " judged)";
    invariants[slowName] = PassFail(slowPssPass);
    invariants["no result to a client that switched the feature off"] = PassFail(offPass);
    invariants[recoveryName] = PassFail(recoveryPass);
    invariants["reboot count grew by one at each start"] = PassFail(rebootPass);
    pass = crashPass && csvPass && pssPass && slowPssPass && fdPass && offPass && recoveryPass &&
           rebootPass;

    ordered_json kinds = ordered_json::object();
    for (const auto &[name, numbers] : byKind) {
        if (numbers.first == 0) {
            kinds[name] = kNotApplicable;
        } else {
            kinds[name] = {{"injected", numbers.first}, {"survived", numbers.second}};
        }
    }
    ordered_json summary;
    summary["seed"] = mOpt.seed;
    summary["seconds"] = mOpt.lengthMs / 1000;
    summary["logging"] = mOpt.logging ? "on" : "off";
    summary["sandbox"] = mOpt.root;
    summary["handled"] = {{"replies", counts.replies},
                          {"commandsSent", counts.commandsSent},
                          {"malformedInputsSent", counts.malformedSent},
                          {"samplesInCsvFiles", csv.dataLines},
                          {"csvFiles", csv.files},
                          {"tofFrames", counts.tofFrames},
                          {"queueMessages", counts.queueMessages},
                          {"malformedQueueMessages", counts.malformedQueueMessages}};
    ordered_json results = counts.results;
    results["other clients"] = counts.otherResults;
    results["activity events after off (allowed, one per off)"] = counts.activityEventsAfterOff;
    summary["results"] = results;
    summary["faults"] = {{"injected", injected},
                         {"survived", survived},
                         {"slowestRecoveryMs", slowest},
                         {"byKind", kinds},
                         {"list", faultList}};
    summary["sosRestarts"] = mSosRestarts;
    summary["daemons"] = lives;
    summary["invariants"] = invariants;
    summary["failures"] = failures;
    summary["pass"] = pass;
    return summary;
}

std::string SoakRun::Table(const nlohmann::ordered_json &s) {
    std::ostringstream out;
    char line[256];
    snprintf(line, sizeof(line),
             "Soak run: seed %llu, %lld s of use (%.0f s on the clock), file logging %s\n",
             s["seed"].get<unsigned long long>(), s["seconds"].get<long long>(),
             s.value("wallSeconds", 0.0), s.value("logging", "on").c_str());
    out << line;
    out << "  handled:   ";
    for (const auto &[name, value] : s["handled"].items()) {
        out << name << " " << value.dump() << ", ";
    }
    out << "\n  results:   ";
    for (const auto &[name, value] : s["results"].items()) {
        out << name << " " << value.dump() << ", ";
    }
    out << "\n  faults:    " << s["faults"]["injected"].dump() << " injected, "
        << s["faults"]["survived"].dump() << " survived, slowest recovery "
        << s["faults"]["slowestRecoveryMs"].dump() << " ms; SOS restarts "
        << s["sosRestarts"].dump() << "\n";
    for (const auto &[name, value] : s["faults"]["byKind"].items()) {
        if (value.is_string()) {
            snprintf(line, sizeof(line), "    %-28s %s\n", name.c_str(),
                     value.get<std::string>().c_str());
        } else {
            snprintf(line, sizeof(line), "    %-28s %3d injected  %3d survived\n", name.c_str(),
                     value["injected"].get<int>(), value["survived"].get<int>());
        }
        out << line;
    }
    for (const auto &fault : s["faults"]["list"]) {
        if (fault["fault"] == FaultName(FaultKind::SlowFaceLibrary) && fault.contains("note")) {
            out << "    slow face library at " << fault["atMs"].dump()
                << " ms: " << fault["note"].get<std::string>() << "\n";
        }
    }
    out << "  invariants:\n";
    for (const auto &[name, value] : s["invariants"].items()) {
        const std::string verdict = value.get<std::string>();
        if (verdict == "PASS" || verdict == "FAIL") {
            snprintf(line, sizeof(line), "    %-4s %s\n", verdict.c_str(), name.c_str());
        } else {
            snprintf(line, sizeof(line), "    -    %s: %s\n", name.c_str(), verdict.c_str());
        }
        out << line;
    }
    for (const auto &failure : s["failures"]) {
        out << "  failure: " << failure.get<std::string>() << "\n";
    }
    out << (s["pass"].get<bool>() ? "PASS" : "FAIL") << "\n";
    return out.str();
}

}  // namespace soak

// The soak supervisor: plays a plan against vyrd in one sandbox, injects the
// faults, restarts the daemon when it ends (as the phone's init would), and
// judges the run.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "soak/SoakChecks.h"
#include "soak/SoakLedger.h"
#include "soak/SoakPlan.h"
#include "soak/VyrdProcess.h"

namespace soak {

struct Options {
    std::string vyrd;  // the daemon to run
    std::string root;  // the sandbox (made fresh)
    int64_t lengthMs = 180000;
    uint64_t seed = 0;
    int64_t recoveryMs = 15000;  // a module's results must come again within this after a fault
    // Memory and descriptors are judged after this much of a life: one fault
    // cycle, so that every library loaded on first use has been loaded.
    int64_t warmupMs = 50000;
    int64_t pssBoundKb = 4096;   // allowed PSS growth over a life after the warm-up
    int64_t fdBound = 2;         // allowed growth of open descriptors
    int64_t hangWaitMs = 60000;  // how long the watchdog may take to end a hung daemon
    // File logging on (the property that switches it on); off is a user's
    // phone, where the log-file faults and the CSV check do not apply.
    bool logging = true;
    bool verbose = false;
};

struct FaultRecord {
    FaultKind kind = FaultKind::LibraryMissing;
    int64_t beginMs = 0;
    int64_t endMs = -1;
    int life = 0;
    std::vector<size_t> expectations;
    std::string note;  // what went wrong, if anything
    bool failed = false;
    bool notApplicable = false;  // a log-file fault with logging off: not injected
    // The slow face library: PSS of the daemon (kB) before it, sampled while
    // it lasts, and sampled for a while after it.
    int64_t pssBeforeKb = -1;
    std::vector<int64_t> pssDuring;
    std::vector<int64_t> pssAfter;
};

struct LifeRecord {
    int64_t startMs = 0;  // plan time
    std::string end;      // "ended at the end of the run", "SOS", or what killed it
    bool expected = true;
    int64_t rebootTimesBefore = -1;
    int64_t rebootTimesAfter = -1;
    std::vector<int64_t> pss;  // kB, one a second after the warm-up
    std::vector<int64_t> fds;
};

class SoakRun {
public:
    explicit SoakRun(Options options);

    // Runs the whole soak; the summary (also written to the sandbox as
    // soak-summary.json) and whether every invariant held.
    bool Run(nlohmann::ordered_json &summary);

    static std::string Table(const nlohmann::ordered_json &summary);

private:
    int64_t Now() const { return mPlanMs.load(); }
    void Tick();
    bool StartLife();
    // The daemon ended: records how, and whether that was expected.
    void EndLife(int status, bool sosExpected);
    void Send(const std::string &client, const std::string &text, bool malformed = false);
    void DoStep(const Step &step);
    void BeginFault(FaultKind kind);
    void EndFault(FaultKind kind);
    void AwaitSos();
    // Every client switches its features of `modules` off and on again.
    void AskAgain(const std::vector<std::string> &modules);
    // A client's feature switch, kept for later; false for other commands.
    bool HoldSwitch(const std::string &client, const std::string &text);
    void HideLibraries(bool hide);
    void LimitFileSize(bool limit);
    void Sample();
    // PSS samples around the current life's slow face library, if any.
    void SampleSlowFault();
    std::string LogDir() const;
    int64_t RebootTimes() const;
    void Note(const std::string &text);
    // The total of the Camera's last line about dropped TOF frames in this
    // daemon's log (the line comes at most every few seconds); 0 if none.
    int64_t DroppedFramesLogged() const;
    nlohmann::ordered_json Summarise(bool &pass);

    Options mOpt;
    Plan mPlan;
    std::atomic<int64_t> mPlanMs{0};
    Ledger mLedger;
    std::unique_ptr<VyrdProcess> mVyrd;
    std::string mClient;
    // What each client wants on, and what it has told the daemon it wants
    // (they differ while switches are held): (client, feature key).
    std::set<std::pair<std::string, std::string>> mWanted;
    std::set<std::pair<std::string, std::string>> mToldOn;
    // While the sensor service is down the clients' switches wait: the library
    // keeps no record of a request whose sensor it cannot find.
    bool mServiceDown = false;
    std::vector<FaultRecord> mFaults;
    std::vector<LifeRecord> mLives;
    std::vector<std::string> mCrashes;
    int mSosRestarts = 0;
    int64_t mLibrariesBackAtMs = -1;
    int64_t mLastSampleMs = -1;
    int64_t mLastFaultSampleMs = -1;
    std::map<std::string, uint64_t> mLogSizes;
    uint64_t mLogcatStart = 0;
    int64_t mWallStartMs = 0;
};

}  // namespace soak

// The plan of a soak run: every command, input and fault of the run, laid out
// in time from one seed before the run starts, so that a run can be repeated
// from its seed (vyr_soak --plan prints it).
//
// Times are on the plan clock: milliseconds of use since the start. The clock
// stands still while the supervisor waits for the watchdog to end a hung
// daemon and starts it again.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace soak {

// The faults a run injects.
enum class FaultKind {
    LibraryMissing,  // back-tap libraries absent from the sandbox when the daemon starts
    SensorServiceDeath,
    HubReset,
    LogDirDeleted,
    DiskFull,  // a file-size limit on the daemon: every write past one byte is refused
    Hang,      // a gesture call that never returns; the watchdog ends the daemon
    // Every detection of the face library takes kSlowFaceDelayMs while TOF
    // frames come at 30 a second in the dark, for kSlowFaceLibraryMs.
    SlowFaceLibrary,
};

// Faults of the log files: they do not apply when file logging is off.
bool IsLogFileFault(FaultKind kind);

const char *FaultName(FaultKind kind);

enum class StepKind {
    Command,     // `text` sent to the daemon as `client`
    BadInput,    // like Command, but deliberately malformed (counted apart)
    FaultBegin,  // `fault` starts
    FaultEnd,    // `fault` ends (the end of an instant fault follows its begin)
};

struct Step {
    int64_t atMs = 0;
    StepKind kind = StepKind::Command;
    std::string client;
    std::string text;
    FaultKind fault = FaultKind::LibraryMissing;
};

// A feature a client switches on and off, and how its results are known.
struct Feature {
    const char *key;     // "flip", "rotation", "backtap", "posture", "camera0", "ar4", ...
    const char *module;  // "motion", "posture", "camera", "activity"
    const char *onCommand;
    const char *offCommand;
};

const std::vector<Feature> &Features();
const Feature *FindFeature(const std::string &key);

// The client that holds one feature of every module for the whole run (its
// results measure recovery), the activity client, and the clients that switch
// features at random.
inline constexpr const char *kSteadyClient = "soak-steady";
inline constexpr const char *kArClient = "ar-client";
const std::vector<std::string> &RandomClients();
// The features the steady clients ask for at every start of the daemon.
const std::vector<std::pair<std::string, std::string>> &SteadyAsks();  // client, feature key

// How long the back-tap libraries stay missing after each start.
inline constexpr int64_t kLibraryMissingMs = 5000;

// The slow face library: how long, how slow, and when (plan time, begin and
// end; the use of the camera in the rounds keeps out of these windows).
inline constexpr int64_t kSlowFaceLibraryMs = 20000;
inline constexpr int kSlowFaceDelayMs = 100;
std::vector<std::pair<int64_t, int64_t>> SlowFaceWindows(int64_t lengthMs);

struct Plan {
    uint64_t seed = 0;
    int64_t lengthMs = 0;
    std::vector<Step> steps;  // ordered by atMs
};

Plan MakePlan(uint64_t seed, int64_t lengthMs);

// One line a step, for --plan and for the run directory.
std::string PlanText(const Plan &plan);

}  // namespace soak

// What a soak run saw, kept as the daemon's lines arrive: replies and queue
// messages counted, results counted per module and checked against what each
// client had switched on, and the recovery of the modules after each fault.
// Thread-safe: lines come on the reader thread, the supervisor asks from its
// own.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace soak {

struct Expectation {
    size_t fault = 0;  // index into the supervisor's fault list
    std::string what;  // "motion", "posture", "camera", "activity", "backtap" or "log"
    int64_t fromMs = 0;
    int64_t metMs = -1;  // plan time of the first result after fromMs
};

struct Counts {
    uint64_t commandsSent = 0;
    uint64_t malformedSent = 0;
    uint64_t replies = 0;
    uint64_t tofFrames = 0;
    uint64_t queueMessages = 0;
    uint64_t malformedQueueMessages = 0;
    std::map<std::string, uint64_t> results;  // per module
    uint64_t otherResults = 0;
    // Activity events after the client's off that the activity's event mask
    // still lets through (one per activity and off; see Ledger).
    uint64_t activityEventsAfterOff = 0;
};

class Ledger {
public:
    explicit Ledger(std::function<int64_t()> planClock) : mClock(std::move(planClock)) {}

    // One line of the daemon's standard output.
    void OnLine(const std::string &line);
    // A command line about to be sent as `client`.
    void Sent(const std::string &client, const std::string &text, bool malformed);
    // A new daemon: no client has anything switched on.
    void NewLife();

    size_t Expect(size_t fault, const std::string &what, int64_t fromMs);
    // Log files grew at plan time `atMs`.
    void LogWritten(int64_t atMs);

    Counts GetCounts();
    std::vector<Expectation> GetExpectations();
    uint64_t ViolationCount();
    std::vector<std::string> Violations();  // the first few, described
    bool SawInit();

private:
    enum class State { Off, PendingOn, On, PendingOff };

    void OnResult(const std::string &client, int type, int dataSize, const std::vector<int> &data);
    void CheckResult(const std::string &client, const std::string &key, const std::string &module,
                     const std::string &what);
    void Met(const std::string &what, int64_t now);

    std::function<int64_t()> mClock;
    std::mutex mMutex;
    std::map<std::pair<std::string, std::string>, State> mStates;  // (client, feature key)
    // Activities switched off that may still send one event: the module drops
    // an event type from an activity's mask only for the client that leaves
    // last, so one type stays armed until the activity is switched on again.
    std::set<std::pair<std::string, std::string>> mAfterOffAllowed;
    Counts mCounts;
    std::vector<Expectation> mExpectations;
    uint64_t mViolations = 0;
    std::vector<std::string> mViolationTexts;
    bool mSawInit = false;
};

}  // namespace soak

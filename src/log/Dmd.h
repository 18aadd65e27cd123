// Fault reports to the device monitor: one text record written to the
// report node with a single write, an optional copy of the diagnostic file,
// and an optional hang event. Ids may have a budget (reports left) and a
// merger (at most one report per interval); an id without either always
// passes. Any thread may report: logoutMutex is taken before dmdMutex.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "log/DmdReportMerger.h"

class LogSink;
class VyrHal;

enum DMD_ERROR_ENUM : int32_t {
    // Reported only while file logging is on.
    DMD_VYR_LOG_ONLY = 999010000,
    DMDW_VYR_OTHER = 999010001,
};

struct LogDmdParam {
    DMD_ERROR_ENUM err = DMDW_VYR_OTHER;
    std::string name;
    std::string content;
    std::string module;
    std::string extra;
    bool hang = false;  // raise a hang event too
};

class Dmd {
public:
    static constexpr const char *kDevice = "/dev/dsm";
    static constexpr const char *kRecordWord = "dsm_tphostprocessing";

    explicit Dmd(VyrHal &hal);
    bool Init();

    // The budget and quiet tests of a report, without reporting.
    bool CanReport(int32_t id);
    bool MergerCanReport(int32_t id);
    // Writes "dsm_tphostprocessing,<err>,<a>,<b>" to the report node.
    void Report(DMD_ERROR_ENUM err, std::string a, std::string b);
    void VyrlogCallback(std::string file, LogDmdParam param);
    void Logout(LogDmdParam &param);

    // Tables of the callers: reports left for an id, and a merger for an id.
    void SetLimit(int32_t id, int32_t budget);
    void AddMerger(int32_t id, int64_t minIntervalMs, uint64_t minCount);
    // The id of a name of the name-to-id map; 0 when unknown.
    int32_t IdOf(const std::string &name) const;

private:
    // Takes one from the budget; false when the report is not to go.
    bool TakeBudget(int32_t id);
    // The diagnostic file to the log directory; the log module does it.
    void CopyDmdLog(const std::string &file);

    VyrHal &mHal;
    LogSink &mLog;
    std::map<int32_t, int32_t> limits;
    std::set<int32_t> quietIds;
    std::mutex dmdMutex;
    std::mutex logoutMutex;
    std::map<int32_t, DmdReportMerger> mergers;
    std::map<std::string, int32_t> names;
    std::function<void(std::string, LogDmdParam)> logCallback;
};

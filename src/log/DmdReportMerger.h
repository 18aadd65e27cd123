// Thins a noisy fault: it may be reported at most once per interval and only
// after a number of occurrences, and the report says how many it stands for.
#pragma once

#include <cstdint>

class LogSink;
class VyrHal;

class DmdReportMerger {
public:
    DmdReportMerger(VyrHal &hal, int32_t id, int64_t intervalMs, uint64_t countNeeded);

    // Counts one occurrence; true when this one is to be reported.
    bool CanReport();

    uint64_t GetCount() const { return count; }

private:
    LogSink &mLog;
    int32_t err;
    int64_t minInterval;  // ms
    uint64_t minCount;
    uint64_t lastTime = 0;  // monotonic ms of the last report
    uint64_t count = 0;     // occurrences since the last report
};

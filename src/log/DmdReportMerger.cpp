#include "log/DmdReportMerger.h"

#include "hal/VyrHal.h"
#include "log/LogSink.h"

DmdReportMerger::DmdReportMerger(VyrHal &hal, int32_t id, int64_t intervalMs, uint64_t countNeeded)
    : mLog(hal), err(id), minInterval(intervalMs), minCount(countNeeded) {}

bool DmdReportMerger::CanReport() {
    count += 1;
    if (count == 0) {
        return true;
    }
    const uint64_t now = VyrHal::MonoTimeMs();
    if (count < minCount) {
        return false;
    }
    if (static_cast<int64_t>(now - lastTime) < minInterval) {
        return false;
    }
    LOGI("dmd: %d arise %ld times within %ldms", err, static_cast<long>(count),
         static_cast<long>(minInterval));
    lastTime = now;
    count = 0;
    return true;
}

#include "sensor/LogEvents.h"

#include <cstring>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"

namespace logevents {

namespace {

void SetTailWord(ASensorEvent &event, int index, int32_t value) {
    event.reserved1[index] = value;
}

}  // namespace

ASensorEvent Make(uint32_t type, uint64_t timestamp, uint64_t arrivalMs) {
    ASensorEvent event;
    memset(&event, 0, sizeof(event));
    event.sensor = static_cast<int32_t>(type);
    event.type = static_cast<int32_t>(type);
    event.timestamp = static_cast<int64_t>(timestamp);
    SetEventArrivalMs(event, arrivalMs);
    return event;
}

void FillArResult(LogSink &mLog, ASensorEvent &event, const fmq::ArResultRecord &record,
                  uint64_t arrivalMs) {
    LOGD("BETA_AR_RESULT clk: %u currentARStatus: %d, stepsInfo: %d", record.clk,
         record.currentARStatus, record.stepsInfo);
    LOGD(
        "BETA_AR_RESULT stationaryScore: %d walkScore: %d, runScore: %d, rideScore: %d, "
        "vehicleScore: %d, unknownScore: %d",
        record.stationaryScore, record.walkScore, record.runScore, record.rideScore,
        record.vehicleScore, record.unknownScore);
    LOGD("BETA_AR_RESULT feat0_4 = (%d, %d, %d, %d, %d)", record.feat[0], record.feat[1],
         record.feat[2], record.feat[3], record.feat[4]);
    LOGD("BETA_AR_RESULT feat5_9 = (%d, %d, %d, %d, %d)", record.feat[5], record.feat[6],
         record.feat[7], record.feat[8], record.feat[9]);
    const uint16_t scores[] = {record.stationaryScore, record.walkScore,    record.runScore,
                               record.rideScore,       record.vehicleScore, record.unknownScore};
    for (size_t i = 0; i < 6; ++i) {
        event.data[i] = static_cast<float>(scores[i]);
    }
    for (size_t i = 0; i < 10; ++i) {
        event.data[6 + i] = static_cast<float>(record.feat[i]);
    }
    event.flags = record.clk;
    SetTailWord(event, 0, record.currentARStatus);
    SetTailWord(event, 1, record.stepsInfo);
    SetTailWord(event, 2, static_cast<int32_t>(static_cast<uint32_t>(arrivalMs / 1000)));
}

int32_t GetTailWord(const ASensorEvent &event, int index) {
    return event.reserved1[index];
}

void AddToFrame(VyrHal &hal, uint32_t type, const std::vector<ASensorEvent> &events) {
    if (events.empty()) {
        return;
    }
    VyrFrame &frame = hal.GetCurFrame();
    frame.LockData(true);
    frame.GetData().AddEvents(type, events);
    frame.LockData(false);
}

}  // namespace logevents

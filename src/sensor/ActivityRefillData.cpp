#include "sensor/ActivityRefillData.h"

#include <cstring>
#include <vector>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "sensor/LogEvents.h"
#include "sensor/SensorHub.h"

namespace {

constexpr uint32_t kTypeAcc = SENSOR_TYPE_AR_REFILL_BASE + 0;
constexpr uint32_t kTypeMag = SENSOR_TYPE_AR_REFILL_BASE + 1;
constexpr uint32_t kTypeModem = SENSOR_TYPE_AR_REFILL_BASE + 2;
constexpr uint32_t kTypeResult = SENSOR_TYPE_AR_REFILL_BASE + 3;

}  // namespace

ActivityRefillData::ActivityRefillData(VyrHal &hal) : mHal(hal), mLog(hal) {}

void ActivityRefillData::Process(const fmq::ArRefillDataPacketT &packet, const uint8_t *records) {
    const uint64_t arrival = VyrHal::RealTimeMs();
    const uint64_t timestamp = packet.timestamp;
    std::vector<ASensorEvent> events;
    uint32_t type = 0;
    switch (packet.kind) {
        case fmq::kArRefillAcc:
            type = kTypeAcc;
            for (uint32_t i = 0; i < packet.count; ++i) {
                ASensorEvent event = logevents::Make(type, timestamp, arrival);
                memcpy(event.data, records + i * fmq::kArRefillRecordSize, 3 * sizeof(float));
                events.push_back(event);
            }
            break;
        case fmq::kArRefillMag:
            type = kTypeMag;
            for (uint32_t i = 0; i < packet.count; ++i) {
                int32_t xyz[3];
                memcpy(xyz, records + i * fmq::kArRefillRecordSize, sizeof(xyz));
                ASensorEvent event = logevents::Make(type, timestamp, arrival);
                for (int axis = 0; axis < 3; ++axis) {
                    event.data[axis] = static_cast<float>(xyz[axis]);
                }
                events.push_back(event);
            }
            break;
        case fmq::kArRefillModem:
            type = kTypeModem;
            for (uint32_t i = 0; i < packet.count; ++i) {
                uint32_t words[4];
                memcpy(words, records + i * fmq::kArRefillRecordSize, sizeof(words));
                ASensorEvent event = logevents::Make(type, timestamp, arrival);
                event.u64.data[0] = words[3];
                event.u64.data[1] = words[2];
                event.u64.data[2] = words[0];
                events.push_back(event);
            }
            break;
        case fmq::kArRefillResult:
            ProcessArResult(packet, records, arrival, timestamp);
            return;
        default:
            LOGE("unknow sensor type: 0x%x", packet.kind);
            return;
    }
    logevents::AddToFrame(mHal, type, events);
}

void ActivityRefillData::ProcessArResult(const fmq::ArRefillDataPacketT &packet,
                                         const uint8_t *records, uint64_t arrival,
                                         uint64_t timestamp) {
    if (packet.count == 0) {
        return;
    }
    fmq::ArResultRecord record;
    memcpy(&record, records, sizeof(record));
    ASensorEvent event = logevents::Make(kTypeResult, timestamp, arrival);
    logevents::FillArResult(mLog, event, record, arrival);
    logevents::AddToFrame(mHal, kTypeResult, {event});
}

#include "sensor/VyrFusionBeta.h"

#include <cstring>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "sensor/LogEvents.h"
#include "sensor/SensorHub.h"

namespace {

constexpr uint32_t kTypeAcc = SENSOR_TYPE_AR_BETA_BASE + 0;
constexpr uint32_t kTypeMag = SENSOR_TYPE_AR_BETA_BASE + 1;
constexpr uint32_t kTypeModem = SENSOR_TYPE_AR_BETA_BASE + 2;
constexpr uint32_t kTypeResult = SENSOR_TYPE_AR_BETA_BASE + 3;
constexpr uint32_t kTripleSize = 12;

}  // namespace

VyrFusionBeta::VyrFusionBeta(VyrHal &hal) : mHal(hal), mLog(hal) {}

void VyrFusionBeta::ProcessFusionBeta(FSEventStruct &frame) {
    if (frame.data.empty()) {
        return;
    }
    uint64_t arrival = VyrHal::RealTimeMs();
    const uint8_t *cursor = reinterpret_cast<const uint8_t *>(frame.data.data());
    uint32_t remain = static_cast<uint32_t>(frame.data.size());
    if (remain < fmq::kBetaRecordOverhead) {
        LOGE("date size %d < %d", static_cast<int>(remain),
             static_cast<int>(fmq::kBetaRecordOverhead));
        return;
    }
    while (true) {
        Pkg pkg;
        memcpy(&pkg, cursor, sizeof(pkg));
        const uint32_t need = fmq::kBetaRecordOverhead + pkg.size;
        if (need > remain) {
            LOGE("beta data format error remainSize %u < %u", remain, need);
            return;
        }
        const uint8_t *payload = cursor + sizeof(pkg);
        uint32_t used = 0;
        switch (pkg.type) {
            case fmq::kBetaArAcc:
                used = ProcessArTriples(pkg, payload, need, remain, arrival,
                                        {fmq::kBetaArAccSize, kTypeAcc, "BETA_AR_ACC"});
                break;
            case fmq::kBetaArMag:
                used = ProcessArTriples(pkg, payload, need, remain, arrival,
                                        {fmq::kBetaArMagSize, kTypeMag, "BETA_AR_MAG"});
                break;
            case fmq::kBetaArModem:
                used = ProcessArModem(pkg, payload, need, remain, arrival, pkg.timestamp);
                break;
            case fmq::kBetaArResult:
                used = ProcessArResult(pkg, payload, need, remain, arrival, pkg.timestamp);
                break;
            default:
                LOGE("unknow sensor type: 0x%x", pkg.type);
                return;
        }
        if (used >= remain) {
            return;
        }
        cursor += used;
        remain -= used;
        arrival += 1;
        if (remain < fmq::kBetaRecordOverhead) {
            LOGE("beta data format error remainSize %u < %u", remain, fmq::kBetaRecordOverhead);
            return;
        }
    }
}

void VyrFusionBeta::ProcessTriples(const uint8_t *payload, uint32_t count, uint32_t type,
                                   const char *tag, uint64_t arrival, uint64_t timestamp) {
    std::vector<ASensorEvent> events;
    events.reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        float xyz[3];
        memcpy(xyz, payload + i * kTripleSize, sizeof(xyz));
        ASensorEvent event = logevents::Make(type, timestamp, arrival);
        event.data[0] = xyz[0];
        event.data[1] = xyz[1];
        event.data[2] = xyz[2];
        LOGD("%s x: %f y: %f z: %f", tag, static_cast<double>(xyz[0]), static_cast<double>(xyz[1]),
             static_cast<double>(xyz[2]));
        events.push_back(event);
    }
    logevents::AddToFrame(mHal, type, events);
}

uint32_t VyrFusionBeta::ProcessArTriples(const Pkg &pkg, const uint8_t *payload, uint32_t length,
                                         uint32_t remain, uint64_t arrival,
                                         const TripleRecord &record) {
    if (pkg.size != record.size) {
        LOGE("%s data size error %u != %u", record.tag, static_cast<uint32_t>(pkg.size),
             record.size);
        return remain;
    }
    ProcessTriples(payload, record.size / kTripleSize, record.type, record.tag, arrival,
                   pkg.timestamp);
    return length;
}

uint32_t VyrFusionBeta::ProcessArModem(const Pkg &pkg, const uint8_t *payload, uint32_t length,
                                       uint32_t remain, uint64_t arrival, uint64_t timestamp) {
    if (pkg.size != fmq::kBetaArModemSize) {
        LOGE("BETA_AR_MODEM data size error %u != %u", static_cast<uint32_t>(pkg.size),
             fmq::kBetaArModemSize);
        return remain;
    }
    int32_t words[3];
    memcpy(words, payload, sizeof(words));
    LOGD("BETA_AR_MODEM cid: %d y: %d", words[1], words[2]);
    ASensorEvent event = logevents::Make(kTypeModem, timestamp, arrival);
    event.u64.data[0] = static_cast<uint64_t>(static_cast<int64_t>(words[1]));
    event.u64.data[1] = static_cast<uint64_t>(static_cast<int64_t>(words[2]));
    logevents::AddToFrame(mHal, kTypeModem, {event});
    return length;
}

uint32_t VyrFusionBeta::ProcessArResult(const Pkg &pkg, const uint8_t *payload, uint32_t length,
                                        uint32_t remain, uint64_t arrival, uint64_t timestamp) {
    if (pkg.size != fmq::kBetaArResultSize) {
        LOGE("BETA_AR_RESULT data size error %u != %u", static_cast<uint32_t>(pkg.size),
             fmq::kBetaArResultSize);
        return remain;
    }
    fmq::ArResultRecord record;
    memcpy(&record, payload, sizeof(record));
    ASensorEvent event = logevents::Make(kTypeResult, timestamp, arrival);
    logevents::FillArResult(mLog, event, record, arrival);
    logevents::AddToFrame(mHal, kTypeResult, {event});
    return length;
}

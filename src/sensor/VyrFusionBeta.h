// Beta frames of the fusion channel: data that the hub's own algorithms saw,
// turned into private events and filed in the current frame for the log.
// Runs on the fusion library's thread and keeps no state between frames.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/api/fusion_sense_api.h"
#include "platform/api/sensor_event.h"
#include "sensor/FmqMessages.h"

class LogSink;
class VyrHal;

class VyrFusionBeta {
public:
    explicit VyrFusionBeta(VyrHal &hal);

    VyrFusionBeta(const VyrFusionBeta &) = delete;
    VyrFusionBeta &operator=(const VyrFusionBeta &) = delete;

    // Decodes every record of the frame. A record that does not fit, or of
    // an unknown type, ends the frame with a log line.
    void ProcessFusionBeta(FSEventStruct &frame);

private:
    using Pkg = fmq::sns_fusion_sense_beta_pkg;

    // Each takes the record's header, its length (12 + size), the bytes
    // left from the record's start (the record's own included), the arrival
    // time and the record's timestamp; returns the bytes used. `payload`
    // points at the record's `size` bytes.
    // The accelerometer and magnetometer records: `size` bytes of x, y, z
    // triples filed as events of `type`.
    struct TripleRecord {
        uint32_t size;
        uint32_t type;
        const char *tag;
    };
    uint32_t ProcessArTriples(const Pkg &pkg, const uint8_t *payload, uint32_t length,
                              uint32_t remain, uint64_t arrival, const TripleRecord &record);
    uint32_t ProcessArModem(const Pkg &pkg, const uint8_t *payload, uint32_t length,
                            uint32_t remain, uint64_t arrival, uint64_t timestamp);
    uint32_t ProcessArResult(const Pkg &pkg, const uint8_t *payload, uint32_t length,
                             uint32_t remain, uint64_t arrival, uint64_t timestamp);
    // The triples of an accelerometer or magnetometer record.
    void ProcessTriples(const uint8_t *payload, uint32_t count, uint32_t type, const char *tag,
                        uint64_t arrival, uint64_t timestamp);

    VyrHal &mHal;
    LogSink &mLog;
};

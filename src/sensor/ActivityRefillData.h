// Refill packets of the hub's activity algorithm (queue head 0x4000): the
// samples and results it saw, turned into private events and filed in the
// current frame for the log. The queue reader has checked the packet's
// length; no state is kept between packets.
#pragma once

#include <cstdint>

#include "sensor/FmqMessages.h"

class LogSink;
class VyrHal;

class ActivityRefillData {
public:
    explicit ActivityRefillData(VyrHal &hal);

    ActivityRefillData(const ActivityRefillData &) = delete;
    ActivityRefillData &operator=(const ActivityRefillData &) = delete;

    // `records` holds packet.count records of 44 bytes.
    void Process(const fmq::ArRefillDataPacketT &packet, const uint8_t *records);

private:
    void ProcessArResult(const fmq::ArRefillDataPacketT &packet, const uint8_t *records,
                         uint64_t arrival, uint64_t timestamp);

    VyrHal &mHal;
    LogSink &mLog;
};

// Refill packets of the hub's motion gestures (queue head 0x5000): the
// samples a gesture saw, one private event per sensor, filed in the current
// frame for the log. No state is kept between packets.
#pragma once

#include <cstdint>

#include "sensor/FmqMessages.h"

class LogSink;
class VyrHal;

class MotionRefillData {
public:
    explicit MotionRefillData(VyrHal &hal);

    MotionRefillData(const MotionRefillData &) = delete;
    MotionRefillData &operator=(const MotionRefillData &) = delete;

    void Process(const fmq::MotionRefillDataPacketT &packet);

private:
    VyrHal &mHal;
    LogSink &mLog;
};

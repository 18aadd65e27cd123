// Dispatcher of the daemon's fast message queue blocks. No queue message
// has an owner in this build yet, so every block is counted and dropped.
#pragma once

#include <cstdint>

class VyrHal;
class LogSink;

class VyrFmq {
public:
    explicit VyrFmq(VyrHal &hal);
    int32_t ProcessFmqData(uint8_t *data, int32_t size);

private:
    LogSink &mLog;
};

// Fault reports to the device's report node. Only the service shell exists
// so far: reports are not yet produced.
#pragma once

class VyrHal;
class LogSink;

class Dmd {
public:
    explicit Dmd(VyrHal &hal);
    bool Init();

private:
    LogSink &mLog;
};

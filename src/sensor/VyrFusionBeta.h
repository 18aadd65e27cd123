// Beta frames of the fusion channel: data that the hub's own algorithms saw,
// kept for the log. Runs on the fusion library's thread.
#pragma once

#include "platform/api/fusion_sense_api.h"

class LogSink;
class VyrHal;

class VyrFusionBeta {
public:
    explicit VyrFusionBeta(VyrHal &hal);

    VyrFusionBeta(const VyrFusionBeta &) = delete;
    VyrFusionBeta &operator=(const VyrFusionBeta &) = delete;

    // Records of the frame are not decoded yet: the frame is dropped with a
    // log line.
    void ProcessFusionBeta(FSEventStruct &frame);

private:
    LogSink &mLog;
};

#include "sensor/VyrFusionBeta.h"

#include "hal/VyrHal.h"
#include "log/LogSink.h"

VyrFusionBeta::VyrFusionBeta(VyrHal &hal) : mLog(hal) {}

void VyrFusionBeta::ProcessFusionBeta(FSEventStruct &frame) {
    LOGW("beta frame mode: %d size: %zu not decoded, dropped", frame.mode, frame.data.size());
}

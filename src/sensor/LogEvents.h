// Events made for the log only (beta and refill data of the hub's own
// algorithms): how they are built and filed in the current frame. None of
// them reaches the SensorHub queue or a module.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/api/sensor_event.h"
#include "sensor/FmqMessages.h"

class LogSink;
class VyrHal;

namespace logevents {

// A zeroed event of `type` (also its `sensor`), with the timestamp as given
// and the arrival time (wall clock, ms) at byte 92.
ASensorEvent Make(uint32_t type, uint64_t timestamp, uint64_t arrivalMs);

// Fills an AR result event from the record and logs it at debug level under
// `tag` ("BETA_AR_RESULT"): scores in data[0..5], features in data[6..15],
// clk and currentARStatus at bytes 88 and 92, stepsInfo at byte 96 and the
// arrival time in seconds at byte 100.
void FillArResult(LogSink &log, ASensorEvent &event, const fmq::ArResultRecord &record,
                  uint64_t arrivalMs);

// The 32-bit words behind `flags` (bytes 92, 96, 100).
int32_t GetTailWord(const ASensorEvent &event, int index);

// Appends the list under its type to the current frame, under the frame's
// data lock. An empty list is not filed.
void AddToFrame(VyrHal &hal, uint32_t type, const std::vector<ASensorEvent> &events);

}  // namespace logevents

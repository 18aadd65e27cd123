// Thinning state of one sensor type for one listener: the listener's target
// rate and the timestamps that decide whether the next event goes through.
#pragma once

#include <cstdint>

struct ResampleInfo {
    int32_t rate = 0;             // target rate, Hz
    uint64_t startTimeStamp = 0;  // ns, last event let through
    uint64_t preTimeStamp = 0;    // ns, last event seen
    int32_t count = 0;            // events let through since the last forced skip
};

// The screen orientation a face-direction client receives: a fusion of the
// device's motion sensor, the always-on camera and the TOF camera, with a
// process-wide history of its last outputs. A rotation is 0 to 3, -1 for no
// value from the source, -2 for unknown.
#pragma once

#include <cstdint>

struct RotationFusionInput {
    int32_t reserved = 0;
    int32_t lux = 0;
    int16_t imuRotation = -2;
    int16_t aoRotation = -2;
    int16_t tofRotation = -2;
    int32_t index = 0;
    int32_t lastFusion = -2;
};

struct RotationFusionOutput {
    int16_t imuRotation = -1;
    int16_t fusionRotation = -2;
};

// Resets the history: no face, no motion value, no fusion.
void InitScreenRotationFusionAlg();
// One fusion step. The camera outranks the motion sensor, the TOF outranks
// the always-on camera; a camera reading 180 degrees off the motion sensor is
// dropped (also from `in`). False for a null argument or a value out of
// range (then `out` holds -1 and -2).
bool RotationFusionAlg(RotationFusionInput *in, RotationFusionOutput *out);

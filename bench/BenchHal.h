// One started HAL for every in-process benchmark of the binary: a sandbox of
// a phone with no feature keys but the camera's gaze, the stand-in libraries installed, and a quiet
// logcat. Two HALs in one process would fight over VYR_ROOT and the stand-ins.
#pragma once

#include "hal/VyrHal.h"

VyrHal &SharedBenchHal();

// One started HAL for every in-process benchmark of the binary: a sandbox of
// a phone with no feature keys but the camera's gaze, the stand-in libraries installed, and a quiet
// logcat. Two HALs in one process would fight over VYR_ROOT and the stand-ins.
//
// A benchmark leaves the HAL as it found it: what it switched on it switches
// off, and what it queued has been handled before it returns, so that a
// whole run measures what each benchmark measures alone.
#pragma once

#include <cstdint>

#include "hal/VyrHal.h"

VyrHal &SharedBenchHal();

// Gaze results of the camera so far (the shared HAL's notify callback
// counts them).
uint64_t BenchGazeResults();

// The camera's eye gaze on for the benchmark client, and off again; off
// waits until the Camera thread has handled everything queued before it.
void BenchCameraOn();
bool BenchCameraOff();

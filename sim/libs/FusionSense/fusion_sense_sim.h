// Test controls of the simulated fusion channel "libFusionSense.so",
// exported beside its entry points (fusion_sense_api.h). A test resolves them
// with dlsym from the handle of the copy that the code under test loaded.
// All are thread-safe and may be called at any time.
//
// What the simulated hub sends, on the library's thread:
// - Plain frames (mode 0) while FusionSenseActivate was given enable true, a
//   report rate above 0 and at least one channel rate above 0: one frame per
//   report period, holding every sample of the enabled channels taken in that
//   period (a channel at 400 Hz with a report rate of 5 Hz: 80 entries a
//   frame), in time order, as 16-byte entries. `timestamp` is the
//   CLOCK_BOOTTIME time of the frame's first sample, `reportRate` the
//   configured report rate, `checksum` the byte sum of `data`, `modeArg` 0.
//   A frame is delivered at the end of its period.
// - Beta frames (mode 1) while betaConfig is not 0: one a second, holding an
//   AR accelerometer record (type 0x1000, 50 samples of channel 0's value)
//   and an AR result record (type 0x1003).
// - FusionSenseFlush delivers the samples of the running period at once.
// Channel values are constant: accelerometers (0, 0, 9.80665) m/s^2,
// gyroscopes 0 rad/s, magnetometers (22, -5, -40) uT, unless set below.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/api/fusion_sense_api.h"

extern "C" {

// Queues a frame to be delivered exactly as given (reset false), in order
// with other injected frames, on the library's thread. 0 when queued; -1
// when the channel is not open.
int32_t FusionSimInjectFrame(const FSEventStruct &frame);
// The hub restarts: the callback gets reset true (with an empty frame), and
// the hub forgets its configuration: no frames until the next
// FusionSenseActivate. 0 when queued; -1 when the channel is not open.
int32_t FusionSimHubRestart(void);
// Stops (true) or resumes (false) the frames that the hub makes itself;
// injected frames still come. The configuration is kept.
void FusionSimPauseFrames(bool pause);
// Sets the constant value of a channel (0..5). False for a bad channel.
bool FusionSimSetChannelValue(int32_t channel, float x, float y, float z);

// FusionSenseInit has succeeded and FusionSenseUnInit has not followed.
bool FusionSimIsOpen(void);
// Plain frames are configured (enable, report rate and a channel on).
bool FusionSimIsActive(void);
// The last configuration that FusionSenseActivate accepted since the channel
// was opened, and its `enable`. False when there is none (or after a hub
// restart).
bool FusionSimGetConfig(FusionSenseConfig *config, bool *enable);
// Calls of "FusionSenseInit", "FusionSenseUnInit", "FusionSenseActivate" or
// "FusionSenseFlush" since load or FusionSimReset (failed calls included);
// -1 for another name.
int32_t FusionSimCallCount(const char *function);

// The checksum of a frame's data: the sum of its bytes, each unsigned.
uint32_t FusionSimChecksum(const void *data, size_t size);
// The clock of the timestamps (CLOCK_BOOTTIME, nanoseconds).
int64_t FusionSimNowNs(void);
// Waits until every frame injected before this call has been delivered and
// no callback is running. 0 when done, -1 on timeout or from the callback.
int32_t FusionSimSync(int32_t timeoutMs);
// Back to the state of a freshly loaded library: closed, no callback, no
// configuration, counters 0, default values, frames not paused.
void FusionSimReset(void);

typedef int32_t (*FusionSimInjectFrame_t)(const FSEventStruct &frame);
typedef int32_t (*FusionSimHubRestart_t)(void);
typedef void (*FusionSimPauseFrames_t)(bool pause);
typedef bool (*FusionSimSetChannelValue_t)(int32_t channel, float x, float y, float z);
typedef bool (*FusionSimIsOpen_t)(void);
typedef bool (*FusionSimIsActive_t)(void);
typedef bool (*FusionSimGetConfig_t)(FusionSenseConfig *config, bool *enable);
typedef int32_t (*FusionSimCallCount_t)(const char *function);
typedef uint32_t (*FusionSimChecksum_t)(const void *data, size_t size);
typedef int64_t (*FusionSimNowNs_t)(void);
typedef int32_t (*FusionSimSync_t)(int32_t timeoutMs);
typedef void (*FusionSimReset_t)(void);

}  // extern "C"

// Entry points of the fusion channel library "libFusionSense.so" (wrapper
// LibVyrFusion): a direct channel to the sensor hub processor that carries
// several sensor channels in batched frames.
//
// The records hold C++ library types (std::string, std::vector): both sides
// are built against the same C++ standard library, as for the daemon's
// records. The functions keep C linkage so they resolve by their plain names.
//
// Frames come on a thread of the library through the callback given to
// FusionSenseInit: (frame, reset, cookie). `reset` true means the hub has
// restarted and the configuration must be sent again; the frame is then
// meaningless. The frame may be modified by the callback; it is the
// library's and valid only during the call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Number of sensor channels of the fusion channel.
inline constexpr int FUSION_SENSE_CHANNELS = 6;

// One frame as the library delivers it.
struct FSEventStruct {
    int32_t mode = 0;         // 0 plain frame; otherwise a beta frame
    int32_t modeArg = 0;      // < 0: the hub failed, `data` holds the reason;
                              // > 0 on a plain frame: frames dropped by the hub
    uint64_t timestamp = 0;   // boot-time ns of the frame's first sample
    float reportRate = 0.0f;  // the hub's report rate, Hz
    std::string data;         // the frame bytes
    uint32_t checksum = 0;    // sum of the bytes of `data`, each unsigned
};

// A plain frame's `data` is a sequence of these, 16 bytes each:
// byte 0 channel (0..5), bytes 1..3 unused, bytes 4..15 x, y, z as
// little-endian 32-bit floats.
inline constexpr size_t FUSION_SENSE_ENTRY_SIZE = 16;

// The configuration of all channels, sent in one call.
struct FusionSenseConfig {
    int32_t reportRate = 0;           // Hz; 0 when off
    int32_t betaConfig = 0;           // beta traffic selection; 0 none
    int32_t bufferSize = 0;           // bytes of the hub's beta buffer
    std::vector<float> channelRates;  // FUSION_SENSE_CHANNELS rates in Hz, channel order; 0 off
};

extern "C" {

// Frame callback; `cookie` is the value given to FusionSenseInit.
typedef void (*FusionSenseCallback_t)(FSEventStruct &frame, bool reset, void *cookie);

// Opens the channel and installs the callback. `cookie` is handed back to
// every callback and may be null; `flags` is reserved, pass 0. 0 on success.
int32_t FusionSenseInit(FusionSenseCallback_t callback, void *cookie, int32_t flags);
// Closes the channel; no callback comes after it returns. `flags` is
// reserved, pass 0. 0 on success.
int32_t FusionSenseUnInit(int32_t flags);
// Sends the whole configuration; `enable` false turns the plain channels
// off (beta traffic follows `config.betaConfig`). 0 on success.
int32_t FusionSenseActivate(const FusionSenseConfig &config, bool enable);
// Asks the hub to deliver what it holds now. 0 on success.
int32_t FusionSenseFlush(int32_t flags);

typedef int32_t (*FusionSenseInit_t)(FusionSenseCallback_t callback, void *cookie, int32_t flags);
typedef int32_t (*FusionSenseUnInit_t)(int32_t flags);
typedef int32_t (*FusionSenseActivate_t)(const FusionSenseConfig &config, bool enable);
typedef int32_t (*FusionSenseFlush_t)(int32_t flags);

}  // extern "C"

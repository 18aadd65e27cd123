// Byte layout of what the simulated hub sends: the 16-byte entries of a
// plain frame, the records of a beta frame, and the checksum.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vyrsim {

using Vec3 = std::array<float, 3>;

// One sample of one channel.
struct FusionSample {
    int64_t timeNs;
    int32_t channel;
    Vec3 value;
};

// The sum of the bytes, each unsigned.
uint32_t ByteSum(const void *data, size_t size);

// Entries in the given order: byte 0 channel, bytes 1..3 zero, bytes 4..15
// x, y, z as little-endian floats.
std::string EncodeEntries(const std::vector<FusionSample> &samples);

// One beta record: type, reserved, timestamp, size, payload, reserved.
std::string EncodeBetaRecord(uint16_t type, uint32_t timestamp, const std::string &payload);

// The data of one beta frame: an AR accelerometer record of 50 samples of
// `acc` and an AR result record (still).
std::string EncodeBetaFrame(uint32_t timestamp, const Vec3 &acc);

}  // namespace vyrsim

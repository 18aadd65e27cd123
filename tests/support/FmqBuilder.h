// Builders of fast message queue messages, on the layouts of
// sensor/FmqMessages.h: for the queue tests, the fuzz seeds and the
// benchmarks.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "sensor/FmqMessages.h"

namespace fmqbuild {

using Bytes = std::vector<uint8_t>;

inline void PutBytes(Bytes &out, const void *data, size_t length) {
    const size_t at = out.size();
    out.resize(at + length);
    if (length != 0) {
        memcpy(out.data() + at, data, length);
    }
}

inline void PutWord(Bytes &out, uint32_t word) {
    PutBytes(out, &word, sizeof(word));
}

inline Bytes Join(const std::vector<Bytes> &parts) {
    Bytes all;
    for (const Bytes &part : parts) {
        PutBytes(all, part.data(), part.size());
    }
    return all;
}

// Head, length, bytes: big data (0x3000, 0x5001) and AR engine data (0x7000).
inline Bytes LengthMessage(uint32_t head, const std::string &text) {
    Bytes out;
    PutWord(out, head);
    PutWord(out, static_cast<uint32_t>(text.size()));
    PutBytes(out, text.data(), text.size());
    return out;
}

inline Bytes ArContext(int32_t arType, int32_t arEvent, const std::string &text) {
    Bytes out;
    PutWord(out, fmq::kHeadArContext);
    PutWord(out, static_cast<uint32_t>(arType));
    PutWord(out, static_cast<uint32_t>(arEvent));
    Bytes field(fmq::kArContextTextSize, 0);
    memcpy(field.data(), text.data(), std::min(text.size(), field.size() - 1));
    PutBytes(out, field.data(), field.size());
    return out;
}

// An AR refill packet; `records` must hold 44 x count bytes (or fewer, for
// a cut packet).
inline Bytes ArRefill(uint32_t kind, uint32_t count, uint32_t timestamp, const Bytes &records) {
    Bytes out;
    PutWord(out, fmq::kHeadArRefill);
    PutWord(out, kind);
    PutWord(out, count);
    PutWord(out, timestamp);
    PutBytes(out, records.data(), records.size());
    return out;
}

// One 44-byte refill record starting with these 32-bit words.
inline Bytes RefillRecord(const std::vector<uint32_t> &words) {
    Bytes out;
    for (uint32_t word : words) {
        PutWord(out, word);
    }
    out.resize(fmq::kArRefillRecordSize, 0);
    return out;
}

inline uint32_t FloatBits(float value) {
    uint32_t bits = 0;
    memcpy(&bits, &value, sizeof(bits));
    return bits;
}

inline Bytes MotionRefill(const fmq::MotionRefillDataPacketT &packet) {
    fmq::MotionRefillDataPacketT copy = packet;
    copy.head = fmq::kHeadMotionRefill;
    Bytes out;
    PutBytes(out, &copy, sizeof(copy));
    return out;
}

// A TOF frame: the 32-byte header with `imageSize` at byte 16, then
// `imageBytes` bytes of image.
inline Bytes Tof(int32_t imageSize, size_t imageBytes) {
    Bytes out;
    PutWord(out, fmq::kHeadTofCamera);
    out.resize(fmq::kTofHeaderSize, 0);
    const uint32_t size = static_cast<uint32_t>(imageSize);
    memcpy(out.data() + fmq::kTofImageSizeOffset, &size, sizeof(size));
    out.resize(out.size() + imageBytes, 0x5a);
    return out;
}

// A face event: 20 bytes, plus `extra` bytes (counted at byte 8) for 0xA000.
inline Bytes Face(uint32_t head, uint32_t extra) {
    Bytes out;
    PutWord(out, head);
    PutWord(out, 1);
    PutWord(out, extra);
    out.resize(fmq::kFaceRecordSize, 0);
    out.resize(out.size() + extra, 0x11);
    return out;
}

inline Bytes Conflict(int32_t eventType, const std::string &text) {
    Bytes out;
    PutWord(out, fmq::kHeadCameraConflict);
    PutWord(out, static_cast<uint32_t>(eventType));
    PutWord(out, static_cast<uint32_t>(text.size()));
    PutBytes(out, text.data(), text.size());
    return out;
}

inline Bytes Palmetry() {
    Bytes out;
    PutWord(out, fmq::kHeadPalmetryLog);
    out.resize(fmq::kPalmetryLogSize, 0);
    return out;
}

// A touch packet head with some bytes behind it.
inline Bytes Thp(uint32_t head, size_t bytes) {
    Bytes out;
    PutWord(out, head);
    out.resize(4 + bytes, 0x22);
    return out;
}

inline Bytes Cut(Bytes message, size_t drop) {
    message.resize(message.size() > drop ? message.size() - drop : 0);
    return message;
}

// One beta record of the fusion channel.
inline std::string BetaRecord(uint16_t type, uint32_t timestamp, const Bytes &payload) {
    fmq::sns_fusion_sense_beta_pkg pkg{type, 0, timestamp, static_cast<uint16_t>(payload.size())};
    std::string out(reinterpret_cast<const char *>(&pkg), sizeof(pkg));
    out.append(reinterpret_cast<const char *>(payload.data()), payload.size());
    out.append(2, '\0');
    return out;
}

}  // namespace fmqbuild

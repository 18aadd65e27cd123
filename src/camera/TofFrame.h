// The TOF frame message of the daemon's fast message queue, as the queue
// reader hands it to the Camera queue: a 32-byte header, then the pixels of
// a 640 x 480 IR image, one byte a pixel. Writers (the simulated phone, the
// tests) and readers share this one description.
//
//   offset 0   uint32  head, 0x9000
//   offset 8   uint64  frame number
//   offset 16  uint32  pixel byte count (307200)
//   offset 20  uint32  exposure
//   offset 28          first pixel
// The message is 32 + count bytes long.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

struct TofFrameHeader {
    static constexpr size_t kHeadOffset = 0;
    static constexpr size_t kFrameNumber = 8;
    static constexpr size_t kImageSize = 16;
    static constexpr size_t kExposure = 20;
    static constexpr size_t kPixels = 28;
    static constexpr size_t kHeaderSize = 32;
    static constexpr uint32_t kHead = 0x9000;
    static constexpr uint32_t kWidth = 640;
    static constexpr uint32_t kHeight = 480;
    static constexpr uint32_t kImageBytes = kWidth * kHeight;
};

// A whole TOF message around `count` pixel bytes; the pixels are zero and
// start at PixelsOf(message).
inline std::vector<uint8_t> MakeTofFrameMessage(uint64_t frame, uint32_t exposure,
                                                uint32_t count = TofFrameHeader::kImageBytes) {
    std::vector<uint8_t> message(TofFrameHeader::kHeaderSize + count, 0);
    const uint32_t head = TofFrameHeader::kHead;
    std::memcpy(message.data() + TofFrameHeader::kHeadOffset, &head, sizeof(head));
    std::memcpy(message.data() + TofFrameHeader::kFrameNumber, &frame, sizeof(frame));
    std::memcpy(message.data() + TofFrameHeader::kImageSize, &count, sizeof(count));
    std::memcpy(message.data() + TofFrameHeader::kExposure, &exposure, sizeof(exposure));
    return message;
}

inline uint8_t *PixelsOf(std::vector<uint8_t> &message) {
    return message.data() + TofFrameHeader::kPixels;
}

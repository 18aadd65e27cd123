// Touch panel packets of the message queue: the common 68-byte header and the
// sections of THP (head 256) and TPP (head 512) packets. All fields are
// little-endian; section offsets count from the first byte of the packet.
#pragma once

#include <cstddef>
#include <cstdint>

struct TpPkgStruct {
    uint32_t head;  // 256 THP, 512 TPP
    uint32_t reserved;
    uint32_t size;  // whole packet, header included
    uint32_t rows;
    uint32_t cols;
    uint32_t section0Offset;
    uint32_t section0Size;
    uint32_t diffOffset;  // signed 16-bit matrix, row-major
    uint32_t diffSize;
    uint32_t lineDiffOffset;  // unsigned 32-bit: one per row, then one per column
    uint32_t lineDiffSize;
    uint32_t touchOffset;
    uint32_t touchSize;
    uint32_t stylusOffset;
    uint32_t stylusSize;
    uint32_t peakOffset;  // signed 16-bit (row, col) per valid touch record
    uint32_t peakSize;
};
static_assert(sizeof(TpPkgStruct) == 68);

namespace tp {

inline constexpr uint32_t kHeadThp = 256;
inline constexpr uint32_t kHeadTpp = 512;

// Touch section of a THP packet: ten records, then the two counts.
inline constexpr size_t kTouchRecords = 10;
inline constexpr size_t kTouchRecordSize = 40;
inline constexpr size_t kTouchValid = 1;  // byte
inline constexpr size_t kTouchX = 4;      // signed 32-bit
inline constexpr size_t kTouchY = 8;
inline constexpr size_t kTouchId = 16;
inline constexpr size_t kTouchNum = 404;
inline constexpr size_t kTouchDownNum = 408;
inline constexpr size_t kTouchSectionMin = 412;

// Stylus section.
inline constexpr size_t kStylusPresent = 0;
inline constexpr size_t kStylusTipStatus = 4;
inline constexpr size_t kStylusX = 8;
inline constexpr size_t kStylusY = 12;
inline constexpr size_t kStylusPressure = 16;
inline constexpr size_t kStylusTiltX = 20;  // signed 8-bit
inline constexpr size_t kStylusTiltY = 21;
inline constexpr size_t kStylusSectionMin = 22;

// Touch section of a TPP packet.
inline constexpr size_t kTppTouchNum = 640;

}  // namespace tp

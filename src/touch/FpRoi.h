// The fingerprint auxiliary node's block, the result written back to the
// fingerprint side, its checksum, and the descrambling of blocks that the
// touch firmware stores scrambled.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fproi {

// Block read from the node.
inline constexpr size_t kBlockSize = 4086;
inline constexpr size_t kBlockVersion = 0;       // unsigned 16-bit
inline constexpr size_t kBlockValidFrames = 4;   // 16-bit
inline constexpr size_t kBlockScreenStatus = 6;  // 16-bit
inline constexpr size_t kBlockReservedId = 12;   // 16 bytes
inline constexpr size_t kBlockFrames = 36;       // signed 16-bit cells
inline constexpr size_t kFramesSize = 4050;
inline constexpr size_t kReservedIdSize = 16;
inline constexpr int kRows = 9;
inline constexpr int kCols = 9;
inline constexpr size_t kFrameCells = kRows * kCols;
inline constexpr size_t kMaxFrames = kFramesSize / 2 / kFrameCells;  // 25
// A version that is read even with no valid frame.
inline constexpr uint16_t kVersionAlwaysRead = 200;
// The scrambled part: 16-byte blocks from byte 36 up to byte 4083.
inline constexpr size_t kScrambleBegin = 36;
inline constexpr size_t kScrambleEnd = 4084;
inline constexpr size_t kScrambleBlock = 16;

// fp_auxiliary_result, 5120 bytes; unnamed bytes are zero.
inline constexpr size_t kResultSize = 5120;
inline constexpr size_t kResultMagic = 0;  // "srpf"
inline constexpr size_t kResultTimestamp = 8;
inline constexpr size_t kResultVersion = 16;
inline constexpr size_t kResultCrc = 18;
inline constexpr size_t kResultValidFrames = 20;
inline constexpr size_t kResultScreenStatus = 21;
inline constexpr size_t kResultRows = 22;
inline constexpr size_t kResultCols = 23;
inline constexpr size_t kResultMaxDiff = 24;
inline constexpr size_t kResultConfidence = 28;
inline constexpr size_t kResultAlgVersion = 32;  // the library's version text
inline constexpr size_t kResultAlgVersionSize = 64;
inline constexpr size_t kResultReservedId = 96;
inline constexpr size_t kResultFrames = 112;
inline constexpr size_t kResultThreshold = 4168;

using Result = std::array<uint8_t, kResultSize>;

// CRC-16/XMODEM: polynomial 0x1021, start 0, no reflection, no final xor.
uint16_t Crc16Xmodem(const uint8_t *data, size_t size);

// The sixteen-byte block routine shared with the touch firmware. Its
// permutation, key and table are the integrator's, read from a data file
// (format in README.md): "passes N", "permutation" with 16 indexes,
// "key" with 4 bytes, "table" with 256 bytes (a permutation of 0..255, on
// one or more lines); "#" starts a comment; numbers in C notation.
class Descrambler {
public:
    // False with a reason when the text is not a complete, valid set.
    bool Parse(const std::string &text, std::string &error);
    bool IsLoaded() const { return mLoaded; }

    // One pass after another: table, key, permutation.
    void DescrambleBlock(uint8_t *block) const;
    // The inverse, for the simulated firmware and the tests.
    void ScrambleBlock(uint8_t *block) const;
    // Every 16-byte block of [begin, end) of `data`.
    void Descramble(uint8_t *data, size_t begin, size_t end) const;
    void Scramble(uint8_t *data, size_t begin, size_t end) const;

private:
    bool mLoaded = false;
    int mPasses = 0;
    std::array<uint8_t, 16> mPermutation{};
    std::array<uint8_t, 4> mKey{};
    std::array<uint8_t, 256> mTable{};
    std::array<uint8_t, 256> mInverse{};
};

}  // namespace fproi

#include "touch/FpRoi.h"

#include <cstdlib>
#include <sstream>

namespace fproi {

uint16_t Crc16Xmodem(const uint8_t *data, size_t size) {
    uint16_t crc = 0;
    for (size_t i = 0; data != nullptr && i < size; ++i) {
        crc = static_cast<uint16_t>(crc ^ (static_cast<uint16_t>(data[i]) << 8));
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x8000u) != 0 ? static_cast<uint16_t>((crc << 1) ^ 0x1021u)
                                       : static_cast<uint16_t>(crc << 1);
        }
    }
    return crc;
}

namespace {

// Reads the numbers that follow a keyword on one line; false on a bad token.
bool ReadNumbers(std::istringstream &line, std::vector<unsigned long> &out) {
    std::string token;
    while (line >> token) {
        char *end = nullptr;
        unsigned long value = strtoul(token.c_str(), &end, 0);
        if (end == token.c_str() || *end != '\0') {
            return false;
        }
        out.push_back(value);
    }
    return true;
}

}  // namespace

bool Descrambler::Parse(const std::string &text, std::string &error) {
    mLoaded = false;
    std::vector<unsigned long> passes;
    std::vector<unsigned long> permutation;
    std::vector<unsigned long> key;
    std::vector<unsigned long> table;
    std::istringstream in(text);
    int number = 0;
    for (std::string raw; std::getline(in, raw);) {
        ++number;
        size_t hash = raw.find('#');
        std::istringstream line(raw.substr(0, hash));
        std::string word;
        if (!(line >> word)) {
            continue;
        }
        std::vector<unsigned long> *target = nullptr;
        if (word == "passes") {
            target = &passes;
        } else if (word == "permutation") {
            target = &permutation;
        } else if (word == "key") {
            target = &key;
        } else if (word == "table") {
            target = &table;
        } else {
            error = "line " + std::to_string(number) + ": unknown word " + word;
            return false;
        }
        if (!ReadNumbers(line, *target)) {
            error = "line " + std::to_string(number) + ": bad number";
            return false;
        }
    }
    if (passes.size() != 1 || passes[0] < 1 || passes[0] > 16) {
        error = "passes: one number 1 to 16";
        return false;
    }
    if (permutation.size() != mPermutation.size() || key.size() != mKey.size() ||
        table.size() != mTable.size()) {
        error = "permutation 16, key 4 and table 256 numbers";
        return false;
    }
    std::array<bool, 16> seenIndex{};
    for (size_t i = 0; i < permutation.size(); ++i) {
        if (permutation[i] >= 16 || seenIndex[permutation[i]]) {
            error = "permutation: not a permutation of 0 to 15";
            return false;
        }
        seenIndex[permutation[i]] = true;
        mPermutation[i] = static_cast<uint8_t>(permutation[i]);
    }
    for (size_t i = 0; i < key.size(); ++i) {
        if (key[i] > 255) {
            error = "key: bytes";
            return false;
        }
        mKey[i] = static_cast<uint8_t>(key[i]);
    }
    std::array<bool, 256> seenByte{};
    for (size_t i = 0; i < table.size(); ++i) {
        if (table[i] > 255 || seenByte[table[i]]) {
            error = "table: not a permutation of 0 to 255";
            return false;
        }
        seenByte[table[i]] = true;
        mTable[i] = static_cast<uint8_t>(table[i]);
        mInverse[table[i]] = static_cast<uint8_t>(i);
    }
    mPasses = static_cast<int>(passes[0]);
    mLoaded = true;
    return true;
}

void Descrambler::DescrambleBlock(uint8_t *block) const {
    for (int pass = 0; pass < mPasses; ++pass) {
        uint8_t work[kScrambleBlock];
        for (size_t i = 0; i < kScrambleBlock; ++i) {
            work[i] = static_cast<uint8_t>(mTable[block[i]] ^ mKey[i % mKey.size()]);
        }
        for (size_t i = 0; i < kScrambleBlock; ++i) {
            block[i] = work[mPermutation[i]];
        }
    }
}

void Descrambler::ScrambleBlock(uint8_t *block) const {
    for (int pass = 0; pass < mPasses; ++pass) {
        uint8_t work[kScrambleBlock];
        for (size_t i = 0; i < kScrambleBlock; ++i) {
            work[mPermutation[i]] = block[i];
        }
        for (size_t i = 0; i < kScrambleBlock; ++i) {
            block[i] = mInverse[static_cast<uint8_t>(work[i] ^ mKey[i % mKey.size()])];
        }
    }
}

void Descrambler::Descramble(uint8_t *data, size_t begin, size_t end) const {
    for (size_t at = begin; at + kScrambleBlock <= end; at += kScrambleBlock) {
        DescrambleBlock(data + at);
    }
}

void Descrambler::Scramble(uint8_t *data, size_t begin, size_t end) const {
    for (size_t at = begin; at + kScrambleBlock <= end; at += kScrambleBlock) {
        ScrambleBlock(data + at);
    }
}

}  // namespace fproi

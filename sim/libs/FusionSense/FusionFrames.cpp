#include "FusionFrames.h"

#include <cstring>

namespace vyrsim {
namespace {

constexpr uint16_t kBetaArAcc = 0x1000;
constexpr uint16_t kBetaArResult = 0x1003;
constexpr int kBetaAccSamples = 50;

void PutU16(std::string &out, uint16_t value) {
    out.push_back(static_cast<char>(value & 0xFF));
    out.push_back(static_cast<char>(value >> 8));
}

void PutU32(std::string &out, uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        out.push_back(static_cast<char>((value >> shift) & 0xFF));
    }
}

void PutFloat(std::string &out, float value) {
    uint32_t bits = 0;
    memcpy(&bits, &value, sizeof(bits));
    PutU32(out, bits);
}

}  // namespace

uint32_t ByteSum(const void *data, size_t size) {
    const auto *bytes = static_cast<const unsigned char *>(data);
    uint32_t sum = 0;
    for (size_t i = 0; i < size; ++i) {
        sum += bytes[i];
    }
    return sum;
}

std::string EncodeEntries(const std::vector<FusionSample> &samples) {
    std::string out;
    out.reserve(samples.size() * 16);
    for (const FusionSample &sample : samples) {
        out.push_back(static_cast<char>(sample.channel));
        out.append(3, '\0');
        for (float v : sample.value) {
            PutFloat(out, v);
        }
    }
    return out;
}

std::string EncodeBetaRecord(uint16_t type, uint32_t timestamp, const std::string &payload) {
    std::string out;
    PutU16(out, type);
    PutU16(out, 0);
    PutU32(out, timestamp);
    PutU16(out, static_cast<uint16_t>(payload.size()));
    out += payload;
    PutU16(out, 0);
    return out;
}

std::string EncodeBetaFrame(uint32_t timestamp, const Vec3 &acc) {
    std::string accPayload;
    for (int i = 0; i < kBetaAccSamples; ++i) {
        for (float v : acc) {
            PutFloat(accPayload, v);
        }
    }
    // clk, status, steps, six scores, ten features.
    std::string result;
    PutU32(result, timestamp);
    PutU32(result, 1);
    PutU32(result, 0);
    const uint16_t scores[6] = {90, 5, 0, 0, 0, 5};
    for (uint16_t score : scores) {
        PutU16(result, score);
    }
    for (int i = 0; i < 10; ++i) {
        PutU16(result, static_cast<uint16_t>(i));
    }
    return EncodeBetaRecord(kBetaArAcc, timestamp, accPayload) +
           EncodeBetaRecord(kBetaArResult, timestamp, result);
}

}  // namespace vyrsim

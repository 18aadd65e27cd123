// Sample scaling shared by the motion and posture paths: the algorithm
// libraries take each float multiplied by 100.0 and truncated toward zero.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace motion {

inline constexpr float kScale = 100.0f;

// value * 100, truncated toward zero; saturated at the ends of the range and
// 0 for NaN, so a wild sample never makes an undefined conversion.
inline int32_t Scale(float value) {
    const float scaled = value * kScale;
    if (std::isnan(scaled)) {
        return 0;
    }
    if (scaled >= 2147483520.0f) {
        return std::numeric_limits<int32_t>::max();
    }
    if (scaled <= -2147483648.0f) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(scaled);
}

// Scale() cut to its low 16 bits.
inline int16_t ScaleShort(float value) {
    return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint32_t>(Scale(value))));
}

// A float truncated toward zero to an integer, saturated like Scale().
inline int32_t Truncate(float value) {
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= 2147483520.0f) {
        return std::numeric_limits<int32_t>::max();
    }
    if (value <= -2147483648.0f) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(value);
}

}  // namespace motion

// Wire records of activity recognition, shared by the module, the command
// replies, the host tools and the tests. All little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ar {

// Activity indexes (the module's connection types).
inline constexpr int kHighSpeedRail = 0;
inline constexpr int kMetro = 1;
inline constexpr int kMicroStill = 2;
inline constexpr int kHandHeld = 3;
inline constexpr int kActivityCount = 4;

// Event types of an activity change; also the bits of an event mask.
inline constexpr uint32_t kEventEnter = 1;
inline constexpr uint32_t kEventExit = 2;

// Status block filled by the activity library: a header word, then one
// 4-byte slot per algorithm id: state byte, unused byte, int16 score.
inline constexpr size_t kStatusBlockSize = 260;
inline constexpr int kStatusSlots = 64;
inline constexpr size_t StateOffset(int id) {
    return 4 + 4 * static_cast<size_t>(id);
}
inline constexpr size_t ScoreOffset(int id) {
    return 6 + 4 * static_cast<size_t>(id);
}

// Reply record of one entered activity ("ar_status"), 128 bytes.
struct ArStatusRecord {
    uint32_t eventType;  // 0 none yet, 1 enter, 2 exit
    uint32_t activity;   // the client's number of the activity
    int64_t timestamp;   // CLOCK_MONOTONIC ns of the last change
    int32_t confidence;
    uint8_t reserved[108];
};
static_assert(sizeof(ArStatusRecord) == 128);
static_assert(offsetof(ArStatusRecord, timestamp) == 8);
static_assert(offsetof(ArStatusRecord, confidence) == 16);

// One change as it travels in a result message, 24 bytes (6 int32 words).
struct ArEvent {
    int32_t eventType;
    int32_t activity;
    int64_t timestamp;
    int32_t confidence;
    int32_t padding;
};
static_assert(sizeof(ArEvent) == 24);
static_assert(offsetof(ArEvent, timestamp) == 8);
static_assert(offsetof(ArEvent, confidence) == 16);

// The most events one result message carries.
inline constexpr size_t kMaxUploadEvents = 64;

}  // namespace ar

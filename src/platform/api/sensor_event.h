// The Android NDK sensor event record (104 bytes), as the sensor library
// delivers it and as this library makes its own events.
//
// Layout (byte offsets): 0 version, 4 sensor, 8 type, 12 reserved0,
// 16 timestamp (ns), 24 data (16 floats / 8 uint64), 88 flags,
// 92 reserved1[3].
//
// Our own extension: the 64-bit wall-clock arrival time in milliseconds is
// kept in reserved1[0..1], at byte 92. That place is only 4-byte aligned, so
// it is read and written through the helpers below, never by a cast.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

// `version` of an event that comes from the sensor library.
#define VYR_SENSOR_EVENT_VERSION 104
// Byte offset of the arrival time extension.
#define VYR_SENSOR_EVENT_ARRIVAL_OFFSET 92

typedef struct ASensorVector {
    union {
        float v[3];
        struct {
            float x;
            float y;
            float z;
        };
        struct {
            float azimuth;
            float pitch;
            float roll;
        };
    };
    int8_t status;
    uint8_t reserved[3];
} ASensorVector;

typedef struct AUncalibratedEvent {
    union {
        float uncalib[3];
        struct {
            float x_uncalib;
            float y_uncalib;
            float z_uncalib;
        };
    };
    union {
        float bias[3];
        struct {
            float x_bias;
            float y_bias;
            float z_bias;
        };
    };
} AUncalibratedEvent;

typedef struct ASensorEvent {
    int32_t version;  // sizeof(ASensorEvent) on events of the sensor library
    int32_t sensor;   // handle; equal to `type` for private sensors
    int32_t type;
    int32_t reserved0;
    int64_t timestamp;  // nanoseconds
    union {
        union {
            float data[16];
            ASensorVector vector;
            ASensorVector acceleration;
            ASensorVector gyro;
            ASensorVector magnetic;
            float temperature;
            float distance;
            float light;
            float pressure;
            float relative_humidity;
            AUncalibratedEvent uncalibrated_gyro;
            AUncalibratedEvent uncalibrated_magnetic;
        };
        union {
            uint64_t data[8];
            uint64_t step_counter;
        } u64;
    };
    uint32_t flags;
    int32_t reserved1[3];  // reserved1[0..1]: arrival time in ms (ours)
} ASensorEvent;

#ifdef __cplusplus
}  // extern "C"

static_assert(sizeof(ASensorEvent) == 104, "ASensorEvent must be 104 bytes");
static_assert(offsetof(ASensorEvent, timestamp) == 16, "timestamp at byte 16");
static_assert(offsetof(ASensorEvent, data) == 24, "data at byte 24");
static_assert(offsetof(ASensorEvent, flags) == 88, "flags at byte 88");
static_assert(offsetof(ASensorEvent, reserved1) == VYR_SENSOR_EVENT_ARRIVAL_OFFSET,
              "arrival time at byte 92");

// The arrival time (wall clock, ms) at byte 92.
inline void SetEventArrivalMs(ASensorEvent &event, uint64_t ms) {
    memcpy(reinterpret_cast<unsigned char *>(&event) + VYR_SENSOR_EVENT_ARRIVAL_OFFSET, &ms,
           sizeof(ms));
}

inline uint64_t GetEventArrivalMs(const ASensorEvent &event) {
    uint64_t ms = 0;
    memcpy(&ms, reinterpret_cast<const unsigned char *>(&event) + VYR_SENSOR_EVENT_ARRIVAL_OFFSET,
           sizeof(ms));
    return ms;
}
#endif

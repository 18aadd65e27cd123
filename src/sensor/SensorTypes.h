#pragma once

// The sensor numbers of the system, in one place: the Android types it uses,
// the modem pseudo-sensor, the private pseudo-sensors that exist only inside
// this library, and the frame types that the log writes besides sensors.
// Every module, the record table and the log sockets take them from here.

#include <cstdint>

// Android sensor types, as the sensor service reports them.
inline constexpr int32_t SENSOR_TYPE_ACCELEROMETER = 1;
inline constexpr int32_t SENSOR_TYPE_MAGNETIC_FIELD = 2;
inline constexpr int32_t SENSOR_TYPE_GYROSCOPE = 4;
inline constexpr int32_t SENSOR_TYPE_LIGHT = 5;
inline constexpr int32_t SENSOR_TYPE_PROXIMITY = 8;
inline constexpr int32_t SENSOR_TYPE_HINGE_ANGLE = 36;
inline constexpr int32_t SENSOR_TYPE_POSTURE = 0x10025;
inline constexpr int32_t SENSOR_TYPE_ACCELEROMETER2 = 0x20001;
// Vendor types that only the log files and the replay know.
inline constexpr int32_t SENSOR_TYPE_GYROSCOPE2 = 0x20003;
inline constexpr int32_t SENSOR_TYPE_HINGE_ANGLE2 = 0x1002B;

// The modem pseudo-sensor that activity recognition adds.
inline constexpr int32_t SENSOR_TYPE_MODEM = 0x1000000;

// Private sensors: the channels of the direct sensor-hub stream.
inline constexpr int32_t SENSOR_TYPE_FUSION_SENSE = 0x2000000;
inline constexpr int32_t SENSOR_TYPE_FUSION_TAP = 0x2000001;
inline constexpr int32_t SENSOR_TYPE_FUSION_TAP2 = 0x2000002;
inline constexpr int32_t SENSOR_TYPE_FUSION_ACC = 0x2000003;
inline constexpr int32_t SENSOR_TYPE_FUSION_GYRO = 0x2000004;
inline constexpr int32_t SENSOR_TYPE_FUSION_MAG = 0x2000005;
inline constexpr int32_t SENSOR_TYPE_FUSION_ACC1 = 0x2000006;
inline constexpr int32_t SENSOR_TYPE_FUSION_GYRO1 = 0x2000007;
inline constexpr int32_t SENSOR_TYPE_FUSION_MAG1 = 0x2000008;
inline constexpr int32_t SENSOR_TYPE_TAP_EVENT = 0x2000009;
// The last number of the channel range (inclusive, from FUSION_ACC): a
// setting inside it marks the fusion configuration as changed.
inline constexpr int32_t SENSOR_TYPE_FUSION_LAST = 0x200000A;

// Touch: the pen frame, the blob frame and the touch pseudo-sensor.
inline constexpr uint32_t SENSOR_TYPE_BT_PEN = 0xF1000000u;
inline constexpr uint32_t SENSOR_TYPE_TP_BLOB = 0xF1000001u;
inline constexpr int32_t SENSOR_TYPE_TP = static_cast<int32_t>(0xF1000002u);

// Families of events made for the log only: the first of each; the members
// follow in order (AR beta: acc, mag, modem, result; motion beta: acc, gyro,
// proximity, result; AR refill: the same as AR beta; motion refill: flip acc,
// head-down acc, gyro, ps, als, pick-call acc, gyro, ps, shock, pick-up acc,
// gyro, shock, rotation acc1, acc2, angle).
inline constexpr uint32_t SENSOR_TYPE_AR_BETA_BASE = 0xF2000000u;
inline constexpr uint32_t SENSOR_TYPE_MOTION_BETA_BASE = 0xF3000000u;
inline constexpr uint32_t SENSOR_TYPE_AR_REFILL_BASE = 0xF4000000u;
inline constexpr uint32_t SENSOR_TYPE_MOTION_REFILL_BASE = 0xF5000000u;

// Frame types of the log that are not sensors: the text log and the two
// records of the direct stream.
inline constexpr uint32_t SENSOR_TYPE_LOG = 0;
inline constexpr uint32_t SENSOR_TYPE_FS_DATA = 0xF0000001u;
inline constexpr uint32_t SENSOR_TYPE_FS_RESULT = 0xF0000002u;

// The signed sensor number of member `member` of a log family.
constexpr int32_t FamilySensor(uint32_t base, uint32_t member) {
    return static_cast<int32_t>(base + member);
}

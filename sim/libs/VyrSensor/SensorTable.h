// The sensors of the simulated foldable phone, as the sensor service lists
// them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vyrsim {

// Android reporting modes as the service names them.
inline constexpr const char *kModeContinuous = "continue";
inline constexpr const char *kModeOnChange = "onchange";

// Sensor types of the phone.
inline constexpr int32_t kTypeAccelerometer = 1;
inline constexpr int32_t kTypeMagneticField = 2;
inline constexpr int32_t kTypeGyroscope = 4;
inline constexpr int32_t kTypeLight = 5;
inline constexpr int32_t kTypeProximity = 8;
inline constexpr int32_t kTypeHingeAngle = 36;
inline constexpr int32_t kTypeAccelerometer2 = 0x20001;
inline constexpr int32_t kTypePosture = 65573;
// The modem pseudo-sensor: not in the list (the phone's own code owns it);
// it reports whenever the scenario's cell record changes, enabled or not.
// Values: data[0] radio access technology, data[1] cell id, data[2]
// high-speed flag; delivered as 64-bit words 0, 2 and 4 of the event.
inline constexpr int32_t kTypeModem = 0x1000000;

struct SensorInfo {
    int32_t handle;
    int32_t type;
    const char *name;
    const char *vendor;
    const char *stringType;
    float resolution;
    float maxRange;
    int32_t minDelayUs;
    int32_t fifoReserved;
    int32_t fifoMax;
    float powerMa;
    const char *reportingMode;
};

// The list in service order.
const SensorInfo *SensorTable();
size_t SensorTableSize();

// True for a sensor that reports only when its value changes.
bool IsOnChange(const SensorInfo &info);

// True when some sensor of the list has the type, or it is the modem.
bool IsKnownType(int32_t type);

}  // namespace vyrsim

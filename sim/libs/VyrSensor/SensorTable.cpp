#include "SensorTable.h"

#include <cstring>
#include <iterator>

namespace vyrsim {
namespace {

// Handles differ from types and from list positions on purpose: a client
// that mixes them up gets the wrong sensor.
constexpr SensorInfo kSensors[] = {
    {0x10, kTypeAccelerometer, "KX-ACC Accelerometer Non-wakeup", "Kestrel Micro",
     "android.sensor.accelerometer", 0.0023956299f, 78.4532f, 2404, 3000, 10000, 0.17f,
     kModeContinuous},
    {0x11, kTypeAccelerometer, "KX-ACC Accelerometer Wakeup", "Kestrel Micro",
     "android.sensor.accelerometer", 0.0023956299f, 78.4532f, 2404, 300, 10000, 0.17f,
     kModeContinuous},
    {0x12, kTypeAccelerometer2, "KX-ACC Secondary Accelerometer Non-wakeup", "Kestrel Micro",
     "com.tolvi.sensor.accelerometer_secondary", 0.0023956299f, 78.4532f, 2404, 3000, 10000, 0.17f,
     kModeContinuous},
    {0x20, kTypeGyroscope, "KX-GYR Gyroscope Non-wakeup", "Kestrel Micro",
     "android.sensor.gyroscope", 0.0012217305f, 34.906586f, 2404, 3000, 10000, 0.55f,
     kModeContinuous},
    {0x30, kTypeMagneticField, "AU-MAG Magnetometer Non-wakeup", "Aurum Sense",
     "android.sensor.magnetic_field", 0.0625f, 4912.0f, 10000, 600, 10000, 0.6f, kModeContinuous},
    {0x40, kTypeLight, "LO-ALS Ambient Light Non-wakeup", "Lumen Optics", "android.sensor.light",
     0.01f, 65535.0f, 0, 0, 0, 0.12f, kModeOnChange},
    {0x50, kTypeProximity, "LO-PRX Proximity Wakeup", "Lumen Optics", "android.sensor.proximity",
     1.0f, 5.0f, 0, 0, 0, 0.1f, kModeOnChange},
    {0x51, kTypeProximity, "LO-PRX Proximity Non-wakeup", "Lumen Optics",
     "android.sensor.proximity", 1.0f, 5.0f, 0, 0, 0, 0.1f, kModeOnChange},
    {0x60, kTypeHingeAngle, "Hinge Angle Wakeup", "Pivot Sense", "android.sensor.hinge_angle", 0.1f,
     180.0f, 0, 0, 0, 0.05f, kModeOnChange},
    {0x61, kTypeHingeAngle, "Hinge Angle Non-wakeup", "Pivot Sense", "android.sensor.hinge_angle",
     0.1f, 180.0f, 0, 0, 0, 0.05f, kModeOnChange},
    {0x70, kTypePosture, "Posture Non-wakeup", "Pivot Sense", "com.tolvi.sensor.posture", 1.0f,
     4.0f, 0, 0, 0, 0.05f, kModeOnChange},
};

}  // namespace

const SensorInfo *SensorTable() {
    return kSensors;
}

size_t SensorTableSize() {
    return std::size(kSensors);
}

bool IsOnChange(const SensorInfo &info) {
    return strcmp(info.reportingMode, kModeOnChange) == 0;
}

bool IsKnownType(int32_t type) {
    if (type == kTypeModem) {
        return true;
    }
    for (const SensorInfo &info : kSensors) {
        if (info.type == type) {
            return true;
        }
    }
    return false;
}

}  // namespace vyrsim

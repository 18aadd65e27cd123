// Entry points of the sensor service library "libVyrSensor.so", the closed
// library through which the Android sensors reach us (wrapper LibVyrSensor).
//
// A sensor is an opaque object of the library (VyrSensorRef); the list of
// them stays owned by the library and valid until the connection is lost.
//
// Events come on a thread of the library through the callback given to
// VyrInit: (event, ok, cookie). `ok` false means the sensor service has gone;
// the event is then meaningless, the sensor list is stale, and a new VyrInit
// is needed before the list is used again. `version` of a good event is
// VYR_SENSOR_EVENT_VERSION (104).
#pragma once

#include <stdbool.h>
#include <stdint.h>

#include "platform/api/sensor_event.h"

#ifdef __cplusplus
extern "C" {
#endif

// The library's sensor object.
typedef const void *VyrSensorRef;

// Event callback; `cookie` is the value given to VyrInit.
typedef void (*VyrSensorEventCallback_t)(const ASensorEvent *event, bool ok, void *cookie);

// Connects to the sensor service and installs the callback (replacing an
// earlier one). 0 on success, a negative error otherwise.
int32_t VyrInit(VyrSensorEventCallback_t callback, void *cookie);
// Stores the address of the library's sensor array in *list and returns the
// number of sensors; 0 or negative (and *list untouched) when there is none
// or VyrInit has not succeeded.
int32_t VyrGetSensorList(VyrSensorRef const **list);

// Starts a sensor with a sampling period and a batch latency, both in
// microseconds. 0 on success.
int32_t VyrEnableSensor(VyrSensorRef sensor, int32_t periodUs, int32_t batchUs);
// Stops a sensor. 0 on success.
int32_t VyrDisableSensor(VyrSensorRef sensor);

// Accessors of one sensor. Strings belong to the library and live as long
// as the sensor list; never null for a valid sensor.
const char *VyrGetName(VyrSensorRef sensor);
const char *VyrGetVendor(VyrSensorRef sensor);
int32_t VyrGetType(VyrSensorRef sensor);
float VyrGetResolution(VyrSensorRef sensor);
int32_t VyrGetMinDelay(VyrSensorRef sensor);  // microseconds
int32_t VyrGetFifoMaxEventCount(VyrSensorRef sensor);
int32_t VyrGetFifoReservedEventCount(VyrSensorRef sensor);
const char *VyrGetStringType(VyrSensorRef sensor);  // e.g. "android.sensor.accelerometer"
float VyrGetMaxRange(VyrSensorRef sensor);
float VyrGetPower(VyrSensorRef sensor);  // mA
int32_t VyrGetHandle(VyrSensorRef sensor);
// "continue", "onchange", "oneshot" or "special".
const char *VyrGetReportingMode(VyrSensorRef sensor);

typedef int32_t (*VyrInit_t)(VyrSensorEventCallback_t callback, void *cookie);
typedef int32_t (*VyrGetSensorList_t)(VyrSensorRef const **list);
typedef int32_t (*VyrEnableSensor_t)(VyrSensorRef sensor, int32_t periodUs, int32_t batchUs);
typedef int32_t (*VyrDisableSensor_t)(VyrSensorRef sensor);
typedef const char *(*VyrGetName_t)(VyrSensorRef sensor);
typedef const char *(*VyrGetVendor_t)(VyrSensorRef sensor);
typedef int32_t (*VyrGetType_t)(VyrSensorRef sensor);
typedef float (*VyrGetResolution_t)(VyrSensorRef sensor);
typedef int32_t (*VyrGetMinDelay_t)(VyrSensorRef sensor);
typedef int32_t (*VyrGetFifoMaxEventCount_t)(VyrSensorRef sensor);
typedef int32_t (*VyrGetFifoReservedEventCount_t)(VyrSensorRef sensor);
typedef const char *(*VyrGetStringType_t)(VyrSensorRef sensor);
typedef float (*VyrGetMaxRange_t)(VyrSensorRef sensor);
typedef float (*VyrGetPower_t)(VyrSensorRef sensor);
typedef int32_t (*VyrGetHandle_t)(VyrSensorRef sensor);
typedef const char *(*VyrGetReportingMode_t)(VyrSensorRef sensor);

#ifdef __cplusplus
}
#endif

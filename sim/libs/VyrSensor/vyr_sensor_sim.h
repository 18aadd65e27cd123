// Test controls of the simulated sensor service "libVyrSensor.so". They are
// exported beside the service's own entry points (vyr_sensor_api.h); a test
// resolves them with dlsym from the same handle, so it talks to the instance
// that the code under test loaded (one copy of the file = one service).
//
// All controls are thread-safe and may be called before VyrInit.
//
// Scenarios. A scenario gives the value of every sensor type as a function of
// the time since it started; the service samples it at each enabled sensor's
// period (on-change sensors report only when their value changes). Built-in:
//   "rest"   lying flat, screen up: gravity on +z, hinge open (180 degrees).
//   "walk"   held while walking: periodic acceleration and rotation, endless.
//   "flip"   0.3 s at rest, then face down over 0.5 s (about y), and stays:
//            gravity on -z, proximity near, light dark.
//   "fold"   0.3 s open, closing 180 -> 0 over 1.5 s, 0.5 s closed, opening
//            0 -> 180 over 1.5 s, and stays open.
//   "pickup" 0.3 s at rest, then lifted and tilted 60 degrees towards the
//            user over 1 s, and held there.
//   "rotate" upright in portrait, turned to landscape (gravity from +y to +x)
//            over 0.5 s after 0.3 s, and held.
//   "still"  held with a slight tremor, laid on a table from 0.3 s to 1.3 s,
//            and left there perfectly still.
//   "hand"   0.3 s on the table, then held while walking, endless.
//   "train"  a ride on a table in a humming car (0.5 m/s^2 at 7 Hz) with the
//            modem changing cell every 1.5 s: a metro leg to 12 s, a
//            high-speed leg (hsFlag 1) to 24 s, then the train stands.
// When a built-in scenario ends, its last values stay. VyrSimStopScenario
// freezes the values where they are; "rest" brings the phone back to rest.
//
// Recorded scenarios: any other argument of VyrSimPlayScenario is a CSV file
// (a device path such as /data/x.csv is looked up in the sandbox first):
//   # comment lines and blank lines are ignored; a first line that starts
//   # with "time" is a header.
//   time_ms,type,v0,v1,...,v15
//   0,1,0.0,0.0,9.81
//   20,36,90.0,0.0,0,0,0,0,0,0,0,0,0,0,0,0,0.001
// time_ms: milliseconds since the start of the play, not decreasing; type:
// the sensor type, decimal or 0x hex; then 1 to 16 values for data[0..15]
// (missing ones are 0). Each row sets the values of its type from its time
// on (sample and hold); a type keeps the value it had when the play started
// until its first row, and the last row of each type holds after the end.
// Types must be sensor types of the list. A malformed file is rejected whole.
//
// Value layout per type: accelerometers m/s^2 (data[0..2]), gyroscope rad/s,
// magnetometer uT, light lux (data[0]), proximity cm (data[0], 0 near, 5
// far), hinge angle degrees (data[0]) with status (data[1], 0 normal) and
// precision (data[14], smaller is better), posture (data[0]: 1 closed,
// 2 half open, 3 open).
//
// The modem pseudo-sensor (type 0x1000000, not in the list, handle = type):
// values rat, cell id, hsFlag (data[0..2] of a CSV row). It reports whenever
// the scenario's modem values change, whether enabled or not, as 64-bit
// words 0, 2 and 4 of the event; at rest: rat 3, cell 1001, hsFlag 0.
//
// Delivery. Events are stamped with CLOCK_BOOTTIME. An enable with a batch
// latency of 0 delivers each event at its period; with a positive latency the
// events are held (up to the FIFO size of the sensor) and delivered together
// once the oldest has waited the latency.
#pragma once

#include <stdbool.h>
#include <stdint.h>

#include "platform/api/sensor_event.h"

#ifdef __cplusplus
extern "C" {
#endif

// Queues an event to be delivered, exactly as given, through the callback on
// the service's thread (in order with other injected events), whether or not
// its sensor is enabled. 0 when queued; -1 for null or when no connection
// (VyrInit) exists.
int32_t VyrSimInjectEvent(const ASensorEvent *event);
// Starts a built-in scenario by name, or a CSV file by path (see above). It
// plays on the service's thread; only enabled sensors report. 0 on success,
// -1 for an unknown name or a missing or malformed file (the current values
// then stay as they are).
int32_t VyrSimPlayScenario(const char *nameOrCsvPath);
// Stops the scenario; the sensors keep reporting the values reached.
void VyrSimStopScenario(void);
// True while a scenario still changes values (false for "rest", after a
// built-in scenario's end, after the last row of a CSV file, after a stop).
bool VyrSimScenarioRunning(void);

// The sensor service dies: the callback is called once with ok false (on the
// service's thread; this call returns after it has been delivered, unless it
// is made from within the callback), then never again until a new VyrInit.
// The sensor list is stale, all enables are forgotten, and VyrInit fails
// until VyrSimServiceRestart.
void VyrSimServiceDie(void);
// The service is back: a new VyrInit works and gives a new sensor list
// (sensor objects of the old list are refused by VyrEnableSensor).
void VyrSimServiceRestart(void);
// True while the service is up (not between Die and Restart).
bool VyrSimServiceAlive(void);

// The sampling period (microseconds, as given to VyrEnableSensor) of the
// fastest enabled sensor of the type; 0 when no sensor of the type is on. A
// period of 0 (as fast as possible) reads as the period applied.
int32_t VyrSimGetSensorPeriodUs(int32_t type);
// The batch latency (microseconds) that came with that period; 0 when off.
int32_t VyrSimGetSensorBatchUs(int32_t type);
// Number of VyrEnableSensor / VyrDisableSensor calls accepted for sensors of
// the type since the library was loaded or VyrSimReset.
int32_t VyrSimEnableCount(int32_t type);
int32_t VyrSimDisableCount(int32_t type);

// Waits until every event injected before this call has been delivered and
// no callback is running. 0 when done, -1 on timeout (or when called from the
// callback itself).
int32_t VyrSimSync(int32_t timeoutMs);
// Drops the callback (no call comes after this returns, unless it is made
// from within the callback) without killing the service. For tests that tear
// down the owner of the callback while the library stays loaded.
void VyrSimDetach(void);
// Back to the state of a freshly loaded library: service alive but not
// connected (no callback), all sensors off, scenario "rest", counters 0,
// injected events dropped.
void VyrSimReset(void);
// The clock of the timestamps (CLOCK_BOOTTIME, nanoseconds).
int64_t VyrSimNowNs(void);

typedef int32_t (*VyrSimInjectEvent_t)(const ASensorEvent *event);
typedef int32_t (*VyrSimPlayScenario_t)(const char *nameOrCsvPath);
typedef void (*VyrSimStopScenario_t)(void);
typedef bool (*VyrSimScenarioRunning_t)(void);
typedef void (*VyrSimServiceDie_t)(void);
typedef void (*VyrSimServiceRestart_t)(void);
typedef bool (*VyrSimServiceAlive_t)(void);
typedef int32_t (*VyrSimGetSensorPeriodUs_t)(int32_t type);
typedef int32_t (*VyrSimGetSensorBatchUs_t)(int32_t type);
typedef int32_t (*VyrSimEnableCount_t)(int32_t type);
typedef int32_t (*VyrSimDisableCount_t)(int32_t type);
typedef int32_t (*VyrSimSync_t)(int32_t timeoutMs);
typedef void (*VyrSimDetach_t)(void);
typedef void (*VyrSimReset_t)(void);
typedef int64_t (*VyrSimNowNs_t)(void);

#ifdef __cplusplus
}
#endif

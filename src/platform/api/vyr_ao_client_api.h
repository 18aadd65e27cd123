// Entry points of the always-on vision client "libVyrAoClient.so" (wrapper
// LibVyrAoClient): pipelines of the low-power camera path, device motion
// recognition and the always-on services. Callbacks come on the library's
// own threads; their arguments are valid only during the call.
// Functions return 0 on success and the service's error otherwise.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VYR_AO_PIPELINE_FRONT_TOF 4
#define VYR_AO_MOTION_ROTATION 7
#define VYR_AO_SERVICE_FACE_DIRECTION 1
#define VYR_AO_SERVICE_FACE_ID 8
#define VYR_AO_FACE_ID_CMD_SET_KEY 127

// Pipeline news: `errCode` 0 and a text, or the service's error.
typedef void (*VyrAoPipelineCallback_t)(int32_t errCode, uint32_t pipelineId, const char *text);
// Device motion of `type`: values[1] is the result (for rotation 0 to 3).
typedef void (*VyrMotionCallback_t)(int32_t type, const int32_t *values, uint32_t count);
// A service result: 32-bit and 64-bit values, either list may be empty.
typedef void (*VyrNovenCallback_t)(uint32_t serviceType, const int32_t *values, uint32_t count,
                                   const int64_t *longValues, uint32_t longCount);

// Connects to the service; `mode` is "3".
int32_t VyrAoInit(const char *mode);
int32_t VyrAoRegisterListener(VyrAoPipelineCallback_t callback, uint32_t pipelineId, int32_t pid,
                              int32_t lux);
int32_t VyrAoUnregisterListener(uint32_t pipelineId, int32_t pid);
// Pipeline parameters as text (for the TOF pipeline the frame rate, decimal).
int32_t VyrAoRegisterPipelineWithParams(uint32_t pipelineId, const char *params);
int32_t VyrAoRunCommandWithParams(uint32_t pipelineId, const char *command, const char *params);
int32_t VyrMotionRegisterCallback(VyrMotionCallback_t callback);
int32_t VyrMotionStartMotionReco(int32_t type);
int32_t VyrMotionStopMotionReco(int32_t type);
int32_t VyrMotionSendInfo(int32_t type, const int32_t *values, uint32_t count);
// Bit mask of the service types the device offers.
int32_t VyrNovenGetCapabilities(uint32_t *capabilities);
int32_t VyrNovenRegisterClient(VyrNovenCallback_t callback, uint32_t serviceType);
int32_t VyrSendCommonData(uint32_t dataId, uint32_t value);
int32_t VyrNovenUnregisterClient(uint32_t serviceType);
// Command to the face identity service, e.g. VYR_AO_FACE_ID_CMD_SET_KEY with
// the 32-byte template key.
int32_t VyrFaceIdSendCommand(int32_t command, const uint8_t *data, uint32_t length);

typedef int32_t (*VyrAoInit_t)(const char *mode);
typedef int32_t (*VyrAoRegisterListener_t)(VyrAoPipelineCallback_t callback, uint32_t pipelineId,
                                           int32_t pid, int32_t lux);
typedef int32_t (*VyrAoUnregisterListener_t)(uint32_t pipelineId, int32_t pid);
typedef int32_t (*VyrAoRegisterPipelineWithParams_t)(uint32_t pipelineId, const char *params);
typedef int32_t (*VyrAoRunCommandWithParams_t)(uint32_t pipelineId, const char *command,
                                               const char *params);
typedef int32_t (*VyrMotionRegisterCallback_t)(VyrMotionCallback_t callback);
typedef int32_t (*VyrMotionStartMotionReco_t)(int32_t type);
typedef int32_t (*VyrMotionStopMotionReco_t)(int32_t type);
typedef int32_t (*VyrMotionSendInfo_t)(int32_t type, const int32_t *values, uint32_t count);
typedef int32_t (*VyrNovenGetCapabilities_t)(uint32_t *capabilities);
typedef int32_t (*VyrNovenRegisterClient_t)(VyrNovenCallback_t callback, uint32_t serviceType);
typedef int32_t (*VyrSendCommonData_t)(uint32_t dataId, uint32_t value);
typedef int32_t (*VyrNovenUnregisterClient_t)(uint32_t serviceType);
typedef int32_t (*VyrFaceIdSendCommand_t)(int32_t command, const uint8_t *data, uint32_t length);

#ifdef __cplusplus
}
#endif

// Test controls of the simulated always-on vision service
// "libVyrAoClient.so", exported beside the service's own entry points
// (vyr_ao_client_api.h). A test or vyrd resolves them with dlsym from the
// file the library under test loaded, so both talk to one service.
//
// The service answers on a thread of its own: every answer is queued and
// delivered in order through the callback registered for it; an answer for
// which nothing is registered (or started) is dropped. Callbacks are called
// without any lock of the service held, so a callback may call back in.
//
// Scenarios: VyrAoSimPlay takes a text of items separated by ';' or line
// ends, each "MS KIND VALUES": MS milliseconds since the play began (not
// decreasing), KIND one of
//   rot R          device rotation R (motion type 7, values {0, R})
//   fd R           always-on face direction R (service type 1, values {R})
//   faceid N D E U T R Q   always-on face identity (service type 8, the
//                  seven values num, direction, enrollMap, userId, scoreThd,
//                  Rscore, Qscore)
// e.g. "0 rot 0; 300 rot 1; 400 fd 1".
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Queue one answer now. 0 when queued, -1 when nothing is registered for it.
int32_t VyrAoSimRotation(int32_t rotation);
int32_t VyrAoSimFaceDirection(int32_t rotation);
int32_t VyrAoSimFaceId(const int32_t *values, uint32_t count);
// Plays a scenario (see above) on the service's thread; a new play replaces
// the one running. 0, or -1 for a malformed text (nothing played).
int32_t VyrAoSimPlay(const char *scenario);
// Waits until every answer queued or scheduled so far has been delivered and
// no callback runs. 0 when done, -1 on timeout.
int32_t VyrAoSimSync(int32_t timeoutMs);
// 1 while a listener of the pipeline is registered.
int32_t VyrAoSimPipelineActive(uint32_t pipelineId);
// The last parameter text of the pipeline as a number (the TOF frame rate);
// -1 when none was given.
int32_t VyrAoSimPipelineParam(uint32_t pipelineId);
// How many times the pipeline was registered since load or reset.
int32_t VyrAoSimPipelineStarts(uint32_t pipelineId);
// Makes the next calls of VyrAoRegisterListener answer `ret` (0 again
// works normally).
void VyrAoSimFailRegister(int32_t ret);
// Back to a freshly loaded service (queued answers dropped).
void VyrAoSimReset(void);
// Copies the last face enrolment key (32 bytes) into `out` when it fits;
// answers how many keys were handed over since load or reset.
int32_t VyrAoSimFaceIdKey(uint8_t *out, uint32_t size);

// Arms one face identity answer (service type 8) that the next
// VyrNovenRegisterClient or VyrNovenUnregisterClient of that type delivers
// from inside the call, as a service that answers while a client registers:
// the call queues it (after the registration, before the removal) and
// returns only once the callback, on the service's thread, has returned or
// `waitMs` have passed.
void VyrAoSimFaceIdInCall(const int32_t *values, uint32_t count, int32_t waitMs);
// How the last such delivery went: 1 the callback returned within the call,
// -1 the call stopped waiting for it, 0 none armed or pending.
int32_t VyrAoSimFaceIdInCallResult(void);

typedef int32_t (*VyrAoSimRotation_t)(int32_t rotation);
typedef int32_t (*VyrAoSimFaceDirection_t)(int32_t rotation);
typedef int32_t (*VyrAoSimFaceId_t)(const int32_t *values, uint32_t count);
typedef int32_t (*VyrAoSimPlay_t)(const char *scenario);
typedef int32_t (*VyrAoSimSync_t)(int32_t timeoutMs);
typedef int32_t (*VyrAoSimPipelineActive_t)(uint32_t pipelineId);
typedef int32_t (*VyrAoSimPipelineParam_t)(uint32_t pipelineId);
typedef int32_t (*VyrAoSimPipelineStarts_t)(uint32_t pipelineId);
typedef void (*VyrAoSimFailRegister_t)(int32_t ret);
typedef void (*VyrAoSimReset_t)(void);
typedef int32_t (*VyrAoSimFaceIdKey_t)(uint8_t *out, uint32_t size);
typedef void (*VyrAoSimFaceIdInCall_t)(const int32_t *values, uint32_t count, int32_t waitMs);
typedef int32_t (*VyrAoSimFaceIdInCallResult_t)(void);

#ifdef __cplusplus
}
#endif

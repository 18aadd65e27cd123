// Entry points of the event monitor library "libbrimlog.so" (wrapper
// LibVyrMonitor): big-data events of named parameters, and hang reports.
#pragma once

#include <stdint.h>

#include "platform/api/sys_trace_api.h"

#ifdef __cplusplus
extern "C" {
#endif

// An event under construction; the library's.
typedef struct brimlog_eventobj brimlog_eventobj_t;

// GetVersion (type GetVersion_t) is optional in this library.

// A new event of `eventId`; null on failure.
brimlog_eventobj_t *brimlog_create_eventobj(uint32_t eventId);
void brimlog_destroy_eventobj(brimlog_eventobj_t *event);
// Sends the event; negative on failure.
int32_t brimlog_send_event(brimlog_eventobj_t *event);
// Parameter setters: 0 on success.
int32_t brimlog_set_param_integer_v2(brimlog_eventobj_t *event, const char *key, int64_t value);
int32_t brimlog_set_param_float_v2(brimlog_eventobj_t *event, const char *key, float value);
int32_t brimlog_set_param_string_v2(brimlog_eventobj_t *event, const char *key, const char *value);
// Event time, wall clock in seconds. 0 on success.
int32_t brimlog_set_time(brimlog_eventobj_t *event, int64_t seconds);

// Hang reports. `id` is the watch point (9 for this library's owner).
// Non-zero on failure.
int32_t stelmo_is_id_valid(int32_t id);
int32_t stelmo_send_event(int32_t id, const char *command, const char *message);
// Writes the configuration text of `id` (NUL-terminated, at most `length`
// bytes with the NUL). Non-zero on failure.
int32_t stelmo_get_config(int32_t id, char *buffer, int32_t length);

typedef brimlog_eventobj_t *(*brimlog_create_eventobj_t)(uint32_t eventId);
typedef void (*brimlog_destroy_eventobj_t)(brimlog_eventobj_t *event);
typedef int32_t (*brimlog_send_event_t)(brimlog_eventobj_t *event);
typedef int32_t (*brimlog_set_param_integer_v2_t)(brimlog_eventobj_t *event, const char *key,
                                                  int64_t value);
typedef int32_t (*brimlog_set_param_float_v2_t)(brimlog_eventobj_t *event, const char *key,
                                                float value);
typedef int32_t (*brimlog_set_param_string_v2_t)(brimlog_eventobj_t *event, const char *key,
                                                 const char *value);
typedef int32_t (*brimlog_set_time_t)(brimlog_eventobj_t *event, int64_t seconds);
typedef int32_t (*stelmo_is_id_valid_t)(int32_t id);
typedef int32_t (*stelmo_send_event_t)(int32_t id, const char *command, const char *message);
typedef int32_t (*stelmo_get_config_t)(int32_t id, char *buffer, int32_t length);

#ifdef __cplusplus
}
#endif

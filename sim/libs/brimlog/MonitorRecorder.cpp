// Stand-in of the event monitor library. Its rules:
//  - every sent big-data event is appended as one line to "monitor_events.txt"
//    at the top of the sandbox (VYR_ROOT; the working directory without
//    one): "event <id> time=<seconds> <key>=<value> ..." with the parameters
//    in the order they were set (integers as decimals, floats with %g, texts
//    as given);
//  - every hang report is appended as "hang <id> command=<command>
//    message=<message>";
//  - the hang configuration (stelmo_get_config) is the text of
//    "monitor_stelmo.cfg" at the top of the sandbox, "1" (enabled) when that
//    file is missing;
//  - a parameter with an empty key fails (-1); a null event fails everything.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>

#include "device_path.h"
#include "platform/api/brimlog_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

struct brimlog_eventobj {
    uint32_t id = 0;
    int64_t seconds = 0;
    std::string params;
};

namespace {

std::mutex gMutex;

std::string SandboxFile(const char *name) {
    const std::string root = DeviceRoot();
    return root.empty() ? std::string(name) : root + "/" + name;
}

void Record(const std::string &line) {
    std::lock_guard<std::mutex> lock(gMutex);
    std::ofstream out(SandboxFile("monitor_events.txt"), std::ios::app);
    out << line << "\n";
}

int32_t AddParam(brimlog_eventobj_t *event, const char *key, const std::string &value) {
    if (event == nullptr || key == nullptr || key[0] == '\0') {
        return -1;
    }
    event->params += " " + std::string(key) + "=" + value;
    return 0;
}

}  // namespace

extern "C" {

VYR_EXPORT const char *GetVersion(void) {
    return "brimlog-sim 1.0";
}

VYR_EXPORT brimlog_eventobj_t *brimlog_create_eventobj(uint32_t eventId) {
    brimlog_eventobj_t *event = new brimlog_eventobj_t();
    event->id = eventId;
    return event;
}

VYR_EXPORT void brimlog_destroy_eventobj(brimlog_eventobj_t *event) {
    delete event;
}

VYR_EXPORT int32_t brimlog_send_event(brimlog_eventobj_t *event) {
    if (event == nullptr) {
        return -1;
    }
    Record("event " + std::to_string(event->id) + " time=" + std::to_string(event->seconds) +
           event->params);
    return 0;
}

VYR_EXPORT int32_t brimlog_set_param_integer_v2(brimlog_eventobj_t *event, const char *key,
                                                int64_t value) {
    return AddParam(event, key, std::to_string(value));
}

VYR_EXPORT int32_t brimlog_set_param_float_v2(brimlog_eventobj_t *event, const char *key,
                                              float value) {
    char text[64];
    snprintf(text, sizeof(text), "%g", static_cast<double>(value));
    return AddParam(event, key, text);
}

VYR_EXPORT int32_t brimlog_set_param_string_v2(brimlog_eventobj_t *event, const char *key,
                                               const char *value) {
    return AddParam(event, key, value == nullptr ? "" : value);
}

VYR_EXPORT int32_t brimlog_set_time(brimlog_eventobj_t *event, int64_t seconds) {
    if (event == nullptr) {
        return -1;
    }
    event->seconds = seconds;
    return 0;
}

VYR_EXPORT int32_t stelmo_is_id_valid(int32_t id) {
    return id == 9 ? 0 : -1;
}

VYR_EXPORT int32_t stelmo_send_event(int32_t id, const char *command, const char *message) {
    if (command == nullptr || message == nullptr) {
        return -1;
    }
    Record("hang " + std::to_string(id) + " command=" + command + " message=" + message);
    return 0;
}

VYR_EXPORT int32_t stelmo_get_config(int32_t id, char *buffer, int32_t length) {
    if (buffer == nullptr || length < 2 || stelmo_is_id_valid(id) != 0) {
        return -1;
    }
    std::string text = "1";
    std::ifstream in(SandboxFile("monitor_stelmo.cfg"));
    if (in) {
        std::stringstream content;
        content << in.rdbuf();
        text = content.str();
    }
    snprintf(buffer, static_cast<size_t>(length), "%s", text.c_str());
    return 0;
}

}  // extern "C"

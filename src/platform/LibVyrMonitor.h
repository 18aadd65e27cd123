// Wrapper of "libbrimlog.so", the event monitor: big-data events and hang
// reports. GetVersion is optional and reads "sys_unknown" when absent.
#pragma once

#include "platform/LibBase.h"
#include "platform/api/brimlog_api.h"

class LibVyrMonitor : public LibBase {
public:
    bool Init() { return OpenLib("brimlog", ""); }

    void LoadSymbols() override {
        VYR_LIB_SYMBOL_OR(GetVersion, UnknownVersion);
        VYR_LIB_SYMBOL(brimlog_create_eventobj);
        VYR_LIB_SYMBOL(brimlog_destroy_eventobj);
        VYR_LIB_SYMBOL(brimlog_send_event);
        VYR_LIB_SYMBOL(brimlog_set_param_integer_v2);
        VYR_LIB_SYMBOL(brimlog_set_param_float_v2);
        VYR_LIB_SYMBOL(brimlog_set_param_string_v2);
        VYR_LIB_SYMBOL(brimlog_set_time);
        VYR_LIB_SYMBOL(stelmo_is_id_valid);
        VYR_LIB_SYMBOL(stelmo_send_event);
        VYR_LIB_SYMBOL(stelmo_get_config);
    }

    GetVersion_t GetVersion = nullptr;
    brimlog_create_eventobj_t brimlog_create_eventobj = nullptr;
    brimlog_destroy_eventobj_t brimlog_destroy_eventobj = nullptr;
    brimlog_send_event_t brimlog_send_event = nullptr;
    brimlog_set_param_integer_v2_t brimlog_set_param_integer_v2 = nullptr;
    brimlog_set_param_float_v2_t brimlog_set_param_float_v2 = nullptr;
    brimlog_set_param_string_v2_t brimlog_set_param_string_v2 = nullptr;
    brimlog_set_time_t brimlog_set_time = nullptr;
    stelmo_is_id_valid_t stelmo_is_id_valid = nullptr;
    stelmo_send_event_t stelmo_send_event = nullptr;
    stelmo_get_config_t stelmo_get_config = nullptr;
};

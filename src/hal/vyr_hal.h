// Public records of libvyr.tolvi.so: what crosses between the sensing daemon
// and the library. Both sides are built against the same C++ standard
// library, so strings and vectors cross as they are.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One result message. Built on the sender's stack and valid only during the
// callback: the daemon copies what it keeps.
struct vyr_msg_t {
    std::string client;         // receiving client, overwritten per client
    int32_t type = 0;           // result number inside the sending module
    int32_t dataSize = 0;       // count the sender declares
    std::vector<int32_t> data;  // the values
};

using vyr_notify_func_t = void (*)(vyr_msg_t &msg);

// The daemon's result callback, passed by value.
struct vyr_notify_t {
    vyr_notify_func_t notify;
};

// Trace hooks of the daemon. The pointer, or any member, may be null.
struct vyr_sys_device_t {
    int32_t (*AtraceIsTagEnabled)(int64_t tag);
    void (*AtraceBegin)(int64_t tag, const char *name);
    void (*AtraceEnd)(int64_t tag);
};

// The table returned by get_vyr_hal_stub, in this order.
struct vyr_hal_ops_t {
    int32_t (*vyr_init)(vyr_notify_t notify, vyr_sys_device_t *sys);
    int32_t (*vyr_run_command)(const std::string &client, const std::string &cmd,
                               const std::vector<uint8_t> &in, std::vector<uint8_t> &out);
    int32_t (*vyr_get_data)(const std::string &cmd, int32_t size, std::vector<uint8_t> &out);
    int32_t (*vyr_fmq_data)(uint8_t *data, int32_t size);
};

extern "C" {
// Returns the address of the one static table, filled on each call.
void *get_vyr_hal_stub(void);
// Returns "0.0.3".
const char *get_vyr_hal_version(void);
}

using get_vyr_hal_stub_t = void *(*)(void);
using get_vyr_hal_version_t = const char *(*)(void);

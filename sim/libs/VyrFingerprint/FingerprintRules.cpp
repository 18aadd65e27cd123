// Stand-in of the fingerprint service. Rules: command 407 (the touch check
// result) with data is written whole to the sandbox file
// /data/vendor/fingerprint/fp_auxiliary_result (replacing the last one), and
// the length is returned. While the property "vyrsim.fp.refuse" is "1" the
// side refuses this kind of data for good: 0, nothing written. Any other
// command, null data or a length below 1 returns -22.
#include <sys/stat.h>
#include <sys/system_properties.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>

#include "device_path.h"
#include "platform/api/vyr_fingerprint_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

extern "C" VYR_EXPORT int32_t VyrSendDataToFp(int32_t command, const void *data, int32_t length) {
    if (command != VYR_FP_CMD_AUXILIARY_RESULT || data == nullptr || length < 1) {
        return -22;
    }
    char refuse[PROP_VALUE_MAX] = {0};
    __system_property_get("vyrsim.fp.refuse", refuse);
    if (strcmp(refuse, "1") == 0) {
        return 0;
    }
    std::string dir = MapDevicePath("/data/vendor/fingerprint");
    mkdir(dir.c_str(), 0755);
    std::ofstream out(dir + "/fp_auxiliary_result", std::ios::binary | std::ios::trunc);
    out.write(static_cast<const char *>(data), length);
    return out ? length : -5;
}

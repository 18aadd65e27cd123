// The device sandbox: on Linux the device's own trees (/odm, /vendor, /data,
// /sys, /dev and /proc/cmdline) live under the directory named by VYR_ROOT.
// On Android this header maps every path to itself.
#pragma once

#include <string>

// VYR_ROOT without trailing slashes when it names a directory, else "".
// Read from the environment on every call.
std::string DeviceRoot();

// The path to open for a device path: VYR_ROOT + path for an absolute path in
// one of the device trees, the path unchanged otherwise (no sandbox, other
// paths, or a path already inside the sandbox).
std::string MapDevicePath(const std::string &path);

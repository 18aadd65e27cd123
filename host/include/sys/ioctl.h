// The C library's sys/ioctl.h, with ioctl going through the device sandbox
// seam: an input node of the sandbox is a FIFO, on which EVIOCGNAME fails,
// so its name comes from the sandbox's sysfs tree as the kernel would give
// it. Every other request is the C library's call, unchanged.
#include_next <sys/ioctl.h>

#ifndef VYR_HOST_IOCTL_DECLARED
#define VYR_HOST_IOCTL_DECLARED

#ifdef __cplusplus
extern "C" {
#endif

// ioctl(2). When EVIOCGNAME fails on a node under $VYR_ROOT/dev/input/, the
// name is the first line of $VYR_ROOT/sys/class/input/<node>/device/name:
// copied up to the request's size with its terminator, the count returned.
int vyr_host_ioctl(int fd, unsigned long request, ...);

#ifdef __cplusplus
}
#endif

#define ioctl(...) vyr_host_ioctl(__VA_ARGS__)

#endif  // VYR_HOST_IOCTL_DECLARED

// The C library's poll.h, with poll going through the device sandbox seam.
// A kernel node that signals new data with POLLPRI (the fingerprint
// auxiliary node) is a FIFO in the sandbox, and Linux never raises POLLPRI on
// a FIFO: for such a node the seam reports POLLPRI whenever it is readable.
#include_next <poll.h>

#ifndef VYR_HOST_POLL_DECLARED
#define VYR_HOST_POLL_DECLARED

#ifdef __cplusplus
extern "C" {
#endif

// poll(2). An entry that asks for POLLPRI on a FIFO under $VYR_ROOT gets
// POLLPRI in revents when the FIFO is readable (POLLIN only when asked).
int vyr_host_poll(struct pollfd *fds, nfds_t count, int timeout);

#ifdef __cplusplus
}
#endif

#define poll(...) vyr_host_poll(__VA_ARGS__)

#endif  // VYR_HOST_POLL_DECLARED

// The device sandbox seam for input nodes and kernel nodes that are FIFOs
// (see sys/ioctl.h and poll.h of this folder).
#include <errno.h>
#include <linux/input.h>
#include <poll.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "device_path.h"

namespace {

// The file an open descriptor names, or "" (a pipe, a socket, no such fd).
std::string FdPath(int fd) {
    char link[64] = {0};
    snprintf(link, sizeof(link), "/proc/self/fd/%d", fd);
    char target[4096] = {0};
    ssize_t n = readlink(link, target, sizeof(target) - 1);
    if (n <= 0) {
        return {};
    }
    return std::string(target, static_cast<size_t>(n));
}

// The path relative to the sandbox root ("dev/input/event3"), or "" when the
// descriptor is no file of the sandbox.
std::string SandboxRelative(int fd) {
    std::string root = DeviceRoot();
    if (root.empty()) {
        return {};
    }
    std::string path = FdPath(fd);
    if (path.size() <= root.size() + 1 || path.compare(0, root.size(), root) != 0 ||
        path[root.size()] != '/') {
        return {};
    }
    return path.substr(root.size() + 1);
}

bool IsNameRequest(unsigned long request) {
    return _IOC_TYPE(request) == 'E' && _IOC_NR(request) == 0x06 && _IOC_DIR(request) == _IOC_READ;
}

// The sysfs name of a sandbox input node; -1 when there is none.
int SandboxDeviceName(int fd, char *out, size_t size) {
    static constexpr const char kInputDir[] = "dev/input/";
    std::string relative = SandboxRelative(fd);
    if (relative.compare(0, sizeof(kInputDir) - 1, kInputDir) != 0) {
        return -1;
    }
    std::string node = relative.substr(sizeof(kInputDir) - 1);
    if (node.empty() || node.find('/') != std::string::npos) {
        return -1;
    }
    std::ifstream in(DeviceRoot() + "/sys/class/input/" + node + "/device/name");
    std::string name;
    if (!in || !std::getline(in, name)) {
        return -1;
    }
    size_t count = std::min(name.size() + 1, size);
    if (count == 0) {
        return 0;
    }
    memcpy(out, name.c_str(), count);
    return static_cast<int>(count);
}

bool IsSandboxFifo(int fd) {
    struct stat info {};
    if (fd < 0 || fstat(fd, &info) != 0 || !S_ISFIFO(info.st_mode)) {
        return false;
    }
    return !SandboxRelative(fd).empty();
}

}  // namespace

extern "C" int vyr_host_ioctl(int fd, unsigned long request, ...) {
    va_list ap;
    va_start(ap, request);
    void *arg = va_arg(ap, void *);
    va_end(ap);
    int ret = (ioctl)(fd, request, arg);
    if (ret >= 0 || arg == nullptr || !IsNameRequest(request)) {
        return ret;
    }
    int saved = errno;
    int count = SandboxDeviceName(fd, static_cast<char *>(arg), _IOC_SIZE(request));
    if (count < 0) {
        errno = saved;
        return ret;
    }
    return count;
}

extern "C" int vyr_host_poll(struct pollfd *fds, nfds_t count, int timeout) {
    std::vector<nfds_t> fifos;
    std::vector<short> asked;
    for (nfds_t i = 0; fds != nullptr && i < count; ++i) {
        if ((fds[i].events & POLLPRI) != 0 && IsSandboxFifo(fds[i].fd)) {
            fifos.push_back(i);
            asked.push_back(fds[i].events);
            fds[i].events = static_cast<short>(fds[i].events | POLLIN);
        }
    }
    int ret = (poll)(fds, count, timeout);
    for (size_t k = 0; k < fifos.size(); ++k) {
        struct pollfd &entry = fds[fifos[k]];
        entry.events = asked[k];
        if (ret > 0 && (entry.revents & POLLIN) != 0) {
            entry.revents = static_cast<short>(entry.revents | POLLPRI);
            if ((asked[k] & POLLIN) == 0) {
                entry.revents = static_cast<short>(entry.revents & ~POLLIN);
            }
        }
    }
    return ret;
}

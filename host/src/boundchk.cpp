#include <boundchk.h>

#include <cstdio>
#include <cstring>

namespace {

bool BadSize(size_t destMax) {
    return destMax == 0 || destMax > BOUNDCHK_MAX_LEN;
}

bool Overlap(const void *a, size_t aLen, const void *b, size_t bLen) {
    const char *pa = static_cast<const char *>(a);
    const char *pb = static_cast<const char *>(b);
    return pa < pb + bLen && pb < pa + aLen;
}

}  // namespace

extern "C" errno_t memcpy_s(void *dest, size_t destMax, const void *src, size_t count) {
    if (BadSize(destMax)) {
        return ERANGE;
    }
    if (dest == nullptr) {
        return EINVAL;
    }
    if (src == nullptr) {
        memset(dest, 0, destMax);
        return EINVAL;
    }
    if (count > destMax) {
        memset(dest, 0, destMax);
        return ERANGE;
    }
    if (count == 0) {
        return EOK;
    }
    if (Overlap(dest, count, src, count)) {
        memset(dest, 0, destMax);
        return EOVERLAP;
    }
    memcpy(dest, src, count);
    return EOK;
}

extern "C" errno_t memset_s(void *dest, size_t destMax, int c, size_t count) {
    if (BadSize(destMax)) {
        return ERANGE;
    }
    if (dest == nullptr) {
        return EINVAL;
    }
    if (count > destMax) {
        memset(dest, c, destMax);
        return ERANGE;
    }
    memset(dest, c, count);
    return EOK;
}

extern "C" errno_t strcpy_s(char *dest, size_t destMax, const char *src) {
    if (BadSize(destMax)) {
        return ERANGE;
    }
    if (dest == nullptr) {
        return EINVAL;
    }
    if (src == nullptr) {
        dest[0] = '\0';
        return EINVAL;
    }
    size_t len = strnlen(src, destMax);
    if (len == destMax) {
        dest[0] = '\0';
        return ERANGE;
    }
    if (Overlap(dest, len + 1, src, len + 1)) {
        dest[0] = '\0';
        return EOVERLAP;
    }
    memcpy(dest, src, len + 1);
    return EOK;
}

extern "C" errno_t strcat_s(char *dest, size_t destMax, const char *src) {
    if (BadSize(destMax)) {
        return ERANGE;
    }
    if (dest == nullptr) {
        return EINVAL;
    }
    if (src == nullptr) {
        dest[0] = '\0';
        return EINVAL;
    }
    size_t used = strnlen(dest, destMax);
    if (used == destMax) {  // dest is not a string
        dest[0] = '\0';
        return EINVAL;
    }
    size_t room = destMax - used;
    size_t len = strnlen(src, room);
    if (len == room) {
        dest[0] = '\0';
        return ERANGE;
    }
    if (Overlap(dest, used + len + 1, src, len + 1)) {
        dest[0] = '\0';
        return EOVERLAP;
    }
    memcpy(dest + used, src, len + 1);
    return EOK;
}

extern "C" int vsnprintf_s(char *dest, size_t destMax, size_t count, const char *format,
                           va_list ap) {
    if (dest == nullptr || BadSize(destMax)) {
        return -1;
    }
    if (format == nullptr) {
        dest[0] = '\0';
        return -1;
    }
    size_t limit = count < destMax - 1 ? count : destMax - 1;
    int n = vsnprintf(dest, limit + 1, format, ap);
    if (n < 0) {
        dest[0] = '\0';
        return -1;
    }
    // On a cut the buffer keeps what fitted.
    return static_cast<size_t>(n) > limit ? -1 : n;
}

extern "C" int sprintf_s(char *dest, size_t destMax, const char *format, ...) {
    va_list ap;
    va_start(ap, format);
    int n = vsnprintf_s(dest, destMax, destMax - 1, format, ap);
    va_end(ap);
    if (n < 0 && dest != nullptr && !BadSize(destMax)) {
        dest[0] = '\0';
    }
    return n;
}

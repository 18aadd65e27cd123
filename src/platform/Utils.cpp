#include "platform/Utils.h"

#include <android/log.h>
#include <boundchk.h>
#include <device_path.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>

#include "log/LogSink.h"

namespace {
constexpr size_t kPathMax = 4096;
}

std::string RealPath(const std::string &path) {
    if (path.length() > kPathMax) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "%s length over size %d", path.c_str(),
                            static_cast<int>(kPathMax));
        return std::string();
    }
    char buffer[kPathMax + 1];
    if (memset_s(buffer, sizeof(buffer), 0, sizeof(buffer)) != EOK) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "memset_s %s", path.c_str());
        return std::string();
    }
    if (realpath(path.c_str(), buffer) == nullptr) {
        if (errno != ENOENT) {
            __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG,
                                "error = %d, %s realpath is nullptr", errno, path.c_str());
        }
        return std::string();
    }
    return std::string(buffer);
}

std::string DevicePathOf(const std::string &path) {
    return MapDevicePath(path);
}

std::string CheckPath(const std::string path) {
    return RealPath(MapDevicePath(path));
}

std::vector<std::string> Split(const std::string &text, const std::string &delimiter) {
    std::vector<std::string> pieces;
    if (delimiter.empty()) {
        pieces.push_back(text);
        return pieces;
    }
    size_t start = 0;
    size_t pos;
    while ((pos = text.find(delimiter, start)) != std::string::npos) {
        pieces.push_back(text.substr(start, pos - start));
        start = pos + delimiter.length();
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

std::string Trim(const std::string &text) {
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && isspace(static_cast<unsigned char>(text[begin])) != 0) {
        ++begin;
    }
    while (end > begin && isspace(static_cast<unsigned char>(text[end - 1])) != 0) {
        --end;
    }
    return text.substr(begin, end - begin);
}

std::string FormatTime(uint64_t ms, int form) {
    const char *pattern = nullptr;
    switch (form) {
        case 0:
            pattern = "%Y.%m.%d_%H.%M.%S";
            break;
        case 1:
            pattern = "%Y-%m-%d %H.%M.%S";
            break;
        case 2:
            pattern = "%Y-%m-%d %H:%M:%S";
            break;
        default:
            return std::string();
    }
    time_t seconds = static_cast<time_t>(ms / 1000);
    struct tm local {};
    localtime_r(&seconds, &local);
    char text[64] = {0};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    strftime(text, sizeof(text), pattern, &local);
#pragma GCC diagnostic pop
    std::string result(text);
    if (form != 2) {
        char tail[8] = {0};
        snprintf(tail, sizeof(tail), ".%03u", static_cast<unsigned>(ms % 1000));
        result += tail;
    }
    return result;
}

#include <fcntl.h>
#include <sys/file.h>
#include <sys/system_properties.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "device_path.h"

namespace {

constexpr size_t kValueMax = PROP_VALUE_MAX - 1;

// Android's rule: letters, digits and "_.-@:", no empty segment between dots.
bool IsLegalName(std::string_view name) {
    if (name.empty() || name.front() == '.' || name.back() == '.') {
        return false;
    }
    char previous = 0;
    for (char c : name) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '_' || c == '.' || c == '-' || c == '@' || c == ':';
        if (!ok || (c == '.' && previous == '.')) {
            return false;
        }
        previous = c;
    }
    return true;
}

bool IsReadOnly(std::string_view name) {
    return name.substr(0, 3) == "ro.";
}

// Reads the whole file; a missing file reads as empty.
bool ReadWholeFile(const std::string &path, std::string &out) {
    out.clear();
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return errno == ENOENT;
    }
    char chunk[4096];
    for (;;) {
        ssize_t n = read(fd, chunk, sizeof(chunk));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            close(fd);
            return n == 0;
        }
        out.append(chunk, static_cast<size_t>(n));
    }
}

bool WriteWholeFile(const std::string &path, const std::string &text) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return false;
    }
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            close(fd);
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return close(fd) == 0;
}

// Calls fn(name, value, line) for each "name=value" line of the store text;
// lines without '=' are passed with found == false.
template <typename Fn>
void ForEachLine(std::string_view text, Fn fn) {
    while (!text.empty()) {
        size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        size_t eq = line.find('=');
        if (eq == std::string_view::npos) {
            fn(false, std::string_view(), std::string_view(), line);
        } else {
            fn(true, line.substr(0, eq), line.substr(eq + 1), line);
        }
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
}

// Value of name in the store text; the last line of a name wins.
bool FindValue(std::string_view text, std::string_view name, std::string &value) {
    bool found = false;
    ForEachLine(text,
                [&](bool isPair, std::string_view key, std::string_view val, std::string_view) {
                    if (isPair && key == name) {
                        value.assign(val);
                        found = true;
                    }
                });
    return found;
}

// Without a sandbox directory: the properties of this process only.
// Never destroyed: properties are read and set while the process exits.
std::mutex gLocalMutex;
std::map<std::string, std::string, std::less<>> &gLocal =
    *new std::map<std::string, std::string, std::less<>>();

int SetInFile(const std::string &root, std::string_view name, std::string_view value) {
    std::string lockPath = root + "/properties.lock";
    std::string storePath = root + "/properties";
    std::string tempPath = root + "/properties.tmp";

    // A descriptor of our own per call: flock locks belong to the open file,
    // so threads of one process exclude each other as processes do.
    int lockFd = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (lockFd < 0) {
        return -1;
    }
    while (flock(lockFd, LOCK_EX) != 0) {
        if (errno != EINTR) {
            close(lockFd);
            return -1;
        }
    }

    int result = -1;
    std::string text;
    std::string old;
    if (ReadWholeFile(storePath, text) && !(IsReadOnly(name) && FindValue(text, name, old))) {
        // Keep every other line as it is (hand edits included); the first
        // line of the name takes the new value, later duplicates go.
        std::string out;
        out.reserve(text.size() + name.size() + value.size() + 2);
        bool written = false;
        ForEachLine(
            text, [&](bool isPair, std::string_view key, std::string_view, std::string_view line) {
                if (isPair && key == name) {
                    if (written) {
                        return;
                    }
                    written = true;
                    out.append(name).append("=").append(value);
                } else {
                    out.append(line);
                }
                out.push_back('\n');
            });
        if (!written) {
            out.append(name).append("=").append(value).push_back('\n');
        }
        if (WriteWholeFile(tempPath, out) && rename(tempPath.c_str(), storePath.c_str()) == 0) {
            result = 0;
        }
    }
    flock(lockFd, LOCK_UN);
    close(lockFd);
    return result;
}

}  // namespace

extern "C" int __system_property_get(const char *name, char *value) {
    if (value == nullptr) {
        return 0;
    }
    value[0] = '\0';
    if (name == nullptr || !IsLegalName(name)) {
        return 0;
    }
    std::string found;
    std::string root = DeviceRoot();
    if (root.empty()) {
        std::lock_guard<std::mutex> lock(gLocalMutex);
        auto it = gLocal.find(std::string_view(name));
        if (it == gLocal.end()) {
            return 0;
        }
        found = it->second;
    } else {
        std::string text;
        if (!ReadWholeFile(root + "/properties", text) || !FindValue(text, name, found)) {
            return 0;
        }
    }
    // A hand-edited file may hold more than a property can.
    size_t n = found.size() < kValueMax ? found.size() : kValueMax;
    memcpy(value, found.data(), n);
    value[n] = '\0';
    return static_cast<int>(n);
}

extern "C" int __system_property_set(const char *name, const char *value) {
    if (name == nullptr || value == nullptr || !IsLegalName(name)) {
        return -1;
    }
    std::string_view val(value);
    // One line per property in the store, so no line breaks in a value.
    if (val.size() > kValueMax || val.find('\n') != std::string_view::npos) {
        return -1;
    }
    std::string root = DeviceRoot();
    if (!root.empty()) {
        return SetInFile(root, name, val);
    }
    std::lock_guard<std::mutex> lock(gLocalMutex);
    auto it = gLocal.find(std::string_view(name));
    if (it != gLocal.end()) {
        if (IsReadOnly(name)) {
            return -1;
        }
        it->second.assign(val);
    } else {
        gLocal.emplace(name, val);
    }
    return 0;
}

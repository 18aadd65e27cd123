#include "vyrd/TouchPanel.h"

#include <fcntl.h>
#include <linux/input.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "sandbox/Sandbox.h"
#include "vyrd/CommandRunner.h"

namespace vyrd {

namespace {

constexpr const char *kFingerNode = "dev/input/event1";
constexpr const char *kPenNode = "dev/hidraw0";
constexpr const char *kFpNode = "sys/devices/platform/fingerprint/fp_auxiliary_data";
constexpr size_t kFpBlockSize = 4086;
constexpr size_t kFpFrames = 36;
constexpr size_t kPenReport = 25;

input_event Ev(uint16_t type, uint16_t code, int32_t value) {
    input_event event{};
    event.type = type;
    event.code = code;
    event.value = value;
    return event;
}

bool WriteAll(int fd, const void *data, size_t size) {
    return fd >= 0 && write(fd, data, size) == static_cast<ssize_t>(size);
}

}  // namespace

TouchPanel &TouchPanel::Get() {
    static TouchPanel panel;
    return panel;
}

void TouchPanel::Open(const std::string &root) {
    size_t count = 0;
    const char *const *nodes = vyrsim::TouchNodeList(&count);
    for (size_t i = 0; i < count; ++i) {
        // Read-write: the open does not wait for the library to read.
        int fd = open((root + "/" + nodes[i]).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        if (fd >= 0) {
            mFds[nodes[i]] = fd;
        }
    }
}

int TouchPanel::Fd(const std::string &relative) const {
    auto found = mFds.find(relative);
    return found == mFds.end() ? -1 : found->second;
}

std::string TouchPanel::Touch(const std::string &param) {
    size_t blank = param.find(' ');
    std::string verb = param.substr(0, blank);
    std::string rest = blank == std::string::npos ? "" : param.substr(blank + 1);
    int values[3] = {0, 0, 0};
    int n = 0;
    for (size_t start = 0; n < 3 && start <= rest.size();) {
        size_t comma = rest.find(',', start);
        values[n++] = atoi(rest.substr(start, comma - start).c_str());
        if (comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    if ((verb == "down" || verb == "move") && n == 3) {
        mFingers[values[0]] = {values[1], values[2]};
    } else if (verb == "up" && n >= 1 && !rest.empty()) {
        mFingers.erase(values[0]);
    } else {
        return "usage: touch down|move ID,X,Y or touch up ID";
    }
    std::vector<input_event> events;
    for (const auto &finger : mFingers) {
        events.push_back(Ev(EV_ABS, ABS_MT_TRACKING_ID, finger.first));
        events.push_back(Ev(EV_ABS, ABS_MT_POSITION_X, finger.second.first));
        events.push_back(Ev(EV_ABS, ABS_MT_POSITION_Y, finger.second.second));
        events.push_back(Ev(EV_ABS, ABS_MT_PRESSURE, 30));
        events.push_back(Ev(EV_SYN, SYN_MT_REPORT, 0));
    }
    events.push_back(Ev(EV_SYN, SYN_REPORT, 0));
    if (!WriteAll(Fd(kFingerNode), events.data(), events.size() * sizeof(input_event))) {
        return "no touch node";
    }
    return "fingers: " + std::to_string(mFingers.size());
}

std::string TouchPanel::Pen(const std::string &hex) {
    std::vector<uint8_t> bytes;
    if (!ParseHex(hex, bytes) || bytes.size() != kPenReport) {
        return "usage: pen HEX (25 bytes)";
    }
    return WriteAll(Fd(kPenNode), bytes.data(), bytes.size()) ? "pen report" : "no pen node";
}

std::string TouchPanel::FpBlock(const std::string &peak) {
    std::vector<uint8_t> block(kFpBlockSize, 0);
    uint16_t one = 1;
    memcpy(&block[4], &one, 2);  // one valid frame
    for (size_t cell = 0; cell < 81; ++cell) {
        int16_t value = cell == 40 ? static_cast<int16_t>(atoi(peak.c_str())) : 10;
        memcpy(&block[kFpFrames + cell * 2], &value, 2);
    }
    return WriteAll(Fd(kFpNode), block.data(), block.size()) ? "fp block" : "no fingerprint node";
}

std::string TouchPanel::Input(const std::string &param) {
    const size_t blank = param.find_first_of(" \t");
    const std::string node = param.substr(0, blank);
    std::vector<uint8_t> bytes;
    if (node.empty() || blank == std::string::npos || !ParseHex(param.substr(blank + 1), bytes) ||
        bytes.empty()) {
        return "usage: input NODE HEX";
    }
    const int fd = node.find('/') == std::string::npos ? Fd("dev/input/" + node) : -1;
    if (fd < 0) {
        return "input: unknown node " + node + " (event1..event3)";
    }
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0) {
        return "input " + node + ": " + strerror(errno);
    }
    return "input " + node + ": " + std::to_string(written) + " bytes";
}

}  // namespace vyrd

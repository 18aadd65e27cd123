// Input nodes of the device sandbox as the simulated phone makes them: FIFOs
// under dev/input/ with their names under sys/class/input/, opened for
// writing before the library starts, fed with real input_event records.
#pragma once

#include <fcntl.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/TestFiles.h"

namespace touchtest {

// Makes dev/input/<node> with the device name `name` and returns a writer
// (read-write, so the open does not wait for a reader); -1 on failure.
inline int MakeInputNode(const std::string &root, const std::string &node,
                         const std::string &name) {
    mkdir((root + "/dev").c_str(), 0755);
    mkdir((root + "/dev/input").c_str(), 0755);
    vyrtest::WriteText(root + "/sys/class/input/" + node + "/device/name", name + "\n");
    std::string path = root + "/dev/input/" + node;
    if (mkfifo(path.c_str(), 0644) != 0) {
        return -1;
    }
    return open(path.c_str(), O_RDWR | O_CLOEXEC);
}

// A FIFO at any device path of the sandbox, with its writer.
inline int MakeFifo(const std::string &root, const std::string &devicePath) {
    std::string path = root + devicePath;
    vyrtest::WriteText(path, "");
    unlink(path.c_str());
    if (mkfifo(path.c_str(), 0644) != 0) {
        return -1;
    }
    return open(path.c_str(), O_RDWR | O_CLOEXEC);
}

inline input_event Ev(uint16_t type, uint16_t code, int32_t value) {
    input_event event{};
    event.type = type;
    event.code = code;
    event.value = value;
    return event;
}

struct Finger {
    int32_t id;
    int32_t x;
    int32_t y;
};

// One multi-touch report: each finger closed by SYN_MT_REPORT, the report by
// SYN_REPORT. No finger is a report with no touch.
inline std::vector<input_event> Report(const std::vector<Finger> &fingers) {
    std::vector<input_event> events;
    for (const Finger &f : fingers) {
        events.push_back(Ev(EV_ABS, ABS_MT_TRACKING_ID, f.id));
        events.push_back(Ev(EV_ABS, ABS_MT_POSITION_X, f.x));
        events.push_back(Ev(EV_ABS, ABS_MT_POSITION_Y, f.y));
        events.push_back(Ev(EV_ABS, ABS_MT_PRESSURE, 30));
        events.push_back(Ev(EV_SYN, SYN_MT_REPORT, 0));
    }
    events.push_back(Ev(EV_SYN, SYN_REPORT, 0));
    return events;
}

// One write, so the library reads the report whole.
inline bool Send(int fd, const std::vector<input_event> &events) {
    ssize_t size = static_cast<ssize_t>(events.size() * sizeof(input_event));
    return write(fd, events.data(), static_cast<size_t>(size)) == size;
}

inline size_t CountOf(const std::string &text, const std::string &what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++n;
    }
    return n;
}

}  // namespace touchtest

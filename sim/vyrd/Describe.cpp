#include "vyrd/Describe.h"

#include <cstring>

#include "activity/ArRecords.h"

namespace vyrd {

namespace {

// Motion types and their result codes as the motion module tells them.
constexpr int kPostureType = 0;
constexpr int kFlip = 2;
constexpr int kPickCall = 3;
constexpr int kRotation = 7;
constexpr int kWristFlip = 14;
constexpr int kRotationGesture = 23;
constexpr int kBackTap = 25;

std::string Posture(int posture) {
    switch (posture) {
        case 1:
            return "folded";
        case 2:
            return "half folded";
        case 3:
            return "open";
        case 256:
            return "standing on its edge";
        case 4096:
            return "error";
        default:
            return "unknown (" + std::to_string(posture) + ")";
    }
}

// A screen rotation: 0 to 3, -1 no value, -2 unknown.
std::string RotationName(int value) {
    static const char *const kNames[] = {"portrait", "landscape", "portrait upside down",
                                         "landscape, other side"};
    if (value >= 0 && value <= 3) {
        return kNames[value];
    }
    return value == -1 ? "none" : value == -2 ? "unknown" : std::to_string(value);
}

std::string Motion(int type, int value) {
    switch (type) {
        case kFlip:
            return std::string("flip: ") + (value == 4   ? "face down"
                                            : value == 3 ? "face up"
                                                         : std::to_string(value));
        case kPickCall:
            return std::string("pick-call: ") + (value == 0   ? "at the ear"
                                                 : value == 1 ? "taken away"
                                                              : std::to_string(value));
        case kRotation:
            return "rotation: " + (value >= 0 && value <= 3 ? RotationName(value) : "none");
        case kWristFlip:
            return "wrist flip: " + std::to_string(value);
        case kRotationGesture:
            return std::string("rotation gesture: ") + (value == 1   ? "done"
                                                        : value == 2 ? "turning"
                                                                     : std::to_string(value));
        case kBackTap:
            return std::string("back tap: ") + (value == 2   ? "double tap"
                                                : value == 3 ? "triple tap"
                                                             : std::to_string(value));
        default:
            return std::string();
    }
}

// Results of the camera functions (five values each) and the exposure the
// face library asks of the always-on service.
std::string Camera(const vyr_msg_t &msg) {
    if (msg.client == "aoservice-client" && msg.type == 3 && msg.data.size() == 1) {
        return "tof exposure: " + std::to_string(msg.data[0]);
    }
    if (msg.data.size() != 5) {
        return std::string();
    }
    const std::vector<int32_t> &d = msg.data;
    switch (msg.type) {
        case 0:
            return "face direction: " + RotationName(d[1]) +
                   " (motion sensor: " + RotationName(d[0]) + ")";
        case 1:
            return std::string("eye gaze: ") +
                   (d[0] == 0   ? "nobody"
                    : d[1] == 1 ? "looking at the screen"
                                : "looking away") +
                   ", frame " + std::to_string(d[3]);
        case 2:
            return "face id: " +
                   (d[1] < 0 ? std::string("nobody known") : "user " + std::to_string(d[1])) +
                   ", faces " + std::to_string(d[0]) + (d[2] == 1 ? ", by tof" : ", always-on");
        default:
            return std::string();
    }
}

// The client's numbers of the activities in the sandbox's default list
// (property "odm.vyr.arlist" = "1,2,3,4,").
std::string ActivityName(int32_t activity) {
    static const char *const kNames[] = {"high-speed rail", "metro", "micro still", "hand held"};
    if (activity >= 1 && activity <= 4) {
        return kNames[activity - 1];
    }
    return "activity " + std::to_string(activity);
}

// Activity changes: 24-byte events (eventType, activity, timestamp,
// confidence, padding), several to a message.
std::string Activity(const vyr_msg_t &msg) {
    const size_t size = sizeof(ar::ArEvent);
    if (msg.dataSize <= 0 || static_cast<size_t>(msg.dataSize) % size != 0 ||
        msg.data.size() * sizeof(int32_t) < static_cast<size_t>(msg.dataSize)) {
        return std::string();
    }
    std::string text;
    for (size_t at = 0; at < static_cast<size_t>(msg.dataSize); at += size) {
        ar::ArEvent event{};
        memcpy(&event, reinterpret_cast<const uint8_t *>(msg.data.data()) + at, size);
        text += text.empty() ? "activity: " : "; ";
        text += ActivityName(event.activity) + (event.eventType == 1 ? " enter"
                                                : event.eventType == 2
                                                    ? " exit"
                                                    : " event " + std::to_string(event.eventType));
        text += ", confidence " + std::to_string(event.confidence);
    }
    return text;
}

}  // namespace

std::string Describe(const vyr_msg_t &msg) {
    const std::string camera = Camera(msg);
    if (!camera.empty()) {
        return camera;
    }
    if (msg.client == "ar-client") {
        return Activity(msg);
    }
    if (msg.type == kPostureType && msg.data.size() >= 2) {
        return "posture: " + Posture(msg.data[0]) + ", hinge " + std::to_string(msg.data[1]) +
               " degrees";
    }
    if (msg.data.size() == 2 && msg.data[0] == 1) {
        return Motion(msg.type, msg.data[1]);
    }
    return std::string();
}

}  // namespace vyrd

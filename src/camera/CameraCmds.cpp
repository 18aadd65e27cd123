// Commands of the Camera module. Unless a command says otherwise it only
// queues an event, so its reply says nothing about the result.
#include <cstdlib>
#include <string>

#include "camera/Camera.h"
#include "hal/ServerCmds.h"
#include "log/LogSink.h"
#include "platform/Utils.h"

namespace {

constexpr int32_t kMaxEnvFrames = 20;

}  // namespace

bool Camera::InitVyrd() {
    {
        std::lock_guard<std::mutex> lock(mEnvMutex);
        mEnvMode = "normal";
    }
    mEnvFrames = kMaxEnvFrames;
    // The table order of the module's commands; the face template, service
    // and file commands take their places between these.
    return InitVyrdSetEnv() && InitVyrdCameraOn() && InitVyrdCameraOff() &&
           InitVyrdRotationEmulate();
}

bool Camera::InitVyrdSetEnv() {
    return AddCmd("set-env", [this](const std::string /*client*/, const std::string param,
                                    std::vector<uint8_t> &out) {
        std::string reply = "usage: set-env mode(normal/bright/dark/check),frames(max=20)\r\n";
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 1 && fields.size() != 2) {
            SetReply(out, reply);
            return;
        }
        const std::string mode = fields[0];
        int32_t frames = kMaxEnvFrames;
        if (fields.size() == 2) {
            const int32_t asked = std::atoi(fields[1].c_str());
            if (asked <= kMaxEnvFrames) {
                frames = asked;
            }
        }
        std::lock_guard<std::mutex> lock(mEnvMutex);
        if (mode == "check") {
            reply += "current senting: mode=" + mEnvMode +
                     " frames=" + std::to_string(mEnvFrames.load());
        } else if (mode == "normal" || mode == "bright" || mode == "dark") {
            mEnvMode = mode;
            mEnvFrames = frames;
            reply += "set finish: mode=" + mode + " frames=" + std::to_string(frames);
        }
        SetReply(out, reply);
    });
}

bool Camera::InitVyrdCameraOn() {
    return AddCmd("camera-on", [this](const std::string client, const std::string param,
                                      std::vector<uint8_t> &out) {
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 2) {
            SetReply(out, "usage: camera-on cameraType,lux");
            return;
        }
        const int type = std::atoi(fields[0].c_str());
        const int lux = std::atoi(fields[1].c_str());
        LOGI("cameraType: %d lux: %d, enable", type, lux);
        CameraSwitch(client, type, true, lux);
    });
}

bool Camera::InitVyrdCameraOff() {
    return AddCmd("camera-off", [this](const std::string client, const std::string param,
                                       std::vector<uint8_t> &out) {
        const std::vector<std::string> fields = Split(param, ",");
        if (fields.size() != 2) {
            SetReply(out, "usage: camera-off cameraType");
            return;
        }
        const int type = std::atoi(fields[0].c_str());
        LOGI("cameraType: %d lux: %d, disable", type, 0);
        CameraSwitch(client, type, false, 0);
    });
}

bool Camera::InitVyrdRotationEmulate() {
    return AddCmd("rotation-emulate",
                  [this](const std::string /*client*/, const std::string /*param*/,
                         std::vector<uint8_t> & /*out*/) {
                      const uint8_t rotation = 2;
                      LOGI("emulate rotation: %d", rotation);
                      PostEvent(EVENT_MOTION, std::vector<uint8_t>{rotation});
                  });
}

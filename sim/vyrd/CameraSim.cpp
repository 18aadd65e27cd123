#include "vyrd/CameraSim.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <atomic>
#include <cstdio>

#include "camera/TofFrame.h"
#include "libs/VyrAoClient/vyr_ao_client_sim.h"
#include "libs/VyrSensor/vyr_sensor_sim.h"
#include "libs/face3d_sdk/face3d_sim.h"

namespace vyrd {

namespace {

constexpr int32_t kLightType = 5;
constexpr int32_t kLightHandle = 0x40;  // the stand-in's ambient light sensor
constexpr long kMaxFrames = 600;

// Frame numbers go on across commands, as a camera's do.
std::atomic<uint64_t> gNextFrame{1};

void *LoadedLib(const std::string &file) {
    const char *root = getenv("VYR_ROOT");
    const std::string prefix = root != nullptr ? root : "";
    for (const char *dir : {"/odm/lib64/", "/vendor/lib64/"}) {
        const std::string path = prefix + dir + file;
        if (void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD)) {
            return handle;
        }
    }
    return nullptr;
}

bool SceneOf(const std::string &text, face3d_sim_scene_t &scene) {
    std::string name = text;
    const size_t comma = text.find(',');
    if (comma != std::string::npos) {
        name = text.substr(0, comma);
        const std::string option = text.substr(comma + 1);
        unsigned long exposure = 0;
        char tail = 0;
        if (sscanf(option.c_str(), "exposure=%lu%c", &exposure, &tail) != 1) {
            return false;
        }
        scene.exposure = static_cast<uint32_t>(exposure);
    }
    scene.present = 1;
    scene.gaze = 1;
    if (name == "nobody") {
        scene.present = 0;
    } else if (name == "screen") {
        scene.orientation = 0;
    } else if (name == "away") {
        scene.gaze = 0;
    } else if (name == "left") {
        scene.orientation = 1;
    } else if (name == "right") {
        scene.orientation = 3;
    } else if (name == "upside") {
        scene.orientation = 2;
    } else if (name.rfind("user:", 0) == 0) {
        const int tag = atoi(name.c_str() + 5);
        if (tag < 1 || tag > 255) {
            return false;
        }
        scene.identity = tag;
    } else {
        return false;
    }
    return true;
}

}  // namespace

bool BuildTofFrames(const std::string &param, std::vector<std::vector<uint8_t>> &frames,
                    int *intervalMs, std::string *error) {
    long count = 0;
    char sceneText[128] = {};
    int interval = 33;
    const int fields = sscanf(param.c_str(), "%ld %127s %d", &count, sceneText, &interval);
    face3d_sim_scene_t scene{};
    if (fields < 2 || count < 1 || count > kMaxFrames || interval < 0 || interval > 10000 ||
        !SceneOf(sceneText, scene)) {
        if (error != nullptr) {
            *error =
                "usage: tof COUNT nobody|screen|away|left|right|upside|user:TAG"
                "[,exposure=N] [INTERVAL_MS]";
        }
        return false;
    }
    frames.clear();
    for (long i = 0; i < count; ++i) {
        std::vector<uint8_t> message = MakeTofFrameMessage(gNextFrame++, 100);
        Face3dSimDraw(PixelsOf(message), TofFrameHeader::kImageBytes, &scene);
        frames.push_back(std::move(message));
    }
    if (intervalMs != nullptr) {
        *intervalMs = interval;
    }
    return true;
}

std::string SetLight(const std::string &param) {
    char *end = nullptr;
    const float lux = strtof(param.c_str(), &end);
    if (param.empty() || end == param.c_str() || lux < 0.0f) {
        return "usage: light LUX";
    }
    void *handle = LoadedLib("libVyrSensor.so");
    if (handle == nullptr) {
        return "light: the sensor service is not loaded yet (switch a camera function on first)";
    }
    auto inject = reinterpret_cast<VyrSimInjectEvent_t>(dlsym(handle, "VyrSimInjectEvent"));
    auto now = reinterpret_cast<VyrSimNowNs_t>(dlsym(handle, "VyrSimNowNs"));
    std::string reply = "light: failed";
    if (inject != nullptr && now != nullptr) {
        ASensorEvent event{};
        event.version = sizeof(ASensorEvent);
        event.sensor = kLightHandle;
        event.type = kLightType;
        event.timestamp = now();
        event.data[0] = lux;
        if (inject(&event) == 0) {
            reply = "light " + param + " lux";
        }
    }
    dlclose(handle);
    return reply;
}

std::string PlayAoScenario(const std::string &param) {
    void *handle = LoadedLib("libVyrAoClient.so");
    if (handle == nullptr) {
        return "ao: the always-on service is not loaded yet (switch a camera function on first)";
    }
    auto play = reinterpret_cast<VyrAoSimPlay_t>(dlsym(handle, "VyrAoSimPlay"));
    std::string reply = "ao: failed";
    if (play != nullptr && play(param.c_str()) == 0) {
        reply = "ao: playing";
    } else if (play != nullptr) {
        reply = "usage: ao MS rot R|fd R|faceid N D E U T R Q[; ...]";
    }
    dlclose(handle);
    return reply;
}

}  // namespace vyrd

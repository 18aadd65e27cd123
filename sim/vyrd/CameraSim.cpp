#include "vyrd/CameraSim.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "camera/FacePackage.h"
#include "camera/TofFrame.h"
#include "libs/VyrAoClient/vyr_ao_client_sim.h"
#include "libs/VyrSensor/vyr_sensor_sim.h"
#include "libs/face3d_sdk/face3d_sim.h"
#include "platform/api/ciphrel_api.h"

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

std::string SetFaceDelay(const std::string &param) {
    char *end = nullptr;
    const long ms = strtol(param.c_str(), &end, 10);
    if (param.empty() || end == param.c_str() || *end != '\0' || ms < 0 || ms > 60000) {
        return "usage: facedelay MS (0 to 60000)";
    }
    void *handle = LoadedLib("libface3d_sdk.so");
    if (handle == nullptr) {
        return "facedelay: the face library is not loaded yet (switch a camera function on first)";
    }
    auto set =
        reinterpret_cast<Face3dSimSetDetectDelayMs_t>(dlsym(handle, "Face3dSimSetDetectDelayMs"));
    if (set != nullptr) {
        set(static_cast<int32_t>(ms));
    }
    dlclose(handle);
    return set != nullptr ? "facedelay " + param + ": set" : "facedelay: failed";
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

namespace {

void PutWord(std::vector<uint8_t> &out, size_t offset, uint32_t value) {
    memcpy(out.data() + offset, &value, sizeof(value));
}

std::vector<uint8_t> FaceHeader(uint32_t code, uint32_t user) {
    std::vector<uint8_t> out(facepkg::kHeaderBytes, 0);
    PutWord(out, facepkg::kCode, code);
    PutWord(out, facepkg::kUser, user);
    return out;
}

// AES-256-GCM through the simulated cipher library: the cipher text and
// the tag. False when the library or a call fails.
bool Encipher(const uint8_t *key, const uint8_t *iv, const std::vector<uint8_t> &plain,
              std::vector<uint8_t> &cipher, uint8_t *tag) {
    const char *root = getenv("VYR_ROOT");
    const std::string path =
        std::string(root != nullptr ? root : "") + "/vendor/lib64/libciphrel_sdk.so";
    void *handle = dlopen(path.c_str(), RTLD_NOW);
    if (handle == nullptr) {
        return false;
    }
    auto newCtx = reinterpret_cast<EVP_CIPHER_CTX_new_t>(dlsym(handle, "EVP_CIPHER_CTX_new"));
    auto init = reinterpret_cast<EVP_EncryptInit_ex_t>(dlsym(handle, "EVP_EncryptInit_ex"));
    auto update = reinterpret_cast<EVP_EncryptUpdate_t>(dlsym(handle, "EVP_EncryptUpdate"));
    auto finish = reinterpret_cast<EVP_EncryptFinal_ex_t>(dlsym(handle, "EVP_EncryptFinal_ex"));
    auto ctrl = reinterpret_cast<EVP_CIPHER_CTX_ctrl_t>(dlsym(handle, "EVP_CIPHER_CTX_ctrl"));
    auto gcm = reinterpret_cast<EVP_aes_256_gcm_t>(dlsym(handle, "EVP_aes_256_gcm"));
    auto freeCtx = reinterpret_cast<EVP_CIPHER_CTX_free_t>(dlsym(handle, "EVP_CIPHER_CTX_free"));
    bool ok = newCtx != nullptr && init != nullptr && update != nullptr && finish != nullptr &&
              ctrl != nullptr && gcm != nullptr && freeCtx != nullptr;
    EVP_CIPHER_CTX *ctx = ok ? newCtx() : nullptr;
    ok = ctx != nullptr;
    cipher.assign(plain.size() + 16, 0);
    int length = 0;
    int tail = 0;
    ok = ok && init(ctx, gcm(), nullptr, nullptr, nullptr) == 1 &&
         ctrl(ctx, CIPHREL_CTRL_GCM_SET_IVLEN, static_cast<int>(facepkg::kIvBytes), nullptr) == 1 &&
         init(ctx, nullptr, nullptr, key, iv) == 1 &&
         update(ctx, cipher.data(), &length, plain.data(), static_cast<int>(plain.size())) == 1 &&
         finish(ctx, cipher.data() + length, &tail) == 1 &&
         ctrl(ctx, CIPHREL_CTRL_GCM_GET_TAG, static_cast<int>(facepkg::kTagBytes), tag) == 1;
    if (ctx != nullptr) {
        freeCtx(ctx);
    }
    cipher.resize(static_cast<size_t>(length + tail));
    dlclose(handle);
    return ok;
}

}  // namespace

std::string EnrolFace(const std::string &param,
                      const std::function<void(const std::vector<uint8_t> &)> &send) {
    const std::string usage = "usage: faceenroll USER SCENE";
    const size_t space = param.find(' ');
    face3d_sim_scene_t scene{};
    if (space == std::string::npos || !SceneOf(param.substr(space + 1), scene)) {
        return usage;
    }
    const int user = atoi(param.substr(0, space).c_str());
    if (user < 2 || user > 3) {
        return "faceenroll: TOF templates are users 2 and 3";
    }
    void *ao = LoadedLib("libVyrAoClient.so");
    if (ao == nullptr) {
        return "faceenroll: the always-on service is not loaded yet (switch a camera function on "
               "first)";
    }
    auto keyOf = reinterpret_cast<VyrAoSimFaceIdKey_t>(dlsym(ao, "VyrAoSimFaceIdKey"));
    if (keyOf == nullptr) {
        dlclose(ao);
        return "faceenroll: failed";
    }
    const int32_t before = keyOf(nullptr, 0);
    send(FaceHeader(facepkg::kCodeInit, static_cast<uint32_t>(user)));
    uint8_t key[facepkg::kKeyBytes] = {};
    bool got = false;
    for (int i = 0; i < 300 && !got; ++i) {
        got = keyOf(key, sizeof(key)) > before;
        if (!got) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    dlclose(ao);
    if (!got) {
        return "faceenroll: no key reached the always-on service";
    }
    std::vector<uint8_t> image(TofFrameHeader::kImageBytes, 0);
    Face3dSimDraw(image.data(), TofFrameHeader::kImageBytes, &scene);
    uint8_t iv[facepkg::kIvBytes] = {};
    for (size_t i = 0; i < sizeof(iv); ++i) {
        iv[i] = static_cast<uint8_t>(0xa0 + i);
    }
    std::vector<uint8_t> cipher;
    uint8_t tag[facepkg::kTagBytes] = {};
    if (!Encipher(key, iv, image, cipher, tag)) {
        return "faceenroll: the cipher library failed";
    }
    std::vector<uint8_t> package = FaceHeader(facepkg::kCodeTemplate, static_cast<uint32_t>(user));
    package.resize(facepkg::kImage, 0);
    PutWord(package, facepkg::kSize,
            static_cast<uint32_t>(facepkg::kImage - facepkg::kHeaderBytes + cipher.size()));
    memcpy(package.data() + facepkg::kIv, iv, sizeof(iv));
    memcpy(package.data() + facepkg::kTag, tag, sizeof(tag));
    PutWord(package, facepkg::kWidth, TofFrameHeader::kWidth);
    PutWord(package, facepkg::kHeight, TofFrameHeader::kHeight);
    PutWord(package, facepkg::kImageSize, static_cast<uint32_t>(cipher.size()));
    package.insert(package.end(), cipher.begin(), cipher.end());
    send(package);
    return "faceenroll: user " + std::to_string(user) + " sent, " + std::to_string(cipher.size()) +
           " bytes enciphered with the always-on key";
}

}  // namespace vyrd

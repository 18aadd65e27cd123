// Stand-in of the face library on TOF frames. Its rules:
//  - face3d_algo_initialize reads the configuration file it is given (a
//    device path, looked up in the device sandbox like every device path):
//    a missing file fails with -2. Nothing in it is read.
//  - face3d_algo_load_image takes a TOF IR image of 640 x 480 (-1 for any
//    other); face3d_algo_detect reads its marker (face3d_sim.h) and fills
//    face count, orientation, exposure and status. Without a loaded image:
//    -1.
//  - face3d_extract_features: the features of the detected face are 'F' 'E'
//    'A' 'T' and its identity tag, zero-padded (status 1 without a face);
//    face3d_algo_enroll_from_features remembers the tag for the user;
//    face3d_algo_identify: status 0 and the user whose tag the face carries,
//    1 (mismatch, score 0.125) for another face, 2 without a face.
//  - the statistics count the detections since the last clear (a uint32 at
//    byte 0); face3d_algo_destory forgets the enrolled users.
//  - face3d_algo_get_face_image fills the crop with the identity tag;
//    face3d_algo_yuv2ao scales by picking pixels; face3d_algo_decrypt copies.
// Test controls (face3d_sim.h): Face3dSimDestroyCount, Face3dSimSetDetectDelayMs,
// Face3dSimSetStatus, Face3dSimSetDetectBusy.
#include <time.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "device_path.h"
#include "libs/face3d_sdk/face3d_sim.h"
#include "platform/api/face3d_sdk_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

struct State {
    std::mutex mutex;
    bool initialized = false;
    bool loaded = false;
    face3d_sim_scene_t scene{};
    uint32_t imageExposure = 0;
    bool detected = false;
    std::map<int32_t, int32_t> enrolled;  // user -> identity tag
    uint32_t detections = 0;
    int32_t destroys = 0;
};

State &TheState() {
    static State state;
    return state;
}

std::atomic<int32_t> gDetectDelayMs{0};
std::atomic<bool> gStatusForced{false};
std::atomic<int32_t> gForcedStatus{0};
std::atomic<bool> gDetectBusy{false};

// The detection's time spent on the processor, as a real detector's
// arithmetic would: spinning on the thread's own CPU clock, so that time
// the thread waits for a processor does not count.
void Compute(int32_t ms) {
    timespec start{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &start);
    const int64_t until = start.tv_sec * 1000000000LL + start.tv_nsec + ms * 1000000LL;
    volatile uint32_t sink = 0;
    for (;;) {
        for (uint32_t i = 0; i < 4096; ++i) {
            sink = sink * 1664525u + 1013904223u;
        }
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        if (now.tv_sec * 1000000000LL + now.tv_nsec >= until) {
            return;
        }
    }
}

}  // namespace

extern "C" {

VYR_EXPORT int32_t face3d_algo_initialize(const char *configPath) {
    if (configPath == nullptr) {
        return -1;
    }
    const std::string path = MapDevicePath(configPath);
    FILE *file = fopen(path.c_str(), "r");
    if (file == nullptr) {
        return -2;
    }
    fclose(file);
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.initialized = true;
    return 0;
}

VYR_EXPORT int32_t face3d_algo_version(char *buffer, int32_t length) {
    if (buffer == nullptr || length <= 0) {
        return -1;
    }
    snprintf(buffer, static_cast<size_t>(length), "%s", "face3d-sim 1.0");
    return 0;
}

VYR_EXPORT int32_t face3d_algo_load_image(const face3d_image_t *image, int32_t /*slot*/) {
    if (image == nullptr || image->data == nullptr || image->size != FACE3D_SIM_IMAGE_BYTES ||
        image->width != FACE3D_SIM_WIDTH || image->height != FACE3D_SIM_HEIGHT) {
        return -1;
    }
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    Face3dSimRead(static_cast<const uint8_t *>(image->data), image->size, &state.scene);
    state.imageExposure = static_cast<uint32_t>(image->exposure);
    state.loaded = true;
    state.detected = false;
    return 0;
}

VYR_EXPORT int32_t face3d_algo_detect(uint32_t /*sense*/, const face3d_detect_options_t *options,
                                      face3d_detect_result_t *result) {
    if (options == nullptr || result == nullptr) {
        return -1;
    }
    const int32_t delayMs = gDetectDelayMs.load();
    if (delayMs > 0 && gDetectBusy.load()) {
        Compute(delayMs);
    } else if (delayMs > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
    }
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (!state.loaded) {
        return -1;
    }
    state.loaded = false;
    state.detected = true;
    ++state.detections;
    const face3d_sim_scene_t &scene = state.scene;
    result->faceCount = scene.present ? 1 : 0;
    result->orientation = scene.orientation;
    result->exposure =
        static_cast<int32_t>(scene.exposure != 0 ? scene.exposure : state.imageExposure);
    if (!scene.present) {
        result->status = 1;
    } else {
        result->status = scene.gaze ? 0 : 5;
    }
    if (gStatusForced.load()) {
        result->status = gForcedStatus.load();
    }
    return 0;
}

VYR_EXPORT int32_t face3d_algo_enroll(int32_t userId, face3d_enroll_result_t *result) {
    if (result == nullptr) {
        return -1;
    }
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (!state.detected || !state.scene.present) {
        result->status = 1;
        return 0;
    }
    state.enrolled[userId] = state.scene.identity;
    result->status = 0;
    result->userId = userId;
    return 0;
}

VYR_EXPORT int32_t face3d_extract_features(face3d_feature_result_t *result) {
    if (result == nullptr) {
        return -1;
    }
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    memset(result->features, 0, sizeof(result->features));
    if (!state.detected || !state.scene.present) {
        result->status = 1;
        return 0;
    }
    memcpy(result->features, "FEAT", 4);
    result->features[4] = static_cast<uint8_t>(state.scene.identity);
    result->status = 0;
    return 0;
}

VYR_EXPORT int32_t face3d_algo_enroll_from_features(int32_t userId, const uint8_t *features,
                                                    face3d_enroll_result_t *result) {
    if (features == nullptr || result == nullptr) {
        return -1;
    }
    if (memcmp(features, "FEAT", 4) != 0) {
        result->status = 1;
        return 0;
    }
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.enrolled[userId] = features[4];
    result->status = 0;
    result->userId = userId;
    return 0;
}

VYR_EXPORT int32_t face3d_algo_delete_template(int32_t userId) {
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.enrolled.erase(userId);
    return 0;
}

VYR_EXPORT int32_t face3d_algo_identify(face3d_identify_result_t *result) {
    if (result == nullptr) {
        return -1;
    }
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    result->status = 2;
    result->userId = -1;
    result->score = 0.0f;
    if (!state.detected || !state.scene.present) {
        return 0;
    }
    for (const auto &entry : state.enrolled) {
        if (entry.second == state.scene.identity && entry.second != 0) {
            result->status = 0;
            result->userId = entry.first;
            result->score = 0.875f;
            return 0;
        }
    }
    result->status = 1;
    result->score = 0.125f;
    return 0;
}

VYR_EXPORT int32_t face3d_algo_reset(void) {
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.loaded = false;
    state.detected = false;
    return 0;
}

VYR_EXPORT int32_t face3d_algo_destory(void) {
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.initialized = false;
    state.loaded = false;
    state.detected = false;
    state.enrolled.clear();
    ++state.destroys;
    return 0;
}

VYR_EXPORT int32_t face3d_algo_yuv2ao(const face3d_image_t *source, face3d_image_t *target) {
    if (source == nullptr || target == nullptr || source->data == nullptr ||
        target->data == nullptr || source->width <= 0 || source->height <= 0 ||
        target->width <= 0 || target->height <= 0 ||
        target->size < static_cast<uint64_t>(target->width) * target->height ||
        source->size < static_cast<uint64_t>(source->width) * source->height) {
        return -1;
    }
    const auto *src = static_cast<const uint8_t *>(source->data);
    auto *dst = static_cast<uint8_t *>(target->data);
    for (int32_t y = 0; y < target->height; ++y) {
        for (int32_t x = 0; x < target->width; ++x) {
            const int64_t sx = static_cast<int64_t>(x) * source->width / target->width;
            const int64_t sy = static_cast<int64_t>(y) * source->height / target->height;
            dst[y * target->width + x] = src[sy * source->width + sx];
        }
    }
    return 0;
}

VYR_EXPORT int32_t face3d_algo_get_statistic_info(face3d_statistic_info_t *info) {
    if (info == nullptr) {
        return -1;
    }
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    memset(info->data, 0, sizeof(info->data));
    memcpy(info->data, &state.detections, sizeof(state.detections));
    return 0;
}

VYR_EXPORT int32_t face3d_algo_clear_statistic_info(int32_t /*which*/) {
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.detections = 0;
    return 0;
}

VYR_EXPORT int32_t face3d_algo_get_face_image(face3d_image_t *image, int32_t /*encrypted*/) {
    if (image == nullptr || image->data == nullptr) {
        return -1;
    }
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    memset(image->data, state.scene.identity & 0xff, static_cast<size_t>(image->size));
    return 0;
}

VYR_EXPORT int32_t face3d_algo_decrypt(const uint8_t *input, uint8_t *output, uint32_t size) {
    if (input == nullptr || output == nullptr) {
        return -1;
    }
    memmove(output, input, size);
    return 0;
}

VYR_EXPORT int32_t Face3dSimDestroyCount(void) {
    State &state = TheState();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.destroys;
}

VYR_EXPORT int32_t Face3dSimSetDetectDelayMs(int32_t ms) {
    return gDetectDelayMs.exchange(ms < 0 ? 0 : ms);
}

VYR_EXPORT void Face3dSimSetStatus(int32_t force, int32_t status) {
    gForcedStatus.store(status);
    gStatusForced.store(force != 0);
}

VYR_EXPORT int32_t Face3dSimSetDetectBusy(int32_t busy) {
    return gDetectBusy.exchange(busy != 0) ? 1 : 0;
}

}  // extern "C"

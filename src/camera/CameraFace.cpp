// The per-frame face pipeline: one detection per TOF frame, then the
// direction, gaze and identity functions that hold the camera, exposure
// control, frame counts and the stop of each function.
#include <boundchk.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "camera/Camera.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/LibSysTrace.h"

namespace {

constexpr const char *kFace3dConfigPath = "/odm/etc/vyr/arm_config.json";
constexpr size_t kConfigPathSize = 128;
constexpr uint32_t kStatusFailed = 0xFFFFFFFFu;
constexpr int32_t kDimLux = 35;
constexpr int32_t kIdentityFrames = 5;
constexpr size_t kDirectionStatBytes = 80;
constexpr size_t kIdentityStatBytes = 96;

// What a detection status means for the functions.
struct FaceReading {
    int32_t eyeGaze = 0;
    int32_t hasFace = 0;
    int32_t orientation = -2;
};

FaceReading ReadStatus(const face3d_detect_result_t &result) {
    const uint32_t status = static_cast<uint32_t>(result.status);
    FaceReading reading;
    reading.orientation = result.orientation;
    if (status == 0) {
        reading.eyeGaze = 1;
        reading.hasFace = 1;
    } else if (status == 1 || status == 2 || status == kStatusFailed) {
        reading.orientation = -2;
    } else if (status == 5) {
        reading.hasFace = 1;
    }
    return reading;
}

bool MaySave(int32_t status) {
    return status == 0 || status == 4 || status == 5;
}

}  // namespace

bool Camera::VyrFace3dInit() {
    ScopedTrace trace(mHal.GetTrace(), "VyrFace3dInit");
    if (!mFace3dLoaded) {
        LOGE("face3d_algo_initialize failed: %d", -1);
        return false;
    }
    char version[FACE3D_VERSION_SIZE] = {};
    mFace3d->face3d_algo_version(version, static_cast<int32_t>(sizeof(version)));
    version[sizeof(version) - 1] = '\0';
    LOGI("face3d algo version: %s", version);
    char path[kConfigPathSize] = {};
    errno_t err = strcpy_s(path, sizeof(path), kFace3dConfigPath);
    if (err != 0) {
        LOGE("strcpy_s failed, err = %d", static_cast<int>(err));
        return false;
    }
    LOGI("face3d_algo_initialize config_path: %s", path);
    int32_t ret = mFace3d->face3d_algo_initialize(path);
    if (ret != 0) {
        LOGE("face3d_algo_initialize failed: %d", ret);
        return false;
    }
    return true;
}

int Camera::VyrFace3dFaceDetect(uint32_t exposure, const void *image, size_t size,
                                face3d_detect_result_t &result) {
    ScopedTrace trace(mHal.GetTrace(), "VyrFace3dFaceDetect");
    if (size != TofFrameHeader::kImageBytes) {
        LOGE("input size %lu != %lu failed",
             static_cast<unsigned long>(TofFrameHeader::kImageBytes),
             static_cast<unsigned long>(size));
        return 1;
    }
    face3d_image_t picture{};
    picture.type = FACE3D_IMAGE_TOF_IR;
    picture.data = const_cast<void *>(image);
    picture.size = TofFrameHeader::kImageBytes;
    picture.width = static_cast<int32_t>(TofFrameHeader::kWidth);
    picture.height = static_cast<int32_t>(TofFrameHeader::kHeight);
    picture.rotation = 0;
    picture.exposure = static_cast<int32_t>(exposure);
    int32_t ret = mFace3dLoaded ? mFace3d->face3d_algo_load_image(&picture, 0) : -1;
    if (ret != 0) {
        LOGE("face3d_algo_load_image failed, ret = %d\n", ret);
        return 1;
    }
    face3d_detect_options_t options{};
    options.attention = IsTofClient(CAMERA_EYE_GAZE) ? 1 : 0;
    uint32_t sense = 0;
    if (IsTofClient(CAMERA_FACE_DIRECTION)) {
        sense |= FACE3D_SENSE_DIRECTION;
    }
    if (IsTofClient(CAMERA_EYE_GAZE)) {
        sense |= FACE3D_SENSE_GAZE;
    }
    if (IsTofClient(CAMERA_FACE_ID)) {
        sense |= FACE3D_SENSE_IDENTITY;
    }
    LOGI("sense hex: 0x%x, options.attention: %d", sense, options.attention);
    return mFace3d->face3d_algo_detect(sense, &options, &result);
}

bool Camera::VyrFace3dEnroll() {
    if (mFaceEnrolled) {
        return true;
    }
    for (uint32_t user : {2u, 3u}) {
        FaceTemplate face = FaceIdTemplateGet(user);
        if (face.data.empty()) {
            LOGW("face user id: %d no template", static_cast<int>(user));
            continue;
        }
        if (face.height != 1) {
            LOGI("face user id: %d image to feature", static_cast<int>(user));
            face3d_detect_result_t result{};
            int ret = VyrFace3dFaceDetect(0, face.data.data(),
                                          static_cast<size_t>(face.height) * face.width, result);
            if (ret != 0 || result.status != 0) {
                LOGE("VyrFace3dFaceDetect failed, ret: %d status: %d.", ret, result.status);
                continue;
            }
            face3d_feature_result_t features{};
            ret = mFace3dLoaded ? mFace3d->face3d_extract_features(&features) : -1;
            if (ret != 0 || features.status != 0) {
                LOGE("face3d_extract_features failed, ret = %d status = %d", ret, features.status);
                continue;
            }
            BetaSaveFaceIdRawData(user == 2 ? "TEMPLATE_u2" : "TEMPLATE_u3", true);
            FaceIdTemplateSet(user, features.features, FACE3D_FEATURE_SIZE, 1);
            face = FaceIdTemplateGet(user);
        }
        if (face.data.size() < FACE3D_FEATURE_SIZE) {
            LOGE("face3d_algo_enroll failed, ret: %d status: %d.", -1, -1);
            continue;
        }
        LOGI("face user id: %d start enroll", static_cast<int>(user));
        face3d_enroll_result_t enrolled{};
        int32_t ret = mFace3dLoaded ? mFace3d->face3d_algo_enroll_from_features(
                                          static_cast<int32_t>(user), face.data.data(), &enrolled)
                                    : -1;
        if (ret == 0 && enrolled.status == 0) {
            LOGI("face user id: %d finish enroll", static_cast<int>(user));
            mFaceEnrolled = true;
        } else {
            LOGE("face3d_algo_enroll failed, ret: %d status: %d.", ret, enrolled.status);
        }
    }
    return mFaceEnrolled;
}

std::vector<uint8_t> Camera::TakeStatistics(int32_t which, size_t bytes) {
    if (!mFace3dLoaded) {
        return {};
    }
    face3d_statistic_info_t info{};
    mFace3d->face3d_algo_get_statistic_info(&info);
    mFace3d->face3d_algo_clear_statistic_info(which);
    return std::vector<uint8_t>(info.data, info.data + std::min(bytes, sizeof(info.data)));
}

void Camera::SendExposure(int32_t exposure) {
    vyr_msg_t msg;
    msg.client = "aoservice-client";
    msg.type = 3;
    msg.dataSize = 1;
    msg.data = {exposure};
    mHal.GetNotify().notify(msg);
}

void Camera::NotifyResult(int type, const std::vector<int32_t> &data) {
    vyr_msg_t msg;
    msg.type = type;
    msg.dataSize = static_cast<int32_t>(data.size());
    msg.data = data;
    NotifyClients(msg);
}

void Camera::VyrFace3dProcess(uint64_t frame, uint32_t exposure, const void *image, size_t size) {
    ScopedTrace trace(mHal.GetTrace(), "VyrFace3dProcess");
    const int lux = GetLightLux();
    face3d_detect_result_t result{};
    if (!IsTypeEnabled(CAMERA_TOF_IMAGE)) {
        LOGW("tof disconnected, drop this frame");
        return;
    }
    bool stopFaceId = false;
    if (IsTofClient(CAMERA_FACE_ID) && !VyrFace3dEnroll()) {
        LOGW("VyrFace3dEnroll stopFaceIdTof = %d", 1);
        stopFaceId = true;
    }
    int ret = VyrFace3dFaceDetect(exposure, image, size, result);
    if (ret != 0) {
        LOGE("face3d_algo_detect failed, ret = %d", ret);
    }
    const FaceReading reading = ReadStatus(result);
    LOGI("frame num: %lu, face num: %d, status: %d, orientation: %d, eyeGaze: %d",
         static_cast<unsigned long>(frame), result.faceCount, result.status, reading.orientation,
         reading.eyeGaze);
    if (result.exposure != static_cast<int32_t>(exposure)) {
        LOGI("set irExpose from: %d to %d", static_cast<int>(exposure), result.exposure);
        SendExposure(result.exposure);
    }
    const std::string envMode = EnvMode();
    const int32_t envFrames = mEnvFrames.load();

    if (IsTofClient(CAMERA_FACE_DIRECTION)) {
        CameraFunction &direction = mFunctions[CAMERA_FACE_DIRECTION];
        mRotationInput.tofRotation = static_cast<int16_t>(reading.orientation);
        HandleRotationFusion(false);
        ++direction.frameCount;
        bool stop = true;
        if (envMode == "dark" && direction.frameCount > envFrames) {
            LOGI("env_mode=%s framCnt: %d > %d", envMode.c_str(), direction.frameCount, envFrames);
        } else if (lux < kDimLux && reading.orientation == -2 &&
                   VyrHal::MonoTimeMs() < direction.deadline) {
            stop = false;
        }
        if (stop) {
            const std::vector<uint8_t> stats = TakeStatistics(1, kDirectionStatBytes);
            if (mDirectionDft != nullptr) {
                mDirectionDft->AddResult(stats.data(), stats.size());
                mDirectionDft->AddAlgoRet(reading.orientation);
                mDirectionDft->AddSessionEnd();
            }
            StopTofConnect(CAMERA_FACE_DIRECTION);
        }
        if (result.status < 6 && MaySave(result.status)) {
            SaveCameraRawData(frame, CAMERA_FACE_DIRECTION, image, size);
        }
    }

    if (IsTofClient(CAMERA_EYE_GAZE)) {
        LOGI("detect eye gaze\t: %3d, %3d", reading.hasFace, reading.eyeGaze);
        NotifyResult(CAMERA_EYE_GAZE, {reading.hasFace, reading.eyeGaze, 1,
                                       static_cast<int32_t>(frame & 0xFFFFFFFFu), 0});
        mEyeGaze = reading.eyeGaze;
        if (mGazeDft != nullptr) {
            mGazeDft->AddAlgoRet(reading.eyeGaze);
        }
        CameraFunction &gaze = mFunctions[CAMERA_EYE_GAZE];
        if (GazeOnlyQrClient() && VyrHal::MonoTimeMs() >= gaze.deadline) {
            LOGW("CAMERA_EYE_GAZE ruinning timeout, stop tof");
            StopTofConnect(CAMERA_EYE_GAZE);
        }
        if (reading.eyeGaze == 0 && MaySave(result.status) && IsTofClient(CAMERA_EYE_GAZE)) {
            SaveCameraRawData(frame, CAMERA_EYE_GAZE, image, size);
        }
    }

    if (IsTofClient(CAMERA_FACE_ID)) {
        CameraFunction &identity = mFunctions[CAMERA_FACE_ID];
        face3d_identify_result_t identify{};
        identify.status = 2;
        identify.userId = -1;
        if (!stopFaceId && result.status == 0) {
            ret = mFace3dLoaded ? mFace3d->face3d_algo_identify(&identify) : -1;
            if (ret != 0) {
                LOGE("face3d_algo_identify failed, ret: %d status: %d.", ret, identify.status);
            }
            if (mFaceidDft != nullptr) {
                mFaceidDft->AddAlgoRet(identify.status);
            }
        }
        ++identity.frameCount;
        if (envMode == "dark" && identity.frameCount > envFrames) {
            LOGI("env_mode=%s framCnt: %d > %d", envMode.c_str(), identity.frameCount, envFrames);
            stopFaceId = true;
        }
        if (identify.status == 0) {
            LOGI("detect tof faceid\t: %3d, %3d", result.faceCount, identify.userId);
            NotifyResult(CAMERA_FACE_ID, {result.faceCount, identify.userId, 1, 0, 0});
            stopFaceId = true;
        }
        if (identify.status == 1) {
            std::string score = std::to_string(identify.score);
            const size_t point = score.find('.');
            if (point != std::string::npos && score.size() > point + 5) {
                score.resize(point + 5);
            }
            BetaSaveFaceIdRawData("DETECTION_r1_s" + score, true);
        }
        if (!stopFaceId && identity.frameCount < kIdentityFrames) {
            return;
        }
        const std::vector<uint8_t> stats = TakeStatistics(4, kIdentityStatBytes);
        if (mFaceidDft != nullptr) {
            mFaceidDft->AddResult(stats.data(), stats.size());
            mFaceidDft->AddSessionEnd();
        }
        StopTofConnect(CAMERA_FACE_ID);
        if (identify.status != 0) {
            LOGI("detect tof faceid\t: %3d, %3d", result.faceCount, identify.userId);
            NotifyResult(CAMERA_FACE_ID, {result.faceCount, identify.userId, 1, 0, 0});
        }
    }
}

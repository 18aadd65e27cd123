// The always-on vision service: pipelines, device motion and the face
// services, their callbacks (on the library's threads: they post, except the
// face identity answer, which is handled there at once), and the choice
// between the cheap always-on answer and waking the TOF camera.
#include <boundchk.h>
#include <unistd.h>

#include <atomic>
#include <string>

#include "camera/Camera.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/LibSysTrace.h"

namespace {

constexpr int32_t kTofLux = 16;
constexpr uint64_t kDirectionTofMs = 2000;
constexpr uint64_t kGazeTofMs = 60000;
constexpr int32_t kDirectionFps = 30;
constexpr int32_t kGazeFps = 5;
constexpr int32_t kIdentityFps = 10;
constexpr size_t kAoFaceIdValues = 7;
constexpr size_t kGazeStatBytes = 96;
constexpr size_t kAoUserIdOffset = 12;
constexpr const char *kQrClient = "novensensor-qr-client";

// The module the library's callbacks talk to (they carry no context).
std::atomic<Camera *> gCallbackCamera{nullptr};

// Fields of the always-on face identity answer, by position.
enum AoFaceId { kNum = 0, kDirection, kEnrollMap, kUserId, kScoreThd, kRscore, kQscore };

}  // namespace

// The library's callbacks, as plain functions.
struct CameraAoCallbacks {
    static void OnPipeline(int32_t errCode, uint32_t pipelineId, const char *text) {
        Camera *camera = gCallbackCamera.load();
        if (camera == nullptr) {
            return;
        }
        LogSink &mLog = camera->mLog;
        if (errCode != 0) {
            LOGE("ao service errCode: %d", errCode);
        } else {
            LOGI("pipelineId: %d recv: %s", static_cast<int>(pipelineId),
                 text != nullptr ? text : "");
        }
    }

    static void OnMotion(int32_t type, const int32_t *values, uint32_t count) {
        Camera *camera = gCallbackCamera.load();
        if (camera == nullptr || type != Camera::kMotionRotation || values == nullptr ||
            count < 2) {
            return;
        }
        camera->PostEvent(EVENT_MOTION,
                          std::vector<uint8_t>{static_cast<uint8_t>(values[1] & 0xff)});
    }

    static void OnService(uint32_t serviceType, const int32_t *values, uint32_t count,
                          const int64_t * /*longValues*/, uint32_t longCount) {
        Camera *camera = gCallbackCamera.load();
        if (camera == nullptr) {
            return;
        }
        LogSink &mLog = camera->mLog;
        if ((values == nullptr || count == 0) && longCount == 0) {
            LOGE("serviceType: %d callback empty", static_cast<int>(serviceType));
            return;
        }
        std::vector<int32_t> ints;
        if (values != nullptr) {
            ints.assign(values, values + count);
        }
        if (serviceType == Camera::kServiceFaceId) {
            camera->ProcessAoFaceId(ints);
        } else if (serviceType == Camera::kServiceFaceDirection) {
            std::vector<uint8_t> bytes(ints.size() * sizeof(int32_t));
            if (!bytes.empty()) {
                memcpy_s(bytes.data(), bytes.size(), ints.data(), bytes.size());
            }
            camera->PostEvent(EVENT_AON_FD, std::move(bytes));
        }
    }
};

void Camera::DetachCallbacks() {
    Camera *self = this;
    gCallbackCamera.compare_exchange_strong(self, nullptr);
}

int Camera::VyrAoClienPipelineEnable(uint32_t pipelineId, bool enable, int32_t lux) {
    ScopedTrace trace(mHal.GetTrace(), "VyrAoClienPipelineEnable");
    if (!mAoLoaded) {
        LOGE("VyrAoInit failed: %d", -1);
        return -1;
    }
    gCallbackCamera = this;
    if (!mAoInited) {
        int32_t ret = mVyrAoClient->VyrAoInit("3");
        if (ret != 0) {
            LOGE("VyrAoInit failed: %d", ret);
            return ret;
        }
        mAoInited = true;
    }
    if (pipelineId == kPipelineFrontTof && enable) {
        const std::string fps = std::to_string(mTofFps);
        int32_t ret = mVyrAoClient->VyrAoRegisterPipelineWithParams(pipelineId, fps.c_str());
        LOGI("mVyrAoClient set PIPELINE_FRONT_TOF fps: %d, ret: %d", mTofFps, ret);
    }
    int32_t ret = 0;
    if (enable) {
        mTofStartTime = VyrHal::MonoTimeMs();
        ret = mVyrAoClient->VyrAoRegisterListener(CameraAoCallbacks::OnPipeline, pipelineId,
                                                  getpid(), lux);
    } else {
        ret = mVyrAoClient->VyrAoUnregisterListener(pipelineId, getpid());
    }
    LOGI("mVyrAoClient pipelineId: %d, en: %d, ret: %d", static_cast<int>(pipelineId), enable, ret);
    return ret;
}

int Camera::VyrAoClienMotionEnable(bool enable, int32_t type) {
    ScopedTrace trace(mHal.GetTrace(), "VyrAoClienMotionEnable");
    LOGI("+");
    if (!mAoLoaded) {
        LOGE("VyrMotionRegisterCallback failed: %d", -1);
        return -1;
    }
    gCallbackCamera = this;
    if (!mMotionRegistered) {
        int32_t ret = mVyrAoClient->VyrMotionRegisterCallback(CameraAoCallbacks::OnMotion);
        if (ret != 0) {
            LOGE("VyrMotionRegisterCallback failed: %d", ret);
            return ret;
        }
        mMotionRegistered = true;
    }
    int32_t ret = enable ? mVyrAoClient->VyrMotionStartMotionReco(type)
                         : mVyrAoClient->VyrMotionStopMotionReco(type);
    LOGI("-");
    return ret;
}

int Camera::VyrNovenClientEnable(bool enable, uint32_t serviceType) {
    if (enable) {
        // The preset answer: nobody recognised. It is what "faceid-update"
        // reports until the service answers, also when the service is
        // missing.
        std::lock_guard<std::mutex> lock(mAoFaceIdMutex);
        mAoFaceIdRes.assign(kAoFaceIdValues * sizeof(int32_t), 0);
        const int32_t nobody = -1;
        memcpy_s(mAoFaceIdRes.data() + kAoUserIdOffset, sizeof(nobody), &nobody, sizeof(nobody));
    }
    if (!mAoLoaded) {
        LOGI("mVyrAoClient type: %d, en: %d, ret: %d", static_cast<int>(serviceType), enable, -1);
        return -1;
    }
    gCallbackCamera = this;
    // No lock of the answer is held here: the service may call back from
    // inside these calls.
    const int32_t ret =
        enable ? mVyrAoClient->VyrNovenRegisterClient(CameraAoCallbacks::OnService, serviceType)
               : mVyrAoClient->VyrNovenUnregisterClient(serviceType);
    LOGI("mVyrAoClient type: %d, en: %d, ret: %d", static_cast<int>(serviceType), enable, ret);
    return ret;
}

std::string Camera::EnvMode() {
    std::lock_guard<std::mutex> lock(mEnvMutex);
    return mEnvMode;
}

bool Camera::GetRunTofFlag(int lux, bool flag) {
    const std::string mode = EnvMode();
    if (mode == "bright") {
        LOGI("env_mode=%s runTofFlag set false", mode.c_str());
        return false;
    }
    if (mode == "dark") {
        LOGI("env_mode=%s runTofFlag set true", mode.c_str());
        return flag;
    }
    return lux < kTofLux && flag;
}

void Camera::ProcessMotion(std::vector<uint8_t> &data) {
    if (data.empty()) {
        LOGE("motion event data size error: %zu", data.size());
        return;
    }
    const int lux = GetLightLux();
    const int32_t rot = static_cast<int8_t>(data[0]);
    // A rotation while the always-on camera has no answer feeds the light
    // figure of the direction big-data record.
    if (rot >= 0 && mRotationInput.aoRotation == -2 && mDirectionDft != nullptr) {
        mDirectionDft->AddLux(lux);
    }
    bool connected = IsTofClient(CAMERA_FACE_DIRECTION);
    mRotationInput.imuRotation = static_cast<int16_t>(rot);
    if (mSupportTof) {
        bool runTof = false;
        if (rot >= 0) {
            const bool changed = mLastImuRotation >= 0 && mLastImuRotation != rot;
            runTof = GetRunTofFlag(lux, changed);
            mLastImuRotation = rot;
        } else {
            runTof = GetRunTofFlag(lux, false);
        }
        LOGI("recv imu rotation\t: %3d, lux: %3d, isConnect: %d, runTofFlag: %d", rot, lux,
             connected, runTof);
        if (!connected && runTof) {
            CameraFunction &direction = mFunctions[CAMERA_FACE_DIRECTION];
            direction.frameCount = 0;
            direction.deadline = VyrHal::MonoTimeMs() + kDirectionTofMs;
            mTofFps = kDirectionFps;
            CameraSetting(direction.name, CAMERA_TOF_IMAGE, true, lux);
            if (mDirectionDft != nullptr) {
                mDirectionDft->AddOpen();
            }
            connected = IsTofClient(CAMERA_FACE_DIRECTION);
        }
    }
    HandleRotationFusion(connected);
}

void Camera::ProcessAonFD(std::vector<uint8_t> &data) {
    int32_t rotation = 0;
    if (data.size() < sizeof(rotation)) {
        LOGE("aon event data size error: %zu", data.size());
        return;
    }
    const int lux = GetLightLux();
    const bool connected = IsTofClient(CAMERA_FACE_DIRECTION);
    memcpy_s(&rotation, sizeof(rotation), data.data(), sizeof(rotation));
    mRotationInput.aoRotation = static_cast<int16_t>(rotation);
    // The always-on answer is what the TOF reading is compared with.
    if (mDirectionDft != nullptr) {
        mDirectionDft->SetExpectedCode(rotation);
    }
    const bool skip = lux < kTofLux && rotation != -2;
    LOGI("recv aon rotation\t: %3d, lux: %3d, isConnect: %d, skipReportFlag: %d", rotation, lux,
         connected, skip);
    if (connected || skip) {
        LOGI("set AO from %d to %d, skip report", rotation, -2);
        mRotationInput.aoRotation = -2;
    } else {
        HandleRotationFusion(false);
    }
}

void Camera::NotifyAoFaceId() {
    int32_t values[kAoFaceIdValues] = {};
    std::vector<std::string> clients;
    {
        std::lock_guard<std::mutex> lock(mAoFaceIdMutex);
        memcpy_s(values, sizeof(values), mAoFaceIdRes.data(),
                 std::min(sizeof(values), mAoFaceIdRes.size()));
        clients = mFaceIdClients;
    }
    // As NotifyClients does, from the copy of the client list: the
    // connection table itself belongs to the Camera thread.
    if (clients.empty()) {
        LOGW("type %d not found any clients callback", static_cast<int>(CAMERA_FACE_ID));
        return;
    }
    vyr_msg_t msg;
    msg.type = CAMERA_FACE_ID;
    msg.data = {values[kNum], values[kUserId], 0, values[kQscore], values[kRscore]};
    msg.dataSize = static_cast<int32_t>(msg.data.size());
    const vyr_notify_t &notify = mHal.GetNotify();
    if (notify.notify == nullptr) {
        return;
    }
    for (const std::string &client : clients) {
        msg.client = client;
        notify.notify(msg);
    }
}

// On the service's thread, without the module mutex (see mAoFaceIdMutex).
void Camera::ProcessAoFaceId(std::vector<int32_t> &values) {
    if (values.size() < kAoFaceIdValues) {
        LOGE("faceIdRes num: %d < %d", static_cast<int>(values.size()),
             static_cast<int>(kAoFaceIdValues));
        return;
    }
    LOGI(
        "faceid num: %3d, direction: %3d, enrollMap: %3d, userId: %3d, scoreThd: %3d, "
        "Rscore: %3d, Qscore: %3d",
        values[kNum], values[kDirection], values[kEnrollMap], values[kUserId], values[kScoreThd],
        values[kRscore], values[kQscore]);
    if (values[kScoreThd] == 0) {
        LOGI("faceid enroll result, face num:%d, enroll mask:%d", values[kNum], values[kEnrollMap]);
        std::lock_guard<std::mutex> lock(mAoFaceIdMutex);
        mAoFaceIdRes.assign(reinterpret_cast<const uint8_t *>(values.data()),
                            reinterpret_cast<const uint8_t *>(values.data() + kAoFaceIdValues));
        return;
    }
    const bool unknown = values[kUserId] < 0;
    const bool needTof = unknown && mSupportTof;
    if (!mSupportTof && GetRunTofFlag(ReadLightLux(), unknown)) {
        LOGW("Devices without TOF in dark light environment reset aoFaceIdRes %d to 0",
             values[kUserId]);
        values[kUserId] = 0;
        values[kNum] = 1;
    }
    {
        std::lock_guard<std::mutex> lock(mAoFaceIdMutex);
        mAoFaceIdRes.assign(reinterpret_cast<const uint8_t *>(values.data()),
                            reinterpret_cast<const uint8_t *>(values.data() + kAoFaceIdValues));
    }
    if (!needTof) {
        NotifyAoFaceId();
        return;
    }
    std::vector<uint8_t> bytes(kAoFaceIdValues * sizeof(int32_t));
    memcpy_s(bytes.data(), bytes.size(), values.data(), bytes.size());
    PostEvent(EVENT_TOF_FACE_ID, std::move(bytes));
}

void Camera::ProcessTofFaceId(std::vector<uint8_t> &data) {
    if (!IsTypeEnabled(CAMERA_FACE_ID)) {
        LOGE("faceid not enable");
        return;
    }
    if (!data.empty() && data[0] == 'c') {
        std::lock_guard<std::mutex> lock(mAoFaceIdMutex);
        data = mAoFaceIdRes;
    }
    if (data.size() < kAoFaceIdValues * sizeof(int32_t)) {
        LOGE("faceIdRes num: %d < %d", static_cast<int>(data.size() / sizeof(int32_t)),
             static_cast<int>(kAoFaceIdValues));
        return;
    }
    int32_t values[kAoFaceIdValues] = {};
    memcpy_s(values, sizeof(values), data.data(), sizeof(values));
    const int lux = GetLightLux();
    if (mFaceidDft != nullptr) {
        mFaceidDft->AddLux(lux);
    }
    const bool connected = IsTofClient(CAMERA_FACE_ID);
    const bool runTof = GetRunTofFlag(lux, values[kUserId] == -1);
    LOGI("recv aon faceid\t: %3d, lux: %3d, isConnect: %d, runTofFlag: %d", values[kUserId], lux,
         connected, runTof);
    if (!connected && runTof) {
        bool found = false;
        for (uint32_t user : {2u, 3u}) {
            if (!FaceIdTemplateGet(user).data.empty()) {
                found = true;
                break;
            }
            LOGE("face user id: %d FaceIdTemplateGet failed", static_cast<int>(user));
        }
        if (found) {
            mFunctions[CAMERA_FACE_ID].frameCount = 0;
            mTofFps = kIdentityFps;
            CameraSetting(mFunctions[CAMERA_FACE_ID].name, CAMERA_TOF_IMAGE, true, lux);
            if (mFaceidDft != nullptr) {
                mFaceidDft->AddOpen();
            }
            return;
        }
    }
    if (connected) {
        return;
    }
    NotifyResult(CAMERA_FACE_ID,
                 {values[kNum], values[kUserId], 0, values[kQscore], values[kRscore]});
}

void Camera::VyrEyeGazeInit(bool enable, int lux) {
    mEyeGaze = 1;
    CameraFunction &gaze = mFunctions[CAMERA_EYE_GAZE];
    gaze.frameCount = 0;
    LOGI("en: %d lux: %d", enable, lux);
    if (enable) {
        mTofFps = kGazeFps;
        gaze.deadline = VyrHal::MonoTimeMs() + kGazeTofMs;
        if (mGazeDft != nullptr) {
            mGazeDft->AddLux(lux);
            mGazeDft->AddOpen();
        }
    } else if (mFace3dLoaded) {
        const std::vector<uint8_t> stats = TakeStatistics(2, kGazeStatBytes);
        if (mGazeDft != nullptr) {
            mGazeDft->AddResult(stats.data(), stats.size());
            mGazeDft->AddSessionEnd();
        }
    }
    CameraSetting(gaze.name, CAMERA_TOF_IMAGE, enable, lux);
}

bool Camera::GazeOnlyQrClient() {
    for (const auto &entry : mConnections[CAMERA_EYE_GAZE]) {
        if (entry.first != kQrClient) {
            return false;
        }
    }
    return true;
}

void Camera::ProcessNovenSendCmdData(std::vector<uint8_t> &data) {
    uint32_t dataId = 0;
    uint32_t value = 0;
    if (data.size() < 2 * sizeof(uint32_t)) {
        LOGE("noven cmd data size error: %zu", data.size());
        return;
    }
    memcpy_s(&dataId, sizeof(dataId), data.data(), sizeof(dataId));
    memcpy_s(&value, sizeof(value), data.data() + sizeof(dataId), sizeof(value));
    const int32_t ret = mAoLoaded ? mVyrAoClient->VyrSendCommonData(dataId, value) : -1;
    LOGI("VyrSendCommonData dataId: %d, value: %d, ret: %d", static_cast<int>(dataId),
         static_cast<int>(value), ret);
}

#include "camera/Camera.h"

#include <boundchk.h>

#include <algorithm>
#include <cstddef>
#include <new>
#include <thread>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/LibPellard.h"
#include "platform/LibSysTrace.h"
#include "platform/PropertyTable.h"
#include "platform/Sysfs.h"
#include "platform/ThreadUtils.h"
#include "platform/Utils.h"
#include "platform/WatchDog.h"

namespace {

const char *const kTypeNames[] = {"CAMERA_FACE_DIRECTION", "CAMERA_EYE_GAZE", "CAMERA_FACE_ID",
                                  "CAMERA_TOF_IMAGE", "CAMERA_FUNCTION_MAX"};

constexpr uint64_t kWatchLimitMs = 20000;
constexpr int32_t kLightRate = 10;
// Product file key listing the product-name fragments of the phones with a
// TOF camera.
constexpr const char *kTofProductsKey = "tof_products";

template <typename T>
bool ReadAt(const std::vector<uint8_t> &data, size_t offset, T &value) {
    if (data.size() < offset + sizeof(T)) {
        return false;
    }
    memcpy_s(&value, sizeof(T), data.data() + offset, sizeof(T));
    return true;
}

// Creates the big-data record of a configured function once; the counters run
// only on a phone with the TOF camera. False when it cannot be had.
template <typename T>
bool CreateFaceDft(std::unique_ptr<T> &dft, VyrHal &hal, bool supportTof,
                   const std::string &content) {
    if (dft != nullptr) {
        return true;
    }
    dft.reset(new (std::nothrow) T(hal));
    if (dft == nullptr) {
        return false;
    }
    dft->Activate(supportTof);
    dft->SetKeyContent(content);
    return true;
}

}  // namespace

Camera::Camera(VyrHal &hal) : ModuleBase("Camera", hal) {}

Camera::~Camera() {
    DetachCallbacks();
    mFaceTemplates.clear();
    {
        // No trace section here: at unload the HAL's trace hooks may be gone
        // before the modules.
        std::lock_guard<std::mutex> lock(mEventMutex);
        mRunning = false;
        mEventCond.notify_all();
    }
    if (mThread.joinable()) {
        if (mThread.get_id() == std::this_thread::get_id()) {
            mThread.detach();
        } else {
            mThread.join();
        }
    }
    mDirectionDft.reset();
    mGazeDft.reset();
    mFaceidDft.reset();
    {
        std::lock_guard<std::mutex> lock(mEventMutex);
        mEvents.Clear();
    }
    mFrameTimer.reset();
    mLibOpenssl.reset();
    mFace3d.reset();
    mVyrAoClient.reset();
}

const char *Camera::TypeName(int type) {
    if (type < 0 || type > CAMERA_FUNCTION_MAX) {
        return "";
    }
    return kTypeNames[type];
}

bool Camera::PreInit() {
    Sysfs &sysfs = mHal.GetSysfs();
    if (!sysfs.HasXmlConfig("camera")) {
        LOGE("camera xml config not enable");
        return false;
    }
    mSupportTof = IsSupportTof();
    InitDfx();
    for (int type : {CAMERA_FACE_DIRECTION, CAMERA_FACE_ID}) {
        mTypeSensors[type][kSensorLight] = ConnectionParam{kLightRate, 0};
    }
    mHal.AddFrameType(kSensorLight, "SENSOR_TYPE_LIGHT");
    return true;
}

bool Camera::IsSupportTof() {
    Sysfs &sysfs = mHal.GetSysfs();
    const std::string product = sysfs.GetProduct();
    if (!sysfs.HasXmlConfig(kTofProductsKey)) {
        return false;
    }
    for (const std::string &fragment : Split(sysfs.GetXmlConfig(kTofProductsKey), "-")) {
        if (!fragment.empty() && product.find(fragment) != std::string::npos) {
            LOGI("%s find %s", product.c_str(), fragment.c_str());
            return true;
        }
    }
    return false;
}

void Camera::InitDfx() {
    const std::string value = mHal.GetSysfs().GetXmlConfig("camera");
    if (value.empty()) {
        return;
    }
    for (int type = CAMERA_FACE_DIRECTION; type <= CAMERA_TOF_IMAGE; ++type) {
        const std::string name = TypeName(type);
        if (value.find(name + "-") != std::string::npos) {
            mConfigMask |= 1u << static_cast<unsigned>(type);
            LOGI("camera config: %s, index: %d", name.c_str(), type);
            const std::string content = name + "=On\n";
            bool created = true;
            if (type == CAMERA_FACE_ID && mFaceidDft == nullptr) {
                PropertyTable props;
                props.SetAoFaceIdSupport("1");
                created = CreateFaceDft(mFaceidDft, mHal, mSupportTof, content);
            } else if (type == CAMERA_EYE_GAZE) {
                created = CreateFaceDft(mGazeDft, mHal, mSupportTof, content);
            } else if (type == CAMERA_FACE_DIRECTION) {
                created = CreateFaceDft(mDirectionDft, mHal, mSupportTof, content);
            }
            if (!created) {
                LOGE("alloc %s bigdata memory error", name.c_str());
            }
        }
        mFunctions[static_cast<size_t>(type)].name = name;
    }
}

const FaceDft *Camera::GetFaceDft(int type) const {
    switch (type) {
        case CAMERA_FACE_DIRECTION:
            return mDirectionDft.get();
        case CAMERA_EYE_GAZE:
            return mGazeDft.get();
        case CAMERA_FACE_ID:
            return mFaceidDft.get();
        default:
            return nullptr;
    }
}

bool Camera::LastInit() {
    mRunning = true;
    mThread = std::thread([this] { ThreadProcess(); });
    return true;
}

void Camera::Uninit() {
    LOGI("+");
}

void Camera::PreSos() {
    if (mFace3dLoaded) {
        ScopedTrace trace(mHal.GetTrace(), "VyrFace3dUnInit");
        mFace3d->face3d_algo_destory();
    }
}

void Camera::PostEvent(int32_t kind, const std::vector<uint8_t> &data) {
    PostEvent(kind, std::vector<uint8_t>(data));
}

void Camera::PostEvent(int32_t kind, std::vector<uint8_t> &&data) {
    std::lock_guard<std::mutex> lock(mEventMutex);
    mEvents.Push(CameraEvent{static_cast<uint32_t>(kind), std::move(data)});
    if (kind == EVENT_CAMERA_FRAME) {
        mFrameSeen = true;
    }
    mEventCond.notify_all();
}

size_t Camera::QueueDepth() const {
    std::lock_guard<std::mutex> lock(mEventMutex);
    return mEvents.Size();
}

uint64_t Camera::DroppedFrames() const {
    return mDroppedFrames.load(std::memory_order_relaxed);
}

void Camera::ThreadProcess() {
    LOGI("camera thread starting.");
    SetThreadName(mName);
    ThreadSetAffInity({4, 5, 6, 7});
    while (mRunning) {
        ScopedTrace trace(mHal.GetTrace(), "Camera");
        CameraEvent event;
        {
            std::unique_lock<std::mutex> lock(mEventMutex);
            mEventCond.wait(lock, [this] { return !mEvents.Empty() || !mRunning; });
            if (!mRunning) {
                break;
            }
            event = mEvents.Pop();
        }
        ProcessCameraEvent(event);
    }
    LOGI("quit thread Process");
}

void Camera::ProcessCameraEvent(CameraEvent &event) {
    ScopedWatchNode node(mHal.HasWatchdog() ? &mHal.GetWatchdog() : nullptr,
                         "ProcessCameraEvent500", kWatchLimitMs);
    std::lock_guard<std::mutex> lock(mLock);
    if (!VyrAoClientInit() || !VyrFace3dLibInit()) {
        return;
    }
    std::vector<uint8_t> &data = event.data;
    switch (event.kind) {
        case EVENT_CAMERA_FRAME:
            ProcessCameraFrame(data);
            break;
        case EVENT_MOTION:
            ProcessMotion(data);
            break;
        case EVENT_AON_FD:
            ProcessAonFD(data);
            break;
        case EVENT_TOF_FACE_ID:
            ProcessTofFaceId(data);
            break;
        case EVENT_CAMERA_SETTING:
            ProcessCameraSetting(data);
            break;
        case EVENT_FACE_TEMPLATE:
            ProcessFaceTemplate(data);
            break;
        case EVENT_FACE_INIT:
            ProcessFaceInit(data);
            break;
        case EVENT_FACE_DELETE:
            ProcessFaceDelete(data);
            break;
        case EVENT_PIPELINE_ON: {
            uint32_t pipeline = 0;
            uint32_t lux = 0;
            if (!ReadAt(data, 0, pipeline) || !ReadAt(data, 4, lux)) {
                LOGE("event %u data size %zu error", event.kind, data.size());
                break;
            }
            VyrAoClienPipelineEnable(pipeline, true, static_cast<int32_t>(lux));
            break;
        }
        case EVENT_PIPELINE_OFF: {
            uint32_t pipeline = 0;
            if (!ReadAt(data, 0, pipeline)) {
                LOGE("event %u data size %zu error", event.kind, data.size());
                break;
            }
            VyrAoClienPipelineEnable(pipeline, false, 0);
            break;
        }
        case EVENT_STOP_TOF:
            StopTofConnect(CAMERA_FACE_DIRECTION);
            StopTofConnect(CAMERA_EYE_GAZE);
            StopTofConnect(CAMERA_FACE_ID);
            break;
        case EVENT_NOVEN_CMD:
            ProcessNovenSendCmdData(data);
            break;
        default:
            // 4, 5 and 14 on: nothing to do.
            break;
    }
}

bool Camera::VyrAoClientInit() {
    if (mVyrAoClient != nullptr) {
        return true;
    }
    mVyrAoClient.reset(new (std::nothrow) LibVyrAoClient());
    mAoLoaded = mVyrAoClient != nullptr && mVyrAoClient->Init();
    if (!mAoLoaded) {
        LOGE("VyrAoClient init failed");
        return false;
    }
    return true;
}

bool Camera::VyrFace3dLibInit() {
    if (mFace3d != nullptr) {
        return true;
    }
    mFace3d.reset(new (std::nothrow) LibFace3dSdk());
    mFace3dLoaded = mFace3d != nullptr && mFace3d->Init();
    if (!mFace3dLoaded) {
        LOGE("LibFace3d init failed");
        return false;
    }
    return true;
}

void Camera::ProcessCameraFrame(std::vector<uint8_t> &data) {
    ScopedTrace trace(mHal.GetTrace(), "ProcessCameraFrame");
    if (mTofStartTime != 0) {
        LOGI("init the camera to get the first frame consume: %d ms",
             static_cast<int>(VyrHal::MonoTimeMs() - mTofStartTime));
        mTofStartTime = 0;
    }
    uint64_t frame = 0;
    uint32_t count = 0;
    uint32_t exposure = 0;
    if (!ReadAt(data, TofFrameHeader::kFrameNumber, frame) ||
        !ReadAt(data, TofFrameHeader::kImageSize, count) ||
        !ReadAt(data, TofFrameHeader::kExposure, exposure) ||
        data.size() < TofFrameHeader::kPixels + 4) {
        LOGE("frame size error: %zu", data.size());
        return;
    }
    // The pixels present, whatever the header claims.
    const size_t size = std::min<size_t>(count, data.size() - TofFrameHeader::kPixels);
    const uint8_t *pixels = data.data() + TofFrameHeader::kPixels;
    LOGI("image frame: %lu, expose: %d, raw data[0-3]: 0x%02x 0x%02x 0x%02x 0x%02x",
         static_cast<unsigned long>(frame), static_cast<int>(exposure), pixels[0], pixels[1],
         pixels[2], pixels[3]);
    VyrFace3dProcess(frame, exposure, pixels, size);
}

void Camera::CameraSwitch(const std::string client, int type, bool enable, int lux) {
    if (type < 0 || type >= 32 || (mConfigMask & (1u << static_cast<unsigned>(type))) == 0) {
        LOGE("camera type: %d not config in xml", type);
        return;
    }
    CameraSettingRecord record{};
    errno_t err = memcpy_s(record.client, sizeof(record.client), client.c_str(), client.size() + 1);
    if (err != 0) {
        LOGE("memcpy_s failed, err = %d", static_cast<int>(err));
        return;
    }
    record.type = type;
    record.lux = lux;
    record.enable = enable;
    std::vector<uint8_t> bytes(sizeof(record));
    memcpy_s(bytes.data(), bytes.size(), &record, sizeof(record));
    PostEvent(EVENT_CAMERA_SETTING, std::move(bytes));
}

void Camera::ProcessCameraSetting(std::vector<uint8_t> &data) {
    if (data.size() != sizeof(CameraSettingRecord)) {
        LOGE("format error !");
        return;
    }
    CameraSettingRecord record{};
    memcpy_s(&record, sizeof(record), data.data(), data.size());
    record.client[sizeof(record.client) - 1] = '\0';
    // Any non-zero byte enables; the byte is read as such, not as a bool.
    const bool enable = data[offsetof(CameraSettingRecord, enable)] != 0;
    CameraSetting(record.client, record.type, enable, record.lux);
}

void Camera::CameraSetting(const std::string client, int type, bool enable, int lux) {
    LOGI("+");
    if (type < 0 || type >= CAMERA_FUNCTION_MAX) {
        LOGE("camera algo type: %d not support", type);
        return;
    }
    const uint32_t utype = static_cast<uint32_t>(type);
    const bool wasActive = IsTypeEnabled(utype);
    if (!wasActive && !enable) {
        LOGI("camera algo type: %d already disable", type);
        return;
    }
    if (!wasActive && enable) {
        switch (type) {
            case CAMERA_FACE_DIRECTION:
                mRotationInput.imuRotation = -2;
                mRotationInput.aoRotation = -2;
                mRotationInput.tofRotation = -2;
                mRotationInput.lastFusion = -2;
                mLastImuRotation = -2;
                InitScreenRotationFusionAlg();
                VyrAoClienMotionEnable(true, kMotionRotation);
                VyrNovenClientEnable(true, kServiceFaceDirection);
                break;
            case CAMERA_EYE_GAZE:
                VyrEyeGazeInit(true, lux);
                break;
            case CAMERA_FACE_ID:
                // Touches the always-on templates so that they are at hand.
                (void)FaceIdTemplateGet(0);
                (void)FaceIdTemplateGet(1);
                VyrNovenClientEnable(true, kServiceFaceId);
                break;
            case CAMERA_TOF_IMAGE:
                mRotationInput.tofRotation = -2;
                CameraEnable(true, lux);
                break;
            default:
                break;
        }
    }
    SetConnection(client, type, enable, 0, 0);
    if (wasActive && !IsTypeEnabled(utype)) {
        switch (type) {
            case CAMERA_FACE_DIRECTION:
                VyrAoClienMotionEnable(false, kMotionRotation);
                VyrNovenClientEnable(false, kServiceFaceDirection);
                break;
            case CAMERA_EYE_GAZE:
                VyrEyeGazeInit(false, lux);
                break;
            case CAMERA_FACE_ID:
                VyrNovenClientEnable(false, kServiceFaceId);
                break;
            case CAMERA_TOF_IMAGE:
                CameraEnable(false, 0);
                break;
            default:
                break;
        }
        StopTofConnect(type);
    }
    SensorEnable(client, utype, enable);
    LOGI("-");
}

bool Camera::IsTofClient(int type) {
    if (type < 0 || type >= CAMERA_FUNCTION_MAX) {
        return false;
    }
    return IsClientConnected(mFunctions[static_cast<size_t>(type)].name, CAMERA_TOF_IMAGE);
}

void Camera::StopTofConnect(int32_t type) {
    if (!IsTofClient(type)) {
        return;
    }
    LOGI("type: %d TOF disconnect", type);
    CameraSetting(mFunctions[static_cast<size_t>(type)].name, CAMERA_TOF_IMAGE, false, 0);
}

void Camera::CameraEnable(bool enable, int32_t lux) {
    if (!mSupportTof) {
        LOGW("tof camera not support");
        return;
    }
    if (enable) {
        CameraInit(lux);
    } else {
        CameraDeInit();
    }
}

void Camera::CameraInit(int32_t lux) {
    if (mPipelineState == static_cast<int32_t>(kPipelineFrontTof)) {
        return;
    }
    LOGI("+");
    ScopedTrace trace(mHal.GetTrace(), "CameraInit");
    std::thread face([this] { Face3dThreadProcess(); });
    {
        std::lock_guard<std::mutex> lock(mEventMutex);
        mFrameSeen = false;
    }
    if (VyrAoClienPipelineEnable(kPipelineFrontTof, true, lux) == 0) {
        mPipelineState = static_cast<int32_t>(kPipelineFrontTof);
    }
    mFaceEnrolled = false;
    face.join();
    std::unique_ptr<FrameTimer> timer(new (std::nothrow)
                                          FrameTimer(kFrameTimeoutMs, [this] { OnFrameTimer(); }));
    std::swap(timer, mFrameTimer);
    timer.reset();
    LOGI("-");
}

void Camera::OnFrameTimer() {
    bool seen = false;
    {
        std::lock_guard<std::mutex> lock(mEventMutex);
        seen = mFrameSeen;
        mFrameSeen = false;
    }
    if (!seen) {
        LOGE("get front tof camera frame timeout");
        PostEvent(EVENT_STOP_TOF, std::vector<uint8_t>());
    }
}

void Camera::CameraDeInit() {
    if (mPipelineState == 5) {
        return;
    }
    LOGI("+");
    ScopedTrace trace(mHal.GetTrace(), "CameraDeInit");
    mFrameTimer.reset();
    VyrAoClienPipelineEnable(kPipelineFrontTof, false, 0);
    if (mFace3dLoaded) {
        ScopedTrace uninit(mHal.GetTrace(), "VyrFace3dUnInit");
        mFace3d->face3d_algo_destory();
    }
    mPipelineState = 5;
    LOGI("-");
}

void Camera::Face3dThreadProcess() {
    LibPellard guard;
    if (!guard.Init()) {
        LOGE("libPellard init failed");
        return;
    }
    LOGI("face3d algo thread +");
    VyrFace3dInit();
    LOGI("face3d algo thread -");
}

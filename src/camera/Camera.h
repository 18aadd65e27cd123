// Face direction, eye gaze and face identity for clients, from a front
// time-of-flight (TOF) camera and an always-on vision service. One worker
// thread, "vyr_Camera", owns an event queue; everything that changes the
// module's state or touches the closed libraries runs there, under the module
// mutex. Producers (the queue reader, commands, service callbacks, the frame
// timer) only post events.
//
// Camera.cpp holds the object, the queue, the thread and the switching;
// CameraFace.cpp the per-frame face pipeline; CameraAoClient.cpp the
// always-on connections and the TOF decision; CameraFusion.cpp light and
// rotation fusion; CameraTemplates.cpp the face template store;
// CameraCmds.cpp the commands.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "camera/CameraEventQueue.h"
#include "camera/FrameTimer.h"
#include "camera/RotationFusion.h"
#include "camera/TofFrame.h"
#include "hal/ModuleBase.h"
#include "log/FaceDft.h"
#include "platform/LibFace3dSdk.h"
#include "platform/LibOpenssl.h"
#include "platform/LibVyrAoClient.h"

// The function types: the connection types of the module and the `type` of
// their result messages.
enum CameraType : int {
    CAMERA_FACE_DIRECTION = 0,
    CAMERA_EYE_GAZE = 1,
    CAMERA_FACE_ID = 2,
    CAMERA_TOF_IMAGE = 3,
    CAMERA_FUNCTION_MAX = 4,
};

// Event kinds of the Camera queue.
enum CameraEventKind : int32_t {
    EVENT_CAMERA_FRAME = 0,
    EVENT_MOTION = 1,
    EVENT_AON_FD = 2,
    EVENT_TOF_FACE_ID = 3,
    EVENT_CAMERA_SETTING = 6,
    EVENT_FACE_TEMPLATE = 7,
    EVENT_FACE_INIT = 8,
    EVENT_FACE_DELETE = 9,
    EVENT_PIPELINE_ON = 10,
    EVENT_PIPELINE_OFF = 11,
    EVENT_STOP_TOF = 12,
    EVENT_NOVEN_CMD = 13,
};

// A setting as it travels through the queue: 140 bytes.
struct CameraSettingRecord {
    char client[128];
    int32_t type;
    int32_t lux;
    bool enable;
    uint8_t padding[3];
};
static_assert(sizeof(CameraSettingRecord) == 140, "a setting record is 140 bytes");

struct CameraFunction {
    std::string name;
    int32_t frameCount = 0;
    uint64_t deadline = 0;  // monotonic ms
};

// A face template of one user; `height` 1 marks a feature block of `width`
// bytes.
struct FaceTemplate {
    bool stored = false;
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> data;
};

class Camera : public ModuleBase {
public:
    static constexpr int32_t kSensorLight = 5;
    static constexpr uint32_t kPipelineFrontTof = 4;
    static constexpr int32_t kMotionRotation = 7;
    static constexpr uint32_t kServiceFaceDirection = 1;
    static constexpr uint32_t kServiceFaceId = 8;
    static constexpr uint32_t kFrameTimeoutMs = 2000;

    explicit Camera(VyrHal &hal);
    ~Camera() override;

    bool PreInit() override;
    bool LastInit() override;
    void Uninit() override;
    void PreSos() override;
    bool InitVyrd() override;

    // Any thread: queues one event for the Camera thread.
    void PostEvent(int32_t kind, const std::vector<uint8_t> &data);
    void PostEvent(int32_t kind, std::vector<uint8_t> &&data);
    // Any thread: the events waiting for the Camera thread, and the TOF
    // frames dropped since start because newer ones took their place.
    size_t QueueDepth() const;
    uint64_t DroppedFrames() const;

    void CameraSwitch(const std::string client, int type, bool enable, int lux);
    void CameraSetting(const std::string client, int type, bool enable, int lux);
    void CameraEnable(bool enable, int32_t lux);
    void CameraInit(int32_t lux);
    void CameraDeInit();
    void StopTofConnect(int32_t type);
    bool IsSupportTof();
    void InitDfx();

    void ThreadProcess();
    void Face3dThreadProcess();
    void ProcessCameraEvent(CameraEvent &event);
    void ProcessCameraFrame(std::vector<uint8_t> &data);
    void ProcessCameraSetting(std::vector<uint8_t> &data);

    // Face pipeline.
    bool VyrFace3dLibInit();
    bool VyrFace3dInit();
    void VyrFace3dProcess(uint64_t frame, uint32_t exposure, const void *image, size_t size);
    int VyrFace3dFaceDetect(uint32_t exposure, const void *image, size_t size,
                            face3d_detect_result_t &result);
    bool VyrFace3dEnroll();

    // Always-on clients.
    bool VyrAoClientInit();
    int VyrAoClienPipelineEnable(uint32_t pipelineId, bool enable, int32_t lux);
    int VyrAoClienMotionEnable(bool enable, int32_t type);
    int VyrNovenClientEnable(bool enable, uint32_t serviceType);
    void VyrEyeGazeInit(bool enable, int lux);
    bool GetRunTofFlag(int lux, bool flag);
    bool GazeOnlyQrClient();
    void ProcessMotion(std::vector<uint8_t> &data);
    void ProcessAonFD(std::vector<uint8_t> &data);
    void ProcessTofFaceId(std::vector<uint8_t> &data);
    void ProcessAoFaceId(std::vector<int32_t> &values);
    void ProcessNovenSendCmdData(std::vector<uint8_t> &data);

    // Light and rotation fusion.
    int GetLightLux();
    void HandleRotationFusion(bool skipReport);

    // Face templates.
    void ProcessFaceInit(std::vector<uint8_t> &data);
    void ProcessFaceTemplate(std::vector<uint8_t> &data);
    void ProcessFaceDelete(std::vector<uint8_t> &data);
    FaceTemplate FaceIdTemplateGet(uint32_t user);
    void FaceIdTemplateSet(uint32_t user, const uint8_t *data, uint32_t width, uint32_t height);
    void SaveCameraRawData(uint64_t frame, uint32_t function, const void *data, size_t size);
    void BetaSaveFaceIdRawData(std::string name, bool encrypted);
    void ProcessFaceUnInit();
    // The face-id connection of the always-on service, stopped and started
    // again so that it learns the current templates.
    void RestartFaceIdService();
    void TemplateNv21ToAon(const uint8_t *src, uint32_t w, uint32_t h, uint8_t *dst, uint32_t dw,
                           uint32_t dh);
    void FaceIdTemplateEmulate();

    uint32_t GetConfigMask() const { return mConfigMask; }
    bool GetSupportTof() const { return mSupportTof; }
    // The big-data record of a function type; null when the product does
    // not configure the function. Fed on the Camera thread only.
    const FaceDft *GetFaceDft(int type) const;

    static const char *TypeName(int type);

private:
    friend struct CameraAoCallbacks;

    // The library's callbacks stop reaching this module.
    void DetachCallbacks();

    // True when the function's name is among the TOF image clients.
    bool IsTofClient(int type);
    void NotifyResult(int type, const std::vector<int32_t> &data);
    void NotifyAoFaceId();
    void SendExposure(int32_t exposure);
    // The library's statistics (the first `bytes`), then clears those of
    // `which`.
    std::vector<uint8_t> TakeStatistics(int32_t which, size_t bytes);
    void OnFrameTimer();
    std::string EnvMode();
    bool InitVyrdSetEnv();
    bool InitVyrdCameraOn();
    bool InitVyrdCameraOff();
    bool InitVyrdAoServiceOn();
    bool InitVyrdAoServicOff();
    bool InitVyrdFaceIdMap();
    bool InitVyrdFaceIdTemplate();
    bool InitVyrdFaceIdSupport();
    bool InitVyrdFaceIdInit();
    bool InitVyrdFaceIdEmulate();
    bool InitVyrdRotationEmulate();
    bool InitVyrdTofSupport();
    bool InitVyrdFaceIdUpdate();
    bool InitVyrdNovenCmd();
    bool InitVyrdImageSwitch();
    bool InitVyrdGetFileList();
    bool InitVyrdRemoveFile();
    bool InitVyrdGetFileData();

    std::unique_ptr<LibVyrAoClient> mVyrAoClient;
    std::unique_ptr<LibFace3dSdk> mFace3d;
    std::unique_ptr<LibOpenssl> mLibOpenssl;
    std::unique_ptr<FrameTimer> mFrameTimer;

    std::atomic<bool> mRunning{false};
    std::thread mThread;
    CameraEventQueue mEvents;
    mutable std::mutex mEventMutex;
    std::condition_variable mEventCond;
    bool mFrameSeen = false;  // under mEventMutex
    std::atomic<uint64_t> mDroppedFrames{0};
    // Whether the libraries opened with all their symbols: an object that
    // did not is kept (only its first event is lost) but never called.
    std::atomic<bool> mFace3dLoaded{false};
    bool mAoLoaded = false;

    int32_t mEyeGaze = 1;
    uint64_t mTofStartTime = 0;
    int32_t mPipelineState = 0;
    bool mSupportTof = false;
    RotationFusionInput mRotationInput;
    std::map<uint32_t, FaceTemplate> mFaceTemplates;
    std::array<CameraFunction, CAMERA_FUNCTION_MAX> mFunctions;
    uint32_t mConfigMask = 0;
    bool mFaceEnrolled = false;
    bool mAoInited = false;
    bool mMotionRegistered = false;
    VyrCryptInfo mCryptInfo{};
    int32_t mFaceIdMap = -1;
    // Written by "set-env" on the command thread, read by the Camera thread.
    std::mutex mEnvMutex;
    std::string mEnvMode = "normal";
    std::atomic<int32_t> mEnvFrames{20};
    int32_t mLastImuRotation = -2;
    int32_t mTofFps = 30;
    // Big-data records, one per configured function.
    std::unique_ptr<FaceDirectionDft> mDirectionDft;
    std::unique_ptr<FaceGazeDft> mGazeDft;
    std::unique_ptr<FaceidDft> mFaceidDft;
    std::mutex mAoFaceIdMutex;
    std::vector<uint8_t> mAoFaceIdRes;
};

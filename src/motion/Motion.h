// Gestures of the phone (flip, pick-call, rotation, wrist flip, rotation
// gesture, back tap) recognised from sensor samples by closed algorithm
// libraries and told to "motion-client"s. Requests come on the command
// thread, samples on the SensorHub thread; the module mutex orders them.
//
// The request side (configuration, sensor table, libraries, commands) is in
// Motion.cpp, the sample side (DetectMotion and the recognition paths) in
// MotionDetect.cpp.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "hal/ModuleBase.h"
#include "platform/LibRotationGesture.h"
#include "platform/LibTapFusion.h"
#include "platform/LibTapGesture.h"
#include "platform/LibVyrMotion.h"
#include "platform/LibWristFlipGesture.h"
#include "platform/api/sensor_event.h"
#include "sensor/ResampleInfo.h"
#include "sensor/SensorTypes.h"

class Motion : public ModuleBase {
public:
    static constexpr int kTypeFlip = 2;
    static constexpr int kTypePickCall = 3;
    static constexpr int kTypeRotation = 7;
    static constexpr int kTypeWristFlip = 14;
    static constexpr int kTypePosture = 20;
    static constexpr int kTypeRotationGesture = 23;
    static constexpr int kTypeBackTap = 25;
    static constexpr int kTypeMax = 31;
    static constexpr int kResultCount = 31;
    // The result byte of a type after a reset: no result yet.
    static constexpr int8_t kNoResult = 99;

    explicit Motion(VyrHal &hal);
    ~Motion() override;

    bool PreInit() override;
    bool LastInit() override;
    void Uninit() override;
    bool InitVyrd() override;

    void MotionSwitch(std::string client, int type, bool enable, int mode);
    bool MotionSetting(std::string client, int type, bool enable, int mode);
    void DetectMotion(ASensorEvent event);
    void NotifyMotion(int type, int8_t result);

    // Name texts of the motion types (0 to 31) and the fold types (0 to 2);
    // "" out of range.
    static const char *TypeName(int type);
    static const char *FoldTypeName(int index);

    uint64_t GetMotionConfig() const { return mMotionConfig; }
    uint64_t GetMultiSensorConfig() const { return mMultiSensorConfig; }
    int32_t GetFoldType() const { return mFoldType; }

private:
    // The context block handed to every library call; its bytes are the
    // libraries'.
    struct AlgoState {
        uint8_t bytes[9];
    };

    void OnSensorEvent(const ASensorEvent &event);
    void BuildSensorTable();
    bool HasClientBesides(uint64_t mask);
    // Creates the libraries the request needs; false after a failed load.
    bool LoadLibraries(int type, bool enable, int mode);
    void StartType(int type, int mode);
    void ReleaseLibraries();
    void ConnectTouch(bool enable);
    ASensorEvent LatestEvent(int32_t type);

    void ProcessAccData(ASensorEvent event);
    void ProcessFusionTapData(ASensorEvent event);
    void ProcessFusionTapEvent(ASensorEvent event);
    void ProcessFusionAccData(ASensorEvent event);
    void ProcessFusionGyrocData(ASensorEvent event);
    void ProcessTouch(const ASensorEvent &event);
    void ProcessPosture(const ASensorEvent &event);

    bool InitVyrdMotionConfig();
    bool InitVyrdSwitch(const std::string &command, int type, const std::string &label);
    bool InitVyrdPickCall();
    bool InitVyrdFlip();
    bool InitVyrdRotation();
    bool InitVyrdBackTap();
    bool InitVyrdWristFlip();
    bool InitVyrdRotationGesture();
    bool InitVyrdMotionOn();
    bool InitVyrdMotionOff();
    bool InitVyrdBackTapEvent();

    uint64_t mMotionConfig = 0;
    uint64_t mMultiSensorConfig = 0;
    int32_t mFoldType = 0;
    int8_t mLastResult[kResultCount] = {};
    int32_t mRotationCount = 0;
    AlgoState mAlgoState{};
    std::deque<ASensorEvent> mAcc1Queue;
    std::unique_ptr<LibVyrMotion> mMotionLib;
    std::unique_ptr<LibTapGesture> mTapGesture;
    std::unique_ptr<LibTapFusion> mTapFusion;
    std::unique_ptr<LibWristFlipGesture> mWristFlip;
    std::unique_ptr<LibRotationGesture> mRotationGesture;
    bool mCallbackRegistered = false;
};

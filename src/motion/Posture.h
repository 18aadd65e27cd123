// The fold posture of a foldable phone: reads the hinge sensor and both
// accelerometers, runs the fold library and tells "posture-client"s the
// posture. It also puts the sensors of SensorHub to idle while the hinge
// rests at an end of its range.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "hal/ModuleBase.h"
#include "platform/LibVyrPosture.h"
#include "platform/api/sensor_event.h"
#include "platform/api/vyr_fold_api.h"
#include "sensor/ResampleInfo.h"
#include "sensor/SensorTypes.h"

class PostureDft;

class Posture : public ModuleBase {
public:
    // The rate of the module's sensors (one type, 0).
    static constexpr int32_t kSensorRate = 20;

    static constexpr int32_t kPostureFolded = 1;
    static constexpr int32_t kPostureHalfFolded = 2;
    static constexpr int32_t kPostureFull = 3;
    static constexpr int32_t kPostureVerticalUnknown = 256;
    static constexpr int32_t kPostureException = 4096;

    explicit Posture(VyrHal &hal);
    ~Posture() override;

    bool PreInit() override;
    bool LastInit() override;
    void Uninit() override;
    bool InitVyrd() override;

    // Adds or removes a client of the posture; also reached through the
    // motion type of the posture.
    void PostureSwitch(std::string client, bool enable);
    void ProcessHingeAngleData(ASensorEvent event);
    void ProcessIdleData(float fold, float precision);
    bool IsSupportDft();

    static const char *PostureText(int32_t posture);

private:
    void OnSensorEvent(const ASensorEvent &event);
    // Sends {posture, hingeAngle, info} to the clients of type 0.
    void SendResult(int32_t posture, int32_t hingeAngle, int32_t info);
    bool HasAnyConnection();
    ASensorEvent LatestEvent(int32_t type);

    bool InitVyrdPostureOn();
    bool InitVyrdPostureOff();
    bool InitVyrdPostureSet();

    std::unique_ptr<LibVyrPosture> mLib;
    fold_posture_result_t mLastResult{-1, 0, 0};
    float mStatus = 0.0f;
    bool mNeedInit = false;
    int32_t mWorkRate = 0;
    const int32_t mIdleRate = 1;
    uint64_t mDropEnd = 0;
    bool mCallbackRegistered = false;
    // Fold statistics of beta users on the listed products, or null.
    std::unique_ptr<PostureDft> mPostureDft;
};

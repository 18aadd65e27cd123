// Activity recognition: high-speed rail, metro, micro still and hand held,
// recognised by closed libraries from the accelerometer, the magnetometer
// and the modem pseudo-sensor, and told to "ar-client" as change events.
// The module has no thread: samples come on the SensorHub thread, requests
// on the command caller; the module mutex orders them.
//
// The request side (configuration, activity list, switching, libraries) is
// in Activity.cpp, the sample side (DetectActivity, event packing) in
// ActivityDetect.cpp, the commands in ActivityCmds.cpp.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "activity/ArRecords.h"
#include "hal/ModuleBase.h"
#include "platform/LibArEngineClient.h"
#include "platform/LibVyrActivity.h"
#include "platform/LibVyrArHand.h"
#include "platform/LibVyrMicroAr.h"
#include "platform/api/sensor_event.h"
#include "sensor/SensorTypes.h"

// One row of the activity table.
struct ActivityEntry {
    int32_t algoId;        // slot in the status block
    const char *name;      // the activity's name in the client's list
    int32_t realActivity;  // the client's number of the activity; 0 unset
};

// Per-activity state: the reply record, then the module's own fields.
struct ArActivityState {
    ar::ArStatusRecord status;
    int64_t reportInterval;
    int64_t nextReportTime;
    uint8_t configured;
    uint8_t eventMask;
    uint32_t armed;
};

class Activity : public ModuleBase {
public:
    // Seven days: the report interval of an activity nobody asked for yet.
    static constexpr int64_t kIdleReportInterval = 604800000000000LL;

    explicit Activity(VyrHal &hal);
    ~Activity() override;

    bool PreInit() override;
    bool LastInit() override;
    void Uninit() override;
    bool InitVyrd() override;

    void ActivitySwitch(std::string client, int activityHandle, uint32_t eventType, bool enable,
                        int64_t reportLatencyNs);
    // `list`: the client's activity names separated by ";"; a name's position
    // becomes its number.
    void UpdateArList(const std::string &list);
    void ProcessArEngineData(const char *data, uint32_t size);
    void SendArEngineCmd(const char *data, uint32_t size);
    int GetCurrentArStatus(std::vector<uint8_t> &out);
    int GetAllCurrentArStatus(std::vector<uint8_t> &out);

    uint64_t GetArConfigMask();
    // Header name of an index; "AR_ACTIVITY_TYPE_MAX" out of range.
    static const char *HeaderName(int index);
    static const ActivityEntry &Entry(int index);

private:
    bool ArInit();
    void OnSensorEvent(const ASensorEvent &event);
    void ProcessAccData(ASensorEvent event);
    void ProcessMagData(ASensorEvent event);
    void ProcessModemData(ASensorEvent event);
    void DetectActivity(ASensorEvent event);
    void NotifyArStatus();
    bool PackUploadEvents();
    int RealActivity2Index(int n);
    bool ActivitySetting(std::string client, int index, uint32_t eventType, bool enable,
                         int64_t latency);
    void RecoverArList();
    void EngineDataCallback(void *data, int dataType, int size);
    static void EngineDataThunk(void *data, int32_t dataType, int32_t size);
    void InjectModemEvent(int32_t rat, int32_t cid);
    void BuildSensorSets();
    bool HasClients(int index);
    void ReleaseIdleLibraries();
    std::string ResultClient();

    bool InitVyrdArConfig();
    bool InitVyrdArOn();
    bool InitVyrdArOff();
    bool InitVyrdArStatus();
    bool InitVyrdArAllStatus();
    bool InitVyrdSceneUpdate();
    bool InitVyrdModemUpdate();
    bool InitVyrdHsFlagUpdate();
    bool InitVyrdArCmd();

    std::unique_ptr<LibVyrActivity> mActivityLib;
    std::unique_ptr<LibVyrArHand> mHandLib;
    std::unique_ptr<LibVyrMicroAr> mMicroLib;
    std::unique_ptr<LibArEngineClient> mEngineLib;
    uint8_t mStatusBlock[ar::kStatusBlockSize] = {};
    ArActivityState mStates[ar::kActivityCount] = {};
    std::map<int, std::vector<ar::ArEvent>> mPendingEvents;
    std::vector<ar::ArEvent> mUploadEvents;
    uint64_t mArConfigMask = 0;
    int32_t mHsFlag = 0;
    uint64_t mHsFlagTime = 0;
    uint64_t mSampleCount = 0;
    std::string mLastArCommand;
    std::unique_ptr<uint8_t> mCallbackOwner;
    bool mCallbackRegistered = false;
};

// The sample side of Activity: every sample reaches the libraries that need
// it, results are polled into the status block, and changes go out as
// events once each activity's report interval allows.
#include <boundchk.h>

#include <cstdint>
#include <cstring>

#include "activity/Activity.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrLog.h"
#include "platform/LibSysTrace.h"
#include "platform/WatchDog.h"
#include "platform/api/artolvi_api.h"

extern uint64_t gArContext;

namespace {

constexpr uint64_t kWatchLimitMs = 20000;
constexpr uint64_t kResultEvery = 50;
// The magnetometer feeds the library at most about a hundred times a second.
constexpr uint64_t kMagMinGapNs = 9000001;
constexpr double kGravity = 9.8;
constexpr double kFixedOne = 1024.0;

// Kept outside the module so that the listener path touches no more than it
// must.
uint64_t gLastMagTime = 0;
ar_modem_info_t gArModemInfo{};

int16_t ToFixedG(float value) {
    return static_cast<int16_t>(
        static_cast<int32_t>(static_cast<double>(value) / kGravity * kFixedOne));
}

// First 32-bit word of a two-word library result.
uint32_t FirstWord(const uint64_t result[2]) {
    uint32_t word = 0;
    memcpy(&word, result, sizeof(word));
    return word;
}

// The confidence a hand-held or micro-still detector gives with its verdict:
// the second 32-bit word of its result (0 from a detector that gives none),
// kept in the slot's 16-bit score.
void StoreResultScore(uint8_t *block, int id, const uint64_t result[2]) {
    int32_t word = 0;
    memcpy(&word, reinterpret_cast<const uint8_t *>(result) + sizeof(uint32_t), sizeof(word));
    const int16_t score = static_cast<int16_t>(word < INT16_MIN   ? INT16_MIN
                                               : word > INT16_MAX ? INT16_MAX
                                                                  : word);
    memcpy(block + ar::ScoreOffset(id), &score, sizeof(score));
}

}  // namespace

void Activity::OnSensorEvent(const ASensorEvent &event) {
    std::lock_guard<std::mutex> lock(mLock);
    if (TakeSample(event)) {
        DetectActivity(event);
    }
}

void Activity::DetectActivity(ASensorEvent event) {
    ScopedTrace trace(mHal.GetTrace(), "DetectActivity");
    ScopedWatchNode node(mHal.HasWatchdog() ? &mHal.GetWatchdog() : nullptr, "DetectActivity173",
                         kWatchLimitMs);
    switch (event.type) {
        case SENSOR_TYPE_MODEM:
            ProcessModemData(event);
            break;
        case SENSOR_TYPE_MAGNETIC_FIELD:
        case SENSOR_TYPE_FUSION_MAG:
            ProcessMagData(event);
            break;
        case SENSOR_TYPE_ACCELEROMETER:
        case SENSOR_TYPE_FUSION_ACC:
            ProcessAccData(event);
            break;
        default:
            break;
    }
    const bool vehicle = HasClients(ar::kHighSpeedRail) || HasClients(ar::kMetro);
    if (vehicle && mActivityLib != nullptr && mSampleCount % kResultEvery == 0) {
        mActivityLib->AlgGetResult_AR(mStatusBlock, &gArContext);
    }
    if (HasClients(ar::kHandHeld) && mHandLib != nullptr) {
        uint64_t result[2] = {0, 0};
        mHandLib->GetHandHeldResult(result, &gArContext);
        const int id = Entry(ar::kHandHeld).algoId;
        mStatusBlock[ar::StateOffset(id)] = FirstWord(result) == 0 ? 1 : 0;
        StoreResultScore(mStatusBlock, id, result);
    }
    if (HasClients(ar::kMicroStill) && mMicroLib != nullptr) {
        uint64_t result[2] = {0, 0};
        mMicroLib->GetQStillStatusResult(result, &gArContext);
        const int id = Entry(ar::kMicroStill).algoId;
        mStatusBlock[ar::StateOffset(id)] = FirstWord(result) == 0 ? 1 : 0;
        StoreResultScore(mStatusBlock, id, result);
    }
    NotifyArStatus();
}

void Activity::ProcessAccData(ASensorEvent event) {
    ScopedTrace trace(mHal.GetTrace(), "ProcessAccData");
    const float x = event.data[0];
    const float y = event.data[1];
    const float z = event.data[2];
    LOGD("ACC:  x=%f y=%f z=%f %lu", static_cast<double>(x), static_cast<double>(y),
         static_cast<double>(z), static_cast<unsigned long>(event.timestamp));
    const int16_t fixed[3] = {ToFixedG(x), ToFixedG(y), ToFixedG(z)};
    if ((HasClients(ar::kHighSpeedRail) || HasClients(ar::kMetro)) && mActivityLib != nullptr) {
        mActivityLib->AlgDataCollect(fixed, AR_DATA_ACC, 1, &gArContext);
        ++mSampleCount;
    }
    if (HasClients(ar::kHandHeld) && mHandLib != nullptr) {
        mHandLib->HandHeldAccDataCollect(x, y, z, 3, &gArContext);
    }
    if (HasClients(ar::kMicroStill) && mMicroLib != nullptr) {
        mMicroLib->AccDataCollect(x, y, z, 3, &gArContext);
    }
}

void Activity::ProcessMagData(ASensorEvent event) {
    ScopedTrace trace(mHal.GetTrace(), "ProcessMagData");
    LOGD("MAG:  x=%f y=%f z=%f %lu", static_cast<double>(event.data[0]),
         static_cast<double>(event.data[1]), static_cast<double>(event.data[2]),
         static_cast<unsigned long>(event.timestamp));
    const uint64_t timestamp = static_cast<uint64_t>(event.timestamp);
    if (timestamp - gLastMagTime < kMagMinGapNs) {
        return;
    }
    gLastMagTime = timestamp;
    if (HasClients(ar::kMetro) && mActivityLib != nullptr) {
        const int32_t values[3] = {static_cast<int32_t>(event.data[0]),
                                   static_cast<int32_t>(event.data[1]),
                                   static_cast<int32_t>(event.data[2])};
        mActivityLib->AlgDataCollect(values, AR_DATA_MAG, 1, &gArContext);
    }
}

void Activity::ProcessModemData(ASensorEvent event) {
    const int32_t rat = static_cast<int32_t>(event.u64.data[0]);
    const uint32_t cid = static_cast<uint32_t>(event.u64.data[2]);
    const int32_t hsFlag = static_cast<int32_t>(event.u64.data[4]);
    LOGI("MODEM: rat=%d, cid=%u, hsFlag=%d", rat, cid, hsFlag);
    gArModemInfo.rat = static_cast<uint8_t>(rat);
    gArModemInfo.hsFlag = static_cast<uint8_t>(hsFlag);
    if (cid != gArModemInfo.cid) {
        gArModemInfo.cid = cid;
        if ((HasClients(ar::kHighSpeedRail) || HasClients(ar::kMetro)) && mActivityLib != nullptr) {
            mActivityLib->AlgDataCollect(&gArModemInfo, AR_DATA_MODEM, 1, &gArContext);
        }
    }
}

bool Activity::PackUploadEvents() {
    std::vector<ar::ArEvent>().swap(mUploadEvents);
    const int64_t now = static_cast<int64_t>(VyrHal::MonoTimeNs());
    for (int index = 0; index < ar::kActivityCount; ++index) {
        const int id = Entry(index).algoId;
        const uint32_t eventType =
            mStatusBlock[ar::StateOffset(id)] != 0 ? ar::kEventEnter : ar::kEventExit;
        ArActivityState &state = mStates[index];
        if (state.configured == 0 || (state.eventMask & eventType) == 0 ||
            eventType == state.status.eventType) {
            continue;
        }
        int16_t score = 0;
        memcpy(&score, &mStatusBlock[ar::ScoreOffset(id)], sizeof(score));
        ar::ArEvent event{};
        event.eventType = static_cast<int32_t>(eventType);
        event.activity = Entry(index).realActivity;
        event.timestamp = now;
        event.confidence = score;
        mPendingEvents[index].push_back(event);
        state.status.eventType = eventType;
        state.status.confidence = score;
        state.status.timestamp = now;
        LOGI("AR change: index,eventTye,time,score : %d, %d, %ld, %d", event.activity,
             event.eventType, static_cast<long>(now), event.confidence);
    }
    for (int index = 0; index < ar::kActivityCount; ++index) {
        auto pending = mPendingEvents.find(index);
        if (pending == mPendingEvents.end() || pending->second.empty() ||
            now < mStates[index].nextReportTime) {
            continue;
        }
        mStates[index].nextReportTime = now + mStates[index].reportInterval;
        mUploadEvents.insert(mUploadEvents.end(), pending->second.begin(), pending->second.end());
        pending->second.clear();
    }
    if (mUploadEvents.size() > ar::kMaxUploadEvents) {
        mUploadEvents.resize(ar::kMaxUploadEvents);
    }
    return !mUploadEvents.empty();
}

// While file logging is on and the log is captured ("collectlog on"), the
// results go to the log client instead of "ar-client".
std::string Activity::ResultClient() {
    return VyrLog::CapturesResults(mHal) ? VyrLog::kCaptureClient : "ar-client";
}

void Activity::NotifyArStatus() {
    ScopedTrace trace(mHal.GetTrace(), "NotifyArStatus");
    if (!PackUploadEvents()) {
        return;
    }
    LOGI("AR upload events size: %zu", mUploadEvents.size());
    for (const ar::ArEvent &event : mUploadEvents) {
        LOGI("AR upload: activity,eventType,timestamp,confidence: %d, %d, %ld, %d", event.activity,
             event.eventType, static_cast<long>(event.timestamp), event.confidence);
    }
    vyr_msg_t msg;
    msg.client = ResultClient();
    uint32_t header = 0;
    memcpy(&header, mStatusBlock, sizeof(header));
    msg.type = static_cast<int32_t>(header);
    const size_t bytes = (mUploadEvents.size() * sizeof(ar::ArEvent)) & ~static_cast<size_t>(7);
    msg.dataSize = static_cast<int32_t>(bytes);
    msg.data.assign(bytes / 4, 0);
    errno_t err =
        memcpy_s(msg.data.data(), msg.data.size() * sizeof(int32_t), mUploadEvents.data(), bytes);
    if (err != 0) {
        LOGE("memcpy_s failed, err = %d", static_cast<int>(err));
        return;
    }
    const vyr_notify_t &notify = mHal.GetNotify();
    if (notify.notify != nullptr) {
        notify.notify(msg);
    }
}

// Merging of the requests for one sensor, switching it in the library, and
// the thinning of a stream down to a listener's rate.
#include <cstring>

#include "hal/VyrHal.h"
#include "log/VyrFrame.h"
#include "platform/LibVyrSensor.h"
#include "sensor/SensorHub.h"

namespace {

// One day in microseconds: the batch when nobody asks for one.
constexpr int64_t kNoBatch = 86400000000LL;
constexpr int32_t kDefaultPeriodUs = 200000;

}  // namespace

void SensorHub::ProcessSensorSetting(SensorSetting &setting) {
    VyrSensor *sensor = FindSensor(static_cast<uint32_t>(setting.type), setting.wakeup);
    if (sensor == nullptr) {
        return;
    }
    int32_t rate = 0;
    int64_t batch = kNoBatch;
    std::string caller(setting.name, strnlen(setting.name, sizeof(setting.name)));
    SetConnection(caller, setting.type, setting.enable, setting.rate, setting.batch);
    bool on = setting.enable || IsTypeEnabled(static_cast<uint32_t>(setting.type));
    FindBestParameter(setting.type, rate, batch);

    ResampleInfo &info = mResampleInfo[setting.type];
    info.rate = rate;
    info.count = 0;

    if (on == sensor->enable && rate == sensor->rate && batch == sensor->batch &&
        setting.type != SENSOR_TYPE_FUSION_SENSE) {
        LOGD("pre sensor: %s, en: %d, rate: %d, batch: %d skip setting", sensor->name.c_str(),
             sensor->enable, sensor->rate, sensor->batch);
        LOGD("cur sensor: %s, en: %d, rate: %d, batch: %d skip setting", sensor->name.c_str(), on,
             rate, static_cast<int32_t>(batch));
        return;
    }
    RealSetSensorEnable(sensor, on, rate, static_cast<int32_t>(batch));
}

bool SensorHub::RealSetSensorEnable(VyrSensor *sensor, bool enable, int32_t rate, int32_t batch) {
    if (sensor == nullptr) {
        return false;
    }
    const bool force = sensor->type == SENSOR_TYPE_FUSION_SENSE && mFusionChanged;
    if (enable == sensor->enable) {
        if (!enable) {
            return true;
        }
        if (rate == sensor->rate && batch == sensor->batch && !force) {
            return true;
        }
    }
    LOGI("pre sensor: %s, set enable: %d, rate: %d, batch: %d", sensor->name.c_str(),
         sensor->enable, sensor->rate, sensor->batch);
    sensor->enable = enable;
    sensor->rate = rate;
    sensor->batch = batch;
    LOGI("cur sensor: %s, set enable: %d, rate: %d, batch: %d", sensor->name.c_str(),
         sensor->enable, sensor->rate, sensor->batch);

    auto &saved = mSensorState[0];
    if (!enable) {
        saved.erase(sensor->type);
    } else {
        saved[sensor->type] = {rate, batch};
    }

    if (sensor->type >= SENSOR_TYPE_FUSION_ACC && sensor->type <= SENSOR_TYPE_FUSION_LAST) {
        mFusionChanged = true;
    }
    if (sensor->type == SENSOR_TYPE_FUSION_SENSE) {
        mFusionChanged = false;
        return FusionSenseSetting(*sensor);
    }

    if (!enable) {
        if (sensor->sensorPtr != nullptr && mSensorLib != nullptr) {
            mSensorLib->VyrDisableSensor(sensor->sensorPtr);
        }
        mFrame.LockData(true);
        mFrame.GetData().RemoveEvent(sensor->type);
        mFrame.LockData(false);
        return true;
    }

    int32_t period = rate < 1 ? kDefaultPeriodUs : 1000000 / rate;
    if (sensor->sensorPtr != nullptr && mSensorLib != nullptr) {
        int32_t minDelay = mSensorLib->VyrGetMinDelay(sensor->sensorPtr);
        LOGI("rate2us: %d, mindelay: %d", period, minDelay);
        mSensorLib->VyrEnableSensor(sensor->sensorPtr, period, batch);
    }
    mFrame.LockData(true);
    mFrame.GetData().SetSensorName(static_cast<uint32_t>(sensor->type),
                                   sensor->name + "," + sensor->vendor + "," + sensor->reportMode);
    mFrame.LockData(false);
    return true;
}

bool SensorHub::DataResampleSkip(ASensorEvent event, ResampleInfo &info) {
    return DataResampleSkip(HandleToSensor(event.sensor), event, info);
}

// Float arithmetic throughout, as the thinning has always been done: a
// fast stream is cut by time, a moderately fast one by dropping every n-th
// event.
bool SensorHub::DataResampleSkip(const VyrSensor &sensor, const ASensorEvent &event,
                                 ResampleInfo &info) {
    if (!sensor.continuous || sensor.sensorPtr == nullptr) {
        return false;
    }
    const uint64_t timestamp = static_cast<uint64_t>(event.timestamp);
    const float sampleTimeMs = 1000.0f / static_cast<float>(info.rate);
    const float realSampleMs = static_cast<float>(timestamp - info.preTimeStamp) / 1000000.0f;
    info.preTimeStamp = timestamp;
    LOGV(
        "%s, sampleTimeMs:%f, realSampleMs:%f, startTimeStamp:%lu, preTimeStamp:%lu, "
        "eventTimeStamp:%lu",
        sensor.name.c_str(), static_cast<double>(sampleTimeMs), static_cast<double>(realSampleMs),
        static_cast<unsigned long>(info.startTimeStamp),
        static_cast<unsigned long>(info.preTimeStamp), static_cast<unsigned long>(timestamp));

    if (realSampleMs < sampleTimeMs * 0.5f) {
        if ((sampleTimeMs - 1.0f) * 1000000.0f >
            static_cast<float>(timestamp - info.startTimeStamp)) {
            return true;
        }
    } else if (!(realSampleMs < sampleTimeMs)) {
        return false;
    } else {
        info.count += 1;
        if ((sampleTimeMs - realSampleMs) * static_cast<float>(info.count) > realSampleMs) {
            info.count = 0;
            return true;
        }
    }
    info.startTimeStamp = timestamp;
    return false;
}

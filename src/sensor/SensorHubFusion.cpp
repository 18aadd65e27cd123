// The fusion channel: several sensor channels of the sensor hub processor
// in batched frames, configured together, and turned here into plain events
// of the private fusion types.
#include <android/log.h>

#include <atomic>
#include <cstring>
#include <new>

#include "hal/VyrHal.h"
#include "platform/LibSysTrace.h"
#include "platform/LibVyrFusion.h"
#include "platform/WatchDog.h"
#include "sensor/SensorHub.h"
#include "sensor/VyrFusionBeta.h"

namespace {

constexpr int32_t kChannelTypes[FUSION_SENSE_CHANNELS] = {
    SENSOR_TYPE_FUSION_ACC,  SENSOR_TYPE_FUSION_GYRO,  SENSOR_TYPE_FUSION_MAG,
    SENSOR_TYPE_FUSION_ACC1, SENSOR_TYPE_FUSION_GYRO1, SENSOR_TYPE_FUSION_MAG1,
};
// A frame older than this was queued while the application processor slept.
constexpr int64_t kMaxFrameAgeNs = 5000000000LL;
constexpr uint64_t kFusionExpectMs = 20000;

}  // namespace

bool SensorHub::FusionSenseSetting(VyrSensor &sensor) {
    if (mFusionLib == nullptr) {
        mFusionLib.reset(new (std::nothrow) LibVyrFusion());
        if (mFusionLib == nullptr || !mFusionLib->Init()) {
            LOGE("LibVyrFusion init failed");
            mFusionLib.reset();
            return false;
        }
        mFusionConfig.channelRates.assign(FUSION_SENSE_CHANNELS, 0.0f);
    }
    if (!mFusionActive) {
        mFusionLib->FusionSenseInit(&SensorHub::FusionCallback, mGate, 0);
        mFusionActive = true;
    }
    if (sensor.enable) {
        mFusionConfig.reportRate = sensor.rate;
        LOGI("fusion sensor report rate: %d", sensor.rate);
        for (const VyrSensor &channel : mPrivateSensors) {
            if (channel.type < SENSOR_TYPE_FUSION_ACC || channel.type > SENSOR_TYPE_TAP_EVENT) {
                continue;
            }
            size_t index = static_cast<size_t>(channel.type - SENSOR_TYPE_FUSION_ACC);
            if (index >= FUSION_SENSE_CHANNELS) {
                continue;  // the tap event has no channel
            }
            float rate = channel.enable ? static_cast<float>(channel.rate) : 0.0f;
            mFusionConfig.channelRates[index] = rate;
            mChannelRates[index].store(channel.enable ? channel.rate : 0);
            LOGI("fusion sensor type: %d, rate: %f", static_cast<int>(index),
                 static_cast<double>(rate));
        }
    } else {
        mFusionConfig.reportRate = 0;
        LOGI("fusion sensor disable");
        mFusionConfig.channelRates.assign(FUSION_SENSE_CHANNELS, 0.0f);
        for (auto &rate : mChannelRates) {
            rate.store(0);
        }
    }
    if (mFusionConfig.betaConfig != 0) {
        LOGI("fusion sensor beta config: %d, buffer size: %d", mFusionConfig.betaConfig,
             mFusionConfig.bufferSize);
    }
    if (mFusionLib->FusionSenseActivate(mFusionConfig, sensor.enable) != 0) {
        return false;
    }
    if (sensor.enable || mFusionConfig.betaConfig != 0) {
        return true;
    }
    mFusionLib->FusionSenseUnInit(0);
    mFusionActive = false;
    return true;
}

FusionSenseConfig SensorHub::GetFusionConfig() {
    std::lock_guard<std::mutex> lock(mLock);
    return mFusionConfig;
}

void SensorHub::ProcessFusionData(FSEventStruct &frame) {
    ProcessFusionData(frame, VyrHal::BootTimeNs());
}

void SensorHub::ProcessFusionData(FSEventStruct &frame, uint64_t nowBootNs) {
    ScopedWatchNode node(mHal.HasWatchdog() ? &mHal.GetWatchdog() : nullptr, "ProcessFusionData934",
                         kFusionExpectMs);
    ScopedTrace trace(mHal.GetTrace(), "ProcessFusionData");
    if (frame.data.empty()) {
        LOGE("fusion sense callback event: %d, report rate: %f", frame.mode,
             static_cast<double>(frame.reportRate));
        return;
    }
    if (frame.modeArg < 0) {
        LOGE("sensorhub failed: %d reason: %s", frame.modeArg, frame.data.c_str());
        return;
    }
    uint32_t sum = 0;
    for (char byte : frame.data) {
        sum += static_cast<uint8_t>(byte);
    }
    if (sum != frame.checksum) {
        LOGE("checksum failed: %d != %d", static_cast<int>(sum), static_cast<int>(frame.checksum));
        return;
    }
    const int64_t latency = static_cast<int64_t>(nowBootNs - frame.timestamp);
    if (latency > kMaxFrameAgeNs) {
        LOGW("in deepsleep mode, Discarding the fusion event befor %dms",
             static_cast<int>(latency / 1000000));
        return;
    }
    static std::atomic<uint32_t> frameCount{0};
    const uint32_t old = frameCount.fetch_add(1);
    uint32_t every = 0;
    if (frame.reportRate >= 4294967295.0f) {
        every = UINT32_MAX;
    } else if (frame.reportRate >= 1.0f) {
        every = static_cast<uint32_t>(frame.reportRate);
    }
    if ((every == 0 && old == 0) || (every != 0 && old % every == 0)) {
        LOGI("sensorhub beta mode: %d, mode arg: %d, latency %0.1f ms", frame.mode, frame.modeArg,
             static_cast<double>(latency) / 1000.0);
    }
    if (frame.mode != 0) {
        if (mFusionBeta != nullptr) {
            mFusionBeta->ProcessFusionBeta(frame);
        }
        return;
    }
    ProcessFusionSense(frame);
}

void SensorHub::ProcessFusionSense(FSEventStruct &frame) {
    ScopedTrace trace(mHal.GetTrace(), "ProcessFusionSense");
    if (frame.modeArg >= 1) {
        LOGE("sensorhub discard frame: %d", frame.modeArg);
    }
    const size_t size = frame.data.size();
    if (size == 0) {
        return;
    }
    if (size % FUSION_SENSE_ENTRY_SIZE != 0) {
        LOGE("date size error %d < %d", static_cast<int>(size),
             static_cast<int>(FUSION_SENSE_ENTRY_SIZE));
        return;
    }
    const size_t n = size / FUSION_SENSE_ENTRY_SIZE;
    std::vector<ASensorEvent> events(n);
    memset(events.data(), 0, n * sizeof(ASensorEvent));
    const uint64_t now = VyrHal::RealTimeMs();
    int counts[FUSION_SENSE_CHANNELS] = {};
    const auto *bytes = reinterpret_cast<const uint8_t *>(frame.data.data());
    for (size_t i = 0; i < n; ++i) {
        const uint8_t *entry = bytes + i * FUSION_SENSE_ENTRY_SIZE;
        const uint8_t channel = entry[0];
        if (channel >= FUSION_SENSE_CHANNELS) {
            __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG,
                                "fusion sense sensor type: %d error", channel);
            return;
        }
        ASensorEvent &event = events[i];
        event.sensor = kChannelTypes[channel];
        event.type = kChannelTypes[channel];
        event.timestamp = static_cast<int64_t>(frame.timestamp);
        frame.timestamp += 1;
        memcpy(&event.data[0], entry + 4, 3 * sizeof(float));
        counts[channel] += 1;
        SetEventArrivalMs(event, now);
    }
    for (int channel = 0; channel < FUSION_SENSE_CHANNELS; ++channel) {
        if (counts[channel] == 0) {
            continue;
        }
        LOGD("sensorhub rate: %5.1fHZ, hal rate: %dHZ, type: %d recv %2d events",
             static_cast<double>(frame.reportRate),
             mChannelRates[static_cast<size_t>(channel)].load(), channel, counts[channel]);
    }
    PushSensorEvents(events);
}

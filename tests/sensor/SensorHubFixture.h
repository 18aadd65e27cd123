// A whole HAL in this process on a fresh device sandbox with the stand-in
// sensor service and fusion channel, plus a small module that asks for
// sensors through ModuleBase::SensorEnable and counts what it gets.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <chrono>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "hal/ModuleBase.h"
#include "hal/VyrHal.h"
#include "platform/api/fusion_sense_api.h"
#include "platform/api/sensor_event.h"
#include "sandbox/Sandbox.h"
#include "sensor/SensorHub.h"
#include "support/HalFixture.h"

namespace sensortest {

inline const std::string kFusionProduct =
    vyrsim::ProductXmlFor("<fusionsense><item>enable</item></fusionsense>");
inline const std::string kPlainProduct = vyrsim::ProductXmlFor("");

// Types of the stand-in service.
inline constexpr int32_t kAccType = 1;
inline constexpr int32_t kAccHandle = 0x10;
inline constexpr int32_t kGyroType = 4;

// Asks for sensors like a real module and records every sample it sees.
class ProbeModule : public ModuleBase {
public:
    static constexpr uint32_t kAcc100 = 1;   // accelerometer at 100 Hz
    static constexpr uint32_t kAcc400 = 2;   // accelerometer at 400 Hz
    static constexpr uint32_t kFusion = 3;   // fusion: acc 100 Hz, gyro 200 Hz, report 5 Hz
    static constexpr uint32_t kGyro50 = 4;   // gyroscope at 50 Hz
    static constexpr uint32_t kUnknown = 5;  // a sensor nobody has

    explicit ProbeModule(VyrHal &hal) : ModuleBase("Probe", hal) {
        mTypeSensors[kAcc100][kAccType] = {100, 0};
        mTypeSensors[kAcc400][kAccType] = {400, 0};
        mTypeSensors[kFusion][SENSOR_TYPE_FUSION_SENSE] = {5, 0};
        mTypeSensors[kFusion][SENSOR_TYPE_FUSION_ACC] = {100, 0};
        mTypeSensors[kFusion][SENSOR_TYPE_FUSION_GYRO] = {200, 0};
        mTypeSensors[kGyro50][kGyroType] = {50, 0};
        mTypeSensors[kUnknown][0x7777] = {10, 0};
    }

    bool LastInit() override {
        return mHal.GetSensorHub().RegisterSensorCallback(
            mName, [this](ASensorEvent event, bool) { OnEvent(event); });
    }

    void Uninit() override { mHal.GetSensorHub().UnregisterSensorCallback(mName); }

    bool Ask(const std::string &client, uint32_t type, bool enable) {
        std::lock_guard<std::mutex> lock(mLock);
        SetConnection(client, static_cast<int>(type), enable, 0, 0);
        return SensorEnable(client, type, enable);
    }

    bool Connected(const std::string &client, uint32_t type) {
        std::lock_guard<std::mutex> lock(mLock);
        return IsClientConnected(client, type);
    }

    int Count(int32_t type) {
        std::lock_guard<std::mutex> lock(mLock);
        return mCounts[type];
    }

    void ClearCounts() {
        std::lock_guard<std::mutex> lock(mLock);
        mCounts.clear();
        mEvents.clear();
    }

    std::vector<ASensorEvent> Events(int32_t type) {
        std::lock_guard<std::mutex> lock(mLock);
        return mEvents[type];
    }

private:
    void OnEvent(const ASensorEvent &event) {
        std::lock_guard<std::mutex> lock(mLock);
        mCounts[event.type] += 1;
        auto &list = mEvents[event.type];
        if (list.size() < 4096) {
            list.push_back(event);
        }
    }

    std::map<int32_t, int> mCounts;
    std::map<int32_t, std::vector<ASensorEvent>> mEvents;
};

// A stand-in library of the sandbox, opened on its own: the same file and
// so the same instance as the one the HAL loads.
class Standin {
public:
    Standin() = default;
    ~Standin() {
        if (mHandle != nullptr) {
            dlclose(mHandle);
        }
    }
    Standin(const Standin &) = delete;
    Standin &operator=(const Standin &) = delete;

    bool Open(const std::string &path) {
        mHandle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        return mHandle != nullptr;
    }

    template <typename T>
    T Get(const char *name) const {
        return mHandle != nullptr ? reinterpret_cast<T>(dlsym(mHandle, name)) : nullptr;
    }

private:
    void *mHandle = nullptr;
};

class HubTest : public ::testing::Test {
protected:
    // The product for this test; the fusion product unless changed.
    virtual std::string Product() const { return kFusionProduct; }

    void SetUp() override {
        ASSERT_FALSE(mDir.Path().empty());
        setenv("VYR_ROOT", mDir.Path().c_str(), 1);
        setenv("VYR_LOGCAT", (mDir.Path() + "/logcat.txt").c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
        vyrsim::SandboxOptions options;
        options.productXml = Product();
        std::string error;
        ASSERT_TRUE(vyrsim::CreateSandbox(mDir.Path(), options, &error)) << error;
        ASSERT_TRUE(mSensorLib.Open(mDir.Path() + "/vendor/lib64/libVyrSensor.so"));
        ASSERT_TRUE(mFusionLib.Open(mDir.Path() + "/vendor/lib64/libFusionSense.so"));

        mHal = std::make_unique<VyrHal>(nullptr);
        ASSERT_TRUE(mHal->Init());
        mProbe = std::make_shared<ProbeModule>(*mHal);
        ASSERT_TRUE(mHal->RegModule(mProbe));
        ASSERT_TRUE(mProbe->LastInit());
    }

    void TearDown() override {
        mProbe.reset();
        mHal.reset();
    }

    SensorHub &Hub() { return mHal->GetSensorHub(); }
    ProbeModule &Probe() { return *mProbe; }

    // Waits until every message posted so far has been handled.
    void Drain() { ASSERT_TRUE(Hub().WaitQueueEmpty(5000)); }

    static bool WaitUntil(const std::function<bool()> &done, int timeoutMs = 3000) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (std::chrono::steady_clock::now() < deadline) {
            if (done()) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return done();
    }

    std::string Logcat() const { return vyrtest::ReadText(mDir.Path() + "/logcat.txt"); }
    bool LogHas(const std::string &text) const { return Logcat().find(text) != std::string::npos; }
    bool WaitForLog(const std::string &text, int timeoutMs = 3000) const {
        return WaitUntil([&] { return LogHas(text); }, timeoutMs);
    }
    size_t LogCount(const std::string &text) const {
        std::string log = Logcat();
        size_t n = 0;
        for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
            ++n;
        }
        return n;
    }

    // Sensor service controls.
    int32_t PeriodUs(int32_t type) const {
        return mSensorLib.Get<int32_t (*)(int32_t)>("VyrSimGetSensorPeriodUs")(type);
    }
    int32_t EnableCount(int32_t type) const {
        return mSensorLib.Get<int32_t (*)(int32_t)>("VyrSimEnableCount")(type);
    }
    int32_t DisableCount(int32_t type) const {
        return mSensorLib.Get<int32_t (*)(int32_t)>("VyrSimDisableCount")(type);
    }
    int32_t Inject(const ASensorEvent &event) const {
        return mSensorLib.Get<int32_t (*)(const ASensorEvent *)>("VyrSimInjectEvent")(&event);
    }
    int32_t SensorSync() const { return mSensorLib.Get<int32_t (*)(int32_t)>("VyrSimSync")(3000); }
    void ServiceDie() const { mSensorLib.Get<void (*)()>("VyrSimServiceDie")(); }
    void ServiceRestart() const { mSensorLib.Get<void (*)()>("VyrSimServiceRestart")(); }
    int64_t SensorNowNs() const { return mSensorLib.Get<int64_t (*)()>("VyrSimNowNs")(); }

    // Fusion channel controls.
    bool FusionOpen() const { return mFusionLib.Get<bool (*)()>("FusionSimIsOpen")(); }
    bool FusionConfig(FusionSenseConfig &config, bool &enable) const {
        return mFusionLib.Get<bool (*)(FusionSenseConfig *, bool *)>("FusionSimGetConfig")(&config,
                                                                                           &enable);
    }
    int32_t FusionCalls(const char *function) const {
        return mFusionLib.Get<int32_t (*)(const char *)>("FusionSimCallCount")(function);
    }
    int32_t FusionInject(const FSEventStruct &frame) const {
        return mFusionLib.Get<int32_t (*)(const FSEventStruct &)>("FusionSimInjectFrame")(frame);
    }
    void FusionPause(bool pause) const {
        mFusionLib.Get<void (*)(bool)>("FusionSimPauseFrames")(pause);
    }
    int32_t FusionSync() const {
        return mFusionLib.Get<int32_t (*)(int32_t)>("FusionSimSync")(3000);
    }
    int32_t FusionRestart() const { return mFusionLib.Get<int32_t (*)()>("FusionSimHubRestart")(); }
    int64_t FusionNowNs() const { return mFusionLib.Get<int64_t (*)()>("FusionSimNowNs")(); }

    vyrtest::TempDir mDir;
    Standin mSensorLib;
    Standin mFusionLib;
    std::unique_ptr<VyrHal> mHal;
    std::shared_ptr<ProbeModule> mProbe;
};

// An event as the sensor service makes it.
inline ASensorEvent ServiceEvent(int32_t handle, int32_t type, int64_t timestamp) {
    ASensorEvent event{};
    event.version = VYR_SENSOR_EVENT_VERSION;
    event.sensor = handle;
    event.type = type;
    event.timestamp = timestamp;
    return event;
}

// One plain fusion frame of (channel, x, y, z) entries, checksum filled in.
inline FSEventStruct FusionFrame(const std::vector<std::array<float, 4>> &entries,
                                 uint64_t timestamp) {
    FSEventStruct frame;
    frame.mode = 0;
    frame.timestamp = timestamp;
    frame.reportRate = 5.0f;
    for (const auto &entry : entries) {
        char bytes[16] = {};
        bytes[0] = static_cast<char>(static_cast<int>(entry[0]));
        memcpy(bytes + 4, &entry[1], 3 * sizeof(float));
        frame.data.append(bytes, sizeof(bytes));
    }
    uint32_t sum = 0;
    for (char c : frame.data) {
        sum += static_cast<uint8_t>(c);
    }
    frame.checksum = sum;
    return frame;
}

}  // namespace sensortest

// A started HAL in the test's own process, for the camera roads: a fresh
// device sandbox with the stand-in libraries, VyrHal started as vyr_init
// does, commands through VyrRunCommand, and the result messages recorded.
// TOF frames come in as the daemon gives them: queue messages through the
// HAL's queue entry, which hands them to the Camera queue. The stand-ins are
// reached through the files the library under test loaded.
//
// The HAL lives to the end of the process (ctest runs each test in its own).
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "camera/Camera.h"
#include "camera/TofFrame.h"
#include "hal/VyrHal.h"
#include "libs/VyrAoClient/vyr_ao_client_sim.h"
#include "libs/VyrSensor/vyr_sensor_sim.h"
#include "libs/face3d_sdk/face3d_sim.h"
#include "sandbox/Sandbox.h"
#include "support/UnitSandbox.h"

namespace vyrtest {

class CameraFixture : public UnitSandbox {
protected:
    void SetUp() override {
        UnitSandbox::SetUp();
        Recorder().Clear();
    }

    // Lays out the sandbox and starts the HAL; `product` empty is the
    // default phone (with TOF).
    void StartHal(const std::string &product = "", bool installLibs = true) {
        vyrsim::SandboxOptions options;
        options.productXml = product;
        options.installLibs = installLibs;
        if (mBetaUser) {
            options.properties["ro.logsystem.usertype"] = "3";
        }
        std::string error;
        ASSERT_TRUE(vyrsim::CreateSandbox(mRoot.Path(), options, &error)) << error;
        mHal = new VyrHal(nullptr);
        ASSERT_TRUE(mHal->Init());
        mHal->VyrInit(vyr_notify_t{&CameraFixture::OnMessage});
    }

    Camera &Cam() { return mHal->GetCamera(); }

    std::string Run(const std::string &cmd, const std::string &param,
                    const std::string &client = "test") {
        std::vector<uint8_t> in(param.begin(), param.end());
        std::vector<uint8_t> out;
        mHal->VyrRunCommand(client, cmd, in, out);
        return std::string(out.begin(), out.end());
    }

    // One TOF frame with the scene drawn into it.
    static std::vector<uint8_t> Frame(uint64_t number, uint32_t exposure,
                                      const face3d_sim_scene_t &scene) {
        std::vector<uint8_t> message = MakeTofFrameMessage(number, exposure);
        Face3dSimDraw(PixelsOf(message), TofFrameHeader::kImageBytes, &scene);
        return message;
    }
    static face3d_sim_scene_t Face(int32_t orientation, int32_t gaze, int32_t identity = 0,
                                   uint32_t exposure = 0) {
        return face3d_sim_scene_t{1, orientation, gaze, identity, exposure};
    }
    static face3d_sim_scene_t Nobody() { return face3d_sim_scene_t{0, 0, 0, 0, 0}; }
    // Frames come as a camera sends them, one after the other: each is taken
    // by the Camera thread before the next goes in, since frames that pile up
    // behind a busy thread are dropped (the flood test posts its own).
    void PostFrame(uint64_t number, const face3d_sim_scene_t &scene, uint32_t exposure = 100) {
        std::vector<uint8_t> message = Frame(number, exposure, scene);
        mHal->VyrFmqData(message.data(), static_cast<int32_t>(message.size()));
        WaitUntil([&] { return Cam().QueueDepth() == 0; });
    }
    // The same for a frame event posted straight to the Camera queue.
    void PostFrameEvent(const std::vector<uint8_t> &bytes) {
        Cam().PostEvent(EVENT_CAMERA_FRAME, bytes);
        WaitUntil([&] { return Cam().QueueDepth() == 0; });
    }

    // A stand-in as the library under test loaded it; null when it is not
    // loaded yet.
    void *Standin(const std::string &file) {
        const std::string path = mRoot.Path() + "/vendor/lib64/" + file;
        return dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    }
    template <typename T>
    T AoSym(const char *name) {
        void *handle = Standin("libVyrAoClient.so");
        return handle != nullptr ? reinterpret_cast<T>(dlsym(handle, name)) : nullptr;
    }
    // Answers of the simulated always-on service (-2 when it is not loaded).
    int32_t AoRotation(int32_t rotation) {
        auto send = AoSym<VyrAoSimRotation_t>("VyrAoSimRotation");
        return send != nullptr ? send(rotation) : -2;
    }
    int32_t AoFaceDirection(int32_t rotation) {
        auto send = AoSym<VyrAoSimFaceDirection_t>("VyrAoSimFaceDirection");
        return send != nullptr ? send(rotation) : -2;
    }
    int32_t AoFaceId(const std::vector<int32_t> &values) {
        auto send = AoSym<VyrAoSimFaceId_t>("VyrAoSimFaceId");
        return send != nullptr ? send(values.data(), static_cast<uint32_t>(values.size())) : -2;
    }
    // Waits until every queued answer has been delivered.
    bool AoSync() {
        auto sync = AoSym<VyrAoSimSync_t>("VyrAoSimSync");
        return sync != nullptr && sync(3000) == 0;
    }
    int32_t PipelineActive() {
        auto active = AoSym<VyrAoSimPipelineActive_t>("VyrAoSimPipelineActive");
        return active != nullptr ? active(Camera::kPipelineFrontTof) : -1;
    }
    int32_t PipelineStarts() {
        auto starts = AoSym<VyrAoSimPipelineStarts_t>("VyrAoSimPipelineStarts");
        return starts != nullptr ? starts(Camera::kPipelineFrontTof) : -1;
    }
    // Holds the light sensor of the simulated phone at `lux` (once a
    // function has switched the light sensor on).
    void SetLight(float lux) {
        const std::string csv = Real("/data/light.csv");
        WriteText(csv, "time_ms,type,v0\n0,5," + std::to_string(lux) + "\n");
        // The service loads with the first sensor a function enables.
        void *sensor = nullptr;
        ASSERT_TRUE(WaitUntil([&] { return (sensor = Standin("libVyrSensor.so")) != nullptr; }));
        auto play = reinterpret_cast<VyrSimPlayScenario_t>(dlsym(sensor, "VyrSimPlayScenario"));
        ASSERT_NE(play, nullptr);
        ASSERT_EQ(play(csv.c_str()), 0);
    }
    // Waits until the Camera thread has handled everything posted so far:
    // a setting of an unknown type goes last and leaves its line.
    bool Drain(int timeoutMs = 3000) {
        CameraSettingRecord record{};
        record.type = kDrainType;
        std::vector<uint8_t> bytes(sizeof(record));
        std::memcpy(bytes.data(), &record, sizeof(record));
        Cam().PostEvent(EVENT_CAMERA_SETTING, bytes);
        const size_t want = ++mDrains;
        return WaitUntil([&] { return LinesWith(kDrainLine).size() >= want; }, timeoutMs);
    }
    static constexpr int kDrainType = 77;
    static constexpr const char *kDrainLine = "camera algo type: 77 not support";

    static bool WaitUntil(const std::function<bool()> &done, int timeoutMs = 3000) {
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (std::chrono::steady_clock::now() < deadline) {
            if (done()) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return done();
    }
    bool WaitForLog(const std::string &text, int timeoutMs = 3000) {
        return WaitUntil([&] { return Logcat().find(text) != std::string::npos; }, timeoutMs);
    }

    struct MessageRecorder {
        std::mutex mutex;
        std::condition_variable cond;
        std::vector<vyr_msg_t> messages;
        void Clear() {
            std::lock_guard<std::mutex> lock(mutex);
            messages.clear();
        }
    };
    static MessageRecorder &Recorder() {
        static MessageRecorder *recorder = new MessageRecorder();
        return *recorder;
    }
    static void OnMessage(vyr_msg_t &msg) {
        MessageRecorder &recorder = Recorder();
        std::lock_guard<std::mutex> lock(recorder.mutex);
        recorder.messages.push_back(msg);
        recorder.cond.notify_all();
    }
    static std::vector<vyr_msg_t> Messages() {
        MessageRecorder &recorder = Recorder();
        std::lock_guard<std::mutex> lock(recorder.mutex);
        return recorder.messages;
    }
    // The data of the messages of `type` to `client` (any client when empty).
    static std::vector<std::vector<int32_t>> Results(int32_t type, const std::string &client = "") {
        std::vector<std::vector<int32_t>> out;
        for (const vyr_msg_t &msg : Messages()) {
            if (msg.type == type && (client.empty() || msg.client == client)) {
                EXPECT_EQ(msg.dataSize, static_cast<int32_t>(msg.data.size()));
                out.push_back(msg.data);
            }
        }
        return out;
    }
    static bool WaitResult(int32_t type, const std::vector<int32_t> &data,
                           const std::string &client = "test", int timeoutMs = 3000) {
        MessageRecorder &recorder = Recorder();
        std::unique_lock<std::mutex> lock(recorder.mutex);
        return recorder.cond.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
            for (const vyr_msg_t &msg : recorder.messages) {
                if (msg.type == type && msg.client == client && msg.data == data) {
                    return true;
                }
            }
            return false;
        });
    }

    VyrHal *mHal = nullptr;
    size_t mDrains = 0;
    bool mBetaUser = false;  // set before StartHal
};

}  // namespace vyrtest

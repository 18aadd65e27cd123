// A flood of TOF frames through the queue entry while a slow face library
// holds the Camera thread: the frames that wait stay bounded, the dropped ones
// are counted and logged sparingly, and every other event still arrives, in
// the order it was posted.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "camera/CameraFixture.h"

using vyrtest::CameraFixture;

namespace {

constexpr int32_t kGaze = CAMERA_EYE_GAZE;
constexpr int kFloodFrames = 2000;
constexpr int kMarkerEvery = 250;
constexpr int kMarkerBase = 100;  // unknown setting types, served by a log line
constexpr int32_t kSlowMs = 100;

class CameraFloodTest : public CameraFixture {
protected:
    void SetDetectDelay(int32_t ms) {
        void *face = Standin("libface3d_sdk.so");
        ASSERT_NE(face, nullptr);
        auto set =
            reinterpret_cast<Face3dSimSetDetectDelayMs_t>(dlsym(face, "Face3dSimSetDetectDelayMs"));
        ASSERT_NE(set, nullptr);
        set(ms);
    }
    void PostMarker(int type) {
        CameraSettingRecord record{};
        record.type = type;
        std::vector<uint8_t> bytes(sizeof(record));
        std::memcpy(bytes.data(), &record, sizeof(record));
        Cam().PostEvent(EVENT_CAMERA_SETTING, bytes);
    }
    // The types of the marker settings, in the order the Camera thread
    // served them.
    std::vector<int> ServedMarkers() {
        std::vector<int> types;
        const std::string prefix = "camera algo type: ";
        for (const std::string &line : LinesWith(" not support")) {
            const size_t at = line.find(prefix);
            if (at != std::string::npos) {
                const int type = atoi(line.c_str() + at + prefix.size());
                if (type >= kMarkerBase && type != kDrainType) {
                    types.push_back(type);
                }
            }
        }
        return types;
    }
};

TEST_F(CameraFloodTest, SlowLibraryFloodStaysBoundedAndEveryOtherEventIsServedInOrder) {
    StartHal();
    // Eye gaze holds the TOF camera for as long as it has a client, so every
    // frame that reaches the Camera thread runs a detection.
    EXPECT_EQ(Run("camera-on", "1,100"), "");
    PostFrame(1, Face(0, 1));
    ASSERT_TRUE(WaitResult(kGaze, {1, 1, 1, 1, 0}));
    SetDetectDelay(kSlowMs);
    EXPECT_EQ(Cam().DroppedFrames(), 0u);

    std::vector<uint8_t> message = Frame(0, 100, Face(0, 1));
    std::vector<int> markers;
    size_t deepest = 0;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kFloodFrames; ++i) {
        if (i % kMarkerEvery == 0) {
            markers.push_back(kMarkerBase + i / kMarkerEvery);
            PostMarker(markers.back());
        }
        const uint64_t number = 2 + static_cast<uint64_t>(i);
        std::memcpy(message.data() + TofFrameHeader::kFrameNumber, &number, sizeof(number));
        mHal->VyrFmqData(message.data(), static_cast<int32_t>(message.size()));
        const size_t depth = Cam().QueueDepth();
        deepest = std::max(deepest, depth);
        // Only the markers not yet served wait beside at most two frames.
        ASSERT_LE(depth, CameraEventQueue::kMaxWaitingFrames + markers.size()) << "frame " << i;
    }
    const double floodSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // The library took at most a few of them in that time.
    EXPECT_GT(Cam().DroppedFrames(), static_cast<uint64_t>(kFloodFrames) / 2);

    // A setting after the flood, with the library still slow: gaze lets go
    // of the camera within a few detections.
    EXPECT_EQ(Run("camera-off", "1,0"), "");
    EXPECT_TRUE(WaitUntil([&] { return PipelineActive() == 0; }, 3000));
    SetDetectDelay(0);
    ASSERT_TRUE(Drain());

    EXPECT_EQ(ServedMarkers(), markers);
    // Every frame of the flood was either detected or counted as dropped.
    const uint64_t dropped = Cam().DroppedFrames();
    const size_t detected = LinesWith("image frame: ").size() - 1;
    EXPECT_EQ(detected + dropped, static_cast<uint64_t>(kFloodFrames));
    // The frames that were detected went in the order they came.
    std::vector<int32_t> numbers;
    for (const std::vector<int32_t> &data : Results(kGaze, "test")) {
        numbers.push_back(data.at(3));
    }
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end());
    EXPECT_EQ(numbers.back(), 1 + kFloodFrames);  // the newest frame always waits

    // The first drop is logged, later ones at most every five seconds.
    const auto drops = LinesWith("tof frame dropped, ");
    ASSERT_FALSE(drops.empty());
    EXPECT_NE(drops.front().find(", 1 dropped in all"), std::string::npos) << drops.front();
    EXPECT_LE(drops.size(), 2u + static_cast<size_t>(floodSeconds / 5.0)) << floodSeconds;
    RecordProperty("dropped", std::to_string(dropped));
    RecordProperty("deepest", std::to_string(deepest));
}

}  // namespace

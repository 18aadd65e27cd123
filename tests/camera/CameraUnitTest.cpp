// The camera's building blocks on their own: the block queue of events and
// the rotation fusion with its history.
#include <gtest/gtest.h>

#include "camera/CameraEventQueue.h"
#include "camera/RotationFusion.h"

namespace {

TEST(CameraEventQueueTest, KeepsOrderAcrossBlocksAndReusesThem) {
    CameraEventQueue queue;
    uint32_t pushed = 0;
    uint32_t popped = 0;
    // Runs that fill several blocks, then drain partly, then all.
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 300; ++i) {
            queue.Push(CameraEvent{pushed, std::vector<uint8_t>(3, static_cast<uint8_t>(pushed))});
            ++pushed;
        }
        for (int i = 0; i < 170; ++i) {
            CameraEvent event = queue.Pop();
            ASSERT_EQ(event.kind, popped);
            ASSERT_EQ(event.data, std::vector<uint8_t>(3, static_cast<uint8_t>(popped)));
            ++popped;
        }
    }
    EXPECT_EQ(queue.Size(), pushed - popped);
    while (!queue.Empty()) {
        ASSERT_EQ(queue.Pop().kind, popped++);
    }
    EXPECT_EQ(popped, pushed);
    // Empty and refilled exactly at a block edge.
    for (uint32_t i = 0; i < CameraEventQueue::kBlockEntries; ++i) {
        queue.Push(CameraEvent{i, {}});
    }
    for (uint32_t i = 0; i < CameraEventQueue::kBlockEntries; ++i) {
        ASSERT_EQ(queue.Pop().kind, i);
    }
    EXPECT_TRUE(queue.Empty());
    queue.Push(CameraEvent{42, {1}});
    EXPECT_EQ(queue.Pop().kind, 42u);
}

struct Step {
    int16_t imu;
    int16_t ao;
    int16_t tof;
    int16_t outImu;
    int16_t outFusion;
};

void RunSteps(const std::vector<Step> &steps) {
    InitScreenRotationFusionAlg();
    for (size_t i = 0; i < steps.size(); ++i) {
        RotationFusionInput in;
        in.lux = 100;
        in.imuRotation = steps[i].imu;
        in.aoRotation = steps[i].ao;
        in.tofRotation = steps[i].tof;
        RotationFusionOutput out;
        ASSERT_TRUE(RotationFusionAlg(&in, &out)) << "step " << i;
        EXPECT_EQ(out.imuRotation, steps[i].outImu) << "step " << i;
        EXPECT_EQ(out.fusionRotation, steps[i].outFusion) << "step " << i;
    }
}

TEST(RotationFusionTest, CameraWinsThenFreshMotionThenTheOldAnswer) {
    RunSteps({
        {2, -2, -2, 2, 2},    // no camera: the motion sensor's new value
        {2, -2, -2, 2, 2},    // same value: the old answer stands
        {1, 0, -2, 1, 0},     // always-on face beats the motion sensor
        {1, 0, 2, 1, 2},      // TOF beats always-on
        {-2, -2, -2, -1, 2},  // nothing: the last fusion, no motion value
        {0, -2, -2, 0, 0},    // the motion sensor changed
    });
}

TEST(RotationFusionTest, UpsideDownCameraIsDroppedFromTheInput) {
    InitScreenRotationFusionAlg();
    RotationFusionInput in;
    in.imuRotation = 1;
    in.tofRotation = 3;
    in.aoRotation = 2;
    RotationFusionOutput out;
    ASSERT_TRUE(RotationFusionAlg(&in, &out));
    EXPECT_EQ(out.fusionRotation, 1);
    EXPECT_EQ(in.tofRotation, -2);
    EXPECT_EQ(in.aoRotation, -2);
}

TEST(RotationFusionTest, OutOfRangeFails) {
    InitScreenRotationFusionAlg();
    RotationFusionInput in;
    in.imuRotation = 4;
    RotationFusionOutput out;
    EXPECT_FALSE(RotationFusionAlg(&in, &out));
    EXPECT_EQ(out.imuRotation, -1);
    EXPECT_EQ(out.fusionRotation, -2);
    in.imuRotation = 0;
    in.lux = -1;
    EXPECT_FALSE(RotationFusionAlg(&in, &out));
    EXPECT_FALSE(RotationFusionAlg(nullptr, &out));
    EXPECT_FALSE(RotationFusionAlg(&in, nullptr));
}

}  // namespace

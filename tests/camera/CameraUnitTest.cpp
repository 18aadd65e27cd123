// The camera's building blocks on their own: the block queue of events with
// its bound on waiting frames, and the rotation fusion with its history.
#include <gtest/gtest.h>

#include <string>
#include <vector>

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

// Frames carry their number in data[0]; other events are kind 6 with theirs.
constexpr uint32_t kFrame = CameraEventQueue::kFrameKind;
constexpr uint32_t kOther = 6;

CameraEvent Ev(uint32_t kind, uint8_t tag) {
    return CameraEvent{kind, {tag}};
}

// The queue's contents as "F<n>" and "S<n>", popping everything.
std::vector<std::string> Drain(CameraEventQueue &queue) {
    std::vector<std::string> out;
    while (!queue.Empty()) {
        const CameraEvent event = queue.Pop();
        out.push_back((event.kind == kFrame ? "F" : "S") + std::to_string(event.data.at(0)));
    }
    return out;
}

TEST(CameraEventQueueTest, NewerFrameTakesThePlaceOfTheOldestWaitingOne) {
    CameraEventQueue queue;
    EXPECT_FALSE(queue.Push(Ev(kFrame, 1)));
    EXPECT_FALSE(queue.Push(Ev(kOther, 1)));
    EXPECT_FALSE(queue.Push(Ev(kFrame, 2)));
    EXPECT_FALSE(queue.Push(Ev(kOther, 2)));
    EXPECT_EQ(queue.WaitingFrames(), 2u);
    // The third frame pushes the first out, to the caller; the gap closes.
    CameraEvent dropped;
    EXPECT_TRUE(queue.Push(Ev(kFrame, 3), &dropped));
    EXPECT_EQ(dropped.kind, kFrame);
    EXPECT_EQ(dropped.data, std::vector<uint8_t>{1});
    EXPECT_EQ(queue.Size(), 4u);
    EXPECT_EQ(queue.WaitingFrames(), 2u);
    // Other events are never dropped, however many wait.
    for (uint8_t i = 3; i < 10; ++i) {
        EXPECT_FALSE(queue.Push(Ev(kOther, i)));
    }
    EXPECT_TRUE(queue.Push(Ev(kFrame, 4)));
    EXPECT_EQ(Drain(queue), (std::vector<std::string>{"S1", "S2", "F3", "S3", "S4", "S5", "S6",
                                                      "S7", "S8", "S9", "F4"}));
    EXPECT_EQ(queue.WaitingFrames(), 0u);

    // A frame taken by the consumer no longer counts.
    queue.Push(Ev(kFrame, 5));
    queue.Push(Ev(kFrame, 6));
    EXPECT_EQ(queue.Pop().data.at(0), 5);
    EXPECT_FALSE(queue.Push(Ev(kFrame, 7)));
    EXPECT_EQ(Drain(queue), (std::vector<std::string>{"F6", "F7"}));
}

TEST(CameraEventQueueTest, FloodStaysBoundedAcrossBlockEdges) {
    CameraEventQueue queue;
    // 126 others and two frames fill the first block exactly; the next frame
    // opens a block whose only entry moves back into the first when the
    // oldest frame goes, so the new block is given back.
    for (uint8_t i = 0; i < 126; ++i) {
        queue.Push(Ev(kOther, i));
    }
    queue.Push(Ev(kFrame, 200));
    queue.Push(Ev(kFrame, 201));
    EXPECT_TRUE(queue.Push(Ev(kFrame, 202)));
    EXPECT_EQ(queue.Size(), CameraEventQueue::kBlockEntries);
    // A flood with a few others among the frames.
    size_t dropped = 0;
    for (int i = 0; i < 5000; ++i) {
        if (i % 1000 == 999) {
            queue.Push(Ev(kOther, static_cast<uint8_t>(126 + i / 1000)));
        }
        dropped += queue.Push(Ev(kFrame, static_cast<uint8_t>(i % 256))) ? 1 : 0;
        ASSERT_LE(queue.Size(), 126u + 5u + CameraEventQueue::kMaxWaitingFrames);
    }
    EXPECT_EQ(dropped, 5000u);
    std::vector<std::string> want;
    for (int i = 0; i < 130; ++i) {
        want.push_back("S" + std::to_string(i));
    }
    // The last other came between the last two frames.
    want.push_back("F" + std::to_string(4998 % 256));
    want.push_back("S130");
    want.push_back("F" + std::to_string(4999 % 256));
    EXPECT_EQ(Drain(queue), want);
    // Still a working queue afterwards.
    for (uint8_t i = 0; i < 200; ++i) {
        queue.Push(Ev(kOther, i));
    }
    EXPECT_EQ(Drain(queue).size(), 200u);
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

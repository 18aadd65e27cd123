// The rules of the stand-in gesture and posture libraries, driven through
// their exported entry points.
#include <gtest/gtest.h>
#include <time.h>

#include <thread>

#include "platform/api/back_tap_alg_api.h"
#include "platform/api/back_tap_fusion_api.h"
#include "platform/api/flip_wrist_api.h"
#include "platform/api/motion_api.h"
#include "platform/api/rotation_gesture_api.h"
#include "platform/api/vyr_fold_api.h"
#include "sim/StandinLib.h"

namespace {

uint64_t MonoMs() {
    struct timespec ts = {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

}  // namespace

TEST(MotionStandin, FlipNeedsHalfASecondOfGravityOnOneSide) {
    StandinLib lib("motion");
    ASSERT_TRUE(lib.IsOpen()) << lib.Error();
    auto flip = lib.Get<FlipGestrueRecognize_t>("FlipGestrueRecognize");
    auto clean = lib.Get<CleanStatusForFlip_t>("CleanStatusForFlip");
    ASSERT_NE(flip, nullptr);
    ASSERT_NE(clean, nullptr);
    for (int i = 0; i < 49; ++i) {
        ASSERT_EQ(flip(0, 0, -981), 0) << i;
    }
    EXPECT_EQ(flip(0, 0, -981), 1);
    EXPECT_EQ(flip(0, 0, -981), 1);
    // A tilted sample breaks the run; the reset does too.
    EXPECT_EQ(flip(0, 700, -700), 0);
    for (int i = 0; i < 49; ++i) {
        flip(0, 0, 981);
    }
    clean();
    EXPECT_EQ(flip(0, 0, 981), 0);
}

TEST(MotionStandin, OrientationAndPickCall) {
    StandinLib lib("motion");
    ASSERT_TRUE(lib.IsOpen()) << lib.Error();
    auto orientation = lib.Get<oritationRecognize_t>("oritationRecognize");
    auto pick = lib.Get<ProximityGestureRecognize_t>("ProximityGestureRecognize");
    ASSERT_NE(orientation, nullptr);
    ASSERT_NE(pick, nullptr);
    EXPECT_EQ(orientation(0, 981, 0, 0, nullptr), 0);
    EXPECT_EQ(orientation(981, 0, 0, 0, nullptr), 1);
    EXPECT_EQ(orientation(0, -981, 0, 0, nullptr), 2);
    EXPECT_EQ(orientation(-981, 0, 0, 0, nullptr), 3);
    EXPECT_EQ(orientation(0, 0, 981, 0, nullptr), 254);
    for (int i = 0; i < 9; ++i) {
        ASSERT_EQ(pick(0, 900, 300, 0, 0, 0, 1, 1, nullptr), 99);
    }
    EXPECT_EQ(pick(0, 900, 300, 0, 0, 0, 1, 1, nullptr), 1);
    for (int i = 0; i < 9; ++i) {
        ASSERT_EQ(pick(0, 900, 300, 0, 0, 0, 0, 1, nullptr), 99);
    }
    EXPECT_EQ(pick(0, 900, 300, 0, 0, 0, 0, 1, nullptr), 2);
    // Lying flat is never a pick-call.
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(pick(0, 0, 981, 0, 0, 0, 1, 1, nullptr), 99);
    }
}

TEST(MotionStandin, WristFlipAndRotationGestureCountFastTurns) {
    StandinLib wrist("FlipWristScanCode");
    StandinLib rotation("RotationGesture");
    ASSERT_TRUE(wrist.IsOpen()) << wrist.Error();
    ASSERT_TRUE(rotation.IsOpen()) << rotation.Error();
    auto flip = wrist.Get<WristFlipGestureRecognize_t>("WristFlipGestureRecognize");
    auto version = wrist.Get<GetWristFlipVersion_t>("GetWristFlipVersion");
    auto turn = rotation.Get<RotationRecognize_t>("RotationRecognize");
    ASSERT_NE(flip, nullptr);
    ASSERT_NE(version, nullptr);
    ASSERT_NE(turn, nullptr);
    EXPECT_EQ(version(), 201);
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(flip(0, 0, 981, 0, 400, 0, nullptr), 0);
    }
    EXPECT_EQ(flip(0, 0, 981, 0, -400, 0, nullptr), 1);
    EXPECT_EQ(flip(0, 0, 981, 0, 100, 0, nullptr), 0);

    const int16_t still[3] = {0, 0, 981};
    const int16_t spin[3] = {0, 0, 300};
    for (int i = 0; i < 9; ++i) {
        ASSERT_EQ(turn(still, still, spin, still, nullptr), 2);
    }
    EXPECT_EQ(turn(still, still, spin, still, nullptr), 1);
    const int16_t calm[3] = {0, 0, 0};
    EXPECT_EQ(turn(still, still, calm, still, nullptr), 0);
}

TEST(FoldStandin, AngleBandsWithHysteresis) {
    StandinLib lib("VyrFold");
    ASSERT_TRUE(lib.IsOpen()) << lib.Error();
    auto init = lib.Get<initPostureParameter_t>("initPostureParameter");
    auto detect = lib.Get<FlodableGestrueDetect_t>("FlodableGestrueDetect");
    ASSERT_NE(init, nullptr);
    ASSERT_NE(detect, nullptr);
    const int16_t flat[3] = {0, 0, 981};
    auto posture = [&](int32_t angle, const int16_t *acc1 = nullptr) {
        fold_posture_result_t result{};
        int32_t found = detect(flat, 3, acc1 != nullptr ? acc1 : flat, 3, angle, &result, 0, 0,
                               0.001f, 0.0f, 0.0f, 9.81f);
        return found != 0 ? result.posture : -1;
    };
    EXPECT_EQ(posture(90), -1);
    init(180, flat, 3, flat, 3);
    EXPECT_EQ(posture(145), 3);
    EXPECT_EQ(posture(139), 2);
    EXPECT_EQ(posture(35), 2);
    EXPECT_EQ(posture(29), 1);
    EXPECT_EQ(posture(39), 1);
    const int16_t standing[3] = {0, 950, 0};
    EXPECT_EQ(posture(90, standing), 256);
    EXPECT_EQ(posture(39), 1);
    EXPECT_EQ(posture(40), 2);
    EXPECT_EQ(posture(151), 3);
}

TEST(BackTapStandin, DoubleAndTripleKnocks) {
    StandinLib lib("BackTapAlg");
    ASSERT_TRUE(lib.IsOpen()) << lib.Error();
    auto init = lib.Get<BackTapAlg_Init_t>("BackTapAlg_Init");
    auto process = lib.Get<BackTapAlg_Process_t>("BackTapAlg_Process");
    auto triple = lib.Get<BackTapAlg_EnableTripleTap_t>("BackTapAlg_EnableTripleTap");
    auto display = lib.Get<BackTapAlg_SetDisplayMode_t>("BackTapAlg_SetDisplayMode");
    ASSERT_NE(init, nullptr);
    ASSERT_NE(process, nullptr);
    ASSERT_NE(triple, nullptr);
    ASSERT_NE(display, nullptr);
    int64_t now = 1000000000;
    // One sample per 2.5 ms; a knock is one sample far from its neighbours.
    auto run = [&](int samples, bool knockFirst) {
        int32_t found = 0;
        for (int i = 0; i < samples; ++i) {
            const int32_t acc[6] = {0, 0, (knockFirst && i == 0) ? 1800 : 981, 0, 0, 981};
            back_tap_record_t record{};
            process(now, acc, &record, nullptr);
            now += 2500000;
            if (record.value[0] != 0) {
                found = record.value[0] * 100 + record.value[1];
            }
        }
        return found;
    };
    EXPECT_EQ(run(1, true) + run(80, false), 0);  // nothing before the start
    init(nullptr);
    display(3);
    EXPECT_EQ(run(1, false), 0);
    EXPECT_EQ(run(80, true), 0);
    EXPECT_EQ(run(80, true), 203);
    // Two knocks too far apart are no double tap.
    EXPECT_EQ(run(240, true), 0);
    EXPECT_EQ(run(80, true), 0);
    // Triple taps on: three knocks report 3; two report 2 once the series ends.
    triple(1, nullptr);
    run(400, false);
    EXPECT_EQ(run(80, true) + run(80, true), 0);
    EXPECT_EQ(run(80, true), 303);
    EXPECT_EQ(run(80, true) + run(80, true), 0);
    EXPECT_EQ(run(200, false), 203);
}

TEST(BackTapStandin, FusionVetoesTapsNearATouch) {
    StandinLib lib("BackTapFusion");
    ASSERT_TRUE(lib.IsOpen()) << lib.Error();
    auto init = lib.Get<BackTapFusion_Init_t>("BackTapFusion_Init");
    auto judge = lib.Get<BackTapFusion_FusionTp_t>("BackTapFusion_FusionTp");
    auto down = lib.Get<BackTapFusion_TouchDown_t>("BackTapFusion_TouchDown");
    auto up = lib.Get<BackTapFusion_TouchUp_t>("BackTapFusion_TouchUp");
    ASSERT_NE(init, nullptr);
    ASSERT_NE(judge, nullptr);
    ASSERT_NE(down, nullptr);
    ASSERT_NE(up, nullptr);
    auto verdict = [&]() {
        back_tap_record_t record{};
        record.value[0] = 2;
        record.timeMs = MonoMs();
        judge(&record, nullptr);
        return record.value[0];
    };
    init(nullptr);
    EXPECT_EQ(verdict(), 2);
    down(0, 1, 100, 200, nullptr);
    EXPECT_EQ(verdict(), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(verdict(), 0);  // the finger is still down
    up(0, 1, 0, 0, nullptr);
    EXPECT_EQ(verdict(), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(verdict(), 2);
}

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "hal/VyrHal.h"
#include "log/LogTestSupport.h"
#include "log/VyrFrame.h"

namespace {

ASensorEvent MakeEvent(int32_t type, int64_t timestamp, float x) {
    ASensorEvent event{};
    event.sensor = type;
    event.type = type;
    event.timestamp = timestamp;
    event.data[0] = x;
    SetEventArrivalMs(event, static_cast<uint64_t>(timestamp) / 1000000 + 1000);
    return event;
}

class VyrFrameTest : public vyr_log_test::LogSandbox {
protected:
    void SetUp() override {
        LogSandbox::SetUp();
        mHal = &NewHal();
        mHal->SetLogEnable(true);
        mFrame = std::make_unique<VyrFrame>(*mHal);
    }

    VyrHal *mHal = nullptr;
    std::unique_ptr<VyrFrame> mFrame;
};

TEST_F(VyrFrameTest, FastSensorWarnsOnceAtTwiceItsRateThenStops) {
    VyrFrameData &data = mFrame->GetData();
    const std::string warning = "sensor: 1 expect size 51, but 102, sensor running in deepsleep !";
    for (int i = 0; i < 102; ++i) {
        data.AddEvent(MakeEvent(1, i, 0.0f), 51, true);
    }
    EXPECT_TRUE(ParsedLogcat(warning).empty());
    EXPECT_EQ(data.GetSensorLists()[1].size(), 102u);

    // Reaching the cap warns and still keeps this one event...
    data.AddEvent(MakeEvent(1, 102, 0.0f), 51, true);
    std::vector<vyr_log_test::LogcatLine> warnings = ParsedLogcat(warning);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0].letter, 'W');
    EXPECT_EQ(warnings[0].message, warning);
    EXPECT_EQ(data.GetSensorLists()[1].size(), 103u);

    // ...then the list stops growing, silently, while the newest event moves on.
    for (int i = 103; i < 300; ++i) {
        data.AddEvent(MakeEvent(1, i, 0.0f), 51, true);
    }
    EXPECT_EQ(data.GetSensorLists()[1].size(), 103u);
    EXPECT_EQ(data.GetSensorLists()[1].back().timestamp, 102);
    EXPECT_EQ(data.GetEvent(1).timestamp, 299);
    EXPECT_EQ(ParsedLogcat("deepsleep").size(), 1u);

    // A new cycle starts a new list and may warn again.
    data.Reset();
    for (int i = 0; i < 110; ++i) {
        data.AddEvent(MakeEvent(1, i, 0.0f), 51, true);
    }
    EXPECT_EQ(data.GetSensorLists()[1].size(), 103u);
    EXPECT_EQ(ParsedLogcat(warning).size(), 2u);
}

TEST_F(VyrFrameTest, SlowSensorIsBoundedWithoutWarning) {
    VyrFrameData &data = mFrame->GetData();
    for (int i = 0; i < 150; ++i) {
        data.AddEvent(MakeEvent(8, i, 1.0f), 50, true);
    }
    EXPECT_EQ(data.GetSensorLists()[8].size(), 101u);
    EXPECT_TRUE(ParsedLogcat("deepsleep").empty());
}

TEST_F(VyrFrameTest, EventsOutsideTheListOnlyReplaceTheNewest) {
    VyrFrameData &data = mFrame->GetData();
    data.AddEvent(MakeEvent(4, 10, 1.0f), 100, false);
    data.AddEvent(MakeEvent(4, 20, 2.0f), 100, false);
    EXPECT_EQ(data.GetSensorLists().count(4), 0u);
    ASSERT_EQ(data.GetLatestEvents().size(), 1u);
    EXPECT_EQ(data.GetEvent(4).timestamp, 20);
    EXPECT_FLOAT_EQ(data.GetEvent(4).data[0], 2.0f);

    // AddEvents has no bound and leaves the newest events alone.
    std::vector<ASensorEvent> batch(500, MakeEvent(0x20001, 5, 3.0f));
    data.AddEvents(0xF2000000u, batch);
    data.AddEvents(0xF2000000u, batch.data(), 10);
    data.AddEvents(0xF2000000u, nullptr, 10);
    EXPECT_EQ(data.GetSensorLists()[0xF2000000u].size(), 510u);
    EXPECT_EQ(data.GetLatestEvents().size(), 1u);

    data.RemoveEvent(4);
    EXPECT_EQ(data.GetEvent(4).timestamp, 0);
    EXPECT_EQ(data.GetEvent(4).type, 4);
}

TEST_F(VyrFrameTest, UnseenTypesYieldTheSharedDefault) {
    VyrFrameData &data = mFrame->GetData();
    ASensorEvent light = data.GetEvent(5);
    EXPECT_EQ(light.type, 5);
    EXPECT_EQ(light.timestamp, 0);
    EXPECT_FLOAT_EQ(light.data[0], 35.0f);
    EXPECT_FLOAT_EQ(light.data[1], 0.0f);

    // Another miss overwrites the type only; the data stay as they were.
    ASensorEvent other = data.GetEvent(7);
    EXPECT_EQ(other.type, 7);
    EXPECT_EQ(other.timestamp, 0);
    EXPECT_FLOAT_EQ(other.data[0], 35.0f);

    // The default is a copy: a caller's change does not leak into it.
    other.timestamp = 99;
    EXPECT_EQ(data.GetEvent(9).timestamp, 0);

    // A seen light sensor answers with its own value.
    data.AddEvent(MakeEvent(5, 1, 120.0f), 5, false);
    EXPECT_FLOAT_EQ(data.GetEvent(5).data[0], 120.0f);

    // Misses on many threads each see their own type.
    std::vector<std::thread> threads;
    std::vector<int> wrong(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&data, &wrong, t] {
            for (int i = 0; i < 2000; ++i) {
                int32_t type = 1000 + t;
                if (data.GetEvent(type).type != type) {
                    ++wrong[t];
                }
            }
        });
    }
    for (auto &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

TEST_F(VyrFrameTest, ResetKeepsTheLastKnownState) {
    VyrFrameData &data = mFrame->GetData();
    data.AddEvent(MakeEvent(1, 42, 9.5f), 100, true);
    data.SetSensorName(1, "vendor,acc,continue");
    data.AddCtrlFlag(0x3);
    data.SetFeature(0x10u);
    data.SetScenario(7);
    data.SetRotate(90);
    VyrFsLog fsLog{};
    fsLog.time = 5;
    data.AddFsLog(fsLog);
    data.AddEventRecord(1, 2, 3, 4);
    data.AddBlob(1, 2, 3, nullptr, 0);
    data.AddImage("/data/vendor/log/vyrlog/img", "a.raw", {1, 2, 3});
    data.AddCameraRecord({4, 5});
    mFrame->SetLogText("log text\n");
    mFrame->SetHeadText("head");
    mFrame->GetMark().Set(77, 3);
    ASSERT_TRUE(mFrame->IsAvailable());

    mFrame->Reset();

    EXPECT_FALSE(mFrame->IsAvailable());
    EXPECT_EQ(mFrame->GetLogText(), "");
    EXPECT_EQ(mFrame->GetHeadText(), "");
    EXPECT_EQ(mFrame->GetMark().GetFlag(), 0);
    EXPECT_EQ(mFrame->GetMark().GetValue(), 77u);
    EXPECT_TRUE(data.GetSensorLists().empty());
    EXPECT_TRUE(data.GetFsLogList().empty());
    EXPECT_TRUE(data.GetEventRecords().empty());
    EXPECT_TRUE(data.GetBlobRecords().empty());
    EXPECT_TRUE(data.GetImages().empty());
    EXPECT_TRUE(data.GetCameraRecords().empty());

    EXPECT_EQ(data.GetEvent(1).timestamp, 42);
    EXPECT_FLOAT_EQ(data.GetEvent(1).data[0], 9.5f);
    EXPECT_EQ(data.GetSensorName(1), "vendor,acc,continue");
    EXPECT_EQ(data.GetCtrlFlag(), 0x3u);
    EXPECT_EQ(data.GetFeature(), 0x10u);
    EXPECT_EQ(data.GetScenario(), 7u);
    EXPECT_EQ(data.GetRotate(), 90);
}

TEST_F(VyrFrameTest, AvailabilityFollowsFileLogging) {
    EXPECT_FALSE(mFrame->IsAvailable());
    mFrame->GetData();
    EXPECT_TRUE(mFrame->IsAvailable());
    mFrame->SetAvailable(false);
    EXPECT_FALSE(mFrame->IsAvailable());

    mHal->SetLogEnable(false);
    mFrame->GetData();
    EXPECT_FALSE(mFrame->IsAvailable());
    mFrame->SetAvailable(true);
    EXPECT_FALSE(mFrame->IsAvailable());
}

TEST_F(VyrFrameTest, CopyFromTakesEverything) {
    VyrFrame source(*mHal);
    VyrFrameData &data = source.GetData();
    data.AddEvent(MakeEvent(1, 11, 1.5f), 100, true);
    data.AddEvent(MakeEvent(4, 12, 2.5f), 100, true);
    data.SetSensorName(4, "vendor,gyro,continue");
    data.SetCtrlFlag(0x8, true);
    data.SetRotate(-90);
    data.AddEventRecord(9, 8, 7, 0x123456789ULL);
    source.SetLogText("one\ntwo\n");
    source.SetHeadText("head");
    source.GetMark().Set(5, 6);
    source.Stamp();
    uint64_t stamp = source.GetTimestamp();
    EXPECT_NEAR(static_cast<double>(stamp), static_cast<double>(VyrHal::MonoTimeMs()), 1000.0);

    mFrame->CopyFrom(source);

    EXPECT_TRUE(mFrame->IsAvailable());
    EXPECT_EQ(mFrame->GetTimestamp(), stamp);
    EXPECT_EQ(mFrame->GetLogText(), "one\ntwo\n");
    EXPECT_EQ(mFrame->GetHeadText(), "head\n");
    EXPECT_EQ(mFrame->GetMark().GetValue(), 5u);
    EXPECT_EQ(mFrame->GetMark().GetFlag(), 6);
    VyrFrameData &copy = mFrame->GetData();
    EXPECT_EQ(copy.GetSensorLists()[1].size(), 1u);
    EXPECT_EQ(copy.GetSensorLists()[4].size(), 1u);
    EXPECT_EQ(copy.GetEvent(4).timestamp, 12);
    EXPECT_EQ(copy.GetSensorName(4), "vendor,gyro,continue");
    EXPECT_EQ(copy.ToString(), data.ToString());
    ASSERT_EQ(copy.GetEventRecords().size(), 1u);
    EXPECT_EQ(copy.GetEventRecords()[0].value, 0x123456789ULL);

    // A deep copy: resetting the source leaves the copy whole.
    source.Reset();
    EXPECT_EQ(copy.GetSensorLists()[1].size(), 1u);
    EXPECT_EQ(mFrame->GetLogText(), "one\ntwo\n");

    // Copying a frame onto itself changes nothing.
    mFrame->CopyFrom(*mFrame);
    EXPECT_EQ(mFrame->GetLogText(), "one\ntwo\n");
}

TEST_F(VyrFrameTest, CopiesWhileProducersAdd) {
    VyrFrameData &data = mFrame->GetData();
    std::thread producer([&data] {
        for (int i = 0; i < 3000; ++i) {
            data.AddEvent(MakeEvent(1, i, 0.0f), 2000, true);
        }
    });
    for (int i = 0; i < 50; ++i) {
        VyrFrame copy(*mHal);
        copy.CopyFrom(*mFrame);
        size_t size = copy.GetData().GetSensorLists()[1].size();
        EXPECT_LE(size, 3000u);
    }
    producer.join();
    EXPECT_EQ(data.GetSensorLists()[1].size(), 3000u);
}

TEST_F(VyrFrameTest, FlagWords) {
    VyrFrameData &data = mFrame->GetData();
    EXPECT_EQ(data.ToString(), "ctrlflag=[0000]\tfeature=[ffffffff]\tscenario=[0000]\trotate=[0]");

    data.AddCtrlFlag(0x13);
    data.ClearCtrlFlag(0x1);
    data.SetCtrlFlag(0x100, true);
    data.SetCtrlFlag(0x2, false);
    EXPECT_EQ(data.GetCtrlFlag(), 0x110u);

    EXPECT_FALSE(data.SetFeatureBits(0x4, true));
    EXPECT_TRUE(data.SetFeatureBits(0x4, false));
    EXPECT_FALSE(data.SetFeatureBits(0x4, false));
    EXPECT_TRUE(data.SetFeature(0xABu));
    EXPECT_FALSE(data.SetFeature(0xABu));
    data.SetScenario(0xBCDEF);
    data.SetRotate(-270);
    EXPECT_EQ(data.ToString(), "ctrlflag=[0110]\tfeature=[00ab]\tscenario=[bcdef]\trotate=[-270]");
}

TEST_F(VyrFrameTest, TextsAndNames) {
    mFrame->SetHeadText("version 1");
    EXPECT_EQ(mFrame->GetHeadText(), "version 1\n");
    mFrame->SetHeadText("");
    EXPECT_EQ(mFrame->GetHeadText(), "");

    VyrFrameData &data = mFrame->GetData();
    EXPECT_EQ(data.GetSensorName(0xF0000001u), "private,tolvi,unknow");
    data.SetSensorName(0xF0000001u, "private,fs,onchange");
    EXPECT_EQ(data.GetSensorName(0xF0000001u), "private,fs,onchange");
}

TEST_F(VyrFrameTest, RecordsAndTheirLogLines) {
    VyrFrameData &data = mFrame->GetData();

    std::vector<uint8_t> big(5000);
    for (size_t i = 0; i < big.size(); ++i) {
        big[i] = static_cast<uint8_t>(i);
    }
    data.AddBlob(7, 0xF1000001u, 99, big.data(), big.size());
    std::vector<uint8_t> small = {1, 2, 3};
    data.AddBlob(0, 2, 3, small.data(), small.size());
    ASSERT_EQ(data.GetBlobRecords().size(), 2u);
    const VyrBlobRecord &first = data.GetBlobRecords()[0];
    EXPECT_EQ(first.flag, 1);
    EXPECT_EQ(first.kind, 0xF1000001u);
    EXPECT_EQ(first.value, 99u);
    EXPECT_EQ(memcmp(first.content, big.data(), VyrBlobRecord::kContentSize), 0);
    const VyrBlobRecord &second = data.GetBlobRecords()[1];
    EXPECT_EQ(second.flag, 0);
    EXPECT_EQ(second.content[2], 3);
    EXPECT_EQ(second.content[3], 0);

    std::vector<uint8_t> raw(900, 0);
    uint64_t time = 1769862605042ULL;
    memcpy(raw.data() + 8, &time, sizeof(time));
    int32_t result = -4;
    memcpy(raw.data() + 804, &result, sizeof(result));
    EXPECT_TRUE(data.AddFsLog(raw.data(), raw.size()));
    EXPECT_FALSE(data.AddFsLog(raw.data(), 823));
    EXPECT_FALSE(data.AddFsLog(nullptr, 900));
    ASSERT_EQ(data.GetFsLogList().size(), 1u);
    EXPECT_EQ(data.GetFsLogList()[0].time, time);
    EXPECT_EQ(data.GetFsLogList()[0].result, -4);

    data.AddImage("/data/vendor/log/vyrlog/face", "img_1.raw", {1, 2, 3, 4});
    ASSERT_EQ(data.GetImages().size(), 1u);
    EXPECT_EQ(data.GetImages()[0].bytes.size(), 4u);
    std::vector<vyr_log_test::LogcatLine> saved = ParsedLogcat("save ");
    ASSERT_EQ(saved.size(), 1u);
    EXPECT_EQ(saved[0].letter, 'I');
    EXPECT_EQ(saved[0].message, "save /data/vendor/log/vyrlog/face img_1.raw");

    data.AddEvent(MakeEvent(1, 1, 0.0f), 100, true);
    data.AddEvent(MakeEvent(1, 2, 0.0f), 100, true);
    data.AddEvents(0xF2000000u, std::vector<ASensorEvent>(3, MakeEvent(1, 3, 0.0f)));
    data.Dump();
    std::vector<vyr_log_test::LogcatLine> dump = ParsedLogcat("mSensorLists size");
    ASSERT_EQ(dump.size(), 1u);
    EXPECT_EQ(dump[0].letter, 'I');
    EXPECT_EQ(dump[0].message, "mSensorLists size: 5, mFsLogList size: 1");
}

}  // namespace

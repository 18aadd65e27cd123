// The simulated fusion channel, loaded as the library loads it: its frames,
// its configuration checks, injected frames and the hub's restart.
#include <gtest/gtest.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "libs/FusionSense/fusion_sense_sim.h"
#include "platform/api/fusion_sense_api.h"
#include "sim/StandinLib.h"

namespace {

using namespace std::chrono_literals;

int64_t BootNs() {
    timespec ts{};
    clock_gettime(CLOCK_BOOTTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

uint32_t Sum(const std::string &data) {
    uint32_t sum = 0;
    for (unsigned char c : data) {
        sum += c;
    }
    return sum;
}

struct Entry {
    int channel;
    float x, y, z;
};

// The 16-byte entries of a plain frame; the unused bytes must be zero.
std::vector<Entry> Entries(const std::string &data) {
    std::vector<Entry> out;
    for (size_t at = 0; at + FUSION_SENSE_ENTRY_SIZE <= data.size();
         at += FUSION_SENSE_ENTRY_SIZE) {
        Entry entry{};
        entry.channel = static_cast<unsigned char>(data[at]);
        EXPECT_EQ(data.compare(at + 1, 3, std::string(3, '\0')), 0) << "bytes 1..3 of an entry";
        memcpy(&entry.x, data.data() + at + 4, 4);
        memcpy(&entry.y, data.data() + at + 8, 4);
        memcpy(&entry.z, data.data() + at + 12, 4);
        out.push_back(entry);
    }
    return out;
}

std::string EntryBytes(int channel, float x, float y, float z) {
    std::string out(FUSION_SENSE_ENTRY_SIZE, '\0');
    out[0] = static_cast<char>(channel);
    memcpy(&out[4], &x, 4);
    memcpy(&out[8], &y, 4);
    memcpy(&out[12], &z, 4);
    return out;
}

class FrameCollector {
public:
    struct Call {
        FSEventStruct frame;
        bool reset;
        int64_t arrivalNs;
    };

    static void Callback(FSEventStruct &frame, bool reset, void *cookie) {
        auto *self = static_cast<FrameCollector *>(cookie);
        std::lock_guard<std::mutex> lock(self->mMutex);
        self->mCalls.push_back(Call{frame, reset, BootNs()});
    }

    std::vector<Call> Calls() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mCalls;
    }

    size_t Count() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mCalls.size();
    }

    void Clear() {
        std::lock_guard<std::mutex> lock(mMutex);
        mCalls.clear();
    }

private:
    std::mutex mMutex;
    std::vector<Call> mCalls;
};

FusionSenseConfig Config(int32_t reportRate, std::vector<float> rates, int32_t beta = 0) {
    FusionSenseConfig config;
    config.reportRate = reportRate;
    config.betaConfig = beta;
    config.bufferSize = beta != 0 ? 0x13000 : 0;
    config.channelRates = std::move(rates);
    return config;
}

// clang-format off
#define FUSION_API(X) \
    X(FusionSenseInit) X(FusionSenseUnInit) X(FusionSenseActivate) X(FusionSenseFlush) \
    X(FusionSimInjectFrame) X(FusionSimHubRestart) X(FusionSimPauseFrames) \
    X(FusionSimSetChannelValue) X(FusionSimIsOpen) X(FusionSimIsActive) X(FusionSimGetConfig) \
    X(FusionSimCallCount) X(FusionSimChecksum) X(FusionSimNowNs) X(FusionSimSync) \
    X(FusionSimReset)
// clang-format on

class FusionStandinTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(mLib.IsOpen()) << mLib.Error();
#define RESOLVE(name)                 \
    name = mLib.Get<name##_t>(#name); \
    ASSERT_NE(name, nullptr) << "missing " #name;
        FUSION_API(RESOLVE)
#undef RESOLVE
        FusionSimReset();
    }

    void TearDown() override {
        if (mLib.IsOpen() && FusionSimReset != nullptr) {
            FusionSimReset();
        }
    }

    void Open() {
        ASSERT_EQ(FusionSenseInit(&FrameCollector::Callback, &mFrames, 0), 0);
    }

    StandinLib mLib{"FusionSense"};
    FrameCollector mFrames;
#define DECLARE(name) name##_t name = nullptr;
    FUSION_API(DECLARE)
#undef DECLARE
};

TEST_F(FusionStandinTest, FramesCarryTheConfiguredChannels) {
    Open();
    EXPECT_TRUE(FusionSimIsOpen());
    EXPECT_FALSE(FusionSimIsActive());
    EXPECT_TRUE(FusionSimSetChannelValue(3, 0.5f, -0.5f, 9.5f));
    int64_t start = BootNs();
    FusionSenseConfig config = Config(5, {400, 0, 0, 100, 0, 0});
    ASSERT_EQ(FusionSenseActivate(config, true), 0);
    EXPECT_TRUE(FusionSimIsActive());
    FusionSenseConfig stored;
    bool enable = false;
    ASSERT_TRUE(FusionSimGetConfig(&stored, &enable));
    EXPECT_TRUE(enable);
    EXPECT_EQ(stored.reportRate, 5);
    EXPECT_EQ(stored.channelRates, config.channelRates);

    std::this_thread::sleep_for(1100ms);
    std::vector<FrameCollector::Call> calls = mFrames.Calls();
    ASSERT_GE(calls.size(), 4u);
    EXPECT_LE(calls.size(), 7u);
    uint64_t previous = 0;
    for (const FrameCollector::Call &call : calls) {
        const FSEventStruct &f = call.frame;
        ASSERT_FALSE(call.reset);
        EXPECT_EQ(f.mode, 0);
        EXPECT_EQ(f.modeArg, 0);
        EXPECT_EQ(f.reportRate, 5.0f);
        ASSERT_EQ(f.data.size() % FUSION_SENSE_ENTRY_SIZE, 0u);
        EXPECT_EQ(f.checksum, Sum(f.data));
        EXPECT_EQ(f.checksum, FusionSimChecksum(f.data.data(), f.data.size()));
        EXPECT_GE(static_cast<int64_t>(f.timestamp), start) << "CLOCK_BOOTTIME of the first sample";
        EXPECT_LT(static_cast<int64_t>(f.timestamp), call.arrivalNs);
        EXPECT_LT(call.arrivalNs - static_cast<int64_t>(f.timestamp), 400000000);
        if (previous != 0) {
            EXPECT_NEAR(static_cast<double>(f.timestamp - previous), 200e6, 20e6);
        }
        previous = f.timestamp;
        std::map<int, int> perChannel;
        for (const Entry &entry : Entries(f.data)) {
            ++perChannel[entry.channel];
            if (entry.channel == 0) {
                EXPECT_EQ(entry.z, 9.80665f);
            } else if (entry.channel == 3) {
                EXPECT_EQ(entry.x, 0.5f);
                EXPECT_EQ(entry.y, -0.5f);
                EXPECT_EQ(entry.z, 9.5f);
            }
        }
        EXPECT_EQ(perChannel.size(), 2u) << "only channels 0 and 3";
        EXPECT_NEAR(perChannel[0], 80, 1);
        EXPECT_NEAR(perChannel[3], 20, 1);
    }

    // New rates take effect in the next frames.
    ASSERT_EQ(FusionSenseActivate(Config(5, {0, 50, 0, 100, 0, 0}), true), 0);
    ASSERT_EQ(FusionSimSync(1000), 0);
    std::this_thread::sleep_for(250ms);
    mFrames.Clear();
    std::this_thread::sleep_for(450ms);
    calls = mFrames.Calls();
    ASSERT_FALSE(calls.empty());
    std::set<int> channels;
    for (const FrameCollector::Call &call : calls) {
        for (const Entry &entry : Entries(call.frame.data)) {
            channels.insert(entry.channel);
        }
    }
    EXPECT_EQ(channels, (std::set<int>{1, 3}));

    // enable false turns the plain channels off.
    ASSERT_EQ(FusionSenseActivate(Config(5, {0, 50, 0, 100, 0, 0}), false), 0);
    EXPECT_FALSE(FusionSimIsActive());
    ASSERT_EQ(FusionSimSync(1000), 0);
    size_t stopped = mFrames.Count();
    std::this_thread::sleep_for(450ms);
    EXPECT_EQ(mFrames.Count(), stopped);
}

TEST_F(FusionStandinTest, ActivationIsCheckedAndCounted) {
    FusionSenseConfig good = Config(5, {400, 0, 0, 0, 0, 0});
    EXPECT_NE(FusionSenseActivate(good, true), 0) << "not open";
    EXPECT_NE(FusionSenseFlush(0), 0);
    EXPECT_NE(FusionSenseUnInit(0), 0);
    EXPECT_NE(FusionSenseInit(nullptr, nullptr, 0), 0);
    EXPECT_FALSE(FusionSimIsOpen());

    Open();
    EXPECT_NE(FusionSenseActivate(Config(5, {400, 0, 0, 0, 0}), true), 0) << "five rates";
    EXPECT_NE(FusionSenseActivate(Config(5, {400, -1, 0, 0, 0, 0}), true), 0);
    EXPECT_NE(FusionSenseActivate(Config(-5, {400, 0, 0, 0, 0, 0}), true), 0);
    EXPECT_FALSE(FusionSimGetConfig(nullptr, nullptr)) << "nothing accepted yet";
    ASSERT_EQ(FusionSenseActivate(good, true), 0);
    EXPECT_TRUE(FusionSimIsActive());
    EXPECT_EQ(FusionSenseFlush(0), 0);

    EXPECT_EQ(FusionSimCallCount("FusionSenseInit"), 2);
    EXPECT_EQ(FusionSimCallCount("FusionSenseActivate"), 5);
    EXPECT_EQ(FusionSimCallCount("FusionSenseFlush"), 2);
    EXPECT_EQ(FusionSimCallCount("FusionSenseUnInit"), 1);
    EXPECT_EQ(FusionSimCallCount("FusionSenseOther"), -1);

    ASSERT_EQ(FusionSenseUnInit(0), 0);
    EXPECT_FALSE(FusionSimIsOpen());
    EXPECT_FALSE(FusionSimIsActive());
    EXPECT_FALSE(FusionSimGetConfig(nullptr, nullptr)) << "a closed channel forgets";
    size_t closed = mFrames.Count();
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(mFrames.Count(), closed) << "no callback after FusionSenseUnInit";
}

TEST_F(FusionStandinTest, InjectedFramesComeThroughAsGiven) {
    FSEventStruct frame;
    EXPECT_EQ(FusionSimInjectFrame(frame), -1) << "not open";
    Open();
    ASSERT_EQ(FusionSenseActivate(Config(5, {100, 0, 0, 0, 0, 0}), true), 0);
    FusionSimPauseFrames(true);
    ASSERT_EQ(FusionSimSync(1000), 0);
    mFrames.Clear();

    std::vector<FSEventStruct> injected;
    FSEventStruct good;
    good.timestamp = static_cast<uint64_t>(FusionSimNowNs());
    good.reportRate = 5.0f;
    good.data = EntryBytes(0, 1.0f, 2.0f, 3.0f) + EntryBytes(3, 4.0f, 5.0f, 6.0f);
    good.checksum = Sum(good.data);
    FSEventStruct badChecksum = good;
    badChecksum.checksum += 1;
    injected.push_back(badChecksum);
    FSEventStruct old = good;
    old.timestamp = 1;
    injected.push_back(old);
    FSEventStruct stray = good;
    stray.data += EntryBytes(7, 0.0f, 0.0f, 0.0f);
    stray.checksum = Sum(stray.data);
    injected.push_back(stray);
    FSEventStruct failure;
    failure.modeArg = -3;
    failure.data = "hub watchdog";
    failure.checksum = Sum(failure.data);
    injected.push_back(failure);
    FSEventStruct dropped = good;
    dropped.modeArg = 3;
    injected.push_back(dropped);
    FSEventStruct ragged = good;
    ragged.data.pop_back();
    injected.push_back(ragged);
    injected.push_back(FSEventStruct{});
    for (const FSEventStruct &f : injected) {
        ASSERT_EQ(FusionSimInjectFrame(f), 0);
    }
    ASSERT_EQ(FusionSimSync(1000), 0);

    std::vector<FrameCollector::Call> calls = mFrames.Calls();
    ASSERT_EQ(calls.size(), injected.size()) << "paused: only the injected frames";
    for (size_t i = 0; i < calls.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_FALSE(calls[i].reset);
        EXPECT_EQ(calls[i].frame.mode, injected[i].mode);
        EXPECT_EQ(calls[i].frame.modeArg, injected[i].modeArg);
        EXPECT_EQ(calls[i].frame.timestamp, injected[i].timestamp);
        EXPECT_EQ(calls[i].frame.reportRate, injected[i].reportRate);
        EXPECT_EQ(calls[i].frame.data, injected[i].data);
        EXPECT_EQ(calls[i].frame.checksum, injected[i].checksum);
    }

    // The hub restarts: a reset, and the configuration is gone.
    mFrames.Clear();
    ASSERT_EQ(FusionSimHubRestart(), 0);
    ASSERT_EQ(FusionSimSync(1000), 0);
    calls = mFrames.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_TRUE(calls[0].reset);
    EXPECT_FALSE(FusionSimGetConfig(nullptr, nullptr));
    EXPECT_FALSE(FusionSimIsActive());
    EXPECT_TRUE(FusionSimIsOpen());
    FusionSimPauseFrames(false);
    std::this_thread::sleep_for(450ms);
    EXPECT_EQ(mFrames.Count(), 1u) << "no frames until the configuration comes again";
    ASSERT_EQ(FusionSenseActivate(Config(5, {100, 0, 0, 0, 0, 0}), true), 0);
    std::this_thread::sleep_for(450ms);
    EXPECT_GE(mFrames.Count(), 2u);
}

TEST_F(FusionStandinTest, FlushDeliversTheRunningPeriod) {
    Open();
    ASSERT_EQ(FusionSenseActivate(Config(1, {100, 0, 0, 0, 0, 0}), true), 0);
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(mFrames.Count(), 0u) << "the first frame is due after one second";
    ASSERT_EQ(FusionSenseFlush(0), 0);
    std::this_thread::sleep_for(100ms);
    std::vector<FrameCollector::Call> calls = mFrames.Calls();
    ASSERT_EQ(calls.size(), 1u);
    size_t entries = calls[0].frame.data.size() / FUSION_SENSE_ENTRY_SIZE;
    EXPECT_GE(entries, 20u);
    EXPECT_LE(entries, 45u);
    EXPECT_EQ(calls[0].frame.checksum, Sum(calls[0].frame.data));
}

TEST_F(FusionStandinTest, BetaFramesFollowTheBetaConfiguration) {
    Open();
    ASSERT_EQ(FusionSenseActivate(Config(0, {0, 0, 0, 0, 0, 0}, 1), false), 0);
    EXPECT_FALSE(FusionSimIsActive()) << "beta traffic only";
    std::this_thread::sleep_for(1300ms);
    std::vector<FrameCollector::Call> calls = mFrames.Calls();
    ASSERT_GE(calls.size(), 1u);
    const FSEventStruct &f = calls[0].frame;
    EXPECT_NE(f.mode, 0);
    EXPECT_EQ(f.checksum, Sum(f.data));
    // Records: type (2), reserved (2), timestamp (4), size (2), payload, reserved (2).
    std::vector<std::pair<uint16_t, uint16_t>> records;
    for (size_t at = 0; at + 12 <= f.data.size();) {
        uint16_t type = 0;
        uint16_t size = 0;
        memcpy(&type, f.data.data() + at, 2);
        memcpy(&size, f.data.data() + at + 8, 2);
        records.emplace_back(type, size);
        at += 12u + size;
    }
    EXPECT_EQ(records, (std::vector<std::pair<uint16_t, uint16_t>>{{0x1000, 600}, {0x1003, 44}}));
    EXPECT_EQ(f.data.size(), 12u + 600u + 12u + 44u);
}

// A callback that closes the channel from the library's own thread.
FusionSenseUnInit_t gUnInit = nullptr;
int gUnInitResult = 1;

TEST_F(FusionStandinTest, UnInitFromTheCallbackReturns) {
    gUnInit = FusionSenseUnInit;
    gUnInitResult = 1;
    FusionSenseCallback_t closeOnFirst = [](FSEventStruct &, bool, void *) {
        gUnInitResult = gUnInit(0);
    };
    ASSERT_EQ(FusionSenseInit(closeOnFirst, nullptr, 0), 0);
    ASSERT_EQ(FusionSenseActivate(Config(50, {400, 0, 0, 0, 0, 0}), true), 0);
    for (int i = 0; i < 50 && FusionSimIsOpen(); ++i) {
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_FALSE(FusionSimIsOpen());
    ASSERT_EQ(FusionSimSync(1000), 0);
    EXPECT_EQ(gUnInitResult, 0);
}

void StreamThenExit() {
    StandinLib lib("FusionSense");
    auto init = lib.Get<FusionSenseInit_t>("FusionSenseInit");
    auto activate = lib.Get<FusionSenseActivate_t>("FusionSenseActivate");
    if (init == nullptr || activate == nullptr) {
        _exit(90);
    }
    FusionSenseCallback_t callback = [](FSEventStruct &, bool, void *) {};
    if (init(callback, nullptr, 0) != 0 ||
        activate(Config(200, {400, 400, 100, 400, 400, 100}, 1), true) != 0) {
        _exit(91);
    }
    std::this_thread::sleep_for(100ms);
    exit(0);
}

TEST(FusionStandinExitTest, ProcessMayExitWhileTheHubRuns) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(StreamThenExit(), ::testing::ExitedWithCode(0), "");
}

}  // namespace

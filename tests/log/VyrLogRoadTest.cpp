// The log thread through the real road: the library started in a sandbox
// with file logging on, samples from the simulated sensor service, frames
// flushed by the watchdog, files in the sandbox's log directory, commands
// and collected data through the exported table.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <regex>
#include <set>
#include <thread>

#include "libs/VyrSensor/vyr_sensor_sim.h"
#include "support/HalFixture.h"

using vyrtest::HalFixture;
namespace fs = std::filesystem;

namespace {

constexpr int32_t kAccelerometer = 1;
constexpr int32_t kAccHandle = 0x10;

bool WaitUntil(const std::function<bool()> &done, int timeoutMs = 4000) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        if (done()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
}

class VyrLogRoadTest : public HalFixture {
protected:
    // File logging on as on a beta user's phone (the switch property unset,
    // so that old files are pruned), frames flushed every frameTimerMs.
    // keepFiles: the switch property "true" instead, which keeps every file.
    void Start(const std::string &frameTimerMs = "50", bool keepFiles = false) {
        vyrsim::SandboxOptions options;
        if (keepFiles) {
            options.properties["persist.odm.vyr.vyrlog_enabled"] = "true";
        } else {
            options.properties["ro.logsystem.usertype"] = "5";
        }
        options.properties["odm.vyr.frame_timer"] = frameTimerMs;
        MakeSandbox(options);
        const std::string path = Root() + "/vendor/lib64/libVyrSensor.so";
        mSim = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(mSim, nullptr) << dlerror();
        mInject = reinterpret_cast<VyrSimInjectEvent_t>(dlsym(mSim, "VyrSimInjectEvent"));
        mPlay = reinterpret_cast<VyrSimPlayScenario_t>(dlsym(mSim, "VyrSimPlayScenario"));
        mSync = reinterpret_cast<VyrSimSync_t>(dlsym(mSim, "VyrSimSync"));
        ASSERT_TRUE(mInject && mPlay && mSync);
        ASSERT_EQ(StartHal(), 0);
    }

    std::string LogDir() const { return Root() + "/data/vendor/log/vyrlog/"; }

    // Regular files of the log directory, sorted.
    std::vector<std::string> LogFiles() const {
        std::vector<std::string> files;
        std::error_code ec;
        for (const auto &entry : fs::directory_iterator(LogDir(), ec)) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path().string());
            }
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    // The files whose names end in `suffix`.
    std::vector<std::string> FilesEndingIn(const std::string &suffix) const {
        std::vector<std::string> found;
        for (const std::string &file : LogFiles()) {
            if (file.size() >= suffix.size() &&
                file.compare(file.size() - suffix.size(), suffix.size(), suffix) == 0) {
                found.push_back(file);
            }
        }
        return found;
    }

    // Injects accelerometer samples, 10 ms apart, until done() or 40 s
    // have passed (a slow log thread drops frames, and their text, when its
    // queue is full).
    void InjectUntil(const std::function<bool()> &done) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(40);
        while (!done() && std::chrono::steady_clock::now() < deadline) {
            for (int i = 0; i < 200; ++i) {
                ASensorEvent event{};
                event.version = sizeof(ASensorEvent);
                event.sensor = kAccHandle;
                event.type = kAccelerometer;
                event.timestamp = (mInjectTime += 10000000);
                event.data[2] = 9.8f;
                mInject(&event);
            }
            mSync(2000);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    static std::string MessageText(const vyr_msg_t &msg) {
        const char *bytes = reinterpret_cast<const char *>(msg.data.data());
        size_t size = std::min(static_cast<size_t>(std::max(msg.dataSize, 0)),
                               msg.data.size() * sizeof(int32_t));
        return std::string(bytes, size);
    }

    void *mSim = nullptr;
    VyrSimInjectEvent_t mInject = nullptr;
    VyrSimPlayScenario_t mPlay = nullptr;
    VyrSimSync_t mSync = nullptr;
    int64_t mInjectTime = 1000000000;
};

}  // namespace

TEST_F(VyrLogRoadTest, SensorFramesLandInOneFilePerTypeWithItsHeader) {
    Start();
    EXPECT_EQ(Run("flip", "on", "app"), "enable flip motion");
    std::vector<std::string> files;
    ASSERT_TRUE(WaitUntil([&] {
        files = FilesEndingIn("_logtofile_SENSOR_TYPE_ACCELEROMETER.csv");
        return !files.empty() && vyrtest::ReadLines(files[0]).size() > 20;
    }));
    ASSERT_EQ(files.size(), 1u);
    const std::string name = fs::path(files[0]).filename().string();
    // "2026.01.31_12.30.05.042_logtofile_SENSOR_TYPE_ACCELEROMETER.csv"
    EXPECT_TRUE(std::regex_match(
        name,
        std::regex(
            R"(\d{4}\.\d\d\.\d\d_\d\d\.\d\d\.\d\d\.\d{3}_logtofile_SENSOR_TYPE_ACCELEROMETER\.csv)")))
        << name;
    auto lines = vyrtest::ReadLines(files[0]);
    EXPECT_EQ(lines[0], "KX-ACC Accelerometer Non-wakeup,Kestrel Micro,continue");
    EXPECT_EQ(lines[1],
              "realtime,timestamp,accuracy(more=better),acc_x[m/s^2],acc_y[m/s^2],acc_z[m/s^2]");
    // Lying at rest: gravity on +z, six decimals, accuracy fixed at 3.
    EXPECT_TRUE(
        std::regex_match(lines[2], std::regex(R"(\d{13},\d+,3,0\.000000,0\.000000,9\.806650)")))
        << lines[2];
    // The header is written once per file.
    EXPECT_EQ(std::count(lines.begin(), lines.end(), lines[1]), 1);
    // The log text goes to its own file, and every type of the log shares
    // the time of the start.
    auto text = FilesEndingIn("_logtofile_SENSOR_TYPE_LOG.vyrlog");
    ASSERT_EQ(text.size(), 1u);
    EXPECT_EQ(fs::path(text[0]).filename().string().substr(0, 23), name.substr(0, 23));
    EXPECT_TRUE(
        WaitUntil([&] { return vyrtest::ReadText(text[0]).find(" I/[") != std::string::npos; }));
    // No file for a type that had no data.
    EXPECT_TRUE(FilesEndingIn("_logtofile_SENSOR_TYPE_HINGE_ANGLE.csv").empty());
}

TEST_F(VyrLogRoadTest, ListAndClearAnswerThePathsOfTheLogDirectory) {
    Start();
    // Nothing has been logged yet (no sensor runs): an empty directory
    // answers empty texts.
    EXPECT_EQ(Run("listlog"), "");
    vyrtest::WriteText(LogDir() + "b.txt", "b");
    vyrtest::WriteText(LogDir() + "a.csv", "a");
    fs::create_directories(LogDir() + "sub");
    const std::string expected = LogDir() + "a.csv\n" + LogDir() + "b.txt";
    EXPECT_EQ(Run("listlog"), expected);
    EXPECT_EQ(Run("clearlog"), expected);
    EXPECT_FALSE(fs::exists(LogDir() + "a.csv"));
    EXPECT_TRUE(fs::exists(LogDir() + "sub"));
    EXPECT_EQ(Run("listlog"), "");
    EXPECT_EQ(Run("clearlog"), "");
    EXPECT_TRUE(LogcatHas("del: " + LogDir() + "a.csv"));
}

TEST_F(VyrLogRoadTest, CollectLogRepliesAndSendsRecordsToTheClient) {
    Start();
    EXPECT_EQ(Run("collectlog", "2"), "");
    EXPECT_EQ(Run("collectlog", "ON"), "start collect log success.\n");
    // The thread takes the new socket up at once.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(Run("collectlog", "1"), "collect log already start, no need to do it again.\n");
    Run("flip", "on", "app");
    ASSERT_TRUE(WaitForMessage([](const vyr_msg_t &msg) { return msg.type == 255; }));
    vyr_msg_t collected;
    for (const vyr_msg_t &msg : Messages()) {
        if (msg.type == 255) {
            collected = msg;
            break;
        }
    }
    EXPECT_EQ(collected.client, "vyr-client");
    const std::string text = MessageText(collected);
    EXPECT_EQ(collected.data.size(), (text.size() + 3) / 4);
    EXPECT_EQ(text.rfind("SENSOR_TYPE_ACCELEROMETER#KX-ACC Accelerometer Non-wakeup,Kestrel "
                         "Micro,continue\nrealtime,timestamp,",
                         0),
              0u)
        << text;
    EXPECT_NE(text.find("\n#"), std::string::npos);
    EXPECT_EQ(text.back(), '\n');

    EXPECT_EQ(Run("collectlog", "off"), "stop collect log success.\n");
    // The next frame drops the stopped socket; the messages end.
    ASSERT_TRUE(WaitForLog("erase type: 2"));
    ClearMessages();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    for (const vyr_msg_t &msg : Messages()) {
        EXPECT_NE(msg.type, 255);
    }
    EXPECT_EQ(Run("collectlog", "0"), "collect log already stop, no need to do it again.\n");
}

TEST_F(VyrLogRoadTest, AFullQueueDropsFramesAtSixtyOneAndRecovers) {
    // Frames every 5 ms; the log thread held inside the collecting socket's
    // callback cannot take them.
    Start("5");
    // Shared with the hook: the log thread may still be inside it when the
    // test ends.
    struct Gate {
        std::mutex mutex;
        std::condition_variable cond;
        bool hold = true;
        bool held = false;
    };
    auto gate = std::make_shared<Gate>();
    SetMessageHook([gate](const vyr_msg_t &msg) {
        if (msg.type != 255) {
            return;
        }
        std::unique_lock<std::mutex> lock(gate->mutex);
        gate->held = true;
        gate->cond.notify_all();
        gate->cond.wait(lock, [&] { return !gate->hold; });
    });
    Run("collectlog", "on");
    Run("flip", "on", "app");
    {
        std::unique_lock<std::mutex> lock(gate->mutex);
        ASSERT_TRUE(gate->cond.wait_for(lock, std::chrono::seconds(4), [&] { return gate->held; }));
    }
    EXPECT_TRUE(WaitForLog("mQueueFrame is full, VyrLog thread crash ??", 5000));
    {
        std::lock_guard<std::mutex> lock(gate->mutex);
        gate->hold = false;
        gate->cond.notify_all();
    }
    SetMessageHook(nullptr);
    Run("collectlog", "off");
    // The thread works the queue off and goes on writing.
    auto file = FilesEndingIn("_logtofile_SENSOR_TYPE_ACCELEROMETER.csv");
    ASSERT_EQ(file.size(), 1u);
    size_t before = vyrtest::ReadLines(file[0]).size();
    EXPECT_TRUE(WaitUntil([&] { return vyrtest::ReadLines(file[0]).size() > before + 50; }));
}

TEST_F(VyrLogRoadTest, ATypeCrossingTwoMegabytesRollsAloneAndOldFilesArePruned) {
    Start();
    Run("flip", "on", "app");
    auto acc = [&] { return FilesEndingIn("_logtofile_SENSOR_TYPE_ACCELEROMETER.csv"); };
    ASSERT_TRUE(WaitUntil([&] { return acc().size() == 1; }));
    // Two files of an earlier run of the log text, older by their names.
    vyrtest::WriteText(LogDir() + "2000.01.01_00.00.00.000_logtofile_SENSOR_TYPE_LOG.vyrlog", "1");
    vyrtest::WriteText(LogDir() + "2000.01.01_00.00.01.000_logtofile_SENSOR_TYPE_LOG.vyrlog", "2");
    // At level 5 every sample adds a line of log text; the text file grows
    // past 2 MiB long before the samples' own file.
    Run("loglevel", "5");
    ASSERT_TRUE(WaitUntil([&] { return FilesEndingIn("SENSOR_TYPE_LOG.vyrlog").size() == 3; }));
    auto rolled = [&] {
        auto logs = FilesEndingIn("_logtofile_SENSOR_TYPE_LOG.vyrlog");
        return logs.size() == 2 && logs[0].find("2000.01.01") == std::string::npos;
    };
    InjectUntil(rolled);
    Run("loglevel", "3");
    auto logs = FilesEndingIn("_logtofile_SENSOR_TYPE_LOG.vyrlog");
    // The two old files are gone; the rolled file and its successor stay.
    ASSERT_EQ(logs.size(), 2u);
    EXPECT_GE(fs::file_size(logs[0]), 0x200000u);
    EXPECT_LT(fs::file_size(logs[0]), 0x200000u + 0x100000u);
    EXPECT_NE(fs::path(logs[0]).filename().string().substr(0, 23),
              fs::path(logs[1]).filename().string().substr(0, 23));
    // The samples' file goes on under its old time.
    EXPECT_EQ(acc().size(), 1u);
}

TEST_F(VyrLogRoadTest, MotionEmulateRepliesAndPlaysWhatFilesThereAre) {
    Start();
    EXPECT_EQ(Run("motion-emulate", "2"), "usage: emulate on/off or emulate 1/0");
    EXPECT_EQ(Run("motion-emulate", "OFF"), "disable emulate events");
    vyrtest::WriteText(LogDir() + "fold.csv",
                       "label\ncolumns\n100,100,3,10,0,0\n200,200,3,170,0,0,9\n");
    Run("posture-on", "20", "app");
    EXPECT_EQ(Run("motion-emulate", "1"), "enable emulate events");
    EXPECT_TRUE(WaitForLog("line index: 3, format error: 200,200,3,170,0,0,9"));
    // Missing files are passed over; the others still play.
    EXPECT_TRUE(LogcatHas("storer Read file fail"));
    EXPECT_TRUE(LogcatHas("get events size: 1"));
    EXPECT_EQ(Run("motion-emulate", "0"), "disable emulate events");
}

TEST_F(VyrLogRoadTest, ALogDirectoryDeletedUnderTheSocketComesBackWithHeaders) {
    Start();
    Run("flip", "on", "app");
    auto acc = [&] { return FilesEndingIn("_logtofile_SENSOR_TYPE_ACCELEROMETER.csv"); };
    ASSERT_TRUE(WaitUntil([&] { return acc().size() == 1; }));
    const std::string name = fs::path(acc()[0]).filename().string();
    fs::remove_all(LogDir());
    // Frames go on being handled without a directory; the process lives.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(Run("listlog"), "");
    fs::create_directories(LogDir());
    ASSERT_TRUE(WaitUntil([&] {
        auto files = acc();
        return files.size() == 1 && vyrtest::ReadLines(files[0]).size() > 3;
    }));
    EXPECT_EQ(fs::path(acc()[0]).filename().string(), name);
    auto lines = vyrtest::ReadLines(acc()[0]);
    EXPECT_EQ(lines[0], "KX-ACC Accelerometer Non-wakeup,Kestrel Micro,continue");
    EXPECT_EQ(lines[1].substr(0, 19), "realtime,timestamp,");
    EXPECT_EQ(Run("flip", "off", "app"), "disable flip motion");
}

TEST_F(VyrLogRoadTest, WithTheSwitchPropertyOnNoOldFileIsDeleted) {
    Start("50", true);
    Run("flip", "on", "app");
    ASSERT_TRUE(WaitUntil([&] { return FilesEndingIn("SENSOR_TYPE_LOG.vyrlog").size() == 1; }));
    vyrtest::WriteText(LogDir() + "2000.01.01_00.00.00.000_logtofile_SENSOR_TYPE_LOG.vyrlog", "1");
    vyrtest::WriteText(LogDir() + "2000.01.01_00.00.01.000_logtofile_SENSOR_TYPE_LOG.vyrlog", "2");
    Run("loglevel", "5");
    InjectUntil([&] { return FilesEndingIn("SENSOR_TYPE_LOG.vyrlog").size() == 4; });
    Run("loglevel", "3");
    EXPECT_EQ(FilesEndingIn("SENSOR_TYPE_LOG.vyrlog").size(), 4u);
    EXPECT_TRUE(fs::exists(LogDir() + "2000.01.01_00.00.00.000_logtofile_SENSOR_TYPE_LOG.vyrlog"));
}

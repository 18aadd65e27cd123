#include <android/log.h>
#include <assert.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "support/TestFiles.h"

using vyrtest::ReadLines;
using vyrtest::TempDir;

namespace {

// MM-DD HH:MM:SS.mmm  PID  TID P TAG: message
const std::regex kLine(
    R"(^\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} +(\d+) +(\d+) ([VDIWEF]) ([^:]*): (.*)$)");

struct Line {
    int pid = 0;
    int tid = 0;
    char letter = 0;
    std::string tag;
    std::string message;
};

class AndroidLogTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("VYR_LOGCAT", LogPath().c_str(), 1);
        setenv("VYR_LOG_STDERR", "0", 1);
    }
    void TearDown() override {
        unsetenv("VYR_LOGCAT");
        unsetenv("VYR_LOG_STDERR");
    }
    std::string LogPath() const { return mDir.Path() + "/logcat"; }

    // Every line of the file, each checked against the logcat form.
    std::vector<Line> Lines(const std::string &path) {
        std::vector<Line> lines;
        for (const auto &text : ReadLines(path)) {
            std::smatch m;
            EXPECT_TRUE(std::regex_match(text, m, kLine)) << text;
            if (!m.empty()) {
                lines.push_back({std::stoi(m[1]), std::stoi(m[2]), m[3].str()[0], m[4], m[5]});
            }
        }
        return lines;
    }
    std::vector<Line> Lines() { return Lines(LogPath()); }

    TempDir mDir;
};

TEST_F(AndroidLogTest, OneLinePerMessageWithPriorityLetter) {
    const int priorities[] = {ANDROID_LOG_UNKNOWN, ANDROID_LOG_DEFAULT, ANDROID_LOG_VERBOSE,
                              ANDROID_LOG_DEBUG,   ANDROID_LOG_INFO,    ANDROID_LOG_WARN,
                              ANDROID_LOG_ERROR,   ANDROID_LOG_FATAL,   ANDROID_LOG_SILENT};
    for (int prio : priorities) {
        EXPECT_GT(__android_log_print(prio, "vyr_tolvi", "%s[%d] %s", "Init", prio, "+"), 0);
    }
    __android_log_write(ANDROID_LOG_INFO, "vyr_tolvi", "written as is %d");

    auto lines = Lines();
    ASSERT_EQ(lines.size(), 10u);
    const std::string letters = "DDVDIWEFF";
    for (size_t i = 0; i < letters.size(); ++i) {
        EXPECT_EQ(lines[i].letter, letters[i]) << i;
        EXPECT_EQ(lines[i].pid, getpid());
        EXPECT_EQ(lines[i].tid, gettid());
        EXPECT_EQ(lines[i].tag, "vyr_tolvi");
        EXPECT_EQ(lines[i].message, "Init[" + std::to_string(priorities[i]) + "] +");
    }
    EXPECT_EQ(lines[9].message, "written as is %d");
}

TEST_F(AndroidLogTest, NewlinesSplitAMessageIntoLines) {
    __android_log_print(ANDROID_LOG_WARN, "t", "first\nsecond\n\n");
    __android_log_print(ANDROID_LOG_WARN, "t", "a\n\nb");
    __android_log_write(ANDROID_LOG_WARN, "t", "");
    __android_log_write(ANDROID_LOG_WARN, "t", "\n");

    auto lines = Lines();
    std::vector<std::string> messages;
    for (const auto &line : lines) {
        EXPECT_EQ(line.letter, 'W');
        messages.push_back(line.message);
    }
    EXPECT_EQ(messages, (std::vector<std::string>{"first", "second", "a", "", "b", "", ""}));
}

TEST_F(AndroidLogTest, LongMessageIsCut) {
    std::string big(10000, 'x');
    __android_log_print(ANDROID_LOG_INFO, "t", "%s", big.c_str());
    __android_log_write(ANDROID_LOG_INFO, "t", big.c_str());
    auto lines = Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].message, std::string(4095, 'x'));
    EXPECT_EQ(lines[1].message, std::string(4095, 'x'));
}

TEST_F(AndroidLogTest, FollowsTheFileVariable) {
    __android_log_write(ANDROID_LOG_INFO, "t", "one");
    std::string other = mDir.Path() + "/other";
    setenv("VYR_LOGCAT", other.c_str(), 1);
    __android_log_write(ANDROID_LOG_INFO, "t", "two");
    unsetenv("VYR_LOGCAT");
    __android_log_write(ANDROID_LOG_INFO, "t", "three");
    setenv("VYR_LOGCAT", LogPath().c_str(), 1);
    __android_log_write(ANDROID_LOG_INFO, "t", "four");

    auto first = Lines();
    auto second = Lines(other);
    ASSERT_EQ(first.size(), 2u);
    EXPECT_EQ(first[0].message, "one");
    EXPECT_EQ(first[1].message, "four");
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(second[0].message, "two");
}

TEST_F(AndroidLogTest, LinesOfManyThreadsDoNotMix) {
    constexpr int kThreads = 8;
    constexpr int kMessages = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kMessages; ++i) {
                __android_log_print(ANDROID_LOG_DEBUG, "mt", "thread %d message %d\nsecond half %d",
                                    t, i, i);
            }
        });
    }
    for (auto &thread : threads) {
        thread.join();
    }
    auto lines = Lines();
    EXPECT_EQ(lines.size(), static_cast<size_t>(2 * kThreads * kMessages));
}

TEST_F(AndroidLogTest, AssertionLogsFatalAndAborts) {
    EXPECT_DEATH(
        {
            setenv("VYR_LOG_STDERR", "1", 1);
            __assert2("HalEntry.cpp", 42, "int Probe()", "fd >= 0");
        },
        R"(F libc: HalEntry\.cpp:42: int Probe\(\): assertion "fd >= 0" failed)");
    auto lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].letter, 'F');
    EXPECT_EQ(lines[0].tag, "libc");
    EXPECT_EQ(lines[0].message, "HalEntry.cpp:42: int Probe(): assertion \"fd >= 0\" failed");
}

}  // namespace

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/LogTestSupport.h"

namespace {

using vyr_log_test::LogcatLine;

uint64_t NowMs() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
}

// The file line a statement must give, from the time it carries.
std::string ExpectedFileLine(uint64_t nowMs, char letter, const std::string &name,
                             const std::string &message) {
    time_t seconds = static_cast<time_t>(nowMs / 1000);
    tm local{};
    localtime_r(&seconds, &local);
    char when[64];
    strftime(when, sizeof(when), "%Y-%m-%d %H.%M.%S", &local);
    char prefix[160];
    snprintf(prefix, sizeof(prefix), "%s.%03d %d %c/[%llu]", when, static_cast<int>(nowMs % 1000),
             static_cast<int>(gettid()), letter, static_cast<unsigned long long>(nowMs));
    return std::string(prefix) + name + ", " + message + "\n";
}

// The time a file line carries in its brackets; 0 when the line is malformed.
uint64_t LineMs(const std::string &line) {
    static const std::regex kFileLine(
        R"(^\d{4}-\d\d-\d\d \d\d\.\d\d\.\d\d\.\d{3} \d+ [EWIDN]/\[(\d+)\][^\n]*\n$)");
    std::smatch m;
    if (!std::regex_match(line, m, kFileLine)) {
        return 0;
    }
    return std::stoull(m[1]);
}

class LogSinkTest : public vyr_log_test::LogSandbox {
protected:
    void SetUp() override {
        LogSandbox::SetUp();
        mHal = &NewHal();
        mHal->SetLogLevel(4);
        mHal->SetLogEnable(true);
        mHal->TakeText();
    }

    VyrHal *mHal = nullptr;
};

}  // namespace

// Statements in a function of known signature, through the idiom; returns
// the source line of the first.
namespace log_sink_test {
int LogThroughMacro(LogSink &mLog, int value) {
    int line = __LINE__ + 1;
    LOGW("warn %d", value);
    LOGV("verbose %d", value);
    return line;
}
}  // namespace log_sink_test

namespace {

using log_sink_test::LogThroughMacro;

TEST_F(LogSinkTest, StatementGivesLogcatLineAndFileLine) {
    uint64_t before = NowMs();
    std::string line =
        mHal->Format(3, "virtual bool VyrLog::PreInit()", 123, "create %s fail", "process");
    uint64_t after = NowMs();

    uint64_t ms = LineMs(line);
    ASSERT_NE(ms, 0u) << line;
    EXPECT_GE(ms, before);
    EXPECT_LE(ms, after);
    EXPECT_EQ(line, ExpectedFileLine(ms, 'I', "VyrLog::PreInit", "create process fail"));

    std::vector<LogcatLine> logcat = ParsedLogcat("create process fail");
    ASSERT_EQ(logcat.size(), 1u);
    EXPECT_EQ(logcat[0].pid, getpid());
    EXPECT_EQ(logcat[0].tid, gettid());
    EXPECT_EQ(logcat[0].letter, 'I');
    EXPECT_EQ(logcat[0].tag, "vyr_tolvi");
    EXPECT_EQ(logcat[0].message, "VyrLog::PreInit[123] create process fail");

    // Format alone leaves the pending text alone; Output collects the line.
    EXPECT_EQ(mHal->GetText(), "");
    mHal->Output(line);
    EXPECT_EQ(mHal->GetText(), line);
}

TEST_F(LogSinkTest, MacroUsesShortSignatureAndLineNumber) {
    int sourceLine = LogThroughMacro(*mHal, 7);
    std::vector<LogcatLine> logcat = ParsedLogcat("warn 7");
    ASSERT_EQ(logcat.size(), 1u);
    EXPECT_EQ(logcat[0].letter, 'W');
    EXPECT_EQ(logcat[0].message,
              "log_sink_test::LogThroughMacro[" + std::to_string(sourceLine) + "] warn 7");

    std::string text = mHal->TakeText();
    EXPECT_EQ(text,
              ExpectedFileLine(LineMs(text), 'W', "log_sink_test::LogThroughMacro", "warn 7"));
    // Level 4 does not reach the very frequent statements.
    EXPECT_TRUE(ParsedLogcat("verbose 7").empty());
    EXPECT_EQ(text.find("verbose"), std::string::npos);

    // Level 5 does, printed as level 4.
    mHal->SetLogLevel(5);
    LogThroughMacro(*mHal, 8);
    logcat = ParsedLogcat("verbose 8");
    ASSERT_EQ(logcat.size(), 1u);
    EXPECT_EQ(logcat[0].letter, 'D');
    text = mHal->TakeText();
    EXPECT_NE(text.find(" D/["), std::string::npos) << text;
    EXPECT_NE(text.find("LogThroughMacro, verbose 8\n"), std::string::npos) << text;
}

TEST_F(LogSinkTest, LevelTable) {
    struct Row {
        int32_t level;
        char logcatLetter;  // 0: nothing reaches logcat
        char fileLetter;
    };
    const Row rows[] = {{0, 0, 'N'},   {1, 'E', 'E'}, {2, 'W', 'W'},
                        {3, 'I', 'I'}, {4, 'D', 'D'}, {5, 0, 'N'}};
    mHal->SetLogLevel(5);
    for (const Row &row : rows) {
        std::string message = "level row " + std::to_string(row.level);
        std::string line = mHal->Format(row.level, "void Table::Row()", 1, "%s", message.c_str());
        uint64_t ms = LineMs(line);
        EXPECT_EQ(line, ExpectedFileLine(ms, row.fileLetter, "Table::Row", message));
        std::vector<LogcatLine> logcat = ParsedLogcat(message);
        if (row.logcatLetter == 0) {
            EXPECT_TRUE(logcat.empty()) << row.level;
        } else {
            ASSERT_EQ(logcat.size(), 1u) << row.level;
            EXPECT_EQ(logcat[0].letter, row.logcatLetter);
        }
    }
}

TEST_F(LogSinkTest, LevelAboveCurrentGivesNothing) {
    mHal->SetLogLevel(2);
    EXPECT_EQ(mHal->GetLevel(), 2);
    EXPECT_EQ(mHal->Format(3, "f()", 1, "too detailed"), "");
    EXPECT_TRUE(ParsedLogcat("too detailed").empty());
    EXPECT_NE(mHal->Format(2, "f()", 1, "just right"), "");
    EXPECT_EQ(ParsedLogcat("just right").size(), 1u);
}

TEST_F(LogSinkTest, ShortNames) {
    EXPECT_EQ(LogSink::ShortName("virtual bool VyrLog::PreInit()"), "VyrLog::PreInit");
    EXPECT_EQ(LogSink::ShortName("std::string Ns::Cls::Get(int, char) const"), "Ns::Cls::Get");
    EXPECT_EQ(LogSink::ShortName("static LogSink& LogSink::System()"), "LogSink::System");
    EXPECT_EQ(LogSink::ShortName("Plain"), "Plain");
    EXPECT_EQ(LogSink::ShortName("ends "), "");
    EXPECT_EQ(LogSink::ShortName("int main(int, char**)"), "main");
    EXPECT_EQ(LogSink::ShortName(""), "");
    EXPECT_EQ(LogSink::ShortName(nullptr), "");

    // An empty name still gives a well-formed line.
    std::string line = mHal->Format(3, "ends ", 9, "nameless");
    EXPECT_EQ(line, ExpectedFileLine(LineMs(line), 'I', "", "nameless"));
    std::vector<LogcatLine> logcat = ParsedLogcat("nameless");
    ASSERT_EQ(logcat.size(), 1u);
    EXPECT_EQ(logcat[0].message, "[9] nameless");
}

TEST_F(LogSinkTest, LongMessageIsCutAndStillEndsInNewline) {
    std::string longText(3000, 'x');
    std::string line = mHal->Format(3, "void Long::Text()", 5, "%s", longText.c_str());
    ASSERT_FALSE(line.empty());
    EXPECT_EQ(line, ExpectedFileLine(LineMs(line), 'I', "Long::Text", std::string(2047, 'x')));
    EXPECT_EQ(line.back(), '\n');

    std::vector<LogcatLine> over = ParsedLogcat("over size 2");
    ASSERT_EQ(over.size(), 1u);
    EXPECT_EQ(over[0].letter, 'I');
    EXPECT_EQ(over[0].message, "over size 2");
    std::vector<LogcatLine> logcat = ParsedLogcat("Long::Text[5] ");
    ASSERT_EQ(logcat.size(), 1u);
    EXPECT_EQ(logcat[0].message, "Long::Text[5] " + std::string(2047, 'x'));

    // Exactly 2047 characters fit without a complaint.
    line = mHal->Format(3, "void Long::Text()", 6, "%s", std::string(2047, 'y').c_str());
    EXPECT_EQ(line, ExpectedFileLine(LineMs(line), 'I', "Long::Text", std::string(2047, 'y')));
    EXPECT_EQ(ParsedLogcat("over size").size(), 1u);
}

TEST_F(LogSinkTest, FileLoggingOffKeepsLogcatOnly) {
    mHal->SetLogEnable(false);
    mHal->TakeText();
    std::string line = mHal->Format(1, "void Off::Line()", 1, "still on logcat");
    EXPECT_EQ(line, "");
    EXPECT_EQ(ParsedLogcat("still on logcat").size(), 1u);

    mHal->Output("2026-01-31 12.30.05.042 1 I/[1]X::Y, stray line\n");
    EXPECT_EQ(mHal->GetText(), "");
    VYR_LOG(*mHal, 1, "through the macro");
    EXPECT_EQ(mHal->TakeText(), "");
    EXPECT_EQ(ParsedLogcat("through the macro").size(), 1u);
}

TEST_F(LogSinkTest, PendingTextCollectsAndTakeTextClears) {
    VYR_LOG(*mHal, 3, "first %d", 1);
    VYR_LOG(*mHal, 4, "second %s", "two");
    mHal->Output("");
    std::string text = mHal->GetText();
    EXPECT_EQ(text, mHal->GetText());

    std::vector<std::string> lines;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        ASSERT_NE(end, std::string::npos);
        lines.push_back(text.substr(start, end + 1 - start));
        start = end + 1;
    }
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find(" I/["), std::string::npos);
    EXPECT_NE(lines[0].find(", first 1\n"), std::string::npos);
    EXPECT_NE(lines[1].find(" D/["), std::string::npos);
    EXPECT_NE(lines[1].find(", second two\n"), std::string::npos);

    EXPECT_EQ(mHal->TakeText(), text);
    EXPECT_EQ(mHal->GetText(), "");
    EXPECT_EQ(mHal->TakeText(), "");
}

TEST_F(LogSinkTest, LinesOfThreadsInterleaveWhole) {
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < kLines; ++i) {
                VYR_LOG(*mHal, 4, "thread %d line %d", t, i);
            }
        });
    }
    for (auto &thread : threads) {
        thread.join();
    }
    std::string text = mHal->TakeText();
    static const std::regex kLine(
        R"(^\d{4}-\d\d-\d\d \d\d\.\d\d\.\d\d\.\d{3} \d+ D/\[\d+\].*, thread (\d) line (\d+)$)");
    std::vector<int> next(kThreads, 0);
    size_t start = 0;
    int count = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        ASSERT_NE(end, std::string::npos);
        std::string line = text.substr(start, end - start);
        std::smatch m;
        ASSERT_TRUE(std::regex_match(line, m, kLine)) << line;
        int t = std::stoi(m[1]);
        // Each thread's lines keep their order.
        EXPECT_EQ(std::stoi(m[2]), next[t]++);
        ++count;
        start = end + 1;
    }
    EXPECT_EQ(count, kThreads * kLines);
}

TEST_F(LogSinkTest, FileLineCarriesTheThreadIdOfEachThreadAndChild) {
    auto tidOf = [](const std::string &line) {
        static const std::regex kTid(R"(^\S+ \S+ (\d+) )");
        std::smatch m;
        return std::regex_search(line, m, kTid) ? std::stoi(m[1]) : -1;
    };
    EXPECT_EQ(tidOf(mHal->Format(3, "f()", 1, "main")), gettid());
    int otherTid = 0;
    int otherLogged = -1;
    std::thread other([&] {
        otherTid = gettid();
        otherLogged = tidOf(mHal->Format(3, "f()", 1, "other"));
    });
    other.join();
    EXPECT_EQ(otherLogged, otherTid);
    EXPECT_NE(otherTid, gettid());

    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        _exit(tidOf(mHal->Format(3, "f()", 1, "child")) == gettid() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(LogSinkTest, SinkNamedTsaStaysOffLogcat) {
    HalLogSink tsa("tsa", mHal);
    EXPECT_EQ(tsa.GetName(), "tsa");
    std::string line = tsa.Format(1, "void Tsa::Quiet()", 3, "quiet sink");
    EXPECT_EQ(line, ExpectedFileLine(LineMs(line), 'E', "Tsa::Quiet", "quiet sink"));
    EXPECT_TRUE(ParsedLogcat("quiet sink").empty());

    // Only the exact name is quiet.
    HalLogSink tsa2("tsa2", mHal);
    tsa2.Format(1, "void Tsa::Loud()", 3, "loud sink");
    EXPECT_EQ(ParsedLogcat("loud sink").size(), 1u);
}

TEST_F(LogSinkTest, DisabledStatementEvaluatesNoArgument) {
    int calls = 0;
    auto count = [&calls] { return ++calls; };
    mHal->SetLogLevel(2);
    VYR_LOG(*mHal, 3, "count %d", count());
    EXPECT_EQ(calls, 0);
    mHal->SetLogLevel(3);
    VYR_LOG(*mHal, 3, "count %d", count());
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(ParsedLogcat("count ").size(), 1u);
}

TEST_F(LogSinkTest, BaseSinkPrintsErrorsAndKeepsNothing) {
    LogSink &sys = LogSink::System();
    EXPECT_EQ(&sys, &LogSink::System());
    EXPECT_EQ(sys.GetName(), "sys");
    EXPECT_EQ(sys.GetLevel(), 3);

    // Any level but 0 reaches logcat at error priority; the file line is
    // always built, and Output drops it.
    std::string line = sys.Format(4, "void Sys::Debug()", 2, "sys debug");
    EXPECT_EQ(line, ExpectedFileLine(LineMs(line), 'D', "Sys::Debug", "sys debug"));
    std::vector<LogcatLine> logcat = ParsedLogcat("sys debug");
    ASSERT_EQ(logcat.size(), 1u);
    EXPECT_EQ(logcat[0].letter, 'E');
    EXPECT_EQ(logcat[0].message, "Sys::Debug[2] sys debug");
    sys.Output(line);
    EXPECT_EQ(sys.GetText(), "");

    line = sys.Format(0, "void Sys::Zero()", 2, "sys zero");
    EXPECT_EQ(line, ExpectedFileLine(LineMs(line), 'N', "Sys::Zero", "sys zero"));
    EXPECT_TRUE(ParsedLogcat("sys zero").empty());

    // The idiom gates the base sink at 3.
    VYR_LOG(sys, 4, "sys gated");
    EXPECT_TRUE(ParsedLogcat("sys gated").empty());

    sys.Format(1, "void Sys::Long()", 2, "%s", std::string(2100, 'z').c_str());
    EXPECT_EQ(ParsedLogcat("over size 0").size(), 1u);
}

}  // namespace

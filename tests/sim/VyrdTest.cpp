// vyrd run as a subprocess against the built library in a fresh sandbox.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "sandbox/Sandbox.h"
#include "support/Emulator.h"
#include "support/TestFiles.h"

using nlohmann::json;
using vyrtest::ReadLines;
using vyrtest::ReadText;
using vyrtest::TempDir;
using vyrtest::WriteText;

namespace {

struct VyrdRun {
    int status = -1;  // exit status, or 128 + signal
    std::string err;
    std::vector<std::string> lines;  // standard output
    std::vector<json> objects;       // the lines that parse
};

// Runs vyrd with args, standard input from stdinText; kills it after 60 s.
// fileSizeLimit (bytes, 0 none) is put on vyrd as RLIMIT_FSIZE. Standard
// output is a file, so JSON lines unless the args ask for --human.
VyrdRun RunVyrd(const TempDir &tmp, const std::vector<std::string> &args,
                const std::string &stdinText = "", rlim_t fileSizeLimit = 0) {
    const std::string inPath = tmp.Path() + "/vyrd.in";
    const std::string outPath = tmp.Path() + "/vyrd.out";
    const std::string errPath = tmp.Path() + "/vyrd.err";
    WriteText(inPath, stdinText);

    std::vector<char *> argv;
    std::vector<std::string> copies = vyrtest::EmulatorWords();
    copies.push_back(VYRD_PATH);
    copies.insert(copies.end(), args.begin(), args.end());
    for (std::string &arg : copies) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);

    VyrdRun run;
    pid_t pid = fork();
    if (pid == 0) {
        int in = open(inPath.c_str(), O_RDONLY);
        int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (in < 0 || out < 0 || err < 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 ||
            dup2(err, 2) < 0) {
            _exit(126);
        }
        if (fileSizeLimit > 0) {
            const rlimit limit{fileSizeLimit, fileSizeLimit};
            if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
                _exit(126);
            }
        }
        execv(argv[0], argv.data());
        _exit(127);
    }
    EXPECT_GT(pid, 0);
    if (pid <= 0) {
        return run;
    }
    int wstatus = 0;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (waitpid(pid, &wstatus, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            ADD_FAILURE() << "vyrd did not end within 60 s";
            kill(pid, SIGKILL);
            waitpid(pid, &wstatus, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    run.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
    run.err = ReadText(errPath);
    run.lines = ReadLines(outPath);
    if (std::find(args.begin(), args.end(), "--human") != args.end()) {
        return run;
    }
    for (const std::string &line : run.lines) {
        json parsed = json::parse(line, nullptr, false);
        EXPECT_FALSE(parsed.is_discarded()) << "not JSON: " << line;
        if (!parsed.is_discarded()) {
            run.objects.push_back(std::move(parsed));
        }
    }
    return run;
}

// The reply lines of one command name, in order.
std::vector<json> Replies(const VyrdRun &run, const std::string &command) {
    std::vector<json> found;
    for (const json &line : run.objects) {
        if (line.contains("command") && line["command"] == command) {
            found.push_back(line);
        }
    }
    return found;
}

std::string ReplyText(const VyrdRun &run, const std::string &command) {
    auto replies = Replies(run, command);
    if (replies.size() != 1 || !replies[0].contains("reply")) {
        ADD_FAILURE() << "no single text reply of " << command;
        return {};
    }
    return replies[0]["reply"].get<std::string>();
}

std::vector<std::string> Common(const std::string &root) {
    return {"--root", root, "--quiet-log"};
}

std::vector<std::string> With(std::vector<std::string> args, const std::vector<std::string> &more) {
    args.insert(args.end(), more.begin(), more.end());
    return args;
}

// Parses a trace file and checks the duration events: fields present, and
// per thread every "E" closes the most recent open "B" of the same name,
// times never go back, and nothing stays open. Returns the event count.
size_t CheckTrace(const std::string &path) {
    json doc = json::parse(ReadText(path), nullptr, false);
    EXPECT_FALSE(doc.is_discarded()) << "trace is not JSON";
    if (doc.is_discarded()) {
        return 0;
    }
    const json &events = doc.is_object() ? doc["traceEvents"] : doc;
    EXPECT_TRUE(events.is_array());
    std::map<int64_t, std::vector<std::string>> open;
    std::map<int64_t, int64_t> lastTs;
    size_t count = 0;
    for (const json &event : events) {
        const std::string ph = event.value("ph", "");
        if (ph != "B" && ph != "E") {
            continue;
        }
        ++count;
        EXPECT_TRUE(event["name"].is_string());
        EXPECT_TRUE(event["ts"].is_number());
        EXPECT_TRUE(event["pid"].is_number_integer());
        EXPECT_TRUE(event["tid"].is_number_integer());
        const int64_t tid = event["tid"].get<int64_t>();
        const int64_t ts = event["ts"].get<int64_t>();
        EXPECT_GE(ts, lastTs[tid]);
        lastTs[tid] = ts;
        auto &stack = open[tid];
        if (ph == "B") {
            stack.push_back(event["name"].get<std::string>());
        } else {
            EXPECT_FALSE(stack.empty()) << "end without begin on " << tid;
            if (!stack.empty()) {
                EXPECT_EQ(stack.back(), event["name"].get<std::string>());
                stack.pop_back();
            }
        }
    }
    for (const auto &[tid, stack] : open) {
        EXPECT_TRUE(stack.empty()) << stack.size() << " open sections on " << tid;
    }
    return count;
}

TEST(VyrdTest, StartsAndAnswersHelpAndVersion) {
    TempDir tmp;
    VyrdRun run =
        RunVyrd(tmp, With(Common(tmp.Path() + "/phone"), {"-c", "help", "-c", "version"}));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err.find("library ended"), std::string::npos);

    ASSERT_GE(run.objects.size(), 4u);
    EXPECT_EQ(run.objects[0]["event"], "loaded");
    EXPECT_EQ(run.objects[0]["version"], "0.0.3");
    auto init = std::find_if(run.objects.begin(), run.objects.end(),
                             [](const json &l) { return l.value("event", "") == "init"; });
    ASSERT_NE(init, run.objects.end());
    EXPECT_EQ((*init)["result"], 0);

    const std::string help = ReplyText(run, "help");
    for (const char *name : {"help\n", "version\n", "callback\n", "reboot\n", "loglevel\n"}) {
        EXPECT_NE(help.find(name), std::string::npos) << name;
    }
    EXPECT_EQ(Replies(run, "help")[0]["client"], "vyrd");
    EXPECT_NE(ReplyText(run, "version").find("VyrHal/Version:1.5.2"), std::string::npos);
    // The library's log went to the sandbox's logcat file.
    EXPECT_FALSE(ReadText(tmp.Path() + "/phone/logcat.txt").empty());
}

// The human form, as at a terminal: replies as text ("help" one command a
// line), results as their line after the seconds since start, no command
// echoed but with -v; a script's replies only with -v, its say lines always.
TEST(VyrdTest, HumanFormTellsRepliesResultsAndSteps) {
    TempDir tmp;
    const std::string root = tmp.Path() + "/phone";
    auto has = [](const VyrdRun &run, const std::string &line) {
        return std::find(run.lines.begin(), run.lines.end(), line) != run.lines.end();
    };
    VyrdRun run = RunVyrd(tmp, With(Common(root), {"--human", "-c", "help", "-c", "say a step",
                                                   "-c", "callback vyrd,5,1"}));
    ASSERT_EQ(run.status, 0) << run.err;
    for (const char *name : {"help", "version", "callback", "loglevel", "flip"}) {
        EXPECT_TRUE(has(run, name)) << name;
    }
    EXPECT_TRUE(has(run, "a step"));
    EXPECT_TRUE(has(run, "send msg to vyrd eventType=5 eventCode=1"));
    int results = 0;
    for (const std::string &line : run.lines) {
        EXPECT_EQ(line.find('{'), std::string::npos) << line;
        EXPECT_NE(line.rfind("> ", 0), 0u) << "echoed: " << line;
        double seconds = -1.0;
        char rest[64] = {};
        if (sscanf(line.c_str(), " %lf s  %63[^\n]", &seconds, rest) == 2) {
            ++results;
            EXPECT_GE(seconds, 0.0);
            EXPECT_LT(seconds, 30.0);
            EXPECT_STREQ(rest, "vyrd, type 5: 1,1");
        }
    }
    EXPECT_EQ(results, 1);

    // A script tells its steps; its replies come back with -v, each after
    // the command it answers.
    const std::string script = tmp.Path() + "/story.vyrd";
    WriteText(script, "say The phone wakes up.\nclient demo\nflip on\n");
    VyrdRun quiet = RunVyrd(tmp, With(Common(root), {"--human", "--script", script}));
    ASSERT_EQ(quiet.status, 0) << quiet.err;
    EXPECT_EQ(quiet.lines, std::vector<std::string>{"The phone wakes up."});
    VyrdRun verbose = RunVyrd(tmp, With(Common(root), {"--human", "-v", "--script", script}));
    ASSERT_EQ(verbose.status, 0) << verbose.err;
    auto on = std::find(verbose.lines.begin(), verbose.lines.end(), "> flip on");
    ASSERT_NE(on, verbose.lines.end());
    ASSERT_NE(on + 1, verbose.lines.end());
    EXPECT_EQ(*(on + 1), "enable flip motion");
    EXPECT_TRUE(has(verbose, "> client demo"));
    EXPECT_FALSE(has(verbose, "> say The phone wakes up."));

    // JSON lines keep the step as an object of its own.
    VyrdRun json = RunVyrd(tmp, With(Common(root), {"--script", script}));
    ASSERT_EQ(json.status, 0) << json.err;
    auto say = std::find_if(json.objects.begin(), json.objects.end(),
                            [](const nlohmann::json &l) { return l.contains("say"); });
    ASSERT_NE(say, json.objects.end());
    EXPECT_EQ((*say)["say"], "The phone wakes up.");
}

// "dump" as an integrator runs it: one JSON document in the reply line, and
// indented in human text.
TEST(VyrdTest, DumpAnswersOneDocumentIndentedAtATerminal) {
    TempDir tmp;
    const std::string root = tmp.Path() + "/phone";
    VyrdRun run =
        RunVyrd(tmp, With(Common(root), {"-c", "rotation on", "-c", "sleep 300", "-c", "dump"}));
    ASSERT_EQ(run.status, 0) << run.err;
    const json doc = json::parse(ReplyText(run, "dump"), nullptr, false);
    ASSERT_FALSE(doc.is_discarded());
    EXPECT_EQ(doc["sensors"]["serviceConnected"], true);
    EXPECT_FALSE(doc["sensors"]["list"].empty());
    bool rotation = false;
    for (const json &module : doc["modules"]) {
        for (const json &row : module["clients"]) {
            rotation = rotation || (module["name"] == "Motion" && row["type"] == 7 &&
                                    row["clients"] == json::array({"vyrd"}));
        }
    }
    EXPECT_TRUE(rotation) << doc["modules"].dump();

    VyrdRun human = RunVyrd(tmp, With(Common(root), {"--human", "-c", "dump"}));
    ASSERT_EQ(human.status, 0) << human.err;
    ASSERT_FALSE(human.lines.empty());
    EXPECT_EQ(human.lines.front(), "{");
    EXPECT_EQ(human.lines.back(), "}");
    EXPECT_NE(std::find(human.lines.begin(), human.lines.end(), "  \"sensors\": {"),
              human.lines.end());
}

TEST(VyrdTest, EachStartCountsInTheReusedSandbox) {
    TempDir tmp;
    const std::string root = tmp.Path() + "/phone";
    ASSERT_EQ(RunVyrd(tmp, Common(root)).status, 0);
    auto first = vyrsim::ReadProperties(root + "/properties");
    ASSERT_TRUE(first.count("odm.vyr.dae_reboot_times"));

    // A hand edit survives: the second run reuses the sandbox as it is.
    WriteText(root + "/properties", ReadText(root + "/properties") + "vyrd.test.marker=1\n");
    ASSERT_EQ(RunVyrd(tmp, Common(root)).status, 0);
    auto second = vyrsim::ReadProperties(root + "/properties");
    EXPECT_EQ(std::stoi(second["odm.vyr.dae_reboot_times"]),
              std::stoi(first["odm.vyr.dae_reboot_times"]) + 1);
    EXPECT_EQ(second["vyrd.test.marker"], "1");
}

TEST(VyrdTest, CallbackResultIsOneJsonLine) {
    TempDir tmp;
    VyrdRun run = RunVyrd(tmp, With(Common(tmp.Path() + "/phone"), {"-c", "callback vyrd,5,1"}));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ReplyText(run, "callback"), "send msg to vyrd eventType=5 eventCode=1");

    int results = 0;
    for (const std::string &line : run.lines) {
        if (line.rfind("{\"client\"", 0) != 0) {
            continue;
        }
        ++results;
        // Fields in the record's order, nothing else.
        EXPECT_EQ(line, R"({"client":"vyrd","type":5,"dataSize":2,"data":[1,1]})");
    }
    EXPECT_EQ(results, 1);
}

TEST(VyrdTest, TraceFileIsCompleteAndBalanced) {
    TempDir tmp;
    const std::string trace = tmp.Path() + "/trace.json";
    VyrdRun run = RunVyrd(tmp, With(Common(tmp.Path() + "/phone"),
                                    {"--trace", trace, "-c", "systrace on", "-c", "help", "-c",
                                     "callback vyrd,5,1", "--wait", "300"}));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ReplyText(run, "systrace"), "true");
    // At least vyrd's own section around each of the three commands.
    EXPECT_GE(CheckTrace(trace), 6u);
    EXPECT_NE(ReadText(trace).find("\"vyrd help\""), std::string::npos);
}

TEST(VyrdTest, ScriptSetsClientSleepsAndSkipsComments) {
    TempDir tmp;
    const std::string script = tmp.Path() + "/script.txt";
    WriteText(script,
              "# a comment\n"
              "\n"
              "client tester\n"
              "sleep 20\n"
              "client-disable\n"
              "   # indented comment\n"
              "nosuchcommand with blanks\r\n");
    VyrdRun run = RunVyrd(tmp, With(Common(tmp.Path() + "/phone"), {"--script", script}));
    ASSERT_EQ(run.status, 0) << run.err;

    EXPECT_EQ(ReplyText(run, "client-disable"), "tester disable ok");
    auto unknown = Replies(run, "nosuchcommand");
    ASSERT_EQ(unknown.size(), 1u);
    EXPECT_EQ(unknown[0]["param"], "with blanks");
    EXPECT_EQ(unknown[0]["reply"], "tester send unsupported command !");
    size_t replies = 0;
    for (const json &line : run.objects) {
        replies += line.contains("command") ? 1 : 0;
    }
    EXPECT_EQ(replies, 2u);
}

TEST(VyrdTest, StandardInputAndBinaryReplies) {
    TempDir tmp;
    VyrdRun run = RunVyrd(tmp, Common(tmp.Path() + "/phone"), "fmqSize\nsleep x\nhelp\n");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.err.find("sleep"), std::string::npos);  // the bad line is reported
    EXPECT_FALSE(ReplyText(run, "help").empty());

    auto fmq = Replies(run, "fmqSize");
    ASSERT_EQ(fmq.size(), 1u);
    ASSERT_TRUE(fmq[0].contains("replyHex"));
    EXPECT_EQ(fmq[0]["replySize"], 4);
    const std::string hex = fmq[0]["replyHex"];
    ASSERT_EQ(hex.size(), 8u);
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i) {
        value = value << 8 | static_cast<uint32_t>(std::stoul(hex.substr(i * 2, 2), nullptr, 16));
    }
    EXPECT_TRUE(value == 4096 || value == 614400) << value;
}

TEST(VyrdTest, LibraryExitIsReportedAndTraceCompleted) {
    TempDir tmp;
    const std::string trace = tmp.Path() + "/trace.json";
    VyrdRun run =
        RunVyrd(tmp, With(Common(tmp.Path() + "/phone"),
                          {"--trace", trace, "-c", "systrace on", "-c", "reboot", "-c", "help"}));
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("vyrd: library ended the process"), std::string::npos) << run.err;
    EXPECT_TRUE(Replies(run, "reboot").empty());
    EXPECT_TRUE(Replies(run, "help").empty());
    // The section around "reboot" was open at the exit and is closed there.
    EXPECT_GE(CheckTrace(trace), 4u);
}

TEST(VyrdTest, UnloadableLibraryFails) {
    TempDir tmp;
    const std::string fake = tmp.Path() + "/libnot.so";
    WriteText(fake, "not a library");
    VyrdRun run =
        RunVyrd(tmp, {"--lib", fake, "--root", tmp.Path() + "/phone", "--no-libs", "-c", "help"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("dlopen"), std::string::npos) << run.err;
    EXPECT_TRUE(run.lines.empty());
    // The sandbox was made before the library was looked at.
    EXPECT_TRUE(std::filesystem::exists(tmp.Path() + "/phone/properties"));
}

TEST(VyrdTest, TouchesThePanelThroughTheSandboxNodes) {
    TempDir tmp;
    const std::string root = tmp.Path() + "/phone";
    VyrdRun run =
        RunVyrd(tmp, With(Common(root), {"-c", "backtap on", "-c", "touch down 0,540,1200", "-c",
                                         "sleep 300", "-c", "touch up 0", "-c", "sleep 300", "-c",
                                         "touch sideways", "-c", "pen 0102"}));
    ASSERT_EQ(run.status, 0) << run.err;
    std::vector<std::string> replies;
    for (const json &object : run.objects) {
        if (object.contains("command") && object.contains("reply") &&
            (object["command"] == "touch" || object["command"] == "pen")) {
            replies.push_back(object["reply"].get<std::string>());
        }
    }
    EXPECT_EQ(replies, (std::vector<std::string>{"fingers: 1", "fingers: 0",
                                                 "usage: touch down|move ID,X,Y or touch up ID",
                                                 "usage: pen HEX (25 bytes)"}));
    const std::string log = ReadText(root + "/logcat.txt");
    EXPECT_NE(log.find("finger id: 0 down"), std::string::npos);
    EXPECT_NE(log.find("finger id: 0 up"), std::string::npos);
}

// Index in run.objects of the n-th reply (from 0) of a command and
// parameter; objects.size() when there is none.
size_t ReplyIndex(const VyrdRun &run, const std::string &command, const std::string &param,
                  int n = 0) {
    for (size_t i = 0; i < run.objects.size(); ++i) {
        const json &line = run.objects[i];
        if (line.value("command", "") == command && line.value("param", "") == param && n-- == 0) {
            return i;
        }
    }
    return run.objects.size();
}

// The data of the result messages of a type among run.objects[from, to).
std::vector<std::vector<int>> ResultsIn(const VyrdRun &run, int type, size_t from,
                                        size_t to = SIZE_MAX) {
    std::vector<std::vector<int>> found;
    for (size_t i = from; i < std::min(to, run.objects.size()); ++i) {
        const json &line = run.objects[i];
        if (line.contains("type") && line["type"] == type && line.contains("data")) {
            found.push_back(line["data"].get<std::vector<int>>());
        }
    }
    return found;
}

TEST(VyrdTest, FaultCommandsNeedTheirLibraryAndParameters) {
    TempDir tmp;
    VyrdRun run = RunVyrd(tmp, With(Common(tmp.Path() + "/phone"), {"-c", "hang 5",
                                                                    "-c", "sensorsvc die",
                                                                    "-c", "hub reset",
                                                                    "-c", "hang",
                                                                    "-c", "hang -3",
                                                                    "-c", "sensorsvc",
                                                                    "-c", "sensorsvc reboot",
                                                                    "-c", "input event9 00",
                                                                    "-c", "input ../event1 00",
                                                                    "-c", "input event1",
                                                                    "-c", "input event1 0g"}));
    ASSERT_EQ(run.status, 0) << run.err;
    std::vector<std::string> replies;
    for (const json &line : run.objects) {
        if (line.contains("reply")) {
            replies.push_back(line["reply"].get<std::string>());
        }
    }
    EXPECT_EQ(replies,
              (std::vector<std::string>{
                  "hang: the motion library is not loaded yet (turn flip or rotation on first)",
                  "sensorsvc: the sensor service is not loaded yet (enable a sensor first)",
                  "hub: the sensor hub is not loaded yet (enable a fusion channel first)",
                  "usage: hang MS", "usage: hang MS", "usage: sensorsvc die|restart",
                  "usage: sensorsvc die|restart", "input: unknown node event9 (event1..event3)",
                  "input: unknown node ../event1 (event1..event3)", "usage: input NODE HEX",
                  "usage: input NODE HEX"}));
}

// "facedelay" reaches the face library the library under test loaded (on
// the Camera thread's first event): a slow library still answers each frame,
// only later.
TEST(VyrdTest, FaceDelayMakesTheLoadedFaceLibrarySlow) {
    TempDir tmp;
    VyrdRun run = RunVyrd(tmp, With(Common(tmp.Path() + "/phone"),
                                    {"-c", "facedelay 100", "-c", "camera-on 1,100", "-c",
                                     "sleep 800", "-c", "facedelay 300", "-c", "facedelay", "-c",
                                     "facedelay -1", "-c", "tof 1 screen", "--wait", "1500"}));
    ASSERT_EQ(run.status, 0) << run.err;
    std::vector<std::string> replies;
    for (const json &line : Replies(run, "facedelay")) {
        replies.push_back(line.value("reply", ""));
    }
    EXPECT_EQ(replies, (std::vector<std::string>{
                           "facedelay: the face library is not loaded yet (switch a camera "
                           "function on first)",
                           "facedelay 300: set", "usage: facedelay MS (0 to 60000)",
                           "usage: facedelay MS (0 to 60000)"}));
    int gaze = 0;
    for (const json &line : run.objects) {
        gaze += line.contains("type") && line["type"] == 1 && line.value("client", "") == "vyrd";
    }
    EXPECT_EQ(gaze, 1);
}

// The sensor service dies and comes back: the library forgets its sensors,
// reconnects on the next setting, and rotation results come again.
TEST(VyrdTest, SensorServiceDiesAndComesBack) {
    TempDir tmp;
    const std::string root = tmp.Path() + "/phone";
    VyrdRun run = RunVyrd(
        tmp, With(Common(root),
                  {"-c", "rotation on",       "-c", "sleep 300",     "-c", "scenario rotate",
                   "-c", "sleep 1500",        "-c", "sensorsvc die", "-c", "sleep 200",
                   "-c", "sensorsvc restart", "-c", "rotation off",  "-c", "rotation on",
                   "-c", "sleep 300",         "-c", "scenario rest", "-c", "sleep 500",
                   "-c", "scenario rotate",   "-c", "sleep 1500"}));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err.find("library ended"), std::string::npos);
    auto replies = Replies(run, "sensorsvc");
    ASSERT_EQ(replies.size(), 2u);
    EXPECT_EQ(replies[0]["reply"], "sensorsvc: died");
    EXPECT_EQ(replies[1]["reply"], "sensorsvc: restarted");

    constexpr int kRotation = 7;
    const std::vector<int> landscape{1, 1};
    const size_t died = ReplyIndex(run, "sensorsvc", "die");
    const size_t again = ReplyIndex(run, "rotation", "on", 1);
    ASSERT_LT(again, run.objects.size());
    const auto before = ResultsIn(run, kRotation, 0, died);
    const auto after = ResultsIn(run, kRotation, again);
    EXPECT_NE(std::find(before.begin(), before.end(), landscape), before.end());
    EXPECT_NE(std::find(after.begin(), after.end(), landscape), after.end());
    EXPECT_NE(ReadText(root + "/logcat.txt").find("sensor service died"), std::string::npos);
}

// The sensor hub restarts: the library configures it again, and two knocks
// on channel 0 still make a back tap.
TEST(VyrdTest, HubResetKeepsBackTap) {
    TempDir tmp;
    VyrdRun run = RunVyrd(tmp, With(Common(tmp.Path() + "/phone"),
                                    {"-c", "motion-on 25,1", "-c", "sleep 500", "-c", "hub reset",
                                     "-c", "sleep 300", "-c", "hub 0 0,0,20", "-c", "sleep 250",
                                     "-c", "hub 0 0,0,9.8", "-c", "sleep 1500"}));
    ASSERT_EQ(run.status, 0) << run.err;
    const size_t reset = ReplyIndex(run, "hub", "reset");
    ASSERT_LT(reset, run.objects.size());
    EXPECT_EQ(run.objects[reset]["reply"], "hub: reset");
    constexpr int kBackTap = 25;
    EXPECT_FALSE(ResultsIn(run, kBackTap, reset).empty());
}

// A truncated input event on the finger node: the library logs it and goes
// on reading whole events.
TEST(VyrdTest, TruncatedInputEventIsSurvived) {
    TempDir tmp;
    const std::string root = tmp.Path() + "/phone";
    VyrdRun run = RunVyrd(
        tmp, With(Common(root),
                  {"-c", "backtap on", "-c", "sleep 200", "-c", "input event1 0102030405", "-c",
                   "sleep 300", "-c", "touch down 0,540,1200", "-c", "sleep 300", "-c", "help"}));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err.find("library ended"), std::string::npos);
    EXPECT_EQ(ReplyText(run, "input"), "input event1: 5 bytes");
    EXPECT_FALSE(ReplyText(run, "help").empty());
    const std::string log = ReadText(root + "/logcat.txt");
    EXPECT_NE(log.find("wrong size=5"), std::string::npos);
    EXPECT_NE(log.find("finger id: 0 down"), std::string::npos);
}

// A full disk (a file-size limit on the daemon): the library's writes fail
// and the daemon goes on serving.
TEST(VyrdTest, FileSizeLimitDoesNotEndTheDaemon) {
    TempDir tmp;
    const std::string root = tmp.Path() + "/phone";
    ASSERT_EQ(RunVyrd(tmp, Common(root)).status, 0);
    WriteText(root + "/logcat.txt", "");
    constexpr rlim_t kLimit = 4096;
    VyrdRun run =
        RunVyrd(tmp, With(Common(root), {"-c", "rotation on", "-c", "sleep 300", "-c", "version"}),
                "", kLimit);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(ReplyText(run, "version").find("VyrHal/Version:"), std::string::npos);
    EXPECT_EQ(std::filesystem::file_size(root + "/logcat.txt"), kLimit);
}

// A gesture call that never answers: the library's watchdog ends the process
// through its SOS path, and the next start counts one more reboot. The one
// slow test here (the watchdog waits 20 s, the exit about 10 s more).
TEST(VyrdTest, HangEndsTheDaemonThroughSos) {
    TempDir tmp;
    const std::string root = tmp.Path() + "/phone";
    const auto start = std::chrono::steady_clock::now();
    VyrdRun run =
        RunVyrd(tmp, With(Common(root), {"-c", "flip on", "-c", "sleep 300", "-c", "scenario rest",
                                         "-c", "hang 60000", "-c", "sleep 58000"}));
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("vyrd: library ended the process"), std::string::npos) << run.err;
    EXPECT_EQ(ReplyText(run, "hang"), "hang 60000: armed");
    EXPECT_LT(elapsed, std::chrono::seconds(45));
    EXPECT_NE(ReadText(root + "/logcat.txt").find("DoSos"), std::string::npos);

    auto before = vyrsim::ReadProperties(root + "/properties");
    ASSERT_EQ(RunVyrd(tmp, Common(root)).status, 0);
    auto after = vyrsim::ReadProperties(root + "/properties");
    EXPECT_EQ(std::stoi(after["odm.vyr.dae_reboot_times"]),
              std::stoi(before["odm.vyr.dae_reboot_times"]) + 1);
}

}  // namespace

// The algorithm developer's loop: the demo recorded with file logging on,
// then replayed from its files in a fresh sandbox, gives the same gesture and
// posture results (back tap aside: it comes from the sensor hub's channel,
// which the replay does not read).
TEST(VyrdReplayTest, ReplayOfTheRecordedDemoGivesItsResults) {
    TempDir tmp;
    const std::string rec = tmp.Path() + "/rec";
    const std::string rep = tmp.Path() + "/rep";
    const std::string scenarios = std::string(VYR_SOURCE_DIR) + "/sim/scenarios/";
    WriteText(rec + "/data/demo.csv", ReadText(scenarios + "demo.csv"));
    VyrdRun recorded =
        RunVyrd(tmp, With(Common(rec), {"--prop", "persist.odm.vyr.vyrlog_enabled=true", "--script",
                                        scenarios + "demo.vyrd"}));
    ASSERT_EQ(recorded.status, 0) << recorded.err;
    VyrdRun replayed = RunVyrd(
        tmp, With(Common(rep), {"--replay-from", rec, "--script", scenarios + "replay.vyrd"}));
    ASSERT_EQ(replayed.status, 0) << replayed.err;

    // Gesture results carry two values and posture results three; the
    // demo's camera and activity results (five values, event blocks) have no
    // sensor files to replay.
    auto results = [](const VyrdRun &run) {
        std::vector<std::pair<int, std::vector<int>>> out;
        for (const json &line : run.objects) {
            if (line.contains("type") && line["type"] != 25 && line.contains("data") &&
                (line["data"].size() == 2 || line["data"].size() == 3)) {
                out.emplace_back(line["type"].get<int>(), line["data"].get<std::vector<int>>());
            }
        }
        return out;
    };
    // Posture, flip, rotation, flip again, and four postures: the demo's
    // motion part. The replay may go on with the tail of the recording.
    constexpr size_t kDemoResults = 9;
    auto live = results(recorded);
    auto again = results(replayed);
    ASSERT_GE(live.size(), kDemoResults);
    ASSERT_GE(again.size(), kDemoResults);
    live.resize(kDemoResults);
    again.resize(kDemoResults);
    EXPECT_EQ(again, live);
    const std::string laid = ReplyText(replayed, "replayfiles");
    EXPECT_NE(laid.find("acc1.csv: "), std::string::npos) << laid;
    EXPECT_NE(laid.find("fold.csv: "), std::string::npos) << laid;
    auto emulate = Replies(replayed, "motion-emulate");
    ASSERT_EQ(emulate.size(), 2u);
    EXPECT_EQ(emulate[0]["reply"], "enable emulate events");
}

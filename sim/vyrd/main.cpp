// vyrd: the sensing daemon of the simulated phone. Loads libvyr.tolvi.so,
// starts it with a result callback and trace hooks, serves commands from the
// command line, a script or standard input (a prompt with line editing at a
// terminal), and prints replies and result messages: as JSON lines, or as
// human text when standard output is a terminal.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "sandbox/Sandbox.h"
#include "vyrd/CommandRunner.h"
#include "vyrd/Console.h"
#include "vyrd/HalLibrary.h"
#include "vyrd/Output.h"
#include "vyrd/TouchPanel.h"
#include "vyrd/TraceWriter.h"

namespace fs = std::filesystem;

namespace {

constexpr const char *kProductFile = "vendor/etc/tolvi_vyr_product_config.xml";

// Reached from library threads and exit handlers until the very end of the
// process, so never destroyed.
vyrd::TraceWriter &Trace() {
    static auto *trace = new vyrd::TraceWriter();
    return *trace;
}
vyrd::Output &Out() {
    static auto *out = new vyrd::Output();
    return *out;
}

// Set when vyrd itself decides to end; any other exit came from the library.
std::atomic<bool> gOwnEnd{false};

int32_t HookIsTagEnabled(int64_t /*tag*/) {
    return Trace().IsOpen() ? 1 : 0;
}
void HookBegin(int64_t /*tag*/, const char *name) {
    Trace().Begin(name);
}
void HookEnd(int64_t /*tag*/) {
    Trace().End();
}

vyr_sys_device_t gSysDevice = {HookIsTagEnabled, HookBegin, HookEnd};

// The result callback: may run on any library thread, also several at once.
void OnNotify(vyr_msg_t &msg) {
    Out().Result(msg);
}

void OnExit() {
    if (!gOwnEnd.load()) {
        static const char kLine[] = "vyrd: library ended the process\n";
        ssize_t ignored = write(STDERR_FILENO, kLine, sizeof(kLine) - 1);
        (void)ignored;
    }
    Trace().Finish();
    fflush(stdout);
}

// SIGINT, SIGTERM and SIGHUP are blocked in every thread (library threads
// inherit the mask) and taken here, so the trace file is completed.
void BlockEndSignals(sigset_t &set) {
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void StartSignalThread(const sigset_t &set) {
    std::thread([set]() {
        int sig = 0;
        if (sigwait(&set, &sig) != 0) {
            return;
        }
        gOwnEnd.store(true);
        fprintf(stderr, "vyrd: %s, ending\n", strsignal(sig));
        Trace().Finish();
        fflush(stdout);
        _exit(128 + sig);
    }).detach();
}

bool ReadText(const std::string &path, std::string &text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return false;
    }
    std::ostringstream all;
    all << in.rdbuf();
    text = all.str();
    return true;
}

struct Settings {
    std::string lib = VYR_DEFAULT_LIB;
    std::string root;
    std::string logcat;
    bool quietLog = false;
    std::string trace;
    std::vector<std::string> commands;
    std::string script;
    uint32_t waitMs = 0;
    std::string client = "vyrd";
    std::string product;
    std::vector<std::string> props;
    std::string cmdline;
    bool cmdlineGiven = false;
    bool noLibs = false;
    bool plain = false;
    bool describe = false;
    bool json = false;
    bool human = false;
    bool verbose = false;
    std::string replayFrom;
};

// Makes or reuses the sandbox and points the library at it.
bool PrepareSandbox(Settings &s) {
    std::error_code ec;
    s.root = fs::absolute(s.root, ec).lexically_normal().string();
    while (s.root.size() > 1 && s.root.back() == '/') {
        s.root.pop_back();
    }
    const bool exists = fs::exists(fs::path(s.root) / "properties", ec);
    const bool adjust = !s.product.empty() || !s.props.empty() || s.cmdlineGiven;

    if (!exists || adjust) {
        vyrsim::SandboxOptions opts;
        opts.installLibs = !s.noLibs;
        if (!s.product.empty()) {
            if (!ReadText(s.product, opts.productXml)) {
                fprintf(stderr, "vyrd: cannot read %s\n", s.product.c_str());
                return false;
            }
        } else if (exists) {
            // Adjusting a sandbox keeps its product file unless told otherwise.
            ReadText(s.root + "/" + kProductFile, opts.productXml);
        }
        if (s.cmdlineGiven) {
            opts.cmdline = s.cmdline;
        } else if (exists && ReadText(s.root + "/proc/cmdline", opts.cmdline)) {
            while (!opts.cmdline.empty() && opts.cmdline.back() == '\n') {
                opts.cmdline.pop_back();
            }
        }
        for (const std::string &prop : s.props) {
            size_t eq = prop.find('=');
            if (eq == std::string::npos || eq == 0) {
                fprintf(stderr, "vyrd: --prop needs NAME=VALUE, got \"%s\"\n", prop.c_str());
                return false;
            }
            opts.properties[prop.substr(0, eq)] = prop.substr(eq + 1);
        }
        opts.touchNodes = true;
        std::string error;
        if (!vyrsim::CreateSandbox(s.root, opts, &error)) {
            fprintf(stderr, "vyrd: sandbox %s: %s\n", s.root.c_str(), error.c_str());
            return false;
        }
    }
    setenv("VYR_ROOT", s.root.c_str(), 1);
    if (s.logcat.empty()) {
        s.logcat = s.root + "/logcat.txt";
    }
    return true;
}

}  // namespace

int main(int argc, char **argv) {
    Settings s;
    CLI::App app{
        "vyrd: loads libvyr.tolvi.so, starts it and serves commands. Replies and result "
        "messages are printed as JSON lines on standard output, or as human text when it is "
        "a terminal."};
    app.add_option("--lib", s.lib, "The library to load")->capture_default_str();
    app.add_option("--root", s.root,
                   "Device sandbox: made when DIR has no properties file, reused otherwise; "
                   "sets VYR_ROOT");
    app.add_option("--logcat", s.logcat,
                   "Append the library's log to FILE (VYR_LOGCAT); default DIR/logcat.txt "
                   "with --root");
    app.add_flag("--quiet-log", s.quietLog, "Keep the library's log off standard error");
    app.add_option("--trace", s.trace, "Write a Chrome trace-event JSON file");
    app.add_option("-c,--command", s.commands, "A command: \"name param\" (repeatable)");
    app.add_option("--script", s.script, "Run the commands of FILE, one a line")
        ->check(CLI::ExistingFile);
    app.add_option("--wait", s.waitMs,
                   "Keep serving results MS milliseconds after the last command");
    app.add_option("--client", s.client, "Client name of the commands")->capture_default_str();
    app.add_option("--product", s.product, "Product XML for the sandbox (with --root)")
        ->check(CLI::ExistingFile);
    app.add_option("--prop", s.props, "Set a sandbox property NAME=VALUE (with --root)");
    app.add_option("--cmdline", s.cmdline, "Kernel command line of the sandbox (with --root)");
    app.add_flag("--no-libs", s.noLibs, "Do not copy the stand-in libraries into a new sandbox");
    app.add_flag("--plain", s.plain, "Print replies as plain text instead of JSON lines");
    app.add_flag("--describe", s.describe, "Follow each result line with a human line (# ...)");
    auto *json = app.add_flag("--json", s.json, "JSON lines even at a terminal");
    app.add_flag("--human", s.human,
                 "Human text even when standard output is not a terminal: replies as text, "
                 "results as their human line after the seconds since start")
        ->excludes(json);
    app.add_flag("-v,--verbose", s.verbose,
                 "Human text: echo each command (\"> flip on\") with its reply, also those of "
                 "a script");
    app.add_option("--replay-from", s.replayFrom,
                   "Recorded run (its sandbox or log directory) for the replayfiles command");
    app.footer(
        "Command lines (-c, --script, standard input): the name, one blank, the parameter.\n"
        "Blank lines and lines starting with # are skipped. Built-ins:\n"
        "  sleep MS, client NAME, getdata CMD SIZE, fmq HEX, fmqfile PATH,\n"
        "  scenario NAME|CSV (rest walk flip fold pickup rotate still hand train, or a CSV file)\n"
        "  hub CHANNEL x,y,z (hold a channel of the simulated sensor hub)\n"
        "  faults: hang MS (next flip/orientation call of the gesture library sleeps MS),\n"
        "    sensorsvc die|restart, hub reset, input NODE HEX (raw bytes to dev/input/NODE)\n"
        "  replayfiles [DIR] (lay a recorded run's sensor files out for motion-emulate)\n"
        "  say TEXT (tell a step of a script in one line)\n"
        "Standard input is read when neither -c nor --script is given; at a terminal with "
        "line editing,\nhistory (arrow keys) and Tab completion of command names. In human "
        "text a script's replies\nare left out (its say lines and the results tell it) unless "
        "-v.\n\n" +
        vyrsim::SandboxLayoutText());
    CLI11_PARSE(app, argc, argv);
    s.cmdlineGiven = app.count("--cmdline") > 0;
    if (s.root.empty() && (!s.product.empty() || !s.props.empty() || s.cmdlineGiven)) {
        fprintf(stderr, "vyrd: --product, --prop and --cmdline need --root\n");
        return 2;
    }

    // A file-size limit on the daemon (prlimit RLIMIT_FSIZE, a full disk in a
    // soak run) must reach the library as EFBIG from write, not end vyrd.
    signal(SIGXFSZ, SIG_IGN);

    sigset_t endSignals;
    BlockEndSignals(endSignals);
    StartSignalThread(endSignals);

    if (!s.root.empty() && !PrepareSandbox(s)) {
        return 1;
    }
    if (!s.logcat.empty()) {
        setenv("VYR_LOGCAT", s.logcat.c_str(), 1);
    }
    if (s.quietLog) {
        setenv("VYR_LOG_STDERR", "0", 1);
    }
    Out().SetPlainReplies(s.plain);
    Out().SetDescribe(s.describe);
    const bool human = s.human || (!s.json && isatty(STDOUT_FILENO) != 0);
    Out().SetForm(human ? vyrd::Output::Form::kHuman : vyrd::Output::Form::kJson);
    Out().SetVerbose(s.verbose);

    if (!s.trace.empty() && !Trace().Open(s.trace)) {
        fprintf(stderr, "vyrd: cannot create %s: %s\n", s.trace.c_str(), strerror(errno));
        return 1;
    }

    // Read the script before starting the library, so a bad path costs nothing.
    std::string scriptText;
    if (!s.script.empty() && !ReadText(s.script, scriptText)) {
        fprintf(stderr, "vyrd: cannot read %s\n", s.script.c_str());
        return 1;
    }

    vyrd::HalLibrary lib;
    std::string error;
    if (!lib.Load(s.lib, error)) {
        fprintf(stderr, "vyrd: %s\n", error.c_str());
        Trace().Finish();
        return 1;
    }
    // From here on an exit that vyrd did not choose is reported.
    atexit(OnExit);
    at_quick_exit(OnExit);
    Out().Event({{"event", "loaded"}, {"lib", s.lib}, {"version", lib.Version()}});

    if (!s.root.empty()) {
        vyrd::TouchPanel::Get().Open(s.root);
    }
    int32_t result = lib.Ops().vyr_init(vyr_notify_t{OnNotify}, &gSysDevice);
    Out().Event({{"event", "init"}, {"result", result}});
    if (result != 0) {
        fprintf(stderr, "vyrd: vyr_init returned %d\n", result);
        gOwnEnd.store(true);
        fflush(nullptr);
        std::quick_exit(1);
    }

    vyrd::CommandRunner runner(lib, Out(), Trace(), s.client);
    runner.SetReplayFrom(s.replayFrom);
    int bad = 0;
    for (const std::string &line : s.commands) {
        bad += runner.RunLine(line) ? 0 : 1;
    }
    if (!s.script.empty()) {
        std::istringstream in(scriptText);
        Out().SetQuietReplies(true);
        bad += runner.RunStream(in, false);
        Out().SetQuietReplies(false);
    }
    if (s.commands.empty() && s.script.empty()) {
        if (isatty(STDIN_FILENO) != 0) {
            Out().Note("vyrd: " + fs::path(s.lib).filename().string() + " " + lib.Version() +
                       " started; \"help\" lists its commands, Tab completes a name, "
                       "Ctrl-D ends");
            bad += vyrd::RunConsole(runner);
        } else {
            bad += runner.RunStream(std::cin, false);
        }
    }
    if (s.waitMs > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(s.waitMs));
    }
    if (bad > 0) {
        fprintf(stderr, "vyrd: %d malformed command line(s)\n", bad);
    }

    gOwnEnd.store(true);
    Trace().Finish();
    // The library's threads run to the end of the process, as in the daemon,
    // so vyrd ends as the library's own planned end does: output flushed,
    // then quick_exit, with no static object of the library destroyed under
    // its running threads.
    fflush(nullptr);
    std::quick_exit(0);
}

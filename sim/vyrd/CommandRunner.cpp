#include "vyrd/CommandRunner.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

#include "libs/FusionSense/fusion_sense_sim.h"
#include "libs/VyrSensor/vyr_sensor_sim.h"
#include "libs/motion/motion_sim.h"
#include "vyrd/CameraSim.h"
#include "vyrd/ReplayFiles.h"
#include "vyrd/TouchPanel.h"

namespace vyrd {

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

// A whole decimal number in [0, max]; no sign, no trailing text.
bool ParseCount(const std::string &text, long long max, long long &value) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    errno = 0;
    char *end = nullptr;
    long long v = strtoll(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || v > max) {
        return false;
    }
    value = v;
    return true;
}

std::string Strip(const std::string &text) {
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && IsBlank(text[begin])) {
        ++begin;
    }
    while (end > begin && IsBlank(text[end - 1])) {
        --end;
    }
    return text.substr(begin, end - begin);
}

// Keeps a trace section open for the lifetime of one served command.
class TraceSection {
public:
    TraceSection(TraceWriter &trace, const std::string &name) : mTrace(trace) {
        mTrace.Begin(name.c_str());
    }
    ~TraceSection() { mTrace.End(); }
    TraceSection(const TraceSection &) = delete;
    TraceSection &operator=(const TraceSection &) = delete;

private:
    TraceWriter &mTrace;
};

// A stand-in library as the library under test has loaded it from the
// device tree (the same file, and so the same instance); null when it has
// not been loaded yet. Close with dlclose.
void *LoadedStandin(const std::string &file) {
    const char *root = getenv("VYR_ROOT");
    const std::string prefix = root != nullptr ? root : "";
    for (const char *dir : {"/odm/lib64/", "/vendor/lib64/"}) {
        const std::string path = prefix + dir + file;
        if (void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD)) {
            return handle;
        }
    }
    return nullptr;
}

// Plays a scenario on the simulated sensor service. The reply text.
std::string PlayScenario(const std::string &what) {
    void *handle = LoadedStandin("libVyrSensor.so");
    if (handle == nullptr) {
        return "scenario: the sensor service is not loaded yet (enable a sensor first)";
    }
    using Play = int32_t (*)(const char *);
    auto play = reinterpret_cast<Play>(dlsym(handle, "VyrSimPlayScenario"));
    std::string reply;
    if (play == nullptr) {
        reply = "scenario: the sensor service has no scenario control";
    } else if (play(what.c_str()) != 0) {
        reply = "scenario " + what + ": failed";
    } else {
        reply = "scenario " + what + ": playing";
    }
    dlclose(handle);
    return reply;
}

// Holds a channel of the simulated sensor hub ("CHANNEL x,y,z", channel 0 the
// first accelerometer, 1 the first gyroscope) at a value. The reply text.
std::string SetHubChannel(const std::string &param) {
    int channel = -1;
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;
    if (sscanf(param.c_str(), "%d %f,%f,%f", &channel, &x, &y, &z) != 4) {
        return "usage: hub CHANNEL x,y,z";
    }
    void *handle = LoadedStandin("libFusionSense.so");
    if (handle == nullptr) {
        return "hub: the sensor hub is not loaded yet (enable a fusion channel first)";
    }
    using SetValue = bool (*)(int32_t, float, float, float);
    auto set = reinterpret_cast<SetValue>(dlsym(handle, "FusionSimSetChannelValue"));
    bool done = set != nullptr && set(channel, x, y, z);
    dlclose(handle);
    return done ? "hub channel " + std::to_string(channel) + " set" : "hub: failed";
}

// Faults for soak runs. "hang MS": the next flip or orientation call of the
// gesture library sleeps MS milliseconds. The reply text.
std::string ArmMotionHang(const std::string &param) {
    long long ms = 0;
    if (!ParseCount(param, INT32_MAX, ms)) {
        return "usage: hang MS";
    }
    void *handle = LoadedStandin("libmotion.so");
    if (handle == nullptr) {
        return "hang: the motion library is not loaded yet (turn flip or rotation on first)";
    }
    auto hang = reinterpret_cast<MotionSimHang_t>(dlsym(handle, "MotionSimHang"));
    if (hang != nullptr) {
        hang(static_cast<int32_t>(ms));
    }
    dlclose(handle);
    return hang != nullptr ? "hang " + param + ": armed" : "hang: failed";
}

// "sensorsvc die|restart": the simulated sensor service dies or comes back.
// The reply text.
std::string ControlSensorService(const std::string &param) {
    if (param != "die" && param != "restart") {
        return "usage: sensorsvc die|restart";
    }
    void *handle = LoadedStandin("libVyrSensor.so");
    if (handle == nullptr) {
        return "sensorsvc: the sensor service is not loaded yet (enable a sensor first)";
    }
    const bool die = param == "die";
    // VyrSimServiceDie_t and VyrSimServiceRestart_t are the same type.
    auto control = reinterpret_cast<VyrSimServiceDie_t>(
        dlsym(handle, die ? "VyrSimServiceDie" : "VyrSimServiceRestart"));
    if (control != nullptr) {
        control();
    }
    dlclose(handle);
    if (control == nullptr) {
        return "sensorsvc: failed";
    }
    return die ? "sensorsvc: died" : "sensorsvc: restarted";
}

// "hub reset": the simulated sensor hub restarts. The reply text.
std::string ResetHub() {
    void *handle = LoadedStandin("libFusionSense.so");
    if (handle == nullptr) {
        return "hub: the sensor hub is not loaded yet (enable a fusion channel first)";
    }
    auto restart = reinterpret_cast<FusionSimHubRestart_t>(dlsym(handle, "FusionSimHubRestart"));
    const bool done = restart != nullptr && restart() == 0;
    dlclose(handle);
    return done ? "hub: reset" : "hub: failed";
}

}  // namespace

bool ParseCommandLine(std::string line, CommandLine &out) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.pop_back();
    }
    size_t start = 0;
    while (start < line.size() && IsBlank(line[start])) {
        ++start;
    }
    if (start == line.size() || line[start] == '#') {
        return false;
    }
    size_t blank = start;
    while (blank < line.size() && !IsBlank(line[blank])) {
        ++blank;
    }
    out.name = line.substr(start, blank - start);
    out.param = blank < line.size() ? line.substr(blank + 1) : std::string();
    return true;
}

bool ParseHex(const std::string &text, std::vector<uint8_t> &out) {
    out.clear();
    int high = -1;
    for (char c : text) {
        int digit;
        if (c >= '0' && c <= '9') {
            digit = c - '0';
        } else if (c >= 'a' && c <= 'f') {
            digit = c - 'a' + 10;
        } else if (c >= 'A' && c <= 'F') {
            digit = c - 'A' + 10;
        } else if (IsBlank(c) && high < 0) {
            continue;
        } else {
            return false;
        }
        if (high < 0) {
            high = digit;
        } else {
            out.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    return high < 0;
}

bool CommandRunner::RunLine(const std::string &line) {
    CommandLine cmd;
    if (!ParseCommandLine(line, cmd)) {
        return true;
    }
    return Run(cmd);
}

bool CommandRunner::RunFmq(const std::string &what, const std::vector<uint8_t> &bytes) {
    std::vector<uint8_t> copy(bytes);
    int32_t result = 0;
    {
        TraceSection section(mTrace, "vyrd " + what);
        result = mLib.Ops().vyr_fmq_data(copy.data(), static_cast<int32_t>(copy.size()));
    }
    mOut.Fmq(what, copy.size(), result);
    return true;
}

const std::vector<std::string> &CommandRunner::BuiltinNames() {
    static const std::vector<std::string> kNames = {
        "ao",       "client",    "faceenroll", "fmq",   "fmqfile", "fpblock",     "getdata",
        "hang",     "hub",       "input",      "light", "pen",     "replayfiles", "say",
        "scenario", "sensorsvc", "sleep",      "tof",   "touch",
    };
    return kNames;
}

std::vector<std::string> CommandRunner::LibraryCommandNames() const {
    std::vector<uint8_t> out;
    mLib.Ops().vyr_run_command(mClient, "help", {}, out);
    std::vector<std::string> names;
    std::string name;
    for (uint8_t c : out) {
        if (c == '\n') {
            if (!name.empty()) {
                names.push_back(name);
            }
            name.clear();
        } else {
            name.push_back(static_cast<char>(c));
        }
    }
    if (!name.empty()) {
        names.push_back(name);
    }
    return names;
}

bool CommandRunner::Run(const CommandLine &cmd) {
    if (cmd.name == "say") {
        mOut.Say(Strip(cmd.param));
        return true;
    }
    mOut.Command(cmd.name, cmd.param);
    if (cmd.name == "sleep") {
        long long ms = 0;
        if (!ParseCount(Strip(cmd.param), 24LL * 3600 * 1000, ms)) {
            fprintf(stderr, "vyrd: sleep needs milliseconds, got \"%s\"\n", cmd.param.c_str());
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        return true;
    }
    if (cmd.name == "client") {
        std::string name = Strip(cmd.param);
        if (name.empty()) {
            fprintf(stderr, "vyrd: client needs a name\n");
            return false;
        }
        mClient = name;
        return true;
    }
    if (cmd.name == "getdata") {
        std::string param = Strip(cmd.param);
        size_t blank = param.find_last_of(" \t");
        long long size = 0;
        if (blank == std::string::npos || !ParseCount(param.substr(blank + 1), INT32_MAX, size)) {
            fprintf(stderr, "vyrd: usage: getdata CMD SIZE\n");
            return false;
        }
        std::string name = Strip(param.substr(0, blank));
        std::vector<uint8_t> out;
        {
            TraceSection section(mTrace, "vyrd getdata " + name);
            mLib.Ops().vyr_get_data(name, static_cast<int32_t>(size), out);
        }
        mOut.Reply("getdata", mClient, param, out);
        return true;
    }
    if (cmd.name == "scenario") {
        std::string what = Strip(cmd.param);
        if (what.empty()) {
            fprintf(stderr, "vyrd: scenario needs a name or a CSV path\n");
            return false;
        }
        std::string reply = PlayScenario(what);
        mOut.Reply("scenario", mClient, cmd.param,
                   std::vector<uint8_t>(reply.begin(), reply.end()));
        return true;
    }
    if (cmd.name == "replayfiles") {
        std::string from = Strip(cmd.param);
        if (from.empty()) {
            from = mReplayFrom;
        }
        const char *root = getenv("VYR_ROOT");
        if (from.empty() || root == nullptr) {
            fprintf(stderr,
                    "vyrd: replayfiles needs a recorded sandbox or log directory "
                    "(or --replay-from) and a sandbox (--root)\n");
            return false;
        }
        bool ok = false;
        std::string reply = PrepareReplayFiles(from, root, &ok);
        mOut.Reply("replayfiles", mClient, cmd.param,
                   std::vector<uint8_t>(reply.begin(), reply.end()));
        return ok;
    }
    if (cmd.name == "hub") {
        const std::string param = Strip(cmd.param);
        std::string reply = param == "reset" ? ResetHub() : SetHubChannel(param);
        mOut.Reply("hub", mClient, cmd.param, std::vector<uint8_t>(reply.begin(), reply.end()));
        return true;
    }
    if (cmd.name == "tof") {
        std::vector<std::vector<uint8_t>> frames;
        int interval = 0;
        std::string error;
        if (!BuildTofFrames(Strip(cmd.param), frames, &interval, &error)) {
            fprintf(stderr, "vyrd: %s\n", error.c_str());
            return false;
        }
        for (size_t i = 0; i < frames.size(); ++i) {
            if (i > 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(interval));
            }
            RunFmq("tof", frames[i]);
        }
        return true;
    }
    if (cmd.name == "light" || cmd.name == "ao" || cmd.name == "facedelay") {
        const std::string param = Strip(cmd.param);
        const std::string reply = cmd.name == "light"       ? SetLight(param)
                                  : cmd.name == "facedelay" ? SetFaceDelay(param)
                                                            : PlayAoScenario(param);
        mOut.Reply(cmd.name, mClient, cmd.param, std::vector<uint8_t>(reply.begin(), reply.end()));
        return true;
    }
    if (cmd.name == "hang" || cmd.name == "sensorsvc") {
        const std::string param = Strip(cmd.param);
        const std::string reply =
            cmd.name == "hang" ? ArmMotionHang(param) : ControlSensorService(param);
        mOut.Reply(cmd.name, mClient, cmd.param, std::vector<uint8_t>(reply.begin(), reply.end()));
        return true;
    }
    if (cmd.name == "touch" || cmd.name == "pen" || cmd.name == "fpblock" || cmd.name == "input") {
        TouchPanel &panel = TouchPanel::Get();
        std::string param = Strip(cmd.param);
        std::string reply = cmd.name == "touch"   ? panel.Touch(param)
                            : cmd.name == "pen"   ? panel.Pen(param)
                            : cmd.name == "input" ? panel.Input(param)
                                                  : panel.FpBlock(param);
        mOut.Reply(cmd.name, mClient, cmd.param, std::vector<uint8_t>(reply.begin(), reply.end()));
        return true;
    }
    if (cmd.name == "faceenroll") {
        const std::string reply =
            EnrolFace(Strip(cmd.param),
                      [this](const std::vector<uint8_t> &bytes) { RunFmq("faceenroll", bytes); });
        mOut.Reply(cmd.name, mClient, cmd.param, std::vector<uint8_t>(reply.begin(), reply.end()));
        return true;
    }
    if (cmd.name == "fmq") {
        std::vector<uint8_t> bytes;
        if (!ParseHex(cmd.param, bytes)) {
            fprintf(stderr, "vyrd: fmq needs hex bytes\n");
            return false;
        }
        return RunFmq("fmq", bytes);
    }
    if (cmd.name == "fmqfile") {
        std::ifstream in(Strip(cmd.param), std::ios::binary);
        if (!in) {
            fprintf(stderr, "vyrd: cannot read \"%s\"\n", cmd.param.c_str());
            return false;
        }
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                   std::istreambuf_iterator<char>());
        return RunFmq("fmqfile", bytes);
    }

    std::vector<uint8_t> in(cmd.param.begin(), cmd.param.end());
    std::vector<uint8_t> out;
    {
        TraceSection section(mTrace, "vyrd " + cmd.name);
        mLib.Ops().vyr_run_command(mClient, cmd.name, in, out);
    }
    mOut.Reply(cmd.name, mClient, cmd.param, out);
    return true;
}

int CommandRunner::RunStream(std::istream &in, bool prompt) {
    int bad = 0;
    for (;;) {
        if (prompt) {
            fputs("vyrd> ", stderr);
            fflush(stderr);
        }
        std::string line;
        if (!std::getline(in, line)) {
            break;
        }
        if (!RunLine(line)) {
            ++bad;
        }
    }
    return bad;
}

}  // namespace vyrd

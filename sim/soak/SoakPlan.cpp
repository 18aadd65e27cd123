#include "soak/SoakPlan.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>

#include "sensor/FmqMessages.h"

namespace soak {

namespace {

// The use of the phone comes in rounds; each round moves every module once.
constexpr int64_t kRoundMs = 6000;
constexpr int64_t kFirstRoundMs = 1000;
// The faults come in cycles; a hang ends the first cycle and every sixth.
constexpr int64_t kCycleMs = 45000;
constexpr int64_t kFirstCycleMs = 5000;
constexpr int kHangEveryCycles = 6;
constexpr int64_t kHangInCycleMs = 33000;
// The slow face library: every second cycle, after the sensor service is
// back and before the hang. In the dark a turn wakes the TOF camera for two
// seconds (no face: it looks until its deadline), so the turns repeat.
constexpr int kSlowFaceEveryCycles = 2;
constexpr int64_t kSlowFaceInCycleMs = 6500;
constexpr int64_t kSlowFaceTurnMs = 2500;
constexpr int64_t kTofFrameMs = 33;
// Mean pauses between random feature switches and between malformed inputs.
constexpr double kToggleMeanMs = 800.0;
constexpr double kBadInputMeanMs = 1500.0;

const char *const kTofScenes[] = {"left", "right", "screen", "away", "nobody", "upside"};

// Commands that the library must refuse or survive; a random number is added
// to some so that no two runs of a parameter parser look alike.
const char *const kBadCommands[] = {
    "flip maybe",        "rotation 7",      "motion-on 25",      "motion-on x,y",
    "motion-off",        "posture-on",      "camera-on 99,abc",  "camera-off 0",
    "ar-on 3,1",         "ar-on ;;;",       "ar-off 9",          "ar-on 3,1,x,0",
    "set-env fog",       "loglevel abc",    "nosuchcommand 1",   "faceid-template 9",
    "noven-cmd x",       "hsFlag-update",   "scene-update 1",    "modem-update a,b",
    "hub 9 1,2,3",       "scenario nosuch", "tof 1 nowhere",     "touch down x",
    "backtap-event 1,2", "camera-on -1,-1", "aoservice-on 77,0", "ar-cmd",
};

class Planner {
public:
    Planner(uint64_t seed, int64_t lengthMs) : mSeed(seed) {
        mPlan.seed = seed;
        mPlan.lengthMs = lengthMs;
    }

    // Each part of the plan draws from a stream of its own, so that the
    // beginning of a plan does not depend on its length.
    Plan Make() {
        Stream(1);
        PlanRounds();
        Stream(2);
        PlanToggles();
        Stream(3);
        PlanBadInput();
        Stream(4);
        PlanFaults();
        std::stable_sort(mPlan.steps.begin(), mPlan.steps.end(),
                         [](const Step &a, const Step &b) { return a.atMs < b.atMs; });
        return std::move(mPlan);
    }

private:
    // Steps past the end of the run are left out.
    void Add(int64_t at, StepKind kind, const std::string &client, const std::string &text,
             FaultKind fault = FaultKind::LibraryMissing) {
        if (at < mPlan.lengthMs) {
            mPlan.steps.push_back(Step{at, kind, client, text, fault});
        }
    }
    void Use(int64_t at, const std::string &text) {
        Add(at, StepKind::Command, kSteadyClient, text);
    }
    void Fault(int64_t at, StepKind kind, FaultKind fault) { Add(at, kind, "", "", fault); }

    void Stream(uint64_t part) { mRng.seed(mSeed * 4 + part); }
    double Uniform(double lo, double hi) { return std::uniform_real_distribution<>(lo, hi)(mRng); }
    int Pick(int count) { return std::uniform_int_distribution<>(0, count - 1)(mRng); }
    int64_t Pause(double meanMs) {
        return 50 + static_cast<int64_t>(std::exponential_distribution<>(1.0 / meanMs)(mRng));
    }
    std::string Hex(size_t count, const std::vector<uint8_t> &prefix = {}) {
        std::string text;
        char byte[3];
        for (size_t i = 0; i < prefix.size() + count; ++i) {
            const int value = i < prefix.size() ? prefix[i] : Pick(256);
            snprintf(byte, sizeof(byte), "%02x", value);
            text += byte;
        }
        return text;
    }

    // The phone in use: turned, flipped, folded, held and laid down, knocked on
    // its back, touched; the face seen by the always-on service and, every
    // third round, in the dark by the TOF camera.
    void PlanRounds() {
        const auto windows = SlowFaceWindows(mPlan.lengthMs);
        // The camera's light and answers belong to the slow face library
        // while it lasts.
        auto camera = [&](int64_t at, const std::string &text) {
            for (const auto &[begin, end] : windows) {
                if (at >= begin && at < end) {
                    return;
                }
            }
            Use(at, text);
        };
        int round = 0;
        for (int64_t r = kFirstRoundMs; r < mPlan.lengthMs; r += kRoundMs, ++round) {
            Use(r, "scenario rotate");
            for (int64_t t = 0; t < 1500; t += 80) {
                char value[64];
                snprintf(value, sizeof(value), "hub 0 %.2f,%.2f,%.2f", Uniform(-0.3, 0.3),
                         Uniform(-0.3, 0.3), Uniform(9.5, 10.1));
                Use(r + t, value);
            }
            Use(r + 1520, "hub 0 0,0,9.8");
            camera(r + 500, "light 300");
            camera(r + 600, "ao 0 fd " + std::to_string(round % 2));
            Use(r + 2000, "scenario flip");
            if (round % 3 == 2) {
                camera(r + 2600, "light 5");
                camera(r + 2650, "ao 0 rot 0; 300 rot 1");
                camera(r + 3000, std::string("tof 3 ") + kTofScenes[Pick(6)]);
                camera(r + 5600, "light 300");
            }
            Use(r + 3500, "hub 0 0,0,20");
            Use(r + 3750, "hub 0 0,0,9.8");
            Use(r + 4000, "scenario fold");
            const int x = 100 + Pick(900);
            const int y = 200 + Pick(1800);
            Use(r + 5000, "touch down 0," + std::to_string(x) + "," + std::to_string(y));
            Use(r + 5100, "touch move 0," + std::to_string(x + 10) + "," + std::to_string(y + 10));
            Use(r + 5300, "touch up 0");
        }
    }

    // Clients that switch features on and off at random.
    void PlanToggles() {
        static const char *const kClientKeys[] = {"flip", "rotation", "backtap", "posture",
                                                  "camera0"};
        std::map<std::pair<std::string, std::string>, bool> on;
        for (int64_t t = 1500 + Pause(kToggleMeanMs); t < mPlan.lengthMs;
             t += Pause(kToggleMeanMs)) {
            std::string client;
            std::string key;
            if (Pick(5) == 0) {
                client = kArClient;
                key = "ar4";
            } else {
                client = RandomClients()[static_cast<size_t>(Pick(3))];
                key = kClientKeys[Pick(5)];
            }
            bool &state = on[{client, key}];
            state = !state;
            const Feature *feature = FindFeature(key);
            Add(t, StepKind::Command, client, state ? feature->onCommand : feature->offCommand);
        }
    }

    // Malformed queue buffers, bad command parameters and truncated input
    // events between the good ones.
    void PlanBadInput() {
        using namespace fmq;
        static const uint32_t kHeads[] = {
            kHeadThpFirst, kHeadThpSecond,    kHeadPalmetryLog,   kHeadArBigData,
            kHeadArRefill, kHeadMotionRefill, kHeadMotionBigData, kHeadArContext,
            kHeadArEngine, kHeadTofCamera,    kHeadFaceRecognize, kHeadCameraConflict};
        for (int64_t t = 2000 + Pause(kBadInputMeanMs); t < mPlan.lengthMs;
             t += Pause(kBadInputMeanMs)) {
            switch (Pick(4)) {
                case 0:
                    Add(t, StepKind::BadInput, kSteadyClient,
                        "fmq " + Hex(static_cast<size_t>(1 + Pick(64))));
                    break;
                case 1: {
                    const uint32_t head = kHeads[Pick(static_cast<int>(std::size(kHeads)))];
                    const std::vector<uint8_t> prefix = {
                        static_cast<uint8_t>(head & 0xff), static_cast<uint8_t>(head >> 8),
                        static_cast<uint8_t>(head >> 16), static_cast<uint8_t>(head >> 24)};
                    Add(t, StepKind::BadInput, kSteadyClient,
                        "fmq " + Hex(static_cast<size_t>(Pick(48)), prefix));
                    break;
                }
                case 2: {
                    std::string text =
                        kBadCommands[Pick(static_cast<int>(std::size(kBadCommands)))];
                    if (Pick(2) == 0) {
                        text += std::to_string(Pick(100000));
                    }
                    Add(t, StepKind::BadInput, RandomClients()[static_cast<size_t>(Pick(3))], text);
                    break;
                }
                default:
                    // Shorter than one input event.
                    Add(t, StepKind::BadInput, kSteadyClient,
                        "input event1 " + Hex(static_cast<size_t>(1 + Pick(23))));
                    break;
            }
        }
    }

    void PlanFaults() {
        int cycle = 0;
        for (int64_t c = kFirstCycleMs; c < mPlan.lengthMs; c += kCycleMs, ++cycle) {
            Fault(c + 3000, StepKind::FaultBegin, FaultKind::SensorServiceDeath);
            Fault(c + 6000, StepKind::FaultEnd, FaultKind::SensorServiceDeath);
            Fault(c + 10000, StepKind::FaultBegin, FaultKind::HubReset);
            Fault(c + 10000, StepKind::FaultEnd, FaultKind::HubReset);
            Fault(c + 14000, StepKind::FaultBegin, FaultKind::DiskFull);
            Fault(c + 18000, StepKind::FaultEnd, FaultKind::DiskFull);
            Use(c + 20000, "faceenroll 2 user:" + std::to_string(Pick(100)));
            if (cycle % kHangEveryCycles == 0) {
                // The log directory is made when the daemon starts, so its
                // loss is put right by the restart that follows the hang.
                Fault(c + 24000, StepKind::FaultBegin, FaultKind::LogDirDeleted);
                Fault(c + 24000, StepKind::FaultEnd, FaultKind::LogDirDeleted);
                Fault(c + kHangInCycleMs, StepKind::FaultBegin, FaultKind::Hang);
            }
        }
        for (const auto &[begin, end] : SlowFaceWindows(mPlan.lengthMs)) {
            PlanSlowFaceLibrary(begin, end);
        }
    }

    // The begin switches the library slow and the light off; meanwhile the
    // phone is turned every few seconds and TOF frames of nobody come at 30
    // a second; the end makes the library quick and the light good again.
    void PlanSlowFaceLibrary(int64_t begin, int64_t end) {
        Fault(begin, StepKind::FaultBegin, FaultKind::SlowFaceLibrary);
        for (int64_t t = begin + 200; t + kSlowFaceTurnMs <= end; t += kSlowFaceTurnMs) {
            Use(t, "ao 0 rot 0; 300 rot 1");
        }
        for (int64_t t = begin + 100; t < end; t += kTofFrameMs) {
            Use(t, "tof 1 nobody");
        }
        Fault(end, StepKind::FaultEnd, FaultKind::SlowFaceLibrary);
    }

    uint64_t mSeed;
    std::mt19937_64 mRng;
    Plan mPlan;
};

}  // namespace

const char *FaultName(FaultKind kind) {
    switch (kind) {
        case FaultKind::LibraryMissing:
            return "library missing";
        case FaultKind::SensorServiceDeath:
            return "sensor service death";
        case FaultKind::HubReset:
            return "hub reset";
        case FaultKind::LogDirDeleted:
            return "log directory deleted";
        case FaultKind::DiskFull:
            return "disk full";
        case FaultKind::Hang:
            return "hang caught by the watchdog";
        case FaultKind::SlowFaceLibrary:
            return "slow face library";
    }
    return "?";
}

bool IsLogFileFault(FaultKind kind) {
    return kind == FaultKind::DiskFull || kind == FaultKind::LogDirDeleted;
}

std::vector<std::pair<int64_t, int64_t>> SlowFaceWindows(int64_t lengthMs) {
    std::vector<std::pair<int64_t, int64_t>> windows;
    int cycle = 0;
    for (int64_t c = kFirstCycleMs; c < lengthMs; c += kCycleMs, ++cycle) {
        if (cycle % kSlowFaceEveryCycles == 0) {
            const int64_t begin = c + kSlowFaceInCycleMs;
            windows.push_back({begin, begin + kSlowFaceLibraryMs});
        }
    }
    return windows;
}

const std::vector<Feature> &Features() {
    static const std::vector<Feature> kFeatures = {
        {"flip", "motion", "flip on", "flip off"},
        {"rotation", "motion", "rotation on", "rotation off"},
        {"backtap", "motion", "motion-on 25,1", "motion-off 25"},
        {"posture", "posture", "posture-on 20", "posture-off 0"},
        {"camera0", "camera", "camera-on 0,300", "camera-off 0,0"},
        {"ar3", "activity", "ar-on 3,1,0,0;3,2,0,0", "ar-off 3,1;3,2"},
        {"ar4", "activity", "ar-on 4,1,0,0;4,2,0,0", "ar-off 4,1;4,2"},
    };
    return kFeatures;
}

const Feature *FindFeature(const std::string &key) {
    for (const Feature &feature : Features()) {
        if (key == feature.key) {
            return &feature;
        }
    }
    return nullptr;
}

const std::vector<std::string> &RandomClients() {
    static const std::vector<std::string> kClients = {"soak-a", "soak-b", "soak-c"};
    return kClients;
}

const std::vector<std::pair<std::string, std::string>> &SteadyAsks() {
    static const std::vector<std::pair<std::string, std::string>> kAsks = {
        {kSteadyClient, "flip"},    {kSteadyClient, "rotation"}, {kSteadyClient, "posture"},
        {kSteadyClient, "camera0"}, {kSteadyClient, "backtap"},  {kArClient, "ar3"},
    };
    return kAsks;
}

Plan MakePlan(uint64_t seed, int64_t lengthMs) {
    return Planner(seed, lengthMs).Make();
}

std::string PlanText(const Plan &plan) {
    std::string text = "# seed " + std::to_string(plan.seed) + ", " +
                       std::to_string(plan.lengthMs) + " ms of use\n";
    char at[32];
    for (const Step &step : plan.steps) {
        snprintf(at, sizeof(at), "%9.3f ", static_cast<double>(step.atMs) / 1000.0);
        text += at;
        switch (step.kind) {
            case StepKind::Command:
                text += step.client + ": " + step.text;
                break;
            case StepKind::BadInput:
                text += step.client + ": " + step.text + "   (malformed)";
                break;
            case StepKind::FaultBegin:
                text += std::string("fault begins: ") + FaultName(step.fault);
                break;
            case StepKind::FaultEnd:
                text += std::string("fault ends: ") + FaultName(step.fault);
                break;
        }
        text += '\n';
    }
    return text;
}

}  // namespace soak

#include "soak/SoakLedger.h"

#include <nlohmann/json.hpp>

#include "soak/SoakPlan.h"

namespace soak {

namespace {

constexpr size_t kViolationTextsKept = 20;
// One activity event of a result message: event type, activity, timestamp
// (two words), confidence, padding.
constexpr int kArEventWords = 6;
constexpr int kArEventBytes = 24;

bool IsOurClient(const std::string &client) {
    if (client == kSteadyClient || client == kArClient) {
        return true;
    }
    for (const std::string &name : RandomClients()) {
        if (client == name) {
            return true;
        }
    }
    return false;
}

}  // namespace

void Ledger::Sent(const std::string &client, const std::string &text, bool malformed) {
    std::lock_guard<std::mutex> lock(mMutex);
    ++mCounts.commandsSent;
    if (malformed) {
        ++mCounts.malformedSent;
        return;
    }
    for (const Feature &feature : Features()) {
        if (text == feature.onCommand) {
            mStates[{client, feature.key}] = State::PendingOn;
        } else if (text == feature.offCommand) {
            State &state = mStates[{client, feature.key}];
            if (state != State::Off) {
                state = State::PendingOff;
            }
        }
    }
}

void Ledger::NewLife() {
    std::lock_guard<std::mutex> lock(mMutex);
    mStates.clear();
    mAfterOffAllowed.clear();
    mSawInit = false;
}

void Ledger::OnLine(const std::string &line) {
    const nlohmann::json json = nlohmann::json::parse(line, nullptr, false);
    if (!json.is_object()) {
        return;
    }
    if (json.contains("event")) {
        if (json["event"] == "init") {
            std::lock_guard<std::mutex> lock(mMutex);
            mSawInit = true;
        }
        return;
    }
    if (json.contains("command") && json["command"].is_string()) {
        const std::string command = json["command"];
        std::lock_guard<std::mutex> lock(mMutex);
        if (json.contains("result")) {
            // A buffer handed to the queue entry.
            ++mCounts.queueMessages;
            if (command == "tof") {
                ++mCounts.tofFrames;
            } else if (command == "fmq") {
                ++mCounts.malformedQueueMessages;
            }
            return;
        }
        ++mCounts.replies;
        const std::string client = json.value("client", "");
        const std::string text = command + " " + json.value("param", "");
        for (const Feature &feature : Features()) {
            if (text == feature.onCommand) {
                mStates[{client, feature.key}] = State::On;
                mAfterOffAllowed.erase({client, feature.key});
            } else if (text == feature.offCommand) {
                mStates[{client, feature.key}] = State::Off;
                if (std::string(feature.module) == "activity") {
                    mAfterOffAllowed.insert({client, feature.key});
                }
            }
        }
        return;
    }
    if (json.contains("client") && json.contains("type") && json.contains("data") &&
        json["data"].is_array()) {
        std::vector<int> data;
        for (const auto &value : json["data"]) {
            data.push_back(value.is_number_integer() ? value.get<int>() : 0);
        }
        OnResult(json.value("client", ""), json.value("type", -1), json.value("dataSize", 0), data);
    }
}

void Ledger::OnResult(const std::string &client, int type, int dataSize,
                      const std::vector<int> &data) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (!IsOurClient(client)) {
        ++mCounts.otherResults;
        return;
    }
    if (client == kArClient) {
        const int events = dataSize / kArEventBytes;
        for (int i = 0; i < events && (i + 1) * kArEventWords <= static_cast<int>(data.size());
             ++i) {
            const int activity = data[static_cast<size_t>(i * kArEventWords + 1)];
            CheckResult(client, "ar" + std::to_string(activity), "activity",
                        "activity " + std::to_string(activity) + " event " +
                            std::to_string(data[static_cast<size_t>(i * kArEventWords)]));
        }
        return;
    }
    if (dataSize == 5 && (type == 0 || type == 1 || type == 2)) {
        CheckResult(client, "camera" + std::to_string(type), "camera",
                    "camera type " + std::to_string(type));
        return;
    }
    static const std::map<int, std::pair<const char *, const char *>> kTypes = {
        {0, {"posture", "posture"}},
        {2, {"flip", "motion"}},
        {7, {"rotation", "motion"}},
        {25, {"backtap", "motion"}},
    };
    const auto known = kTypes.find(type);
    if (known == kTypes.end()) {
        CheckResult(client, "type" + std::to_string(type), "motion",
                    "motion type " + std::to_string(type));
        return;
    }
    CheckResult(client, known->second.first, known->second.second, known->second.first);
}

void Ledger::CheckResult(const std::string &client, const std::string &key,
                         const std::string &module, const std::string &what) {
    ++mCounts.results[module];
    const auto state = mStates.find({client, key});
    if (state != mStates.end() && state->second == State::Off &&
        mAfterOffAllowed.erase({client, key}) > 0) {
        ++mCounts.activityEventsAfterOff;
        return;
    }
    if (state == mStates.end() || state->second == State::Off) {
        ++mViolations;
        if (mViolationTexts.size() < kViolationTextsKept) {
            mViolationTexts.push_back("at " + std::to_string(mClock()) + " ms: " + what +
                                      " delivered to " + client + ", which had it off");
        }
        return;
    }
    if (client != kSteadyClient && client != kArClient) {
        return;
    }
    // Back tap comes from the sensor hub, the other gestures from the sensor
    // service: each answers for its own road.
    Met(key == "backtap" ? "backtap" : module, mClock());
}

void Ledger::Met(const std::string &what, int64_t now) {
    for (Expectation &expectation : mExpectations) {
        if (expectation.metMs < 0 && expectation.what == what && now >= expectation.fromMs) {
            expectation.metMs = now;
        }
    }
}

size_t Ledger::Expect(size_t fault, const std::string &what, int64_t fromMs) {
    std::lock_guard<std::mutex> lock(mMutex);
    mExpectations.push_back({fault, what, fromMs, -1});
    return mExpectations.size() - 1;
}

void Ledger::LogWritten(int64_t atMs) {
    std::lock_guard<std::mutex> lock(mMutex);
    Met("log", atMs);
}

Counts Ledger::GetCounts() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mCounts;
}

std::vector<Expectation> Ledger::GetExpectations() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mExpectations;
}

uint64_t Ledger::ViolationCount() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mViolations;
}

std::vector<std::string> Ledger::Violations() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mViolationTexts;
}

bool Ledger::SawInit() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mSawInit;
}

}  // namespace soak

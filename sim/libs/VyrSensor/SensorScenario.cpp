#include "SensorScenario.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <utility>

#include "SensorTable.h"

namespace vyrsim {
namespace {

constexpr float kGravity = 9.80665f;
constexpr float kPi = 3.14159265358979f;
constexpr int64_t kNsPerSec = 1000000000;
// Latest row time of a CSV file (about 11 days), far from overflowing in ns.
constexpr long long kMaxTimeMs = 1000000000LL;
// Earth's field as the magnetometer sees it when the phone lies flat.
constexpr float kMagX = 22.0f;
constexpr float kMagY = -5.0f;
constexpr float kMagZ = -40.0f;
constexpr float kRestLux = 320.0f;
constexpr float kProximityFar = 5.0f;
constexpr float kHingeOpen = 180.0f;
// Hinge precision when settled and while moving (smaller is better).
constexpr float kHingeSettled = 0.001f;
constexpr float kHingeMoving = 0.02f;
// Posture codes of the posture sensor.
constexpr float kPostureClosed = 1.0f;
constexpr float kPostureHalf = 2.0f;
constexpr float kPostureOpen = 3.0f;
// The modem at rest: LTE (3) on one cell, no high-speed flag.
constexpr float kRatLte = 3.0f;
constexpr float kHomeCell = 1001.0f;

SensorValues Vec(float x, float y, float z) {
    SensorValues v{};
    v[0] = x;
    v[1] = y;
    v[2] = z;
    return v;
}

SensorValues Scalar(float x) {
    SensorValues v{};
    v[0] = x;
    return v;
}

SensorValues Hinge(float angle, bool moving) {
    SensorValues v{};
    v[0] = angle;
    v[1] = 0.0f;  // status: normal
    v[14] = moving ? kHingeMoving : kHingeSettled;
    return v;
}

float PostureOf(float angle) {
    if (angle <= 30.0f) {
        return kPostureClosed;
    }
    return angle >= 150.0f ? kPostureOpen : kPostureHalf;
}

// Smooth 0..1 ramp of u in [0, 1] and its derivative.
float Smooth(float u) {
    u = std::clamp(u, 0.0f, 1.0f);
    return u * u * (3.0f - 2.0f * u);
}

float SmoothRate(float u) {
    if (u <= 0.0f || u >= 1.0f) {
        return 0.0f;
    }
    return 6.0f * u * (1.0f - u);
}

// One pose of the phone: what every sensor reads.
struct Pose {
    SensorValues acc = Vec(0.0f, 0.0f, kGravity);
    SensorValues acc2 = Vec(0.0f, 0.0f, kGravity);
    SensorValues gyro = Vec(0.0f, 0.0f, 0.0f);
    SensorValues mag = Vec(kMagX, kMagY, kMagZ);
    SensorValues light = Scalar(kRestLux);
    SensorValues proximity = Scalar(kProximityFar);
    SensorValues hinge = Hinge(kHingeOpen, false);
    SensorValues posture = Scalar(kPostureOpen);
    SensorValues modem = Vec(kRatLte, kHomeCell, 0.0f);

    SensorValues Of(int32_t type) const {
        switch (type) {
            case kTypeModem:
                return modem;
            case kTypeAccelerometer:
                return acc;
            case kTypeAccelerometer2:
                return acc2;
            case kTypeGyroscope:
                return gyro;
            case kTypeMagneticField:
                return mag;
            case kTypeLight:
                return light;
            case kTypeProximity:
                return proximity;
            case kTypeHingeAngle:
                return hinge;
            case kTypePosture:
                return posture;
            default:
                return SensorValues{};
        }
    }
};

enum class Motion { kRest, kWalk, kFlip, kFold, kPickup, kRotate, kStill, kHand, kTrain };

class BuiltinScenario : public SensorScenario {
public:
    explicit BuiltinScenario(Motion motion) : mMotion(motion) {}

    SensorValues ValuesAt(int32_t type, int64_t sinceStartNs) const override {
        float t = static_cast<float>(std::max<int64_t>(sinceStartNs, 0)) / kNsPerSec;
        return PoseAt(t).Of(type);
    }

    int64_t DurationNs() const override {
        switch (mMotion) {
            case Motion::kRest:
                return 0;
            case Motion::kWalk:
                return -1;
            case Motion::kFlip:
            case Motion::kRotate:
                return 800 * 1000000LL;
            case Motion::kFold:
                return 3800 * 1000000LL;
            case Motion::kPickup:
                return 1300 * 1000000LL;
            case Motion::kStill:
                return 1300 * 1000000LL;
            case Motion::kHand:
                return -1;
            case Motion::kTrain:
                return kTrainEnd * 1000000000LL;
        }
        return 0;
    }

private:
    Pose PoseAt(float t) const {
        switch (mMotion) {
            case Motion::kRest:
                return Pose{};
            case Motion::kWalk:
                return Walk(t);
            case Motion::kFlip:
                return Flip(t);
            case Motion::kFold:
                return Fold(t);
            case Motion::kPickup:
                return Pickup(t);
            case Motion::kRotate:
                return Rotate(t);
            case Motion::kStill:
                return Still(t);
            case Motion::kHand:
                return Hand(t);
            case Motion::kTrain:
                return Train(t);
        }
        return Pose{};
    }

    // Held in a slightly trembling hand for 0.3 s, then laid flat on a table
    // over a second, and left there without a tremor.
    static Pose Still(float t) {
        constexpr float kHold = 0.3f;
        constexpr float kDown = 1.0f;
        Pose p;
        if (t < kHold + kDown) {
            float fade = 1.0f - Smooth((t - kHold) / kDown);
            float w = 2.0f * kPi * 6.0f;
            p.acc = Vec(0.3f * fade * std::sin(w * t), 0.3f * fade * std::cos(w * t),
                        kGravity + 0.4f * fade * std::sin(1.3f * w * t));
            p.acc2 = p.acc;
        }
        return p;
    }

    // 0.3 s on the table, then picked up and held while walking, endless.
    static Pose Hand(float t) {
        constexpr float kStart = 0.3f;
        if (t < kStart) {
            return Pose{};
        }
        return Walk(t - kStart);
    }

    // A train ride: lying on a table in the car, which hums (0.5 m/s^2 at
    // 7 Hz). The modem changes cell every 1.5 s; a metro leg (no high-speed
    // flag) to 12 s, a high-speed leg (flag 1) to 24 s, then the train
    // stops: no hum, the cell stays.
    static Pose Train(float t) {
        constexpr float kMetroEnd = 12.0f;
        constexpr float kCellEvery = 1.5f;
        Pose p;
        if (t >= static_cast<float>(kTrainEnd)) {
            p.modem = Vec(kRatLte,
                          kHomeCell + 100.0f +
                              std::floor((static_cast<float>(kTrainEnd) - 0.01f) / kCellEvery),
                          0.0f);
            return p;
        }
        float w = 2.0f * kPi * 7.0f;
        p.acc = Vec(0.2f * std::sin(1.7f * w * t), 0.2f * std::cos(w * t),
                    kGravity + 0.5f * std::sin(w * t));
        p.acc2 = p.acc;
        p.mag = Vec(kMagX + 6.0f * std::sin(0.3f * w * t), kMagY, kMagZ);
        float cell = kHomeCell + 100.0f + std::floor(t / kCellEvery);
        p.modem = Vec(kRatLte, cell, t < kMetroEnd ? 0.0f : 1.0f);
        return p;
    }

    static constexpr int64_t kTrainEnd = 24;

    // Held flat in the hand, 1.8 steps a second.
    static Pose Walk(float t) {
        constexpr float kStep = 1.8f;
        float w = 2.0f * kPi * kStep;
        Pose p;
        p.acc = Vec(0.8f * std::sin(0.5f * w * t), 1.2f * std::sin(w * t + 0.5f),
                    kGravity + 2.5f * std::sin(w * t));
        p.acc2 = p.acc;
        p.gyro = Vec(0.3f * std::sin(w * t), 0.2f * std::sin(0.5f * w * t),
                     0.15f * std::sin(0.5f * w * t + 1.0f));
        p.mag = Vec(kMagX + 2.0f * std::sin(0.5f * w * t), kMagY, kMagZ);
        return p;
    }

    // Turned over about y by pi, from 0.3 s to 0.8 s.
    static Pose Flip(float t) {
        constexpr float kStart = 0.3f;
        constexpr float kTurn = 0.5f;
        float u = (t - kStart) / kTurn;
        float a = kPi * Smooth(u);
        float s = std::sin(a);
        float c = std::cos(a);
        Pose p;
        p.acc = Vec(-s * kGravity, 0.0f, c * kGravity);
        p.acc2 = p.acc;
        p.gyro = Vec(0.0f, kPi * SmoothRate(u) / kTurn, 0.0f);
        p.mag = Vec(c * kMagX - s * kMagZ, kMagY, s * kMagX + c * kMagZ);
        p.light = Scalar(kRestLux * (1.0f - Smooth(u)));
        p.proximity = Scalar(u >= 0.8f ? 0.0f : kProximityFar);
        return p;
    }

    // The first half lies on the table; the second half turns about the
    // hinge (y) by 180 degrees less the hinge angle.
    static Pose Fold(float t) {
        constexpr float kHold = 0.3f;
        constexpr float kMove = 1.5f;
        constexpr float kClosed = 0.5f;
        float angle = kHingeOpen;
        bool moving = false;
        if (t >= kHold && t < kHold + kMove) {
            angle = kHingeOpen * (1.0f - Smooth((t - kHold) / kMove));
            moving = true;
        } else if (t >= kHold + kMove && t < kHold + kMove + kClosed) {
            angle = 0.0f;
        } else if (t >= kHold + kMove + kClosed && t < kHold + 2.0f * kMove + kClosed) {
            angle = kHingeOpen * Smooth((t - kHold - kMove - kClosed) / kMove);
            moving = true;
        }
        float phi = (kHingeOpen - angle) * kPi / 180.0f;
        Pose p;
        p.acc2 = Vec(-std::sin(phi) * kGravity, 0.0f, std::cos(phi) * kGravity);
        p.hinge = Hinge(angle, moving);
        p.posture = Scalar(PostureOf(angle));
        return p;
    }

    // Lifted (up, then braking) and tilted 60 degrees about x, 0.3 s to 1.3 s.
    static Pose Pickup(float t) {
        constexpr float kStart = 0.3f;
        constexpr float kLift = 1.0f;
        constexpr float kTilt = kPi / 3.0f;
        float u = (t - kStart) / kLift;
        float a = kTilt * Smooth(u);
        float s = std::sin(a);
        float c = std::cos(a);
        float lift = (u > 0.0f && u < 1.0f) ? 2.0f * std::sin(2.0f * kPi * u) : 0.0f;
        Pose p;
        p.acc = Vec(0.0f, s * (kGravity + lift), c * (kGravity + lift));
        p.acc2 = p.acc;
        p.gyro = Vec(kTilt * SmoothRate(u) / kLift, 0.0f, 0.0f);
        p.mag = Vec(kMagX, c * kMagY + s * kMagZ, -s * kMagY + c * kMagZ);
        return p;
    }

    // Upright in portrait, turned to landscape about z, 0.3 s to 0.8 s.
    static Pose Rotate(float t) {
        constexpr float kStart = 0.3f;
        constexpr float kTurn = 0.5f;
        float u = (t - kStart) / kTurn;
        float a = 0.5f * kPi * Smooth(u);
        float s = std::sin(a);
        float c = std::cos(a);
        Pose p;
        p.acc = Vec(s * kGravity, c * kGravity, 0.0f);
        p.acc2 = p.acc;
        p.gyro = Vec(0.0f, 0.0f, -0.5f * kPi * SmoothRate(u) / kTurn);
        p.mag = Vec(c * kMagX + s * kMagY, -s * kMagX + c * kMagY, kMagZ);
        return p;
    }

    Motion mMotion;
};

class HoldScenario : public SensorScenario {
public:
    explicit HoldScenario(std::map<int32_t, SensorValues> values) : mValues(std::move(values)) {}

    SensorValues ValuesAt(int32_t type, int64_t) const override {
        auto it = mValues.find(type);
        return it != mValues.end() ? it->second : RestValues(type);
    }

    int64_t DurationNs() const override { return 0; }

private:
    std::map<int32_t, SensorValues> mValues;
};

class CsvScenario : public SensorScenario {
public:
    using Rows = std::vector<std::pair<int64_t, SensorValues>>;

    CsvScenario(std::map<int32_t, Rows> rows, std::map<int32_t, SensorValues> base,
                int64_t duration)
        : mRows(std::move(rows)), mBase(std::move(base)), mDuration(duration) {}

    SensorValues ValuesAt(int32_t type, int64_t sinceStartNs) const override {
        auto rows = mRows.find(type);
        if (rows != mRows.end()) {
            // Last row at or before the time.
            auto after =
                std::upper_bound(rows->second.begin(), rows->second.end(), sinceStartNs,
                                 [](int64_t t, const std::pair<int64_t, SensorValues> &row) {
                                     return t < row.first;
                                 });
            if (after != rows->second.begin()) {
                return std::prev(after)->second;
            }
        }
        auto base = mBase.find(type);
        return base != mBase.end() ? base->second : RestValues(type);
    }

    int64_t DurationNs() const override { return mDuration; }

private:
    std::map<int32_t, Rows> mRows;
    std::map<int32_t, SensorValues> mBase;
    int64_t mDuration;
};

std::string TrimField(const std::string &text) {
    size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string::npos) {
        return {};
    }
    size_t end = text.find_last_not_of(" \t\r");
    return text.substr(begin, end - begin + 1);
}

std::vector<std::string> SplitFields(const std::string &line) {
    std::vector<std::string> fields;
    size_t start = 0;
    while (true) {
        size_t comma = line.find(',', start);
        fields.push_back(TrimField(line.substr(start, comma - start)));
        if (comma == std::string::npos) {
            return fields;
        }
        start = comma + 1;
    }
}

bool ParseInt(const std::string &text, int base, long long *out) {
    if (text.empty()) {
        return false;
    }
    char *end = nullptr;
    errno = 0;
    long long value = strtoll(text.c_str(), &end, base);
    if (errno != 0 || end == nullptr || *end != '\0') {
        return false;
    }
    *out = value;
    return true;
}

bool ParseFloat(const std::string &text, float *out) {
    if (text.empty()) {
        return false;
    }
    char *end = nullptr;
    errno = 0;
    float value = strtof(text.c_str(), &end);
    if (errno != 0 || end == nullptr || *end != '\0' || !std::isfinite(value)) {
        return false;
    }
    *out = value;
    return true;
}

}  // namespace

SensorValues RestValues(int32_t type) {
    return Pose{}.Of(type);
}

std::unique_ptr<SensorScenario> MakeBuiltinScenario(const std::string &name) {
    static const std::pair<const char *, Motion> kNames[] = {
        {"rest", Motion::kRest},   {"walk", Motion::kWalk},     {"flip", Motion::kFlip},
        {"fold", Motion::kFold},   {"pickup", Motion::kPickup}, {"rotate", Motion::kRotate},
        {"still", Motion::kStill}, {"hand", Motion::kHand},     {"train", Motion::kTrain},
    };
    for (const auto &[text, motion] : kNames) {
        if (name == text) {
            return std::make_unique<BuiltinScenario>(motion);
        }
    }
    return nullptr;
}

std::unique_ptr<SensorScenario> MakeHoldScenario(std::map<int32_t, SensorValues> values) {
    return std::make_unique<HoldScenario>(std::move(values));
}

std::unique_ptr<SensorScenario> LoadCsvScenario(const std::string &path,
                                                std::map<int32_t, SensorValues> base,
                                                std::string *error) {
    std::ifstream in(path);
    if (!in) {
        *error = "cannot open " + path;
        return nullptr;
    }
    std::map<int32_t, CsvScenario::Rows> rows;
    int64_t lastMs = 0;
    bool headerAllowed = true;
    std::string line;
    for (int lineNo = 1; std::getline(in, line); ++lineNo) {
        std::string text = TrimField(line);
        if (text.empty() || text[0] == '#') {
            continue;
        }
        if (headerAllowed && text.compare(0, 4, "time") == 0) {
            headerAllowed = false;
            continue;
        }
        headerAllowed = false;
        std::string where = path + ":" + std::to_string(lineNo) + ": ";
        std::vector<std::string> fields = SplitFields(text);
        if (fields.size() < 3 || fields.size() > 2 + std::tuple_size_v<SensorValues>) {
            *error = where + "want time_ms,type and 1 to 16 values";
            return nullptr;
        }
        long long timeMs = 0;
        long long type = 0;
        if (!ParseInt(fields[0], 10, &timeMs) || timeMs < lastMs || timeMs > kMaxTimeMs) {
            *error = where + "bad or decreasing time \"" + fields[0] + "\"";
            return nullptr;
        }
        if (!ParseInt(fields[1], 0, &type) || type < INT32_MIN || type > INT32_MAX ||
            !IsKnownType(static_cast<int32_t>(type))) {
            *error = where + "unknown sensor type \"" + fields[1] + "\"";
            return nullptr;
        }
        SensorValues values{};
        for (size_t i = 2; i < fields.size(); ++i) {
            if (!ParseFloat(fields[i], &values[i - 2])) {
                *error = where + "bad value \"" + fields[i] + "\"";
                return nullptr;
            }
        }
        lastMs = timeMs;
        rows[static_cast<int32_t>(type)].emplace_back(timeMs * 1000000LL, values);
    }
    if (rows.empty()) {
        *error = path + ": no rows";
        return nullptr;
    }
    return std::make_unique<CsvScenario>(std::move(rows), std::move(base), lastMs * 1000000LL);
}

}  // namespace vyrsim

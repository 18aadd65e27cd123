// Statistics of the three face functions (direction, gaze, identity): a
// block of counters and three text buffers filled by the camera module and
// sent, and then zeroed, at the end of each period, after 200 camera runs,
// or when a text buffer is nearly full.
//
// Feeds (counted only while the function has the TOF, see Activate, except
// AddLux): AddOpen at the start of a camera run, AddResult with the face
// library's statistics at its end, AddAlgoRet per result, AddSessionEnd
// after the run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "log/FileDft.h"

class FaceDft : public FileDft {
public:
    static constexpr size_t kTextSize = 1024;
    static constexpr size_t kTextFull = 1018;
    static constexpr int64_t kOpenLimit = 200;

    // One value of the face library's statistics record: 32-bit integers,
    // and the angles as 32-bit floats, in the order of `statKeys`.
    struct StatKey {
        const char *key;
        bool isAngle;  // float, summed after multiplying by 100 and rounding
    };
    // The class's names.
    struct Keys {
        const char *prefix;                    // "TOF_" or ""
        const char *openKey;                   // "TOF_OPEN_CNT"
        const char *timeKey;                   // "TOF_FULL_TIME"
        const char *retKey;                    // "TOF_ALGO_RET"
        const char *sameKey;                   // "AO_TOF_SAME_CNT"
        const char *diffKey;                   // "AO_TOF_DIFF_CNT"
        std::vector<const char *> intKeys;     // every integer key, in report order
        std::vector<const char *> stringKeys;  // every text key
        std::vector<StatKey> statKeys;         // the statistics record
        bool storeIdleLux = false;             // lux lines while inactive
    };

    FaceDft(VyrHal &hal, const DftFiles &files, Keys keys);

    // Whether the phone has the TOF camera: the counters run only then.
    void Activate(bool active);
    bool IsActive() const { return mActive; }
    // The code that AddAlgoRet compares with (the always-on result).
    void SetExpectedCode(int32_t code) { mExpectedCode = code; }

    void AddOpen();
    // The face library's statistics record; a short record adds what it
    // holds.
    void AddResult(const uint8_t *stats, size_t length);
    void AddLux(int32_t lux);
    void AddSessionEnd();
    void AddAlgoRet(int32_t code);

    bool CanReport() override;

    int64_t GetCounter(const std::string &key) const;
    std::string GetText(const std::string &key) const;

protected:
    void SetReportParams() override;
    void LogReported() override;
    void Raise(const std::string &key, int64_t by = 1);
    void Append(const std::string &key, const std::string &text);
    void ClearCounters();
    std::string LuxKey(int32_t lux) const;

    Keys mKeys;
    std::map<std::string, int64_t> mCounters;
    std::map<std::string, std::string> mTexts;
    uint64_t mOpenMs = 0;
    int32_t mExpectedCode = -2;
};

class FaceDirectionDft : public FaceDft {
public:
    explicit FaceDirectionDft(VyrHal &hal);
};

class FaceGazeDft : public FaceDft {
public:
    explicit FaceGazeDft(VyrHal &hal);
};

class FaceidDft : public FaceDft {
public:
    explicit FaceidDft(VyrHal &hal);

    // One always-on identity result: `kind` faces, the result code, and its
    // similarity and quality scores.
    void AddResult(int32_t kind, int32_t code, int32_t similarity, int32_t quality);
    using FaceDft::AddResult;

    bool CanReport() override;
};

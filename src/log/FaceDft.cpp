#include "log/FaceDft.h"

#include <android/log.h>
#include <boundchk.h>

#include <cmath>
#include <cstring>
#include <utility>

#include "hal/VyrHal.h"
#include "log/LogSink.h"

namespace {

const DftFiles kDirectionFiles = {
    "/data/vendor/log/fdlog", "/fd_bigdata.tmp", "/fd_bigdata.txt", 991383003, 21600, false};
const DftFiles kGazeFiles = {"/data/vendor/log/facegazelog",
                             "/facegaze_bigdata.tmp",
                             "/facegaze_bigdata.txt",
                             991383004,
                             21600,
                             false};
const DftFiles kFaceidFiles = {"/data/vendor/log/faceidlog",
                               "/faceid_bigdata.tmp",
                               "/faceid_bigdata.txt",
                               991383005,
                               21600,
                               false};

// Keys shared by direction and gaze around the gaze pair.
std::vector<const char *> TofKeys(bool gaze) {
    std::vector<const char *> keys = {"TOF_OPEN_CNT", "TOF_DETECT_CNT", "TOF_DETECT_SUCCESS_CNT"};
    if (gaze) {
        keys.push_back("TOF_GAZE_CNT");
        keys.push_back("TOF_GAZE_SCORE");
    }
    for (const char *key :
         {"TOF_ONE_FACE_CNT", "TOF_TWO_FACE_CNT", "TOF_MORE_THREE_FACE_CNT", "TOF_UP_FACE_CNT",
          "TOF_DOWN_FACE_CNT", "TOF_LEFT_FACE_CNT", "TOF_RIGHT_FACE_CNT", "TOF_YAW_MEAN",
          "TOF_ROLL_MEAN", "TOF_PITCH_MEAN", "TOF_QUALITY_SCORE", "TOF_ALGO_TIME",
          "TOF_LUX_LESS_5_CNT", "TOF_LUX_5_10_CNT", "TOF_LUX_10_15_CNT", "TOF_LUX_MORE_15_CNT",
          "AO_TOF_SAME_CNT", "AO_TOF_DIFF_CNT"}) {
        keys.push_back(key);
    }
    return keys;
}

std::vector<FaceDft::StatKey> TofStats(bool gaze) {
    std::vector<FaceDft::StatKey> stats = {{"TOF_DETECT_CNT", false},
                                           {"TOF_DETECT_SUCCESS_CNT", false}};
    if (gaze) {
        stats.push_back({"TOF_GAZE_CNT", false});
        stats.push_back({"TOF_GAZE_SCORE", false});
    }
    for (const FaceDft::StatKey &key : std::vector<FaceDft::StatKey>{
             {"TOF_ONE_FACE_CNT", false},
             {"TOF_TWO_FACE_CNT", false},
             {"TOF_MORE_THREE_FACE_CNT", false},
             {"TOF_UP_FACE_CNT", false},
             {"TOF_DOWN_FACE_CNT", false},
             {"TOF_LEFT_FACE_CNT", false},
             {"TOF_RIGHT_FACE_CNT", false},
             {"TOF_YAW_MEAN", true},
             {"TOF_ROLL_MEAN", true},
             {"TOF_PITCH_MEAN", true},
             {"TOF_QUALITY_SCORE", false},
             {"TOF_ALGO_TIME", false},
         }) {
        stats.push_back(key);
    }
    return stats;
}

FaceDft::Keys TofClassKeys(bool gaze) {
    return FaceDft::Keys{"TOF_",
                         "TOF_OPEN_CNT",
                         "TOF_FULL_TIME",
                         "TOF_ALGO_RET",
                         "AO_TOF_SAME_CNT",
                         "AO_TOF_DIFF_CNT",
                         TofKeys(gaze),
                         {"TOF_FULL_TIME", "TOF_ALGO_RET"},
                         TofStats(gaze),
                         !gaze};
}

FaceDft::Keys FaceidKeys() {
    return FaceDft::Keys{"",
                         "TOF_OPEN_CNT",
                         "TOF_TIME",
                         "TOF_ALGO_RET",
                         "AO_TOF_SAME_CNT",
                         "AO_TOF_DIFF_CNT",
                         {"TOF_OPEN_CNT",
                          "AO_DETECT_CNT",
                          "AO_DETECT_SUCCESS_CNT",
                          "AO_IDENTIFY_SUCCESS_CNT",
                          "AO_SIMILARITY_SCORE",
                          "AO_QUALITY_SCORE",
                          "TOF_DETECT_CNT",
                          "TOF_DETECT_SUCCESS_CNT",
                          "TOF_IDENTIFY_SUCCESS_CNT",
                          "TOF_SIMILARITY_SCORE",
                          "TOF_QUALITY_SCORE",
                          "ONE_FACE_CNT",
                          "TWO_FACE_CNT",
                          "MORE_THREE_FACE_CNT",
                          "UP_FACE_CNT",
                          "DOWN_FACE_CNT",
                          "LEFT_FACE_CNT",
                          "RIGHT_FACE_CNT",
                          "YAW_MEAN",
                          "ROLL_MEAN",
                          "PITCH_MEAN",
                          "ALGO_TIME",
                          "LUX_LESS_5_CNT",
                          "LUX_5_10_CNT",
                          "LUX_10_15_CNT",
                          "LUX_MORE_15_CNT",
                          "AO_TOF_SAME_CNT",
                          "AO_TOF_DIFF_CNT"},
                         {"TOF_TIME", "AO_ALGO_RET", "TOF_ALGO_RET"},
                         {{"TOF_DETECT_CNT", false},
                          {"TOF_DETECT_SUCCESS_CNT", false},
                          {"TOF_IDENTIFY_SUCCESS_CNT", false},
                          {"TOF_SIMILARITY_SCORE", false},
                          {"TOF_QUALITY_SCORE", false},
                          {"ONE_FACE_CNT", false},
                          {"TWO_FACE_CNT", false},
                          {"MORE_THREE_FACE_CNT", false},
                          {"UP_FACE_CNT", false},
                          {"DOWN_FACE_CNT", false},
                          {"LEFT_FACE_CNT", false},
                          {"RIGHT_FACE_CNT", false},
                          {"YAW_MEAN", true},
                          {"ROLL_MEAN", true},
                          {"PITCH_MEAN", true},
                          {"ALGO_TIME", false}}};
}

}  // namespace

FaceDft::FaceDft(VyrHal &hal, const DftFiles &files, Keys keys)
    : FileDft(hal, files), mKeys(std::move(keys)) {
    ClearCounters();
}

void FaceDft::ClearCounters() {
    mCounters.clear();
    for (const char *key : mKeys.intKeys) {
        mCounters[key] = 0;
    }
    mTexts.clear();
    for (const char *key : mKeys.stringKeys) {
        mTexts[key] = "";
    }
}

void FaceDft::Activate(bool active) {
    mActive = active;
}

void FaceDft::Raise(const std::string &key, int64_t by) {
    mCounters[key] += by;
}

void FaceDft::Append(const std::string &key, const std::string &text) {
    // The buffer of the report is bounded: what does not fit is lost.
    char buffer[kTextSize] = {0};
    const std::string &current = mTexts[key];
    errno_t err = strcpy_s(buffer, sizeof(buffer), current.c_str());
    if (err == 0) {
        err = strcat_s(buffer, sizeof(buffer), text.c_str());
    }
    if (err != 0) {
        LOGE("strcat_s failed, err = %d", static_cast<int>(err));
        return;
    }
    mTexts[key] = buffer;
}

int64_t FaceDft::GetCounter(const std::string &key) const {
    auto it = mCounters.find(key);
    return it == mCounters.end() ? 0 : it->second;
}

std::string FaceDft::GetText(const std::string &key) const {
    auto it = mTexts.find(key);
    return it == mTexts.end() ? std::string() : it->second;
}

void FaceDft::AddOpen() {
    if (!mActive) {
        return;
    }
    mOpenMs = VyrHal::RealTimeMs();
    Raise(mKeys.openKey);
}

void FaceDft::AddResult(const uint8_t *stats, size_t length) {
    if (!mActive || stats == nullptr) {
        return;
    }
    for (size_t i = 0; i < mKeys.statKeys.size() && (i + 1) * 4 <= length; ++i) {
        const StatKey &stat = mKeys.statKeys[i];
        if (stat.isAngle) {
            float value = 0.0f;
            memcpy(&value, stats + i * 4, sizeof(value));
            Raise(stat.key, static_cast<int64_t>(std::lround(value * 100.0)));
        } else {
            int32_t value = 0;
            memcpy(&value, stats + i * 4, sizeof(value));
            Raise(stat.key, value);
        }
    }
}

std::string FaceDft::LuxKey(int32_t lux) const {
    const char *bucket = nullptr;
    if (lux <= 5) {
        bucket = "LUX_LESS_5_CNT";
    } else if (lux <= 15) {
        bucket = "LUX_5_10_CNT";
    } else if (lux <= 50) {
        bucket = "LUX_10_15_CNT";
    } else {
        bucket = "LUX_MORE_15_CNT";
    }
    return std::string(mKeys.prefix) + bucket;
}

void FaceDft::AddLux(int32_t lux) {
    if (lux < 0) {
        return;
    }
    Raise(LuxKey(lux));
    if (!mActive && mKeys.storeIdleLux) {
        StoreString(std::to_string(GetTime()) + "," + std::to_string(lux) + "\n");
    }
}

void FaceDft::AddSessionEnd() {
    if (!mActive) {
        return;
    }
    const uint64_t now = VyrHal::RealTimeMs();
    const uint64_t length = mOpenMs != 0 && now >= mOpenMs ? now - mOpenMs : 0;
    Append(mKeys.timeKey, std::to_string(length) + ",");
    StoreString(std::to_string(GetTime()) + "," + std::to_string(length) + "\n");
}

void FaceDft::AddAlgoRet(int32_t code) {
    if (!mActive) {
        return;
    }
    Append(mKeys.retKey, std::to_string(code) + ",");
    Raise(code == mExpectedCode ? mKeys.sameKey : mKeys.diffKey);
}

bool FaceDft::CanReport() {
    const uint64_t now = GetTime();
    if (now == 0) {
        LOGE("%s erro \n", "CanReport");
        return false;
    }
    bool full = GetCounter(mKeys.openKey) >= kOpenLimit;
    for (const auto &entry : mTexts) {
        full = full || entry.second.length() > kTextFull;
    }
    if (full) {
        mPreTime = now;
        return true;
    }
    return Dft::CanReport();
}

void FaceDft::SetReportParams() {
    for (const char *key : mKeys.intKeys) {
        SetInt(key, static_cast<long>(GetCounter(key)));
    }
    for (const char *key : mKeys.stringKeys) {
        SetString(key, GetText(key).c_str());
    }
    ClearCounters();
}

void FaceDft::LogReported() {
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "ReportBigdata eventId: %d",
                        static_cast<int>(mEventId));
}

FaceDirectionDft::FaceDirectionDft(VyrHal &hal)
    : FaceDft(hal, kDirectionFiles, TofClassKeys(false)) {}

FaceGazeDft::FaceGazeDft(VyrHal &hal) : FaceDft(hal, kGazeFiles, TofClassKeys(true)) {}

FaceidDft::FaceidDft(VyrHal &hal) : FaceDft(hal, kFaceidFiles, FaceidKeys()) {}

void FaceidDft::AddResult(int32_t kind, int32_t code, int32_t similarity, int32_t quality) {
    if (!mActive) {
        return;
    }
    if (kind >= 1) {
        Raise("AO_DETECT_CNT");
        Raise(kind == 1 ? "ONE_FACE_CNT" : (kind == 2 ? "TWO_FACE_CNT" : "MORE_THREE_FACE_CNT"));
    }
    if (code >= 0) {
        const int64_t n = GetCounter("AO_DETECT_SUCCESS_CNT");
        mCounters["AO_SIMILARITY_SCORE"] =
            (similarity + GetCounter("AO_SIMILARITY_SCORE") * n) / (n + 1);
        mCounters["AO_QUALITY_SCORE"] = (quality + GetCounter("AO_QUALITY_SCORE") * n) / (n + 1);
        Raise("AO_DETECT_SUCCESS_CNT");
        if (code == 0) {
            Raise("AO_IDENTIFY_SUCCESS_CNT");
        }
    }
    Append("AO_ALGO_RET", std::to_string(code) + ",");
    StoreString(std::to_string(GetTime()) + "," + std::to_string(code) + "\n");
}

bool FaceidDft::CanReport() {
    if (GetTime() != 0 && GetCounter("AO_DETECT_CNT") >= kOpenLimit) {
        mPreTime = GetTime();
        return true;
    }
    return FaceDft::CanReport();
}

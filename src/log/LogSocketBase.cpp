#include "log/LogSocketBase.h"

#include <cstdio>
#include <new>
#include <vector>

#include "file/DirOperator.h"
#include "file/FileStorer.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"
#include "platform/PropertyTable.h"
#include "platform/Utils.h"
#include "sensor/SensorHub.h"
#include "sensor/SensorTypes.h"

namespace {

constexpr uint64_t kDefaultFileSize = 0x200000;
constexpr size_t kRefillFilesKept = 1024;
// Refill frames, of activity and motion: one file each, kept by number.
constexpr uint32_t kRefillFirst = SENSOR_TYPE_AR_REFILL_BASE;
constexpr uint32_t kRefillLast = SENSOR_TYPE_MOTION_REFILL_BASE + 0xFFFFFEu;

// Larger files for the fusion streams while back tap runs.
struct SizeRow {
    uint32_t type;
    uint64_t size;
};
constexpr SizeRow kBackTapSizes[] = {
    {SENSOR_TYPE_FUSION_TAP, 0xA00000}, {SENSOR_TYPE_FUSION_TAP2, 0x200000},
    {SENSOR_TYPE_FUSION_ACC, 0xA00000}, {SENSOR_TYPE_FUSION_GYRO, 0x200000},
    {SENSOR_TYPE_FUSION_MAG, 0x200000}, {SENSOR_TYPE_FUSION_ACC1, 0xA00000},
};

}  // namespace

LogSocketBase::LogSocketBase(VyrHal &hal, int32_t socketType)
    : mHal(hal), mLog(hal), type(socketType) {}

LogSocketBase::~LogSocketBase() {
    mStorer.clear();
}

std::string LogSocketBase::GetName() {
    return name;
}

void LogSocketBase::SetName(const std::string &text) {
    name = text;
}

void LogSocketBase::SetRun(bool enable) {
    run.store(enable);
}

bool LogSocketBase::IsAlive() {
    if (!run.load()) {
        return false;
    }
    return !HasNoStorer();
}

bool LogSocketBase::HasNoStorer() {
    for (const auto &entry : mStorer) {
        if (entry.second == nullptr) {
            return true;
        }
    }
    return false;
}

uint64_t LogSocketBase::SizeLimit(uint32_t frameType) {
    if (mHal.GetHalStatus().Get(HAL_STATUS_BACKTAP)) {
        for (const SizeRow &row : kBackTapSizes) {
            if (row.type == frameType) {
                return row.size;
            }
        }
    }
    return kDefaultFileSize;
}

size_t LogSocketBase::FilesKept(uint32_t frameType) const {
    if (frameType >= kRefillFirst && frameType <= kRefillLast) {
        return kRefillFilesKept;
    }
    return maxFiles > 0 ? static_cast<size_t>(maxFiles) : 0;
}

std::string LogSocketBase::GetFileName(uint32_t frameType) {
    std::lock_guard<std::mutex> lock(socketMutex);
    auto it = fileNames.find(frameType);
    return it == fileNames.end() ? std::string() : it->second;
}

bool LogSocketBase::StartLog() {
    const std::string time = GetTimeString();
    for (const auto &[frameType, typeName] : mHal.CopyFrameTypes()) {
        auto found = mStorer.find(frameType);
        if (found != mStorer.end() && found->second != nullptr) {
            continue;
        }
        fileNames[frameType] = MakeFileName(typeName + name, time, frameType);
        const bool continuous = mHal.GetSensorHub().IsSensorContinuous(frameType);
        std::unique_ptr<FileStorer> storer(new (std::nothrow) FileStorer(
            mHal, std::string(kVyrlogDirectory) + fileNames[frameType], !continuous));
        if (storer == nullptr) {
            mStorer[frameType] = nullptr;
            LOGE("alloc file[%d] memory error", static_cast<int>(frameType));
            return false;
        }
        mStorer[frameType] = std::move(storer);
    }
    PropertyTable props;
    std::string keep;
    props.GetVYRlogEnable(keep);
    if (keep != "true") {
        UpdateLogFiles();
    }
    return true;
}

void LogSocketBase::StopLog() {
    std::lock_guard<std::mutex> lock(socketMutex);
    for (auto &entry : mStorer) {
        entry.second.reset();
    }
}

bool LogSocketBase::HandleFrame(VyrFrame &frame) {
    std::lock_guard<std::mutex> lock(socketMutex);
    SaveFrame(frame);
    return IsAlive();
}

void LogSocketBase::SaveFrame(VyrFrame &frame) {
    bool roll = false;
    for (const auto &entry : mHal.CopyFrameTypes()) {
        const uint32_t frameType = entry.first;
        auto found = mStorer.find(frameType);
        if (found == mStorer.end() || found->second == nullptr) {
            LOGE("mStorer is nullptr");
            continue;
        }
        frame.Save(*found->second, frameType);
        if (found->second->GetSize() >= SizeLimit(frameType)) {
            found->second.reset();
            roll = true;
        }
    }
    if (roll) {
        StartLog();
    }
    lastFrameTime = frame.GetTimestamp();
}

std::string LogSocketBase::GetTimeString() {
    return FormatTime(VyrHal::RealTimeMs(), 0);
}

std::string LogSocketBase::MakeFileName(const std::string &suffix, const std::string &time,
                                        uint32_t frameType) {
    std::string fileName = time + "_" + (type == LOG_SOCKET_TO_FILE ? "logtofile" : "error");
    if (!suffix.empty()) {
        fileName += "_" + suffix;
    }
    if (frameType == SENSOR_TYPE_LOG) {
        fileName += ".vyrlog";
    } else if (frameType == SENSOR_TYPE_FS_DATA || frameType == SENSOR_TYPE_FS_RESULT) {
        fileName += ".txt";
    } else {
        fileName += ".csv";
    }
    return fileName;
}

void LogSocketBase::UpdateLogFiles() {
    const auto frameTypes = mHal.CopyFrameTypes();
    std::map<uint32_t, std::vector<std::string>> lists;
    for (const std::string &path : mHal.GetDirOperator().DirList(kVyrlogDirectory)) {
        for (const auto &[frameType, typeName] : frameTypes) {
            if (path.find(typeName + ".") == std::string::npos) {
                continue;
            }
            LOGD("type: %d name: %s %s", static_cast<int>(frameType), typeName.c_str(),
                 path.c_str());
            auto &list = lists[frameType];
            list.push_back(path);
            if (list.size() >= FilesKept(frameType)) {
                if (remove(list.front().c_str()) == 0) {
                    LOGD("del: %s", list.front().c_str());
                } else {
                    LOGE("del_error: %s", list.front().c_str());
                }
                list.erase(list.begin());
            }
            break;
        }
    }
}

#include "log/VyrFrame.h"

#include <android/log.h>

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <sstream>

#include "file/FileStorer.h"
#include "hal/VyrHal.h"
#include "log/FrameCsv.h"
#include "log/LogSink.h"

namespace {

constexpr int32_t kLightSensorType = 5;
constexpr float kDefaultLux = 35.0f;
constexpr int64_t kDeepSleepRate = 51;
const char *const kUnknownSensorName = "private,tolvi,unknow";

// What GetEvent answers for a type never seen. Shared by all frames; each
// miss overwrites its type.
std::mutex gDefaultEventMutex;
ASensorEvent gDefaultEvent{};

}  // namespace

// ---------------------------------------------------------------------------
// VyrFrameData

VyrFrameData::VyrFrameData(const VyrFrameData &other) {
    std::lock_guard<std::mutex> lock(other.dataRecordMutex);
    CopyFields(other);
}

VyrFrameData &VyrFrameData::operator=(const VyrFrameData &other) {
    if (this != &other) {
        std::scoped_lock lock(dataRecordMutex, other.dataRecordMutex);
        CopyFields(other);
    }
    return *this;
}

void VyrFrameData::CopyFields(const VyrFrameData &other) {
    ctrlflag = other.ctrlflag;
    feature = other.feature;
    scenario = other.scenario;
    latestEvents = other.latestEvents;
    sensorNames = other.sensorNames;
    mSensorLists = other.mSensorLists;
    images = other.images;
    cameraRecords = other.cameraRecords;
    mFsLogList = other.mFsLogList;
    eventRecords = other.eventRecords;
    blobRecords = other.blobRecords;
    rotate = other.rotate;
}

void VyrFrameData::ClearCtrlFlag(uint32_t bits) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    ctrlflag &= ~bits;
}

void VyrFrameData::AddCtrlFlag(uint32_t bits) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    ctrlflag |= bits;
}

void VyrFrameData::SetCtrlFlag(uint32_t bits, bool on) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    ctrlflag = on ? (ctrlflag | bits) : (ctrlflag & ~bits);
}

uint32_t VyrFrameData::GetCtrlFlag() const {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    return ctrlflag;
}

bool VyrFrameData::SetFeatureBits(uint32_t bits, bool on) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    uint32_t old = feature;
    feature = on ? (feature | bits) : (feature & ~bits);
    return feature != old;
}

bool VyrFrameData::SetFeature(uint32_t value) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    bool changed = feature != value;
    feature = value;
    return changed;
}

uint32_t VyrFrameData::GetFeature() const {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    return feature;
}

void VyrFrameData::SetScenario(uint32_t value) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    scenario = value;
}

uint32_t VyrFrameData::GetScenario() const {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    return scenario;
}

void VyrFrameData::SetRotate(int32_t value) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    rotate = value;
}

int32_t VyrFrameData::GetRotate() const {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    return rotate;
}

void VyrFrameData::AddEvent(const ASensorEvent &event, int32_t expectedCount, bool keepInList) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    latestEvents[event.type] = event;
    if (!keepInList) {
        return;
    }
    // After a deep sleep a sensor delivers its whole batch at once; the list
    // of one cycle stops one event past twice the expected count.
    auto &list = mSensorLists[static_cast<uint32_t>(event.type)];
    int64_t size = static_cast<int64_t>(list.size());
    int64_t cap = 2 * static_cast<int64_t>(expectedCount);
    if (expectedCount >= kDeepSleepRate && size == cap) {
        __android_log_print(ANDROID_LOG_WARN, VYR_LOG_TAG,
                            "sensor: %d expect size %d, but %d, sensor running in deepsleep !",
                            event.type, expectedCount, static_cast<int>(cap));
    } else if (size > cap) {
        return;
    }
    list.push_back(event);
}

void VyrFrameData::AddEvents(uint32_t type, const std::vector<ASensorEvent> &events) {
    AddEvents(type, events.data(), events.size());
}

void VyrFrameData::AddEvents(uint32_t type, const ASensorEvent *events, size_t count) {
    if (events == nullptr || count == 0) {
        return;
    }
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    auto &list = mSensorLists[type];
    list.insert(list.end(), events, events + count);
}

ASensorEvent VyrFrameData::GetEvent(int32_t type) const {
    {
        std::lock_guard<std::mutex> lock(dataRecordMutex);
        auto it = latestEvents.find(type);
        if (it != latestEvents.end()) {
            return it->second;
        }
    }
    std::lock_guard<std::mutex> lock(gDefaultEventMutex);
    gDefaultEvent.type = type;
    if (type == kLightSensorType) {
        gDefaultEvent.data[0] = kDefaultLux;
    }
    return gDefaultEvent;
}

void VyrFrameData::RemoveEvent(int32_t type) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    latestEvents.erase(type);
}

void VyrFrameData::SetSensorName(uint32_t type, const std::string &label) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    sensorNames[type] = label;
}

std::string VyrFrameData::GetSensorName(uint32_t type) const {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    auto it = sensorNames.find(type);
    return it != sensorNames.end() ? it->second : std::string(kUnknownSensorName);
}

std::string VyrFrameData::ToString() const {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    std::ostringstream out;
    out << std::hex << std::setfill('0') << "ctrlflag=[" << std::setw(4) << ctrlflag
        << "]\tfeature=[" << std::setw(4) << feature << "]\tscenario=[" << std::setw(4) << scenario
        << "]\trotate=[" << std::dec << rotate << "]";
    return out.str();
}

void VyrFrameData::AddFsLog(const VyrFsLog &record) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    mFsLogList.push_back(record);
}

bool VyrFrameData::AddFsLog(const uint8_t *bytes, size_t length) {
    if (bytes == nullptr || length < sizeof(VyrFsLog)) {
        __android_log_print(ANDROID_LOG_WARN, VYR_LOG_TAG, "fs log record too short: %zu",
                            bytes == nullptr ? static_cast<size_t>(0) : length);
        return false;
    }
    VyrFsLog record;
    memcpy(&record, bytes, sizeof(record));
    AddFsLog(record);
    return true;
}

void VyrFrameData::AddEventRecord(uint32_t a, uint32_t b, uint32_t c, uint64_t value) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    eventRecords.push_back(VyrEventRecord{a, b, c, value});
}

void VyrFrameData::AddBlob(int32_t flag, uint32_t kind, uint64_t value, const uint8_t *bytes,
                           size_t length) {
    VyrBlobRecord record{};
    record.flag = flag != 0 ? 1 : 0;
    record.kind = kind;
    record.value = value;
    if (bytes != nullptr && length > 0) {
        if (length > sizeof(record.content)) {
            __android_log_print(ANDROID_LOG_WARN, VYR_LOG_TAG, "blob of %zu bytes cut to %zu",
                                length, sizeof(record.content));
            length = sizeof(record.content);
        }
        memcpy(record.content, bytes, length);
    }
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    blobRecords.push_back(record);
}

void VyrFrameData::AddImage(const std::string &directory, const std::string &fileName,
                            const std::vector<uint8_t> &bytes) {
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "save %s %s", directory.c_str(),
                        fileName.c_str());
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    images.push_back(VyrFrameImage{directory, fileName, bytes});
}

void VyrFrameData::AddCameraRecord(const std::vector<uint8_t> &bytes) {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    cameraRecords.push_back(bytes);
}

void VyrFrameData::Reset() {
    std::lock_guard<std::mutex> lock(dataRecordMutex);
    mSensorLists.clear();
    images.clear();
    cameraRecords.clear();
    mFsLogList.clear();
    eventRecords.clear();
    blobRecords.clear();
}

void VyrFrameData::Dump() const {
    size_t events = 0;
    size_t fsLogs = 0;
    {
        std::lock_guard<std::mutex> lock(dataRecordMutex);
        for (const auto &entry : mSensorLists) {
            events += entry.second.size();
        }
        fsLogs = mFsLogList.size();
    }
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "mSensorLists size: %d, mFsLogList size: %d",
                        static_cast<int>(events), static_cast<int>(fsLogs));
}

// ---------------------------------------------------------------------------
// VyrFrameMark

VyrFrameMark::VyrFrameMark(const VyrFrameMark &other) {
    std::lock_guard<std::mutex> lock(other.mMutex);
    mValue = other.mValue;
    mFlag = other.mFlag;
}

VyrFrameMark &VyrFrameMark::operator=(const VyrFrameMark &other) {
    if (this != &other) {
        std::scoped_lock lock(mMutex, other.mMutex);
        mValue = other.mValue;
        mFlag = other.mFlag;
    }
    return *this;
}

void VyrFrameMark::Set(uint64_t value, uint16_t flag) {
    std::lock_guard<std::mutex> lock(mMutex);
    mValue = value;
    mFlag = flag;
}

uint64_t VyrFrameMark::GetValue() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mValue;
}

uint16_t VyrFrameMark::GetFlag() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mFlag;
}

void VyrFrameMark::Reset() {
    std::lock_guard<std::mutex> lock(mMutex);
    mFlag = 0;
}

// ---------------------------------------------------------------------------
// VyrFrame

VyrFrame::VyrFrame(VyrHal &hal) : owner(hal), log(hal) {}

VyrFrameData &VyrFrame::GetData() {
    if (owner.IsLogEnable()) {
        available.store(true);
    }
    return data;
}

bool VyrFrame::IsAvailable() {
    std::lock_guard<std::mutex> lock(frameMutex);
    return available.load();
}

void VyrFrame::SetAvailable(bool value) {
    if (owner.IsLogEnable()) {
        available.store(value);
    }
}

void VyrFrame::Stamp() {
    std::lock_guard<std::mutex> lock(frameMutex);
    timestamp.store(VyrHal::MonoTimeMs());
}

uint64_t VyrFrame::GetTimestamp() const {
    return timestamp.load();
}

void VyrFrame::SetLogText(const std::string &text) {
    std::lock_guard<std::mutex> lock(frameMutex);
    logText = text;
}

std::string VyrFrame::GetLogText() {
    std::lock_guard<std::mutex> lock(frameMutex);
    return logText;
}

void VyrFrame::SetHeadText(const std::string &text) {
    std::lock_guard<std::mutex> lock(frameMutex);
    if (text.empty()) {
        headText.clear();
    } else {
        headText = text + "\n";
    }
}

std::string VyrFrame::GetHeadText() {
    std::lock_guard<std::mutex> lock(frameMutex);
    return headText;
}

void VyrFrame::Reset() {
    std::lock_guard<std::mutex> lock(frameMutex);
    available.store(false);
    data.Reset();
    mark.Reset();
    headText.clear();
    logText.clear();
}

void VyrFrame::CopyFrom(VyrFrame &other) {
    if (&other == this) {
        VYR_LOG(log, 2, "copy of a frame onto itself");
        return;
    }
    std::lock_guard<std::mutex> lockThis(frameMutex);
    std::lock_guard<std::mutex> lockOther(other.frameMutex);
    timestamp.store(other.timestamp.load());
    available.store(other.available.load());
    data = other.data;
    mark = other.mark;
    headText = other.headText;
    logText = other.logText;
}

void VyrFrame::LockData(bool lock) {
    if (lock) {
        dataMutex.lock();
    } else {
        dataMutex.unlock();
    }
}

void VyrFrame::LockWork(bool lock) {
    if (lock) {
        workMutex.lock();
    } else {
        workMutex.unlock();
    }
}

std::string VyrFrame::CsvHeader(uint32_t type) {
    std::lock_guard<std::mutex> lock(workMutex);
    SetAvailable(true);
    return FrameCsvHeader(data, type);
}

std::string VyrFrame::CsvRecords(uint32_t type) {
    std::lock_guard<std::mutex> lock(workMutex);
    return FrameCsvRecords(data, type);
}

void VyrFrame::Save(FileStorer &storer, uint32_t type) {
    if (type == 0) {
        std::string head;
        std::string text;
        {
            std::lock_guard<std::mutex> lock(frameMutex);
            head = headText;
            text = logText;
        }
        storer.Write(std::string(), head, true);
        storer.Write(std::string(), text, true);
        return;
    }
    // The texts are built under workMutex alone: frameMutex is never held
    // around workMutex, which SyncFrame takes first on the current frame.
    std::string header = CsvHeader(type);
    std::string records = CsvRecords(type);
    storer.Write(header, records, true);
}

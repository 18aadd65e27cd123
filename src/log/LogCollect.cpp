#include "log/LogCollect.h"

#include <boundchk.h>

#include "hal/VyrHal.h"
#include "hal/vyr_hal.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"

namespace {
constexpr const char *kCollectClient = "vyr-client";
}

LogCollect::LogCollect(VyrHal &hal, int32_t socketType) : LogSocketBase(hal, socketType) {}

LogCollect::~LogCollect() = default;

bool LogCollect::Init() {
    LOGI("+");
    startCount = 0;
    run.store(true);
    return true;
}

bool LogCollect::HandleFrame(VyrFrame &frame) {
    LOGV("+");
    std::lock_guard<std::mutex> lock(socketMutex);
    const auto frameTypes = mHal.CopyFrameTypes();
    frame.LockData(true);
    VyrFrameData &data = frame.GetData();
    std::vector<uint32_t> types;
    for (const auto &entry : data.GetSensorLists()) {
        if (entry.first != 0) {
            types.push_back(entry.first);
        }
    }
    for (uint32_t frameType : types) {
        auto known = frameTypes.find(frameType);
        const std::string typeName = known == frameTypes.end() ? std::string() : known->second;
        const std::string records = frame.CsvRecords(frameType);
        if (records.empty()) {
            continue;
        }
        const std::string header = frame.CsvHeader(frameType);
        notifySensorCollectData(typeName + "#" + header + "#" + records);
        LOGD("head: %d, content: %d", static_cast<int>(header.size()),
             static_cast<int>(records.size()));
    }
    for (const VyrFrameImage &image : data.GetImages()) {
        notifyCameraCollectData(LOG_COLLECT_IMAGE_MSG, image.bytes);
    }
    for (const std::vector<uint8_t> &record : data.GetCameraRecords()) {
        notifyCameraCollectData(LOG_COLLECT_CAMERA_MSG, record);
    }
    frame.LockData(false);
    if (!run.load()) {
        return false;
    }
    LOGV("-");
    return true;
}

void LogCollect::notifySensorCollectData(const std::string &text) {
    vyr_msg_t msg;
    msg.client = kCollectClient;
    msg.type = LOG_COLLECT_SENSOR_MSG;
    msg.dataSize = static_cast<int32_t>(text.size());
    msg.data.assign((text.size() + 3) / 4, 0);
    errno_t err =
        memcpy_s(msg.data.data(), msg.data.size() * sizeof(int32_t), text.data(), text.size());
    if (err != EOK) {
        LOGE("memcpy_s failed, err = %d", err);
        return;
    }
    mHal.GetNotify().notify(msg);
}

void LogCollect::notifyCameraCollectData(int32_t msgType, const std::vector<uint8_t> &bytes) {
    if (bytes.empty()) {
        LOGD("notifyCameraCollectData type: %d size 0", msgType);
        return;
    }
    vyr_msg_t msg;
    msg.client = kCollectClient;
    msg.type = msgType;
    msg.dataSize = static_cast<int32_t>(bytes.size());
    msg.data.assign(bytes.size() / 4 + 1, 0);
    errno_t err =
        memcpy_s(msg.data.data(), msg.data.size() * sizeof(int32_t), bytes.data(), bytes.size());
    if (err != EOK) {
        LOGE("memcpy_s failed, err = %d", err);
        return;
    }
    mHal.GetNotify().notify(msg);
}

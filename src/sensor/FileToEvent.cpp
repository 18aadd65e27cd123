#include "sensor/FileToEvent.h"

#include <cstdlib>
#include <memory>
#include <new>

#include "file/FileReader.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/Utils.h"

namespace {

constexpr const char *kEmulateDir = "/data/vendor/log/vyrlog/";
constexpr int kTypeModem = 0x1000000;
constexpr size_t kFirstDataLine = 2;

bool IsSensorFileType(int type) {
    switch (type) {
        case 1:
        case 0x20001:
        case 4:
        case 8:
        case 36:
        case 2:
        case 0x1002B:
            return true;
        default:
            return false;
    }
}

}  // namespace

const EmulateFile kEmulateFiles[7] = {
    {"acc1", 1},  {"acc2", 0x20001}, {"gyro", 4},           {"dist", 8},
    {"fold", 36}, {"mag", 2},        {"modem", kTypeModem},
};

FileToEvent::FileToEvent(VyrHal &hal) : mHal(hal), mLog(hal) {}

FileToEvent::~FileToEvent() = default;

bool FileToEvent::GetEvents(std::string stem, int type, std::vector<ASensorEvent> &events) {
    const std::string path = std::string(kEmulateDir) + stem + ".csv";
    std::unique_ptr<FileReader> reader(new (std::nothrow) FileReader(mHal, path));
    if (reader == nullptr) {
        LOGE("alloc file memory error");
        return false;
    }
    std::vector<std::string> lines;
    if (!reader->ReadLines(lines)) {
        LOGE("storer Read file fail");
        return false;
    }
    size_t count = 0;
    if (lines.size() > 1) {
        LOGI("contents size: %d", static_cast<int>(lines.size()));
        LOGI("contents[0]: %s", lines[0].c_str());
    }
    const bool sensorFile = IsSensorFileType(type);
    if (lines.size() > kFirstDataLine && (sensorFile || type == kTypeModem)) {
        const size_t fields = sensorFile ? kSensorFields : kModemFields;
        for (size_t index = kFirstDataLine; index < lines.size(); ++index) {
            std::vector<std::string> parts = Split(lines[index], ",");
            if (parts.size() != fields) {
                LOGE("line index: %d, format error: %s", static_cast<int>(index),
                     lines[index].c_str());
                break;
            }
            ASensorEvent event{};
            event.version = 0;
            event.type = type;
            event.sensor = type;
            event.timestamp = atoll(parts[0].c_str());
            if (sensorFile) {
                for (size_t i = 0; i < 3; ++i) {
                    event.data[i] = static_cast<float>(atof(parts[3 + i].c_str()));
                }
            } else {
                if (atoi(parts[7].c_str()) != 1) {
                    continue;
                }
                event.u64.data[0] =
                    static_cast<uint64_t>(static_cast<int64_t>(atoi(parts[6].c_str())));
                event.u64.data[1] =
                    static_cast<uint64_t>(static_cast<int64_t>(atoi(parts[5].c_str())));
            }
            events.push_back(event);
            ++count;
        }
    }
    LOGI("get events size: %d", static_cast<int>(count));
    return true;
}

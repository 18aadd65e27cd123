#include "sensor/FileToEvent.h"

#include <cstdlib>
#include <memory>
#include <new>

#include "file/FileReader.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/Utils.h"
#include "sensor/SensorTypes.h"

namespace {

constexpr const char *kEmulateDir = "/data/vendor/log/vyrlog/";
constexpr size_t kFirstDataLine = 2;

bool IsSensorFileType(int type) {
    switch (type) {
        case SENSOR_TYPE_ACCELEROMETER:
        case SENSOR_TYPE_ACCELEROMETER2:
        case SENSOR_TYPE_GYROSCOPE:
        case SENSOR_TYPE_PROXIMITY:
        case SENSOR_TYPE_HINGE_ANGLE:
        case SENSOR_TYPE_MAGNETIC_FIELD:
        case SENSOR_TYPE_HINGE_ANGLE2:
            return true;
        default:
            return false;
    }
}

}  // namespace

const EmulateFile kEmulateFiles[7] = {
    {"acc1", SENSOR_TYPE_ACCELEROMETER}, {"acc2", SENSOR_TYPE_ACCELEROMETER2},
    {"gyro", SENSOR_TYPE_GYROSCOPE},     {"dist", SENSOR_TYPE_PROXIMITY},
    {"fold", SENSOR_TYPE_HINGE_ANGLE},   {"mag", SENSOR_TYPE_MAGNETIC_FIELD},
    {"modem", SENSOR_TYPE_MODEM},
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
    if (lines.size() > kFirstDataLine && (sensorFile || type == SENSOR_TYPE_MODEM)) {
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

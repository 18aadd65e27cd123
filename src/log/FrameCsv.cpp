#include "log/FrameCsv.h"

#include <android/log.h>
#include <boundchk.h>

#include <cstdarg>
#include <cstring>
#include <map>

#include "log/LogSink.h"
#include "log/VyrFrame.h"
#include "platform/Utils.h"
#include "sensor/SensorTypes.h"

const char *const kCsvColumnsAcc =
    "realtime,timestamp,accuracy(more=better),acc_x[m/s^2],acc_y[m/s^2],acc_z[m/s^2]";
const char *const kCsvColumnsGyro =
    "realtime,timestamp,accuracy(more=better),ang_vel_x[rad/s],ang_vel_y[rad/s],ang_vel_z[rad/s]";
const char *const kCsvColumnsProximity =
    "realtime,timestamp,accuracy(more=better),proximity_distance[cm]";
const char *const kCsvColumnsMag =
    "realtime,timestamp,accuracy(more=better),mfiled_x[uT],mfiled_y[uT],mfiled_z[uT]";
const char *const kCsvColumnsValue = "realtime,timestamp,accuracy(more=better),value";
const char *const kCsvColumnsModem =
    "time,order,mcc,mnc,lac/tac,cid,RAT,isRegisted,bsic/psc/pci,RXLEV/RSCP/RSRP,ARFCN,hsFlag,"
    "timestamp";
const char *const kCsvColumnsArResult =
    "realtime[s],index,clk,currentARStatus,stepsInfo,stationaryScore,walkScore,runScore,"
    "rideScore,vehicleScore,unknownScore,feat0,feat1,feat2,feat3,feat4,feat5,feat6,feat7,feat8,"
    "feat9";
const char *const kCsvColumnsHinge =
    "realtime,timestamp,accuracy(more=better),angle,unused"
    ",accA_x[m/s^2],accA_y[m/s^2],accA_z[m/s^2],accB_x[m/s^2],accB_y[m/s^2],accB_z[m/s^2]"
    ",angA_vel_x[rad/s],angA_vel_y[rad/s],angA_vel_z[rad/s],angB_vel_x[rad/s],angB_vel_y[rad/"
    "s],angB_vel_z[rad/s]"
    ",AErr,unused";

namespace {

const char *const kColumnsTap =
    "realtime,timestamp,accuracy(more=better),acc_x[m/s^2],acc_y[m/s^2],acc_z[m/s^2],acc1_x[m/"
    "s^2],acc1_y[m/s^2],acc1_z[m/s^2]";
const char *const kColumnsBlob = "screen_status,timestamp,frameNum,diff";
const char *const kColumnsTouch =
    "timestamp,id,x,y,touch_major,touch_minor,pressure,orientation,tool_major,tool_minor,touch_"
    "kind,down,up";

using K = CsvRecordKind;

const FrameCsvFormat kFormats[] = {
    {SENSOR_TYPE_LOG, nullptr, K::None},
    {SENSOR_TYPE_ACCELEROMETER, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_MAGNETIC_FIELD, kCsvColumnsMag, K::Values3},
    {SENSOR_TYPE_GYROSCOPE, kCsvColumnsGyro, K::Values3},
    {SENSOR_TYPE_LIGHT, nullptr, K::None},
    {SENSOR_TYPE_PROXIMITY, kCsvColumnsProximity, K::Values3},
    {SENSOR_TYPE_HINGE_ANGLE, kCsvColumnsHinge, K::Values16},
    {SENSOR_TYPE_HINGE_ANGLE2, kCsvColumnsHinge, K::Values16},
    {SENSOR_TYPE_ACCELEROMETER2, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_GYROSCOPE2, kCsvColumnsGyro, K::Values3},
    {SENSOR_TYPE_MODEM, kCsvColumnsModem, K::Modem},
    {SENSOR_TYPE_FUSION_TAP, kColumnsTap, K::Values6},
    {SENSOR_TYPE_FUSION_ACC, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_FUSION_ACC1, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_FUSION_GYRO, kCsvColumnsGyro, K::Values3},
    {SENSOR_TYPE_FUSION_GYRO1, kCsvColumnsGyro, K::Values3},
    {SENSOR_TYPE_FUSION_MAG, kCsvColumnsMag, K::Values3},
    {SENSOR_TYPE_FUSION_MAG1, kCsvColumnsMag, K::Values3},
    {SENSOR_TYPE_FS_DATA, nullptr, K::FsData},
    {SENSOR_TYPE_FS_RESULT, nullptr, K::FsResult},
    {SENSOR_TYPE_BT_PEN, nullptr, K::PenEvent},
    {SENSOR_TYPE_TP_BLOB, kColumnsBlob, K::Blob},
    {static_cast<uint32_t>(SENSOR_TYPE_TP), kColumnsTouch, K::Touch},
    {SENSOR_TYPE_AR_BETA_BASE, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_AR_BETA_BASE + 1, kCsvColumnsMag, K::Values3},
    {SENSOR_TYPE_AR_BETA_BASE + 2, kCsvColumnsModem, K::Modem},
    {SENSOR_TYPE_AR_BETA_BASE + 3, kCsvColumnsArResult, K::ArResult},
    {SENSOR_TYPE_MOTION_BETA_BASE, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_MOTION_BETA_BASE + 1, kCsvColumnsGyro, K::Values3},
    {SENSOR_TYPE_MOTION_BETA_BASE + 2, kCsvColumnsProximity, K::Values3},
    {SENSOR_TYPE_MOTION_BETA_BASE + 3, nullptr, K::None},
    {SENSOR_TYPE_AR_REFILL_BASE, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_AR_REFILL_BASE + 1, kCsvColumnsMag, K::Values3},
    {SENSOR_TYPE_AR_REFILL_BASE + 2, kCsvColumnsModem, K::Modem},
    {SENSOR_TYPE_AR_REFILL_BASE + 3, kCsvColumnsArResult, K::ArResult},
    // Refill streams of flip, head-down, pick-call, pick-up and rotation.
    {SENSOR_TYPE_MOTION_REFILL_BASE, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 1, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 2, kCsvColumnsGyro, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 3, kCsvColumnsProximity, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 4, kCsvColumnsProximity, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 5, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 6, kCsvColumnsGyro, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 7, kCsvColumnsProximity, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 8, kCsvColumnsValue, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 9, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 10, kCsvColumnsGyro, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 11, kCsvColumnsValue, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 12, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 13, kCsvColumnsAcc, K::Values3},
    {SENSOR_TYPE_MOTION_REFILL_BASE + 14, kCsvColumnsHinge, K::Values16},
};

// Never destroyed: the log thread may still write while the process ends.
const std::map<uint32_t, const FrameCsvFormat *> &FormatMap() {
    static const auto *map = [] {
        auto *made = new std::map<uint32_t, const FrameCsvFormat *>();
        for (const FrameCsvFormat &format : kFormats) {
            made->emplace(format.type, &format);
        }
        return made;
    }();
    return *map;
}

// Appends one formatted piece through the 512-byte buffer of a record.
class CsvText {
public:
    void Add(const char *format, ...) __attribute__((format(printf, 2, 3))) {
        char buffer[512];
        va_list ap;
        va_start(ap, format);
        int n = vsnprintf_s(buffer, sizeof(buffer), sizeof(buffer) - 1, format, ap);
        va_end(ap);
        if (n < 0) {
            __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "sprintf_s failed, err = %d", n);
            return;
        }
        mText.append(buffer, static_cast<size_t>(n));
    }
    void AddText(const char *text, size_t maxLength) {
        mText.append(text, strnlen(text, maxLength));
    }
    std::string &Text() { return mText; }

private:
    std::string mText;
};

double D(float value) {
    return static_cast<double>(value);
}

unsigned long U(uint64_t value) {
    return static_cast<unsigned long>(value);
}

uint32_t WordAt(const ASensorEvent &event, size_t offset) {
    uint32_t word = 0;
    memcpy(&word, reinterpret_cast<const unsigned char *>(&event) + offset, sizeof(word));
    return word;
}

void AddValues(CsvText &out, const ASensorEvent &event, int count) {
    const unsigned long arrival = U(GetEventArrivalMs(event));
    const unsigned long timestamp = U(static_cast<uint64_t>(event.timestamp));
    const float *v = event.data;
    switch (count) {
        case 3:
            out.Add("%lu,%lu,3,%f,%f,%f\n", arrival, timestamp, D(v[0]), D(v[1]), D(v[2]));
            break;
        case 6:
            out.Add("%lu,%lu,3,%f,%f,%f,%f,%f,%f\n", arrival, timestamp, D(v[0]), D(v[1]), D(v[2]),
                    D(v[3]), D(v[4]), D(v[5]));
            break;
        default:
            out.Add("%lu,%lu,3,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f\n", arrival,
                    timestamp, D(v[0]), D(v[1]), D(v[2]), D(v[3]), D(v[4]), D(v[5]), D(v[6]),
                    D(v[7]), D(v[8]), D(v[9]), D(v[10]), D(v[11]), D(v[12]), D(v[13]), D(v[14]),
                    D(v[15]));
            break;
    }
}

void AddEventRecords(CsvText &out, const std::vector<ASensorEvent> &events, CsvRecordKind kind) {
    for (const ASensorEvent &event : events) {
        switch (kind) {
            case K::Values3:
                AddValues(out, event, 3);
                break;
            case K::Values6:
                AddValues(out, event, 6);
                break;
            case K::Values16:
                AddValues(out, event, 16);
                break;
            case K::Modem:
                // The cell id and the radio type are the first two 64-bit
                // words, the signal level the third.
                out.Add("%lu,0,0,0,0,%d,%d,1,0,0,0,%d, %lu\n", U(GetEventArrivalMs(event)),
                        static_cast<int>(event.u64.data[0]), static_cast<int>(event.u64.data[1]),
                        static_cast<int>(event.u64.data[2]),
                        U(static_cast<uint64_t>(event.timestamp)));
                break;
            case K::ArResult:
                // Clock, status and steps sit behind the values (bytes 88,
                // 92, 96) and the seconds of arrival at byte 100.
                out.Add("%u,%lu,%u,%u,%u", WordAt(event, 100),
                        U(static_cast<uint64_t>(event.timestamp)), WordAt(event, 88),
                        WordAt(event, 92), WordAt(event, 96));
                for (int i = 0; i < 16; ++i) {
                    out.Add(",%f", D(event.data[i]));
                }
                out.Add("\n");
                break;
            case K::Touch:
                out.Add("%lu,%d", U(static_cast<uint64_t>(event.timestamp)),
                        static_cast<int>(event.data[0]));
                for (int i = 1; i <= 8; ++i) {
                    out.Add(",%f", D(event.data[i]));
                }
                out.Add(",%d,%d,%d\n", static_cast<int>(event.data[9]),
                        static_cast<int>(event.data[10]), static_cast<int>(event.data[11]));
                break;
            default:
                break;
        }
    }
}

void AddBlobs(CsvText &out, const std::vector<VyrBlobRecord> &blobs) {
    constexpr size_t kValues = 2025;
    static_assert(kValues * sizeof(int16_t) <= VyrBlobRecord::kContentSize);
    for (const VyrBlobRecord &blob : blobs) {
        out.Add("%d,%lu,%d", blob.flag, U(blob.value), static_cast<int>(blob.kind));
        for (size_t i = 0; i < kValues; ++i) {
            int16_t value = 0;
            memcpy(&value, blob.content + i * sizeof(value), sizeof(value));
            out.Add(",%d", value);
        }
    }
    if (!blobs.empty()) {
        out.Add("\n");
    }
}

void AddFsData(CsvText &out, const std::vector<VyrFsLog> &records) {
    for (const VyrFsLog &record : records) {
        out.Add("%lu\n", U(record.time));
        out.Add("RAW_TOUCHES:");
        out.Add("%d", record.rawFirst);
        for (float value : record.rawValues) {
            out.Add(",%f", D(value));
        }
        out.Add(",%d\n", record.rawLast);
        out.Add("ACC:");
        out.Add("%d", record.accCount);
        for (int16_t value : record.acc) {
            out.Add(",%d", value);
        }
        out.Add("\n");
        out.Add("CAP:");
        out.Add("%d", record.capCount);
        for (int16_t value : record.cap) {
            out.Add(",%d", value);
        }
        out.Add("\n\n");
    }
}

void AddFsResults(CsvText &out, const std::vector<VyrFsLog> &records) {
    for (const VyrFsLog &record : records) {
        out.Add("%lu\n", U(record.time));
        out.Add("%s\n", FormatTime(record.time, 2).c_str());
        out.Add("%d\n\n", record.result);
    }
}

}  // namespace

const FrameCsvFormat *FindFrameCsvFormat(uint32_t type) {
    const auto &map = FormatMap();
    auto it = map.find(type);
    return it == map.end() ? nullptr : it->second;
}

std::string FrameCsvHeader(VyrFrameData &data, uint32_t type) {
    const FrameCsvFormat *format = FindFrameCsvFormat(type);
    if (format == nullptr) {
        return std::string();
    }
    CsvText out;
    if (format->kind == K::FsResult) {
        const auto &records = data.GetFsLogList();
        if (records.empty()) {
            return std::string();
        }
        const VyrFsLog &first = records.front();
        out.Add("%f,%d,%f\n", D(first.result1), first.result2, D(first.result3));
        out.AddText(first.text1, sizeof(first.text1));
        out.Add("\n");
        out.AddText(first.text2, sizeof(first.text2));
        out.Add("\n");
        return std::move(out.Text());
    }
    if (format->columns == nullptr || format->columns[0] == '\0') {
        return std::string();
    }
    return data.GetSensorName(type) + "\n" + format->columns + "\n";
}

std::string FrameCsvRecords(VyrFrameData &data, uint32_t type) {
    const FrameCsvFormat *format = FindFrameCsvFormat(type);
    if (format == nullptr) {
        return std::string();
    }
    CsvText out;
    switch (format->kind) {
        case K::None:
            break;
        case K::PenEvent:
            for (const VyrEventRecord &record : data.GetEventRecords()) {
                out.Add("%d,%d,%d,%lu\n", static_cast<int>(record.a), static_cast<int>(record.b),
                        static_cast<int>(record.c), U(record.value));
            }
            break;
        case K::Blob:
            AddBlobs(out, data.GetBlobRecords());
            break;
        case K::FsData:
            AddFsData(out, data.GetFsLogList());
            break;
        case K::FsResult:
            AddFsResults(out, data.GetFsLogList());
            break;
        default:
            AddEventRecords(out, data.GetSensorLists()[type], format->kind);
            break;
    }
    return std::move(out.Text());
}

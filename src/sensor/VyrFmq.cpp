#include "sensor/VyrFmq.h"

#include <cstring>
#include <new>
#include <utility>

#include "activity/Activity.h"
#include "camera/Camera.h"
#include "hal/ServerCmds.h"
#include "hal/VyrHal.h"
#include "log/EventDft.h"
#include "log/FileDft.h"
#include "log/LogSink.h"
#include "log/VyrFrame.h"
#include "platform/Sysfs.h"
#include "platform/Utils.h"
#include "sensor/ActivityRefillData.h"
#include "sensor/FmqMessages.h"
#include "sensor/MotionRefillData.h"
#include "touch/TouchScreen.h"

namespace {

uint32_t ReadWord(const uint8_t *data, int32_t offset) {
    uint32_t word = 0;
    memcpy(&word, data + offset, sizeof(word));
    return word;
}

// Made on first need, without throwing; null (with a line) when memory is
// short.
template <typename T>
T *MakeOnce(std::unique_ptr<T> &slot, VyrHal &hal, LogSink &mLog, const char *name) {
    if (slot == nullptr) {
        slot.reset(new (std::nothrow) T(hal));
        if (slot == nullptr) {
            LOGE("%s is nullptr", name);
        }
    }
    return slot.get();
}

}  // namespace

VyrFmq::VyrFmq(VyrHal &hal) : mHal(hal), mLog(hal) {
    Sysfs &sysfs = mHal.GetSysfs();
    mHasThp = sysfs.HasXmlConfig("thp");
    mHasCamera = sysfs.HasXmlConfig("camera");
    mHasActivity = sysfs.HasXmlConfig("activity_recognition");
}

VyrFmq::~VyrFmq() = default;

int32_t VyrFmq::ProcessFmqData(uint8_t *data, int32_t size) {
    if (data == nullptr) {
        return size;
    }
    int32_t remain = size;
    uint8_t *cursor = data;
    while (remain >= fmq::kHeadSize) {
        const uint32_t head = ReadWord(cursor, 0);
        LOGD("recv fmq msg head: 0x%x remainSize: %d", head, remain);
        int32_t used = 0;
        switch (head) {
            case fmq::kHeadThpFirst:
            case fmq::kHeadThpSecond:
            case fmq::kHeadThpThird:
                used = ProcessThpData(cursor, remain);
                break;
            case fmq::kHeadPalmetryLog:
                used = ProcessPalmetrySenseLog(cursor, remain);
                break;
            case fmq::kHeadArBigData:
                used = ProcessArBigData(cursor, remain);
                break;
            case fmq::kHeadArRefill:
                used = ProcessArRefillData(cursor, remain);
                break;
            case fmq::kHeadMotionRefill:
                used = ProcessMotionRefillData(cursor, remain);
                break;
            case fmq::kHeadMotionBigData:
                used = ProcessMotionBigData(cursor, remain);
                break;
            case fmq::kHeadArContext:
                used = ProcessArContext(cursor, remain);
                break;
            case fmq::kHeadArEngine:
                used = ProcessArEngineData(cursor, remain);
                break;
            case fmq::kHeadTofCamera:
                used = ProcessTofCamera(cursor, remain);
                break;
            case fmq::kHeadFaceRecognize:
            case fmq::kHeadFaceSecond:
            case fmq::kHeadFaceThird:
                used = ProcessFaceRecognize(cursor, remain);
                break;
            case fmq::kHeadCameraConflict:
                used = ProcessCameraConflictEvent(cursor, remain);
                break;
            default:
                // A stream that lost its framing cannot be resynchronised.
                LOGE("error fmq msg head: 0x%x remainSize: %d", head, remain);
                return size;
        }
        if (used <= 0 || used >= remain) {
            return size;
        }
        cursor += used;
        remain -= used;
    }
    LOGE("date size %d < %d", remain, fmq::kHeadSize);
    return size;
}

bool VyrFmq::CheckLength(const uint8_t *data, int32_t remain, int32_t header, int32_t offset,
                         bool strict, int32_t &total) {
    if (remain < header || (strict && remain == header)) {
        LOGE("data size error: %d < %d", header + (strict ? 1 : 0), remain);
        return false;
    }
    const int64_t need = static_cast<int64_t>(header) + ReadWord(data, offset);
    if (need > remain) {
        LOGE("data size error: %d < %d", static_cast<int>(need > INT32_MAX ? INT32_MAX : need),
             remain);
        return false;
    }
    total = static_cast<int32_t>(need);
    return true;
}

int32_t VyrFmq::ProcessThpData(uint8_t *data, int32_t remain) {
    if (!mHasThp) {
        return remain;
    }
    const int32_t used = HandToTouch(data, remain);
    // Whatever the reader answers, the buffer's end is the limit.
    return (used <= 0 || used > remain) ? remain : used;
}

int32_t VyrFmq::ProcessPalmetrySenseLog(uint8_t *data, int32_t remain) {
    if (remain < fmq::kPalmetryLogSize) {
        LOGE("data size error: %d < %d", fmq::kPalmetryLogSize, remain);
        return remain;
    }
    VyrFsLog record;
    memcpy(&record, data, sizeof(record));
    record.time = VyrHal::RealTimeMs();
    VyrFrame &frame = mHal.GetCurFrame();
    frame.LockData(true);
    frame.GetData().AddFsLog(record);
    frame.LockData(false);
    return fmq::kPalmetryLogSize;
}

int32_t VyrFmq::ProcessArBigData(uint8_t *data, int32_t remain) {
    int32_t total = 0;
    if (!CheckLength(data, remain, fmq::kLengthHeaderSize, 4, true, total)) {
        return remain;
    }
    std::lock_guard<std::mutex> lock(mDftLock);
    ActivityDft *dft = GetActivityDft();
    if (dft != nullptr) {
        std::string text(reinterpret_cast<const char *>(data + fmq::kLengthHeaderSize),
                         static_cast<size_t>(total - fmq::kLengthHeaderSize));
        text += "\n";
        dft->StoreString(text);
    }
    return total;
}

int32_t VyrFmq::ProcessMotionBigData(uint8_t *data, int32_t remain) {
    int32_t total = 0;
    if (!CheckLength(data, remain, fmq::kLengthHeaderSize, 4, true, total)) {
        return remain;
    }
    std::lock_guard<std::mutex> lock(mDftLock);
    MotionDft *dft = GetMotionDft();
    if (dft != nullptr) {
        std::string text(reinterpret_cast<const char *>(data + fmq::kLengthHeaderSize),
                         static_cast<size_t>(total - fmq::kLengthHeaderSize));
        text += "\n";
        dft->StoreString(text);
    }
    return total;
}

int32_t VyrFmq::ProcessArRefillData(uint8_t *data, int32_t remain) {
    constexpr int32_t kHeader = static_cast<int32_t>(sizeof(fmq::ArRefillDataPacketT));
    if (remain <= kHeader) {
        LOGE("data size error: %d < %d", kHeader + 1, remain);
        return remain;
    }
    fmq::ArRefillDataPacketT packet;
    memcpy(&packet, data, sizeof(packet));
    const int64_t need = kHeader + static_cast<int64_t>(fmq::kArRefillRecordSize) * packet.count;
    if (need > remain) {
        LOGE("data size error: %d < %d", static_cast<int>(need > INT32_MAX ? INT32_MAX : need),
             remain);
        return remain;
    }
    if (MakeOnce(mActivityRefill, mHal, mLog, "mActivityRefill") == nullptr) {
        return static_cast<int32_t>(need);
    }
    if (packet.kind != fmq::kArRefillError) {
        mActivityRefill->Process(packet, data + kHeader);
        return static_cast<int32_t>(need);
    }
    std::lock_guard<std::mutex> lock(mDftLock);
    if (mActivityDft != nullptr) {
        const std::string text = "errorcode=" + std::to_string(packet.timestamp) + "\n";
        mActivityDft->StoreString(text);
        LOGI("get REFILL_DATA_DMD event %s", text.c_str());
    } else {
        mActivityRefill->Process(packet, data + kHeader);
    }
    return static_cast<int32_t>(need);
}

int32_t VyrFmq::ProcessMotionRefillData(uint8_t *data, int32_t remain) {
    constexpr int32_t kSize = static_cast<int32_t>(sizeof(fmq::MotionRefillDataPacketT));
    if (remain < kSize) {
        LOGE("data size error: %d < %d", kSize, remain);
        return remain;
    }
    if (MakeOnce(mMotionRefill, mHal, mLog, "mMotionRefill") != nullptr) {
        fmq::MotionRefillDataPacketT packet;
        memcpy(&packet, data, sizeof(packet));
        mMotionRefill->Process(packet);
    }
    // A motion refill packet is the last of its buffer.
    return remain;
}

int32_t VyrFmq::ProcessArContext(uint8_t *data, int32_t remain) {
    if (remain < fmq::kArContextSize) {
        return remain;
    }
    const int32_t arType = static_cast<int32_t>(ReadWord(data, 4));
    const int32_t arEvent = static_cast<int32_t>(ReadWord(data, 8));
    if (arEvent > fmq::kArContextMaxEvent) {
        return remain;
    }
    // The text ends at its NUL or at the record's end.
    const char *textStart = reinterpret_cast<const char *>(data + 12);
    const void *nul = memchr(textStart, 0, fmq::kArContextTextSize);
    const size_t textLength = nul == nullptr
                                  ? static_cast<size_t>(fmq::kArContextTextSize)
                                  : static_cast<size_t>(static_cast<const char *>(nul) - textStart);
    const std::string text(textStart, textLength);
    std::string line = "ARContext=" + std::to_string(arType) + "," + std::to_string(arEvent);
    if (arEvent > 2) {
        line += "," + text + "\n";
    } else {
        line += ",";
        const std::vector<std::string> fields = Split(text, ",");
        for (size_t i = 0; i < fields.size(); ++i) {
            if (i != 1) {
                line += fields[i] + "@";
            }
        }
        line += "\n";
    }
    LOGI("content: %s", line.c_str());
    std::lock_guard<std::mutex> lock(mDftLock);
    ActivityDft *dft = GetActivityDft();
    if (dft != nullptr) {
        dft->StoreString(line);
    }
    return fmq::kArContextSize;
}

int32_t VyrFmq::ProcessArEngineData(uint8_t *data, int32_t remain) {
    int32_t total = 0;
    if (!CheckLength(data, remain, fmq::kLengthHeaderSize, 4, true, total)) {
        return remain;
    }
    if (mHasActivity) {
        HandToActivityEngine(data + fmq::kLengthHeaderSize, total - fmq::kLengthHeaderSize);
    }
    return total;
}

int32_t VyrFmq::ProcessTofCamera(uint8_t *data, int32_t remain) {
    if (remain <= fmq::kTofHeaderSize) {
        LOGE("data size error: %d < %d", fmq::kTofHeaderSize + 1, remain);
        return remain;
    }
    const int32_t imageSize = static_cast<int32_t>(ReadWord(data, fmq::kTofImageSizeOffset));
    const int64_t need = static_cast<int64_t>(fmq::kTofHeaderSize) + imageSize;
    if (imageSize < 0 || need > remain) {
        LOGE("data size error: %d < %d", static_cast<int>(need > INT32_MAX ? INT32_MAX : need),
             remain);
        return remain;
    }
    if (imageSize != fmq::kTofImageSize) {
        LOGE("image size error: %d != %d", imageSize, fmq::kTofImageSize);
    }
    static uint64_t frameCount = 0;
    ++frameCount;
    LOGD("recv tof camera frame %lusize: %d", static_cast<unsigned long>(frameCount), remain);
    // The one copy of a frame on its way to the camera.
    std::vector<uint8_t> bytes(data, data + remain);
    if (mHasCamera) {
        HandToCamera(fmq::kCameraEventTof, std::move(bytes));
    }
    return static_cast<int32_t>(need);
}

int32_t VyrFmq::ProcessFaceRecognize(uint8_t *data, int32_t remain) {
    if (remain < fmq::kFaceRecordSize) {
        LOGE("data size error: %d < %d", fmq::kFaceRecordSize, remain);
        return remain;
    }
    const uint32_t head = ReadWord(data, 0);
    LOGD("recv facerecognize event: %0X", head);
    int32_t kind = fmq::kCameraEventFaceRecognize;
    int64_t length = fmq::kFaceRecordSize;
    if (head == fmq::kHeadFaceRecognize) {
        length += ReadWord(data, fmq::kFaceLengthOffset);
    } else {
        kind =
            head == fmq::kHeadFaceSecond ? fmq::kCameraEventFaceSecond : fmq::kCameraEventFaceThird;
    }
    if (length > remain) {
        LOGE("data size error: %d < %d", static_cast<int>(length > INT32_MAX ? INT32_MAX : length),
             remain);
        return remain;
    }
    if (mHasCamera) {
        HandToCamera(kind, std::vector<uint8_t>(data, data + length));
    }
    return static_cast<int32_t>(length);
}

int32_t VyrFmq::ProcessCameraConflictEvent(uint8_t *data, int32_t remain) {
    int32_t total = 0;
    if (!CheckLength(data, remain, fmq::kConflictHeaderSize, 8, true, total)) {
        return remain;
    }
    const int32_t eventType = static_cast<int32_t>(ReadWord(data, 4));
    EventDft *reporter = MakeOnce(mConflictReporter, mHal, mLog, "mConflictReporter");
    const std::string text(reinterpret_cast<const char *>(data + fmq::kConflictHeaderSize),
                           static_cast<size_t>(total - fmq::kConflictHeaderSize));
    LOGI("ProcessCameraConflictEvent event_content : %s", text.c_str());
    if (reporter != nullptr) {
        reporter->ReportEvent(eventType, text);
    }
    return total;
}

ActivityDft *VyrFmq::GetActivityDft() {
    return MakeOnce(mActivityDft, mHal, mLog, "mActivityDft");
}

MotionDft *VyrFmq::GetMotionDft() {
    return MakeOnce(mMotionDft, mHal, mLog, "mMotionDft");
}

bool VyrFmq::InitVyrd() {
    return InitVyrdArList() && InitVyrdMotionList();
}

bool VyrFmq::InitVyrdArList() {
    return mHal.GetServerCmds().AddCmd(
        "arlist", [this](const std::string, const std::string param, std::vector<uint8_t> &) {
            LOGI("VYR_CMD_AR_LIST %s", param.c_str());
            {
                std::lock_guard<std::mutex> lock(mDftLock);
                ActivityDft *dft = GetActivityDft();
                if (dft == nullptr) {
                    return;
                }
                static int calFuncCount = 0;
                StoreList(*dft, "ARList=", param, calFuncCount);
                LOGI("mActivityDft_addr: %p", static_cast<void *>(dft));
            }
            if (mHasActivity) {
                LOGI("UpdateArList +");
                HandToActivityList(param);
                LOGI("UpdateArList -");
            }
        });
}

bool VyrFmq::InitVyrdMotionList() {
    return mHal.GetServerCmds().AddCmd(
        "motionlist", [this](const std::string, const std::string param, std::vector<uint8_t> &) {
            LOGI("VYR_CMD_MOTION_LIST %s", param.c_str());
            std::lock_guard<std::mutex> lock(mDftLock);
            MotionDft *dft = GetMotionDft();
            if (dft == nullptr) {
                return;
            }
            static int calFuncCount = 0;
            StoreList(*dft, "MotionList=", param, calFuncCount);
            LOGI("mMotionDft_addr: %p", static_cast<void *>(dft));
        });
}

// The boot times and the list become the file's key content; from the
// second call of a command on, the time lines are also stored as a record.
void VyrFmq::StoreList(FileDft &dft, const char *listKey, const std::string &param,
                       int &calFuncCount) {
    const std::string bootsecond = "bootsecond=" + Dft::BootSecondText() + "\n";
    LOGI("bootsecond: %s", bootsecond.c_str());
    const std::string fromboot = "frombootsecond=" + Dft::FirstBootSecondText() + "\n";
    LOGI("fromBootStr: %s", fromboot.c_str());
    const std::string keyContent = fromboot + bootsecond + listKey + param + "\n";
    LOGI("keyContent: %s", keyContent.c_str());
    dft.StoreKeyContent(keyContent);
    LOGI("calFuncCount: %d", calFuncCount);
    if (calFuncCount != 0) {
        dft.StoreString(fromboot + bootsecond);
    }
    ++calFuncCount;
}

// Hand-overs to the modules that own these messages.
int32_t VyrFmq::HandToTouch(uint8_t *data, int32_t remain) {
    LOGD("thp packet of %d bytes", remain);
    return mHal.GetTouchScreen().ThpDataPost(data, remain);
}

void VyrFmq::HandToCamera(int32_t kind, std::vector<uint8_t> bytes) {
    LOGD("camera event %d of %zu bytes", kind, bytes.size());
    mHal.GetCamera().PostEvent(kind, std::move(bytes));
}

void VyrFmq::HandToActivityEngine(const uint8_t *text, int32_t length) {
    LOGD("ar engine data of %d bytes", length);
    mHal.GetActivity().ProcessArEngineData(reinterpret_cast<const char *>(text),
                                           static_cast<uint32_t>(length));
}

void VyrFmq::HandToActivityList(const std::string &list) {
    mHal.GetActivity().UpdateArList(list);
}

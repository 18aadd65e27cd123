// The record of one work cycle: the pending log text of the cycle, the newest
// event of each sensor, the cycle's event lists, images and small records,
// and a few flag words. Modules fill the current frame; SyncFrame hands a
// copy of it to the log thread and resets it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/api/sensor_event.h"

class FileStorer;
class LogSink;
class VyrHal;

// An image a frame carries until the image collector writes it.
struct VyrFrameImage {
    std::string directory;
    std::string fileName;
    std::vector<uint8_t> bytes;
};

// The palmetry touch log record as it comes from the message queue.
struct VyrFsLog {
    uint8_t reserved0[8];
    uint64_t time;  // ms, stamped with the wall clock on arrival
    uint8_t reserved1[8];
    int32_t rawFirst;
    float rawValues[8];
    int32_t rawLast;
    int16_t accCount;
    int16_t acc[127];
    int16_t capCount;
    int16_t cap[48];
    char text1[256];
    char text2[130];
    int32_t result;
    float result1;
    int32_t result2;
    float result3;
    uint8_t reserved2[4];
};
static_assert(sizeof(VyrFsLog) == 824, "palmetry log record is 824 bytes");
static_assert(offsetof(VyrFsLog, time) == 8);
static_assert(offsetof(VyrFsLog, rawFirst) == 24);
static_assert(offsetof(VyrFsLog, rawValues) == 28);
static_assert(offsetof(VyrFsLog, rawLast) == 60);
static_assert(offsetof(VyrFsLog, accCount) == 64);
static_assert(offsetof(VyrFsLog, capCount) == 320);
static_assert(offsetof(VyrFsLog, text1) == 418);
static_assert(offsetof(VyrFsLog, text2) == 674);
static_assert(offsetof(VyrFsLog, result) == 804);
static_assert(offsetof(VyrFsLog, result1) == 808);
static_assert(offsetof(VyrFsLog, result2) == 812);
static_assert(offsetof(VyrFsLog, result3) == 816);

// Three words and a value (the pen's event records).
struct VyrEventRecord {
    uint32_t a;
    uint32_t b;
    uint32_t c;
    uint64_t value;
};
static_assert(sizeof(VyrEventRecord) == 24, "event record is 24 bytes");

// A fixed-size binary record (touch difference matrices).
struct VyrBlobRecord {
    static constexpr size_t kContentSize = 4056;
    int32_t flag;  // 0 or 1
    uint32_t kind;
    uint64_t value;
    uint8_t content[kContentSize];
};
static_assert(sizeof(VyrBlobRecord) == 4072, "blob record is 4072 bytes");

// Everything a frame carries besides its texts. Every operation takes
// dataRecordMutex. The getters of the lists hand out references: callers
// hold the frame's LockData while they use them, as producers do while they
// add.
class VyrFrameData {
public:
    VyrFrameData() = default;
    VyrFrameData(const VyrFrameData &other);
    VyrFrameData &operator=(const VyrFrameData &other);
    ~VyrFrameData() = default;

    // Flag words.
    void ClearCtrlFlag(uint32_t bits);
    void AddCtrlFlag(uint32_t bits);
    void SetCtrlFlag(uint32_t bits, bool on);
    uint32_t GetCtrlFlag() const;
    // Set or clear bits; true when the word changed.
    bool SetFeatureBits(uint32_t bits, bool on);
    // Assign; true when the word changed.
    bool SetFeature(uint32_t value);
    uint32_t GetFeature() const;
    void SetScenario(uint32_t scenario);
    uint32_t GetScenario() const;
    void SetRotate(int32_t rotate);
    int32_t GetRotate() const;

    // Keeps the event as the newest of its type and, when keepInList, adds
    // it to the type's list of this cycle, bounded by twice expectedCount.
    void AddEvent(const ASensorEvent &event, int32_t expectedCount, bool keepInList);
    // Appends to the type's list with no bound.
    void AddEvents(uint32_t type, const std::vector<ASensorEvent> &events);
    void AddEvents(uint32_t type, const ASensorEvent *events, size_t count);
    // The newest event of the type. A type never seen yields the process-wide
    // default event: zero but for `type` (and data[0] = 35 for the light
    // sensor, type 5), whose data keep what the last miss left. Returned by
    // value: the default lives under a mutex of its own, so misses on several
    // threads never share an unguarded record.
    ASensorEvent GetEvent(int32_t type) const;
    void RemoveEvent(int32_t type);

    void SetSensorName(uint32_t type, const std::string &label);
    // "private,tolvi,unknow" for a type without a label.
    std::string GetSensorName(uint32_t type) const;

    // "ctrlflag=[0000]\tfeature=[ffffffff]\tscenario=[0000]\trotate=[0]"
    std::string ToString() const;

    void AddFsLog(const VyrFsLog &record);
    // A raw record from the message queue; false when fewer than 824 bytes.
    bool AddFsLog(const uint8_t *bytes, size_t length);
    void AddEventRecord(uint32_t a, uint32_t b, uint32_t c, uint64_t value);
    // Content beyond 4056 bytes is cut (with a log line), the rest zero.
    void AddBlob(int32_t flag, uint32_t kind, uint64_t value, const uint8_t *bytes, size_t length);
    void AddImage(const std::string &directory, const std::string &fileName,
                  const std::vector<uint8_t> &bytes);
    void AddCameraRecord(const std::vector<uint8_t> &bytes);

    std::map<int32_t, ASensorEvent> &GetLatestEvents() { return latestEvents; }
    std::map<uint32_t, std::string> &GetSensorNames() { return sensorNames; }
    std::map<uint32_t, std::vector<ASensorEvent>> &GetSensorLists() { return mSensorLists; }
    std::vector<VyrFrameImage> &GetImages() { return images; }
    std::vector<std::vector<uint8_t>> &GetCameraRecords() { return cameraRecords; }
    std::vector<VyrFsLog> &GetFsLogList() { return mFsLogList; }
    std::vector<VyrEventRecord> &GetEventRecords() { return eventRecords; }
    std::vector<VyrBlobRecord> &GetBlobRecords() { return blobRecords; }

    // Empties the lists of the cycle; the newest events, labels, flag words
    // and rotation stay for the next cycle.
    void Reset();
    // Logs the list sizes.
    void Dump() const;

private:
    void CopyFields(const VyrFrameData &other);

    uint32_t ctrlflag = 0;
    uint32_t feature = 0xFFFFFFFFu;
    uint32_t scenario = 0;
    std::map<int32_t, ASensorEvent> latestEvents;
    std::map<uint32_t, std::string> sensorNames;
    std::map<uint32_t, std::vector<ASensorEvent>> mSensorLists;
    std::vector<VyrFrameImage> images;
    std::vector<std::vector<uint8_t>> cameraRecords;
    std::vector<VyrFsLog> mFsLogList;
    std::vector<VyrEventRecord> eventRecords;
    std::vector<VyrBlobRecord> blobRecords;
    int32_t rotate = 0;
    mutable std::mutex dataRecordMutex;
};

// A value and a flag with a lock of their own.
class VyrFrameMark {
public:
    VyrFrameMark() = default;
    VyrFrameMark(const VyrFrameMark &other);
    VyrFrameMark &operator=(const VyrFrameMark &other);
    ~VyrFrameMark() = default;

    void Set(uint64_t value, uint16_t flag);
    uint64_t GetValue() const;
    uint16_t GetFlag() const;
    // Clears the flag only.
    void Reset();

private:
    uint64_t mValue = 0;
    uint16_t mFlag = 0;
    mutable std::mutex mMutex;
};

class VyrFrame {
public:
    explicit VyrFrame(VyrHal &hal);
    ~VyrFrame() = default;

    VyrFrame(const VyrFrame &) = delete;
    VyrFrame &operator=(const VyrFrame &) = delete;

    // Marks the frame available while file logging is on.
    VyrFrameData &GetData();
    bool IsAvailable();
    // No effect while file logging is off.
    void SetAvailable(bool available);

    // Monotonic clock in ms.
    void Stamp();
    uint64_t GetTimestamp() const;

    void SetLogText(const std::string &text);
    std::string GetLogText();
    // Non-empty text gets a newline appended; empty text clears.
    void SetHeadText(const std::string &text);
    std::string GetHeadText();

    VyrFrameMark &GetMark() { return mark; }

    // Clears availability, the cycle's data, the mark's flag and both texts.
    void Reset();
    // Locks this frame, then the other.
    void CopyFrom(VyrFrame &other);

    // true locks, false unlocks.
    void LockData(bool lock);
    void LockWork(bool lock);

    // The file forms of one frame type (see FrameCsv.h), under workMutex.
    std::string CsvHeader(uint32_t type);
    std::string CsvRecords(uint32_t type);
    // Appends this frame's part of one type to its file: the head and log
    // texts for type 0, the type's records for the others.
    void Save(FileStorer &storer, uint32_t type);

private:
    VyrHal &owner;
    LogSink &log;
    std::atomic<uint64_t> timestamp{0};
    std::string headText;
    std::string logText;
    // Atomic so that GetData may mark the frame from code that already holds
    // frameMutex; IsAvailable still reads it under frameMutex.
    std::atomic<bool> available{false};
    VyrFrameData data;
    VyrFrameMark mark;
    std::mutex frameMutex;
    std::mutex dataMutex;
    std::mutex workMutex;
};

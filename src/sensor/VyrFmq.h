// Reader of the daemon's fast message queue: a buffer holds one or more
// messages end to end, each starting with a 32-bit head; every head has its
// own layout and handler, which returns the bytes it took. Parsing runs on
// the caller's thread in the daemon's order; a malformed message costs the
// rest of the buffer and never a read beyond it.
//
// It owns what it makes on first need: the activity and motion big-data
// records, the camera conflict reporter and the two refill decoders. It
// registers "arlist" and "motionlist".
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class ActivityDft;
class ActivityRefillData;
class EventDft;
class FileDft;
class LogSink;
class MotionDft;
class MotionRefillData;
class VyrHal;

class VyrFmq {
public:
    explicit VyrFmq(VyrHal &hal);
    ~VyrFmq();

    VyrFmq(const VyrFmq &) = delete;
    VyrFmq &operator=(const VyrFmq &) = delete;

    bool InitVyrd();
    // Returns size.
    int32_t ProcessFmqData(uint8_t *data, int32_t size);

    // Handlers: each takes the message's start and the bytes that remain,
    // and returns the bytes it used (all that remain when the message is
    // malformed).
    int32_t ProcessThpData(uint8_t *data, int32_t remain);
    int32_t ProcessPalmetrySenseLog(uint8_t *data, int32_t remain);
    int32_t ProcessArBigData(uint8_t *data, int32_t remain);
    int32_t ProcessArRefillData(uint8_t *data, int32_t remain);
    int32_t ProcessMotionRefillData(uint8_t *data, int32_t remain);
    int32_t ProcessMotionBigData(uint8_t *data, int32_t remain);
    int32_t ProcessArContext(uint8_t *data, int32_t remain);
    int32_t ProcessArEngineData(uint8_t *data, int32_t remain);
    int32_t ProcessTofCamera(uint8_t *data, int32_t remain);
    int32_t ProcessFaceRecognize(uint8_t *data, int32_t remain);
    int32_t ProcessCameraConflictEvent(uint8_t *data, int32_t remain);

    // The big-data records, made on first need. Both the queue reader
    // (under the HAL's queue lock) and the list commands (under its command
    // lock) write to them, and a write may end a period and reset the file
    // under the other: callers hold mDftLock.
    ActivityDft *GetActivityDft();
    MotionDft *GetMotionDft();

private:
    bool InitVyrdArList();
    bool InitVyrdMotionList();
    void StoreList(FileDft &dft, const char *listKey, const std::string &param, int &calFuncCount);
    // Reads the 32-bit length at `offset`; false (with the size error) when
    // the header of `header` bytes, then header + length, do not fit in
    // `remain`. `strict`: the header alone must leave bytes behind it.
    bool CheckLength(const uint8_t *data, int32_t remain, int32_t header, int32_t offset,
                     bool strict, int32_t &total);

    // Hand-overs to the modules that own the messages.
    int32_t HandToTouch(uint8_t *data, int32_t remain);
    void HandToCamera(int32_t kind, std::vector<uint8_t> bytes);
    void HandToActivityEngine(const uint8_t *text, int32_t length);
    void HandToActivityList(const std::string &list);

    VyrHal &mHal;
    LogSink &mLog;
    bool mHasThp = false;
    bool mHasCamera = false;
    bool mHasActivity = false;
    std::mutex mDftLock;  // the two records below, their making and feeding
    std::unique_ptr<ActivityDft> mActivityDft;
    std::unique_ptr<MotionDft> mMotionDft;
    std::unique_ptr<EventDft> mConflictReporter;
    std::unique_ptr<ActivityRefillData> mActivityRefill;
    std::unique_ptr<MotionRefillData> mMotionRefill;
};

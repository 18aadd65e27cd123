// The touch module. Two threads: the packet thread decodes the touch panel
// packets that the message queue brings (ThpDataPost queues them), and the
// poll thread waits on the input nodes of the touch panels, a wake-up pipe,
// the Bluetooth pen's HID node and the fingerprint auxiliary node. Finger
// down and up on the input nodes become events of the touch sensor
// (0xF1000002) in the sensor path; pen reports go to "thp-client"s; a
// fingerprint-area block is checked by a closed library and the result goes
// back to the fingerprint side.
//
// The threads and input events are in TouchScreen.cpp, the packets in
// TouchPacket.cpp, the pen, the fingerprint block and the commands in
// TouchPen.cpp.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "hal/ModuleBase.h"
#include "sensor/SensorTypes.h"
#include "touch/FpRoi.h"
#include "touch/TouchPacket.h"

struct input_event;
class LibFpacTpAlg;

// One touch of a report; the values arrive as integers.
struct raw_touch {
    uint64_t reserved = 0;
    int32_t id = -1;
    float x = 0.0f;
    float y = 0.0f;
    float touch_major = 0.0f;
    float touch_minor = 0.0f;
    float pressure = 0.0f;
    float orientation = 0.0f;
    float tool_major = 0.0f;
    float tool_minor = 0.0f;
    int32_t touch_kind = 1;  // 1 finger, 2 pen
};

enum PenNodePollEnum {
    PEN_NODE_POLL_CONTINUE = 0,
    PEN_NODE_POLL_EXIT = 2,
};

class TouchScreen : public ModuleBase {
public:
    // The configurable sources, by index; bit n of the configuration is
    // source n.
    enum ThpType {
        THP_TYPE_START = 0,
        THP_TYPE_TP_DATA = 1,
        THP_TYPE_BT_PEN = 2,
        THP_TYPE_INPUT = 3,
        THP_TYPE_FPROI = 4,
        THP_TYPE_MAX = 5,
    };
    static constexpr uint32_t kConfigTpData = 1u << THP_TYPE_TP_DATA;
    static constexpr uint32_t kConfigBtPen = 1u << THP_TYPE_BT_PEN;
    static constexpr uint32_t kConfigInput = 1u << THP_TYPE_INPUT;
    static constexpr uint32_t kConfigFpRoi = 1u << THP_TYPE_FPROI;

    // Poll set entries.
    static constexpr int kPollPipe = 0;
    static constexpr int kPollPen = 5;  // "tolvi,ts_pen"
    static constexpr int kPollBtPen = 6;
    static constexpr int kPollFpRoi = 7;
    static constexpr int kPollCount = 8;

    static constexpr int kPenReportSize = 25;
    static constexpr int32_t kNotifyPen = 256;

    explicit TouchScreen(VyrHal &hal);
    ~TouchScreen() override;

    bool PreInit() override;
    bool LastInit() override;
    void Uninit() override;
    bool InitVyrd() override;
    void DisableClient(const std::string client) override;
    void EnableConnectSensor(bool enable) override;
    // The touch clients are guarded by the poll mutex.
    bool CopyConnections(Connections &out, int waitMs) override;

    // A client's wish for channel `index` (1 to 5): recorded, and the poll
    // thread told to rebuild its set.
    void ResetPoll(const std::string client, int index, bool enable);

    // Packets: the bytes taken from `data`, which holds `size` bytes.
    int ThpDataPost(uint8_t *data, int32_t size);
    bool CheckTpData(const TpPkgStruct pkg);
    // On the packet thread: `pkg` heads a packet of pkg->size bytes.
    void ProcessThpData(TpPkgStruct *pkg);
    void ProcessTppData(TpPkgStruct *pkg);

    // The poll thread's work; public for the fuzz target.
    PenNodePollEnum PollEvent();
    bool InputReadData(int fd, int index);

    static const char *TypeName(int index);
    uint32_t GetThpConfig() const { return mThpConfig; }

private:
    void ThreadProcess();
    void PollThreadProcess();
    void InitPollfds();
    void ProcessSynEvent(raw_touch &touch, const input_event &event, int index);
    void ProcessKeyEvent(raw_touch &touch, const input_event &event);
    void ProcessFingerInfo(std::vector<raw_touch> touches);
    void SendTouchEvent(const raw_touch &touch, float down, float up);
    void WritePipe(char byte);
    bool ChannelOpen(int index);
    void ClosePollFd(int index);
    void DecodePacket(std::vector<uint8_t> &packet);

    // Pen and fingerprint block.
    bool BtPenReadData(int fd);
    void NotifyThp(int32_t type, const char *data, int32_t size);
    bool InitFpRoi(fproi::Result &result);
    void UnInitFpRoi();
    bool ReadFpRoiData(int fd, fproi::Result &result);
    void ProcessFpRoiData(int fd);
    bool LoadDescrambler();

    bool InitVyrdBtPenRaw();
    bool InitVyrdBtPenConnect();
    bool InitVyrdBtPenSuspend();
    bool InitVyrdBtPenName();
    bool InitVyrdThpConfig();

    std::atomic<bool> mRunning{false};
    uint32_t mThpConfig = 0;

    std::deque<std::vector<uint8_t>> mPackets;
    std::mutex mPacketMutex;
    std::condition_variable mPacketCond;

    // Entry 6 is written by the pen command as well, the pipe by the poll
    // thread and read by everyone who wakes it.
    std::array<std::atomic<int>, kPollCount> mPollFds;
    std::array<std::atomic<int>, 2> mPipeFds;
    std::mutex mPollMutex;

    // The poll thread's own.
    std::vector<raw_touch> mTouches;
    raw_touch mPenTouch;
    std::set<int32_t> mDownFingers;
    std::unique_ptr<LibFpacTpAlg> mFpacTpAlg;
    fproi::Descrambler mDescrambler;
    bool mDescramblerTried = false;

    std::thread mPacketThread;
    std::thread mPollThread;
};

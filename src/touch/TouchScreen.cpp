#include "touch/TouchScreen.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <stdexcept>
#include <system_error>

#include "hal/HalStatus.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/LibFpacTpAlg.h"
#include "platform/LibSysTrace.h"
#include "platform/PropertyTable.h"
#include "platform/Sysfs.h"
#include "platform/ThreadUtils.h"
#include "platform/Utils.h"
#include "sensor/SensorHub.h"

static_assert(sizeof(input_event) == 24, "the input record of a 64-bit kernel");

namespace {

const char *const kTypeNames[TouchScreen::THP_TYPE_MAX + 1] = {
    "THP_TYPE_START", "THP_TYPE_TP_DATA", "THP_TYPE_BT_PEN",
    "THP_TYPE_INPUT", "THP_TYPE_FPROI",   "THP_TYPE_MAX",
};

// The input devices of the panels, by poll entry 1 to 5 (entry 1 and 4 also
// take the numbered wrappers of a second and third panel).
constexpr const char *kWrapperName = "input_mt_wrapper";
constexpr const char *kTsKitName = "tolvi,ts_kit";
constexpr const char *kTsPenName = "tolvi,ts_pen";

constexpr size_t kReadEvents = 128;
constexpr short kPollErrorMask = POLLERR | POLLHUP | POLLNVAL;
constexpr int kInputFirst = 1;
constexpr int kInputLast = 5;

float Pressure(int32_t value) {
    return value >= 1 ? 1.0f : 0.0f;
}

}  // namespace

TouchScreen::TouchScreen(VyrHal &hal) : ModuleBase("TouchScreen", hal) {
    for (auto &fd : mPollFds) {
        fd.store(-1);
    }
    for (auto &fd : mPipeFds) {
        fd.store(-1);
    }
    mPenTouch.touch_kind = 2;
}

TouchScreen::~TouchScreen() {
    LOGI("+");
    mRunning.store(false);
    WritePipe('e');
    {
        std::lock_guard<std::mutex> lock(mPacketMutex);
        ScopedTrace trace(mHal.GetTrace(), "ThdBroadcast");
        mPacketCond.notify_all();
    }
    // Both loops end on their flag or byte; wait for them so that nothing
    // of this object is used after it has gone.
    if (mPacketThread.joinable()) {
        mPacketThread.join();
    }
    if (mPollThread.joinable()) {
        mPollThread.join();
    }
    for (auto &fd : mPollFds) {
        int old = fd.exchange(-1);
        if (old >= 0 && old != mPipeFds[0].load()) {
            close(old);
        }
    }
    for (auto &fd : mPipeFds) {
        int old = fd.exchange(-1);
        if (old >= 0) {
            close(old);
        }
    }
    UnInitFpRoi();
}

const char *TouchScreen::TypeName(int index) {
    if (index < 0 || index > THP_TYPE_MAX) {
        return "";
    }
    return kTypeNames[index];
}

bool TouchScreen::PreInit() {
    LOGI("+");
    Sysfs &sysfs = mHal.GetSysfs();
    if (!sysfs.HasXmlConfig("thp")) {
        LOGE("thp xml config not enable");
        return false;
    }
    const std::string text = sysfs.GetXmlConfig("thp");
    for (int index = THP_TYPE_TP_DATA; index <= THP_TYPE_FPROI; ++index) {
        if (text.find(std::string(TypeName(index)) + "-") != std::string::npos) {
            mThpConfig |= 1u << index;
            LOGI("thp config: %s, index: %d", TypeName(index), index);
        }
    }
    LOGI("thp config: 0x%x", mThpConfig);
    if ((mThpConfig & kConfigBtPen) != 0) {
        mHal.AddFrameType(SENSOR_TYPE_BT_PEN, "SENSOR_TYPE_BT_PEN");
    }
    return true;
}

bool TouchScreen::LastInit() {
    LOGI("+");
    mRunning.store(true);
    try {
        if ((mThpConfig & kConfigTpData) != 0) {
            mPacketThread = std::thread(&TouchScreen::ThreadProcess, this);
        }
        if ((mThpConfig & (kConfigBtPen | kConfigInput | kConfigFpRoi)) != 0) {
            mPollThread = std::thread(&TouchScreen::PollThreadProcess, this);
        }
    } catch (const std::system_error &) {
        throw std::runtime_error("thread constructor failed");
    }
    return true;
}

void TouchScreen::Uninit() {
    LOGI("+");
}

void TouchScreen::DisableClient(const std::string client) {
    std::lock_guard<std::mutex> lock(mPollMutex);
    ModuleBase::DisableClient(client);
    WritePipe('r');
}

void TouchScreen::EnableConnectSensor(bool enable) {
    std::lock_guard<std::mutex> lock(mPollMutex);
    ModuleBase::EnableConnectSensor(enable);
}

bool TouchScreen::CopyConnections(Connections &out, int waitMs) {
    std::unique_lock<std::mutex> lock;
    if (!LockWithin(mPollMutex, lock, waitMs)) {
        return false;
    }
    out = mConnections;
    return true;
}

void TouchScreen::ResetPoll(const std::string client, int index, bool enable) {
    std::lock_guard<std::mutex> lock(mPollMutex);
    SetConnection(client, index, enable, 0, 0);
    WritePipe('r');
}

void TouchScreen::WritePipe(char byte) {
    int fd = mPipeFds[1].load();
    if (fd > 0) {
        ssize_t ret = write(fd, &byte, 1);
        (void)ret;  // a full pipe already holds a wake-up
    }
}

bool TouchScreen::ChannelOpen(int index) {
    std::lock_guard<std::mutex> lock(mPollMutex);
    return IsTypeEnabled(static_cast<uint32_t>(index));
}

void TouchScreen::ClosePollFd(int index) {
    int fd = mPollFds[index].exchange(-1);
    if (fd >= 0) {
        close(fd);
    }
}

void TouchScreen::ThreadProcess() {
    LOGI("touch thread starting.");
    SetThreadName(mName);
    while (mRunning.load()) {
        ScopedTrace trace(mHal.GetTrace(), "TouchScreen");
        std::vector<uint8_t> packet;
        {
            std::unique_lock<std::mutex> lock(mPacketMutex);
            mPacketCond.wait(lock, [this] { return !mPackets.empty() || !mRunning.load(); });
            if (mPackets.empty()) {
                continue;
            }
            packet = std::move(mPackets.front());
            mPackets.pop_front();
        }
        DecodePacket(packet);
    }
    LOGI("quit thread Process");
}

void TouchScreen::DecodePacket(std::vector<uint8_t> &packet) {
    // A packet shorter than its header holds nothing to decode.
    if (packet.size() < sizeof(TpPkgStruct)) {
        LOGW("drop packet of %d bytes", static_cast<int>(packet.size()));
        return;
    }
    auto *pkg = reinterpret_cast<TpPkgStruct *>(packet.data());
    if (pkg->head == tp::kHeadThp) {
        ProcessThpData(pkg);
    } else if (pkg->head == tp::kHeadTpp) {
        ProcessTppData(pkg);
    }
}

void TouchScreen::PollThreadProcess() {
    LOGI("poll thread starting.");
    SetThreadName("PollThread");
    InitPollfds();
    while (mRunning.load() && PollEvent() != PEN_NODE_POLL_EXIT) {
    }
    LOGI("poll thread outer.");
}

void TouchScreen::InitPollfds() {
    for (auto &fd : mPollFds) {
        fd.store(-1);
    }
    if ((mThpConfig & kConfigInput) != 0) {
        std::map<std::string, int> devices =
            mHal.GetSysfs().GetInputDevice({kWrapperName, kTsKitName, kTsPenName});
        LOGI("found %d input event device", static_cast<int>(devices.size()));
        const char *const names[] = {kWrapperName, "input_mt_wrapper0", "input_mt_wrapper1",
                                     kTsKitName, kTsPenName};
        for (int index = kInputFirst; index <= kInputLast; ++index) {
            auto found = devices.find(names[index - 1]);
            if (found != devices.end()) {
                mPollFds[index].store(found->second);
                devices.erase(found);
            }
        }
        // Devices that take no entry are not watched.
        for (const auto &entry : devices) {
            close(entry.second);
        }
    }
    int fds[2] = {-1, -1};
    if (pipe2(fds, O_CLOEXEC) == 0) {
        mPipeFds[1].store(fds[1]);
        mPipeFds[0].store(fds[0]);
        mPollFds[kPollPipe].store(fds[0]);
    }
    HalStatus &status = mHal.GetHalStatus();
    if ((mThpConfig & kConfigBtPen) != 0 && status.Get(HAL_STATUS_BTPEN)) {
        PropertyTable props;
        std::string node;
        props.GetBtPenNode(node);
        std::string real = CheckPath(node);
        int fd = real.empty() ? -1 : open(real.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            LOGI("open pen hid %s success, fd = %d", node.c_str(), fd);
            mPollFds[kPollBtPen].store(fd);
        } else {
            status.Clear(HAL_STATUS_BTPEN);
        }
    }
    if ((mThpConfig & kConfigFpRoi) != 0) {
        int fd = mHal.GetSysfs().OpenFpAuxiliary();
        if (fd >= 0) {
            LOGI("open fp roi success, fd = %d", fd);
            mPollFds[kPollFpRoi].store(fd);
        }
    }
}

PenNodePollEnum TouchScreen::PollEvent() {
    struct pollfd fds[kPollCount];
    fds[kPollPipe].fd = mPollFds[kPollPipe].load();
    fds[kPollPipe].events = POLLIN;
    fds[kPollPipe].revents = 0;
    for (int index = 1; index < kPollCount; ++index) {
        fds[index].fd = ChannelOpen(index) ? mPollFds[index].load() : -1;
        fds[index].events = index == kPollFpRoi ? POLLPRI : POLLIN;
        fds[index].revents = 0;
    }
    if (poll(fds, kPollCount, -1) == -1) {
        LOGI("error in poll call");
        return PEN_NODE_POLL_EXIT;
    }
    if ((fds[kPollPipe].revents & POLLIN) != 0) {
        char byte = 0;
        if (read(fds[kPollPipe].fd, &byte, 1) == 1) {
            if (byte == 'r') {
                LOGI("reset poll setting");
            } else if (byte == 'e') {
                LOGI("poll exit");
                return PEN_NODE_POLL_EXIT;
            } else if (byte == 'c') {
                LOGI("bluetooth pen connnect");
                mHal.GetHalStatus().Set(HAL_STATUS_BTPEN);
            }
        }
    }
    if ((mThpConfig & kConfigInput) != 0) {
        for (int index = kInputFirst; index <= kInputLast; ++index) {
            const short revents = fds[index].revents;
            if (revents == 0 || fds[index].fd < 0) {
                continue;
            }
            if ((revents & POLLIN) != 0) {
                InputReadData(fds[index].fd, index);
            } else if ((revents & kPollErrorMask) != 0) {
                LOGW("input event:%d disconnect", index);
                ClosePollFd(index);
            }
        }
    }
    if ((mThpConfig & kConfigBtPen) != 0 && fds[kPollBtPen].fd >= 0 &&
        fds[kPollBtPen].revents != 0) {
        const short revents = fds[kPollBtPen].revents;
        bool gone = false;
        if ((revents & POLLIN) != 0) {
            gone = !BtPenReadData(fds[kPollBtPen].fd) || (revents & kPollErrorMask) != 0;
        } else {
            gone = (revents & kPollErrorMask) != 0;
        }
        if (gone) {
            LOGW("pen hid disconnect");
            // The command may have put a new node in place meanwhile.
            int expected = fds[kPollBtPen].fd;
            if (mPollFds[kPollBtPen].compare_exchange_strong(expected, -1)) {
                close(fds[kPollBtPen].fd);
            }
            mHal.GetHalStatus().Clear(HAL_STATUS_BTPEN);
        }
    }
    if ((mThpConfig & kConfigFpRoi) != 0 && fds[kPollFpRoi].fd >= 0 &&
        fds[kPollFpRoi].revents != 0) {
        if ((fds[kPollFpRoi].revents & POLLPRI) != 0) {
            ProcessFpRoiData(fds[kPollFpRoi].fd);
        } else if ((fds[kPollFpRoi].revents & kPollErrorMask) != 0) {
            LOGW("poll fp_roi_data error");
            ClosePollFd(kPollFpRoi);
        }
    }
    return PEN_NODE_POLL_CONTINUE;
}

bool TouchScreen::InputReadData(int fd, int index) {
    input_event events[kReadEvents];
    ssize_t size = read(fd, events, sizeof(events));
    if (size == 0 || (size < 0 && errno == ENODEV)) {
        LOGW("could not get event, removed? (fd: %d, size: %zd errno: %d)", fd, size,
             size < 0 ? errno : 0);
        return false;
    }
    if (size < 0) {
        if (errno == EINTR || errno == EAGAIN) {
            return true;
        }
        LOGW("could not get event. errno=%d", errno);
        return true;
    }
    if (size % static_cast<ssize_t>(sizeof(input_event)) != 0) {
        LOGE("could not get event. wrong size=%zd", size);
        return true;
    }
    raw_touch touch;
    if (index == kPollPen) {
        touch = mPenTouch;
        touch.touch_kind = 2;
    }
    const size_t count = static_cast<size_t>(size) / sizeof(input_event);
    for (size_t i = 0; i < count; ++i) {
        const input_event &event = events[i];
        switch (event.type) {
            case EV_SYN:
                ProcessSynEvent(touch, event, index);
                break;
            case EV_KEY:
                ProcessKeyEvent(touch, event);
                break;
            case EV_ABS:
                switch (event.code) {
                    case ABS_MT_TRACKING_ID:
                        touch.id = event.value;
                        break;
                    case ABS_X:
                    case ABS_MT_POSITION_X:
                        touch.x = static_cast<float>(event.value);
                        break;
                    case ABS_Y:
                    case ABS_MT_POSITION_Y:
                        touch.y = static_cast<float>(event.value);
                        break;
                    case ABS_MT_TOUCH_MAJOR:
                        touch.touch_major = static_cast<float>(event.value);
                        break;
                    case ABS_MT_TOUCH_MINOR:
                        touch.touch_minor = static_cast<float>(event.value);
                        break;
                    case ABS_PRESSURE:
                    case ABS_MT_PRESSURE:
                        touch.pressure = Pressure(event.value);
                        break;
                    case ABS_MT_ORIENTATION:
                        touch.orientation = static_cast<float>(event.value);
                        break;
                    default:
                        break;
                }
                break;
            default:
                break;
        }
    }
    return true;
}

void TouchScreen::ProcessSynEvent(raw_touch &touch, const input_event &event, int index) {
    if (event.code == SYN_MT_REPORT) {
        if (touch.id != -1) {
            mTouches.push_back(touch);
            touch.id = -1;
        }
    } else if (event.code == SYN_REPORT) {
        if (index == kPollPen && touch.pressure != 0.0f) {
            touch.id = 0;
            mTouches.push_back(touch);
        }
        mPenTouch = touch;
        LOGD("finger down: %d", static_cast<int>(mTouches.size()));
        std::vector<raw_touch> touches;
        touches.swap(mTouches);
        ProcessFingerInfo(std::move(touches));
    }
}

void TouchScreen::ProcessKeyEvent(raw_touch & /*touch*/, const input_event &event) {
    const char *state = event.value != 0 ? "down" : "up";
    if (event.code == BTN_TOUCH) {
        LOGD("touch key %s", state);
    } else if (event.code == 0x2C1) {
        LOGD("fp suspend key %s", state);
    } else {
        LOGW("unknow key code: %d %s", event.code, state);
    }
}

void TouchScreen::ProcessFingerInfo(std::vector<raw_touch> touches) {
    float downFlag = 0.0f;
    if (mDownFingers.empty() && touches.size() == 1) {
        LOGI("touch down");
        downFlag = 1.0f;
    }
    std::set<int32_t> ids;
    for (const raw_touch &touch : touches) {
        ids.insert(touch.id);
        if (mDownFingers.count(touch.id) != 0) {
            continue;  // a move inside a press
        }
        LOGI("finger id: %d down", touch.id);
        SendTouchEvent(touch, downFlag, 0.0f);
    }
    float upFlag = 0.0f;
    if (touches.empty()) {
        LOGI("touch up");
        upFlag = 1.0f;
    }
    for (int32_t id : mDownFingers) {
        if (ids.count(id) != 0) {
            continue;
        }
        LOGI("finger id: %d up", id);
        raw_touch gone;
        gone.id = id;
        gone.touch_kind = 0;
        SendTouchEvent(gone, downFlag, upFlag);
    }
    mDownFingers.swap(ids);
}

void TouchScreen::SendTouchEvent(const raw_touch &touch, float down, float up) {
    ASensorEvent event;
    memset(&event, 0, sizeof(event));
    event.sensor = SENSOR_TYPE_TP;
    event.type = SENSOR_TYPE_TP;
    event.timestamp = static_cast<int64_t>(VyrHal::MonoTimeMs());
    event.data[0] = static_cast<float>(touch.id);
    event.data[1] = touch.x;
    event.data[2] = touch.y;
    event.data[3] = touch.touch_major;
    event.data[4] = touch.touch_minor;
    event.data[5] = touch.pressure;
    event.data[6] = touch.orientation;
    event.data[7] = touch.tool_major;
    event.data[8] = touch.tool_minor;
    event.data[9] = static_cast<float>(touch.touch_kind);
    event.data[10] = down;
    event.data[11] = up;
    mHal.GetSensorHub().PushSensorEvent(event);
}

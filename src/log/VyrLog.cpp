#include "log/VyrLog.h"

#include <android/log.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <new>

#include "file/DirOperator.h"
#include "hal/ServerCmds.h"
#include "hal/VyrHal.h"
#include "log/ImageCollect.h"
#include "log/LogCollect.h"
#include "log/LogSink.h"
#include "log/LogToFile.h"
#include "log/VyrFrame.h"
#include "platform/LibSysTrace.h"
#include "platform/ThreadUtils.h"
#include "platform/Utils.h"
#include "sensor/SensorTypes.h"

namespace {

constexpr size_t kCopyBlock = 2048;
// How long a stop on the way out of an SOS waits for a busy log thread.
constexpr auto kSosStopWait = std::chrono::milliseconds(2000);
constexpr const char *kDmdLogFile = "/data/vendor/log/vyrlog/dmd.vyrlog";

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// A listing as reply text: one path per line, without the last newline.
std::string JoinLines(const std::string &text) {
    return text.empty() ? text : text.substr(0, text.size() - 1);
}

}  // namespace

struct VyrLogThreadArgs {
    VyrLog *module;
};

VyrLog::VyrLog(VyrHal &hal)
    : ModuleBase("VyrLog", hal), mThreadState(std::make_shared<ThreadState>()) {}

VyrLog::~VyrLog() {
    StopThread();
    {
        std::lock_guard<std::mutex> frames(frameMutex);
        mQueueFrame.clear();
        mQueueCount.store(0);
    }
    std::lock_guard<std::mutex> work(mWorkMutex);
    std::lock_guard<std::mutex> lock(socketMutex);
    sockets.clear();
    pendingSockets.clear();
}

bool VyrLog::PreInit() {
    LOGI("+");
    {
        std::lock_guard<std::mutex> work(mWorkMutex);
        std::lock_guard<std::mutex> lock(socketMutex);
        sockets.clear();
    }
    LOGI("-");
    return true;
}

bool VyrLog::Init() {
    LOGI("+");
    if (!ModuleBase::Init()) {
        return false;
    }
    if (mHal.IsLogEnable()) {
        mHal.AddFrameType(SENSOR_TYPE_LOG, "SENSOR_TYPE_LOG");
        LogtofileOn();
        ImageCollectOn();
    }
    running.store(true);
    if (!CreateFrameProcess()) {
        LOGE("create process fail");
        return false;
    }
    return true;
}

void VyrLog::Uninit() {
    LOGI("+");
    StopThread();
    std::lock_guard<std::mutex> work(mWorkMutex);
    std::lock_guard<std::mutex> lock(socketMutex);
    sockets.clear();
    pendingSockets.clear();
    mCollecting = false;
}

bool VyrLog::InitVyrd() {
    LOGI("+");
    return InitVyrdListLog() && InitVyrdClearLog() && InitVyrdCollectLog();
}

// ---------------------------------------------------------------------------
// The thread

bool VyrLog::CreateFrameProcess() {
    pthread_attr_t attr;
    if (pthread_attr_init(&attr) != 0) {
        return false;
    }
    if (pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED) != 0) {
        LOGE("set detach fail");
        pthread_attr_destroy(&attr);
        return false;
    }
    auto *args = new (std::nothrow) VyrLogThreadArgs{this};
    pthread_t thread;
    if (args == nullptr || pthread_create(&thread, &attr, &VyrLog::ThreadEntry, args) != 0) {
        delete args;
        LOGE("create fail");
        pthread_attr_destroy(&attr);
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(mThreadState->mutex);
        mThreadStarted = true;
    }
    int policy = 0;
    sched_param param{};
    if (pthread_getschedparam(thread, &policy, &param) != 0) {
        LOGE("get sched fail");
    } else {
        if (policy != SCHED_OTHER) {
            LOGI("Set sched");
            sched_param zero{};
            if (pthread_setschedparam(thread, SCHED_OTHER, &zero) != 0) {
                LOGE("set sched fail");
            }
        }
        if (pthread_getschedparam(thread, &policy, &param) != 0) {
            LOGE("get sched fail");
        }
    }
    LOGI("policy = %d", policy);
    pthread_attr_destroy(&attr);
    return true;
}

void *VyrLog::ThreadEntry(void *arg) {
    auto *args = static_cast<VyrLogThreadArgs *>(arg);
    VyrLog *module = args->module;
    delete args;
    __android_log_print(ANDROID_LOG_INFO, VYR_LOG_TAG, "PubProcess+");
    std::shared_ptr<ThreadState> state = module->mThreadState;
    module->ThreadProcess();
    // From here on the module may be gone; only `state` is used.
    std::lock_guard<std::mutex> lock(state->mutex);
    state->done = true;
    state->doneCond.notify_all();
    return nullptr;
}

void VyrLog::ThreadProcess() {
    LOGI("thread starting.");
    SetThreadName(mName);
    while (running.load()) {
        std::unique_ptr<VyrFrame> frame;
        {
            std::unique_lock<std::mutex> lock(frameMutex);
            for (;;) {
                bool work = false;
                {
                    std::lock_guard<std::mutex> sockLock(socketMutex);
                    work = !pendingSockets.empty() || !mQueueFrame.empty();
                }
                if (work || !running.load()) {
                    break;
                }
                frameCond.wait(lock);
            }
            if (!mQueueFrame.empty()) {
                frame = std::move(mQueueFrame.front());
                mQueueFrame.pop_front();
                mQueueCount.store(mQueueFrame.size());
            }
        }
        const auto start = std::chrono::steady_clock::now();
        HandleFrame(frame.get());
        if (frame != nullptr) {
            const uint64_t us =
                static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                          std::chrono::steady_clock::now() - start)
                                          .count());
            mFramesWritten.fetch_add(1, std::memory_order_relaxed);
            mWriteUsTotal.fetch_add(us, std::memory_order_relaxed);
            uint64_t max = mWriteUsMax.load(std::memory_order_relaxed);
            while (us > max && !mWriteUsMax.compare_exchange_weak(max, us)) {
            }
        }
    }
}

VyrLog::ThreadStats VyrLog::GetThreadStats() {
    ThreadStats stats;
    stats.running = running.load();
    stats.queued = mFramesQueued.load(std::memory_order_relaxed);
    stats.dropped = mFramesDropped.load(std::memory_order_relaxed);
    stats.written = mFramesWritten.load(std::memory_order_relaxed);
    stats.writeUsTotal = mWriteUsTotal.load(std::memory_order_relaxed);
    stats.writeUsMax = mWriteUsMax.load(std::memory_order_relaxed);
    std::lock_guard<std::mutex> lock(socketMutex);
    stats.sockets = sockets.size();
    return stats;
}

void VyrLog::StopThread() {
    running.store(false);
    {
        std::lock_guard<std::mutex> lock(frameMutex);
        frameCond.notify_all();
    }
    std::shared_ptr<ThreadState> state = mThreadState;
    std::unique_lock<std::mutex> lock(state->mutex);
    if (!mThreadStarted) {
        return;
    }
    if (mHal.IsDoingSos()) {
        if (!state->doneCond.wait_for(lock, kSosStopWait, [&] { return state->done; })) {
            LOGE("thread busy, left running");
        }
        return;
    }
    state->doneCond.wait(lock, [&] { return state->done; });
}

void VyrLog::QueueInFrame() {
    LOGV("+");
    ScopedTrace trace(mHal.GetTrace(), "VYRlog");
    VyrFrame &current = mHal.GetCurFrame();
    if (!current.IsAvailable()) {
        LOGE("frame is not available");
        return;
    }
    if (mQueueCount.load() >= kQueueCapacity) {
        LOGE("mQueueFrame is full, VyrLog thread crash ??");
        mFramesDropped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    std::unique_ptr<VyrFrame> frame(new (std::nothrow) VyrFrame(mHal));
    if (frame == nullptr) {
        LOGE("alloc frame memory error");
        mFramesDropped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    frame->CopyFrom(current);
    {
        std::lock_guard<std::mutex> lock(frameMutex);
        mQueueFrame.push_back(std::move(frame));
        mQueueCount.store(mQueueFrame.size());
        frameCond.notify_all();
    }
    mFramesQueued.fetch_add(1, std::memory_order_relaxed);
    LOGV("-");
}

void VyrLog::HandleFrame(VyrFrame *frame) {
    LOGV("+");
    ScopedTrace trace(mHal.GetTrace(), "VYRlog");
    for (;;) {
        std::lock_guard<std::mutex> lock(socketMutex);
        if (pendingSockets.empty()) {
            break;
        }
        sockets.push_back(std::move(pendingSockets.front()));
        pendingSockets.pop_front();
    }
    LOGV("mWorkMutex+");
    std::lock_guard<std::mutex> work(mWorkMutex);
    if (frame != nullptr) {
        // The sockets run without socketMutex: a roll asks the sensor hub
        // about its sensors, and the hub's thread may wait on the current
        // frame, whose flush waits on this module. mWorkMutex alone keeps
        // them alive; socketMutex guards the container only.
        std::vector<LogSocketBase *> active;
        {
            std::lock_guard<std::mutex> lock(socketMutex);
            for (const auto &socket : sockets) {
                active.push_back(socket.get());
            }
        }
        for (LogSocketBase *socket : active) {
            usleep(1);
            if (socket != nullptr) {
                LOGV("running type: %d", socket->GetType());
                if (socket->HandleFrame(*frame)) {
                    continue;
                }
                LOGI("erase type: %d", socket->GetType());
            }
            std::lock_guard<std::mutex> lock(socketMutex);
            sockets.erase(std::remove_if(sockets.begin(), sockets.end(),
                                         [socket](const std::unique_ptr<LogSocketBase> &entry) {
                                             return entry.get() == socket;
                                         }),
                          sockets.end());
        }
        LogFrameStatistics(*frame);
    }
    LOGV("-");
}

void VyrLog::LogFrameStatistics(VyrFrame &frame) {
    if (mLog.GetLevel() < 4) {
        return;
    }
    frame.LockData(true);
    for (const auto &[type, events] : frame.GetData().GetSensorLists()) {
        if (events.empty()) {
            continue;
        }
        const ASensorEvent &first = events.front();
        const ASensorEvent &last = events.back();
        const float d = events.size() == 1 ? 1.0f : static_cast<float>(events.size() - 1);
        const float frameTime =
            static_cast<float>(GetEventArrivalMs(last) - GetEventArrivalMs(first)) / d;
        const float sampleTime =
            static_cast<float>(last.timestamp - first.timestamp) / d / 1000000.0f;
        LOGD("type: %8d size: %d\t  frameTime: %0.2fms, sampleTime: %0.2fms",
             static_cast<int>(type), static_cast<int>(events.size()),
             static_cast<double>(frameTime), static_cast<double>(sampleTime));
    }
    frame.LockData(false);
}

// ---------------------------------------------------------------------------
// Sockets

LogSocketBase *VyrLog::FindSocket(int32_t type) {
    std::lock_guard<std::mutex> frames(frameMutex);
    std::lock_guard<std::mutex> lock(socketMutex);
    for (const auto &socket : sockets) {
        if (socket != nullptr && socket->GetType() == type) {
            return socket.get();
        }
    }
    return nullptr;
}

std::string VyrLog::GetLogFileName(uint32_t frameType) {
    std::lock_guard<std::mutex> work(mWorkMutex);
    LogSocketBase *socket = FindSocket(LOG_SOCKET_TO_FILE);
    return socket == nullptr ? std::string() : socket->GetFileName(frameType);
}

std::string VyrLog::LogtofileOn() {
    LOGI("+");
    std::string reply = StartSocket<LogToFile>(LOG_SOCKET_TO_FILE, "start manually log success.\n",
                                               [](LogToFile &socket) { socket.StartLog(); });
    LOGI("-");
    return reply;
}

std::string VyrLog::ImageCollectOn() {
    LOGI("+");
    std::string reply =
        StartSocket<ImageCollect>(LOG_SOCKET_IMAGE, "start collect image success.\n",
                                  [](ImageCollect &socket) { socket.Init(); });
    LOGI("-");
    return reply;
}

// Makes a socket of the type unless one runs and hands it to the log thread,
// which takes it up before its next frame. The reply is the socket's name,
// or the given text (with a note when the socket runs already).
template <typename Socket, typename Start>
std::string VyrLog::StartSocket(int32_t type, const std::string &reply, Start start) {
    if (FindSocket(type) != nullptr) {
        return reply + "already started before, no need to do it again.\n";
    }
    std::unique_ptr<Socket> socket(new (std::nothrow) Socket(mHal, type));
    if (socket == nullptr) {
        LOGE("alloc socket memory error");
        return reply;
    }
    socket->ClearStartCount();
    start(*socket);
    std::string name = socket->GetName();
    std::lock_guard<std::mutex> frames(frameMutex);
    {
        std::lock_guard<std::mutex> lock(socketMutex);
        pendingSockets.push_back(std::move(socket));
    }
    frameCond.notify_all();
    return name;
}

std::string VyrLog::LogtofileOff() {
    // The log thread drops sockets under mWorkMutex: held, a found socket
    // stays alive while it is used here.
    std::lock_guard<std::mutex> work(mWorkMutex);
    std::string reply = "logtofile Excuted done\n";
    LogSocketBase *socket = FindSocket(LOG_SOCKET_TO_FILE);
    if (socket == nullptr) {
        return "logtofile is NOT running\n";
    }
    reply += socket->GetName();
    socket->SetRun(false);
    return reply;
}

std::string VyrLog::ImageCollectOff() {
    std::lock_guard<std::mutex> work(mWorkMutex);
    std::string reply = "collect image Excuted done\n";
    LogSocketBase *socket = FindSocket(LOG_SOCKET_IMAGE);
    if (socket == nullptr) {
        return "collect image is NOT running\n";
    }
    reply += socket->GetName();
    socket->SetRun(false);
    return reply;
}

bool VyrLog::CapturesResults(VyrHal &hal) {
    return hal.IsLogEnable() && hal.HasVyrlog() && hal.GetVyrlog().IsCollecting();
}

std::string VyrLog::LogfileCollectEnable(bool enable) {
    std::lock_guard<std::mutex> work(mWorkMutex);
    std::string reply = "start collect log success.\n";
    LogSocketBase *socket = FindSocket(LOG_SOCKET_COLLECT);
    if (socket != nullptr) {
        LOGI("oldSocket found");
        socket->SetRun(enable);
        mCollecting = enable;
        return enable ? "collect log already start, no need to do it again.\n"
                      : "stop collect log success.\n";
    }
    LOGI("oldSocket not found");
    if (!enable) {
        return "collect log already stop, no need to do it again.\n";
    }
    std::unique_ptr<LogCollect> created(new (std::nothrow) LogCollect(mHal, LOG_SOCKET_COLLECT));
    if (created == nullptr) {
        LOGE("alloc socket memory error");
        return reply;
    }
    created->Init();
    mCollecting = true;
    std::lock_guard<std::mutex> frames(frameMutex);
    {
        std::lock_guard<std::mutex> lock(socketMutex);
        pendingSockets.push_back(std::move(created));
    }
    frameCond.notify_all();
    return reply;
}

// ---------------------------------------------------------------------------
// Files

void VyrLog::CopyFile(const std::string src, const std::string dst) {
    const std::string from = CheckPath(src);
    FILE *in = from.empty() ? nullptr : fopen(from.c_str(), "rb");
    FILE *out = fopen(DevicePathOf(dst).c_str(), "wb");
    if (in == nullptr || out == nullptr) {
        LOGE("open file error. srcfile: %s, desfile: %s", src.c_str(), dst.c_str());
        if (in != nullptr) {
            fclose(in);
        }
        if (out != nullptr) {
            fclose(out);
        }
        return;
    }
    char buffer[kCopyBlock];
    size_t n = 0;
    while ((n = fread(buffer, 1, sizeof(buffer), in)) > 0) {
        if (fwrite(buffer, 1, n, out) != n) {
            break;
        }
    }
    fclose(in);
    fclose(out);
}

void VyrLog::CopyDmdLog(const std::string src) {
    CopyFile(src, kDmdLogFile);
}

// ---------------------------------------------------------------------------
// Commands

bool VyrLog::InitVyrdListLog() {
    return AddCmd(
        "listlog", [this](const std::string, const std::string, std::vector<uint8_t> &out) {
            std::string text;
            for (const std::string &path : mHal.GetDirOperator().DirList(kVyrlogDirectory)) {
                text += path + "\n";
            }
            SetReply(out, JoinLines(text));
        });
}

bool VyrLog::InitVyrdClearLog() {
    return AddCmd(
        "clearlog", [this](const std::string, const std::string, std::vector<uint8_t> &out) {
            std::string text;
            {
                std::lock_guard<std::mutex> work(mWorkMutex);
                for (const std::string &path : mHal.GetDirOperator().DirList(kVyrlogDirectory)) {
                    if (remove(path.c_str()) == 0) {
                        LOGE("del: %s", path.c_str());
                        text += path + "\n";
                    } else {
                        LOGE("del_error: %s", path.c_str());
                    }
                }
            }
            SetReply(out, JoinLines(text));
        });
}

bool VyrLog::InitVyrdCollectLog() {
    return AddCmd("collectlog",
                  [this](const std::string, const std::string param, std::vector<uint8_t> &out) {
                      const std::string value = Lower(param);
                      std::string reply;
                      if (!mHal.GetHalStatus().Get(HAL_STATUS_WORKING)) {
                          reply = "suggest you to Excute cmd during work state.\n";
                      }
                      if (value == "on" || value == "1") {
                          reply = LogfileCollectEnable(true);
                      } else if (value == "off" || value == "0") {
                          reply = LogfileCollectEnable(false);
                      }
                      SetReply(out, reply);
                  });
}

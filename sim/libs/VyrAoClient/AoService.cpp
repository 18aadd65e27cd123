// Stand-in of the always-on vision service. Its rules:
//  - VyrAoInit succeeds for any mode; the other calls work before it too.
//  - A pipeline is active between VyrAoRegisterListener and
//    VyrAoUnregisterListener; VyrAoRegisterPipelineWithParams keeps its text.
//    The pipeline callback is told "registered" once, on the service thread.
//    The TOF frames themselves do not come from here: they travel the
//    daemon's fast message queue (vyrd's "tof" command plays them).
//  - Motion answers reach the callback of VyrMotionRegisterCallback while
//    the motion type is started; service answers reach the client of their
//    service type. Answers come from the test controls or a scenario (see
//    vyr_ao_client_sim.h), one at a time, on the service's own thread.
//  - VyrNovenGetCapabilities: service types 1 and 8. VyrSendCommonData,
//    VyrFaceIdSendCommand (a 32-byte key) and VyrMotionSendInfo are accepted.
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "libs/VyrAoClient/vyr_ao_client_sim.h"
#include "platform/api/vyr_ao_client_api.h"

#define VYR_EXPORT __attribute__((visibility("default")))

namespace {

using Clock = std::chrono::steady_clock;

enum class Kind { kPipelineNews, kRotation, kFaceDirection, kFaceId };

struct Answer {
    Clock::time_point due;
    Kind kind = Kind::kRotation;
    uint32_t pipeline = 0;
    std::vector<int32_t> values;
    uint64_t ticket = 0;  // non-zero: a caller waits for its delivery
};

class Service {
public:
    ~Service() {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mStop = true;
            mCond.notify_all();
        }
        if (mThread.joinable()) {
            mThread.join();
        }
    }

    std::mutex mMutex;
    std::condition_variable mCond;
    std::map<uint32_t, VyrAoPipelineCallback_t> mListeners;
    std::map<uint32_t, int32_t> mParams;
    std::map<uint32_t, int32_t> mStarts;
    VyrMotionCallback_t mMotion = nullptr;
    std::map<int32_t, bool> mMotionStarted;
    std::map<uint32_t, VyrNovenCallback_t> mClients;
    std::deque<Answer> mNow;
    std::deque<Answer> mScenario;
    int32_t mFailRegister = 0;
    bool mBusy = false;
    // The last face enrolment key handed over, and how many were.
    std::vector<uint8_t> mFaceIdKey;
    int32_t mFaceIdKeys = 0;
    // A face identity answer to deliver from inside the next (un)register
    // call of its service type, and how the last one went.
    bool mInCallArmed = false;
    std::vector<int32_t> mInCallValues;
    int32_t mInCallWaitMs = 0;
    int32_t mInCallResult = 0;
    uint64_t mLastTicket = 0;
    uint64_t mDeliveredTicket = 0;

    // With mMutex held by `lock`: hands the armed answer to the service's
    // thread and waits for its delivery.
    void DeliverInCall(std::unique_lock<std::mutex> &lock) {
        if (!mInCallArmed) {
            return;
        }
        mInCallArmed = false;
        Answer answer;
        answer.due = Clock::now();
        answer.kind = Kind::kFaceId;
        answer.values = mInCallValues;
        answer.ticket = ++mLastTicket;
        const uint64_t ticket = answer.ticket;
        Queue(std::move(answer), false);
        const bool done = mCond.wait_for(lock, std::chrono::milliseconds(mInCallWaitMs),
                                         [this, ticket] { return mDeliveredTicket >= ticket; });
        mInCallResult = done ? 1 : -1;
    }

    // Queues an answer; the thread starts on first need. Under mMutex.
    void Queue(Answer answer, bool scenario) {
        if (!mThread.joinable()) {
            mThread = std::thread([this] { Run(); });
        }
        (scenario ? mScenario : mNow).push_back(std::move(answer));
        mCond.notify_all();
    }

    bool Idle() const { return mNow.empty() && mScenario.empty() && !mBusy; }

private:
    void Run() {
        std::unique_lock<std::mutex> lock(mMutex);
        while (!mStop) {
            if (mNow.empty() && mScenario.empty()) {
                mCond.wait(lock);
                continue;
            }
            Answer answer;
            if (!mNow.empty()) {
                answer = std::move(mNow.front());
                mNow.pop_front();
            } else if (mScenario.front().due <= Clock::now()) {
                answer = std::move(mScenario.front());
                mScenario.pop_front();
            } else {
                mCond.wait_until(lock, mScenario.front().due);
                continue;
            }
            mBusy = true;
            Deliver(answer, lock);
            mBusy = false;
            if (answer.ticket != 0) {
                mDeliveredTicket = answer.ticket;
            }
            mCond.notify_all();
        }
    }

    // Calls the answer's callback with mMutex released.
    void Deliver(const Answer &answer, std::unique_lock<std::mutex> &lock) {
        switch (answer.kind) {
            case Kind::kPipelineNews: {
                auto found = mListeners.find(answer.pipeline);
                if (found == mListeners.end() || found->second == nullptr) {
                    return;
                }
                VyrAoPipelineCallback_t callback = found->second;
                lock.unlock();
                callback(0, answer.pipeline, "registered");
                lock.lock();
                return;
            }
            case Kind::kRotation: {
                if (mMotion == nullptr || !mMotionStarted[VYR_AO_MOTION_ROTATION]) {
                    return;
                }
                VyrMotionCallback_t callback = mMotion;
                lock.unlock();
                callback(VYR_AO_MOTION_ROTATION, answer.values.data(),
                         static_cast<uint32_t>(answer.values.size()));
                lock.lock();
                return;
            }
            case Kind::kFaceDirection:
            case Kind::kFaceId: {
                const uint32_t type = answer.kind == Kind::kFaceId ? VYR_AO_SERVICE_FACE_ID
                                                                   : VYR_AO_SERVICE_FACE_DIRECTION;
                auto found = mClients.find(type);
                if (found == mClients.end() || found->second == nullptr) {
                    return;
                }
                VyrNovenCallback_t callback = found->second;
                lock.unlock();
                callback(type, answer.values.data(), static_cast<uint32_t>(answer.values.size()),
                         nullptr, 0);
                lock.lock();
                return;
            }
        }
    }

    bool mStop = false;
    std::thread mThread;
};

Service &TheService() {
    static Service service;
    return service;
}

bool Registered(Service &service, Kind kind) {
    switch (kind) {
        case Kind::kRotation:
            return service.mMotion != nullptr && service.mMotionStarted[VYR_AO_MOTION_ROTATION];
        case Kind::kFaceDirection:
            return service.mClients.count(VYR_AO_SERVICE_FACE_DIRECTION) != 0;
        case Kind::kFaceId:
            return service.mClients.count(VYR_AO_SERVICE_FACE_ID) != 0;
        default:
            return true;
    }
}

int32_t QueueNow(Kind kind, std::vector<int32_t> values) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    if (!Registered(service, kind)) {
        return -1;
    }
    Answer answer;
    answer.due = Clock::now();
    answer.kind = kind;
    answer.values = std::move(values);
    service.Queue(std::move(answer), false);
    return 0;
}

bool ParseScenario(const std::string &text, std::vector<Answer> &out) {
    std::string items = text;
    for (char &c : items) {
        if (c == ';' || c == '\r') {
            c = '\n';
        }
    }
    std::istringstream lines(items);
    std::string line;
    long last = 0;
    const Clock::time_point start = Clock::now();
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        long ms = 0;
        std::string kind;
        if (!(words >> ms)) {
            if (line.find_first_not_of(" \t") == std::string::npos) {
                continue;
            }
            return false;
        }
        if (!(words >> kind) || ms < last) {
            return false;
        }
        last = ms;
        Answer answer;
        answer.due = start + std::chrono::milliseconds(ms);
        int32_t value = 0;
        std::vector<int32_t> values;
        while (words >> value) {
            values.push_back(value);
        }
        if (!words.eof()) {
            return false;
        }
        if (kind == "rot" && values.size() == 1) {
            answer.kind = Kind::kRotation;
            answer.values = {0, values[0]};
        } else if (kind == "fd" && values.size() == 1) {
            answer.kind = Kind::kFaceDirection;
            answer.values = values;
        } else if (kind == "faceid" && values.size() == 7) {
            answer.kind = Kind::kFaceId;
            answer.values = values;
        } else {
            return false;
        }
        out.push_back(std::move(answer));
    }
    return true;
}

}  // namespace

extern "C" {

VYR_EXPORT int32_t VyrAoInit(const char *mode) {
    return mode != nullptr ? 0 : -1;
}

VYR_EXPORT int32_t VyrAoRegisterListener(VyrAoPipelineCallback_t callback, uint32_t pipelineId,
                                         int32_t /*pid*/, int32_t /*lux*/) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    if (service.mFailRegister != 0) {
        return service.mFailRegister;
    }
    service.mListeners[pipelineId] = callback;
    ++service.mStarts[pipelineId];
    Answer news;
    news.due = Clock::now();
    news.kind = Kind::kPipelineNews;
    news.pipeline = pipelineId;
    service.Queue(std::move(news), false);
    return 0;
}

VYR_EXPORT int32_t VyrAoUnregisterListener(uint32_t pipelineId, int32_t /*pid*/) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    return service.mListeners.erase(pipelineId) != 0 ? 0 : -1;
}

VYR_EXPORT int32_t VyrAoRegisterPipelineWithParams(uint32_t pipelineId, const char *params) {
    if (params == nullptr) {
        return -1;
    }
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    service.mParams[pipelineId] = static_cast<int32_t>(std::atoi(params));
    return 0;
}

VYR_EXPORT int32_t VyrAoRunCommandWithParams(uint32_t /*pipelineId*/, const char *command,
                                             const char * /*params*/) {
    return command != nullptr ? 0 : -1;
}

VYR_EXPORT int32_t VyrMotionRegisterCallback(VyrMotionCallback_t callback) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    service.mMotion = callback;
    return callback != nullptr ? 0 : -1;
}

VYR_EXPORT int32_t VyrMotionStartMotionReco(int32_t type) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    service.mMotionStarted[type] = true;
    return 0;
}

VYR_EXPORT int32_t VyrMotionStopMotionReco(int32_t type) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    service.mMotionStarted[type] = false;
    return 0;
}

VYR_EXPORT int32_t VyrMotionSendInfo(int32_t /*type*/, const int32_t * /*values*/,
                                     uint32_t /*count*/) {
    return 0;
}

VYR_EXPORT int32_t VyrNovenGetCapabilities(uint32_t *capabilities) {
    if (capabilities == nullptr) {
        return -1;
    }
    *capabilities = (1u << VYR_AO_SERVICE_FACE_DIRECTION) | (1u << VYR_AO_SERVICE_FACE_ID);
    return 0;
}

VYR_EXPORT int32_t VyrNovenRegisterClient(VyrNovenCallback_t callback, uint32_t serviceType) {
    if (callback == nullptr) {
        return -1;
    }
    Service &service = TheService();
    std::unique_lock<std::mutex> lock(service.mMutex);
    service.mClients[serviceType] = callback;
    if (serviceType == VYR_AO_SERVICE_FACE_ID) {
        service.DeliverInCall(lock);
    }
    return 0;
}

VYR_EXPORT int32_t VyrSendCommonData(uint32_t /*dataId*/, uint32_t /*value*/) {
    return 0;
}

VYR_EXPORT int32_t VyrNovenUnregisterClient(uint32_t serviceType) {
    Service &service = TheService();
    std::unique_lock<std::mutex> lock(service.mMutex);
    if (serviceType == VYR_AO_SERVICE_FACE_ID && service.mClients.count(serviceType) != 0) {
        service.DeliverInCall(lock);
    }
    return service.mClients.erase(serviceType) != 0 ? 0 : -1;
}

VYR_EXPORT int32_t VyrFaceIdSendCommand(int32_t command, const uint8_t *data, uint32_t length) {
    if (command != VYR_AO_FACE_ID_CMD_SET_KEY || data == nullptr || length != 32) {
        return -1;
    }
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    service.mFaceIdKey.assign(data, data + length);
    ++service.mFaceIdKeys;
    return 0;
}

// Test controls.

VYR_EXPORT int32_t VyrAoSimRotation(int32_t rotation) {
    return QueueNow(Kind::kRotation, {0, rotation});
}

VYR_EXPORT int32_t VyrAoSimFaceDirection(int32_t rotation) {
    return QueueNow(Kind::kFaceDirection, {rotation});
}

VYR_EXPORT int32_t VyrAoSimFaceId(const int32_t *values, uint32_t count) {
    if (values == nullptr && count != 0) {
        return -1;
    }
    return QueueNow(Kind::kFaceId, std::vector<int32_t>(values, values + count));
}

VYR_EXPORT int32_t VyrAoSimPlay(const char *scenario) {
    std::vector<Answer> answers;
    if (scenario == nullptr || !ParseScenario(scenario, answers)) {
        return -1;
    }
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    service.mScenario.clear();
    for (Answer &answer : answers) {
        service.Queue(std::move(answer), true);
    }
    return 0;
}

VYR_EXPORT int32_t VyrAoSimSync(int32_t timeoutMs) {
    Service &service = TheService();
    std::unique_lock<std::mutex> lock(service.mMutex);
    const bool done = service.mCond.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                             [&service] { return service.Idle(); });
    return done ? 0 : -1;
}

VYR_EXPORT int32_t VyrAoSimPipelineActive(uint32_t pipelineId) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    return service.mListeners.count(pipelineId) != 0 ? 1 : 0;
}

VYR_EXPORT int32_t VyrAoSimPipelineParam(uint32_t pipelineId) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    auto found = service.mParams.find(pipelineId);
    return found == service.mParams.end() ? -1 : found->second;
}

VYR_EXPORT int32_t VyrAoSimPipelineStarts(uint32_t pipelineId) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    auto found = service.mStarts.find(pipelineId);
    return found == service.mStarts.end() ? 0 : found->second;
}

VYR_EXPORT void VyrAoSimFailRegister(int32_t ret) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    service.mFailRegister = ret;
}

VYR_EXPORT void VyrAoSimReset(void) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    service.mListeners.clear();
    service.mParams.clear();
    service.mStarts.clear();
    service.mMotion = nullptr;
    service.mMotionStarted.clear();
    service.mClients.clear();
    service.mNow.clear();
    service.mScenario.clear();
    service.mFailRegister = 0;
    service.mFaceIdKey.clear();
    service.mFaceIdKeys = 0;
    service.mInCallArmed = false;
    service.mInCallResult = 0;
}

VYR_EXPORT int32_t VyrAoSimFaceIdKey(uint8_t *out, uint32_t size) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    if (out != nullptr && !service.mFaceIdKey.empty() && size >= service.mFaceIdKey.size()) {
        std::memcpy(out, service.mFaceIdKey.data(), service.mFaceIdKey.size());
    }
    return service.mFaceIdKeys;
}

VYR_EXPORT void VyrAoSimFaceIdInCall(const int32_t *values, uint32_t count, int32_t waitMs) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    service.mInCallArmed = true;
    service.mInCallValues.clear();
    if (values != nullptr) {
        service.mInCallValues.assign(values, values + count);
    }
    service.mInCallWaitMs = waitMs > 0 ? waitMs : 0;
    service.mInCallResult = 0;
}

VYR_EXPORT int32_t VyrAoSimFaceIdInCallResult(void) {
    Service &service = TheService();
    std::lock_guard<std::mutex> lock(service.mMutex);
    return service.mInCallResult;
}

}  // extern "C"

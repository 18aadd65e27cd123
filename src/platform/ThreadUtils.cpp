#include "platform/ThreadUtils.h"

#include <android/log.h>
#include <boundchk.h>
#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "log/LogSink.h"

namespace {

constexpr int kMaxCpus = 1024;
constexpr size_t kMaskBytes = kMaxCpus / 8;  // 128
constexpr int kRRPriority = 10;
constexpr int kFallbackNice = -10;

pid_t CurrentTid() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

// -1 when the parameter block cannot be cleared, else the call's result.
int SetRR() {
    struct sched_param param;
    if (memset_s(&param, sizeof(param), 0, sizeof(param)) != EOK) {
        return -1;
    }
    param.sched_priority = kRRPriority;
    return sched_setscheduler(CurrentTid(), SCHED_RR, &param);
}

}  // namespace

int ThreadSetAffInity(const std::vector<int> &cpus) {
    static_assert(sizeof(cpu_set_t) == kMaskBytes, "the mask is 1024 bits");
    cpu_set_t mask;
    CPU_ZERO(&mask);
    for (int cpu : cpus) {
        if (cpu >= 0 && cpu < kMaxCpus) {
            CPU_SET(cpu, &mask);
        }
    }
    int ret = sched_setaffinity(0, kMaskBytes, &mask);
    if (ret != 0) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "%s:Error =0x%x", "ThreadSetAffInity",
                            errno);
    }
    return ret;
}

int ThreadSetRR() {
    return SetRR();
}

void ThreadSetRRWithFallback() {
    int ret = SetRR();
    if (ret != 0) {
        __android_log_print(ANDROID_LOG_WARN, VYR_LOG_TAG,
                            "WARNING: Failed to set to RR scheduler, pid=%d, ret=%d\n", getpid(),
                            ret);
        // Without the right to raise the priority this fails too; the thread
        // then keeps its normal scheduling.
        setpriority(PRIO_PROCESS, static_cast<id_t>(getpid()), kFallbackNice);
    }
}

int ThreadSetNormal() {
    struct sched_param param;
    if (memset_s(&param, sizeof(param), 0, sizeof(param)) != EOK) {
        return -1;
    }
    int ret = pthread_setschedparam(pthread_self(), SCHED_OTHER, &param);
    if (ret != 0) {
        __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "%s:Error =0x%x", "ThreadSetNormal",
                            ret);
    }
    return ret;
}

void SetThreadName(const std::string &module) {
    std::string name = "vyr_" + module;
    prctl(PR_SET_NAME, name.c_str(), 0, 0, 0);
}

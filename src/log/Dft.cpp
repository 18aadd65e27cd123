#include "log/Dft.h"

#include <android/log.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "platform/LibVyrMonitor.h"
#include "platform/Utils.h"

namespace {

constexpr size_t kLineSize = 1024;

}  // namespace

Dft::Dft(VyrHal &hal, bool millis) : mHal(hal), mLog(hal), mMillis(millis) {}

Dft::~Dft() = default;

uint64_t Dft::GetTime() {
    const uint64_t ms = VyrHal::RealTimeMs();
    return mMillis ? ms : ms / 1000;
}

void Dft::ReadPreTime(std::string path) {
    mPreTime = GetTime();
    const std::string real = DevicePathOf(path);
    if (access(real.c_str(), F_OK) != 0) {
        return;
    }
    FILE *file = fopen(real.c_str(), "r");
    if (file == nullptr) {
        LOGE("fopen file: %s failed", path.c_str());
        return;
    }
    char line[kLineSize] = {0};
    while (true) {
        if (fgets(line, sizeof(line), file) == nullptr) {
            LOGI("fgets end of file");
            break;
        }
        if (strchr(line, ',') != nullptr) {
            break;
        }
    }
    fclose(file);
    const char *comma = strchr(line, ',');
    std::string first =
        comma == nullptr ? std::string(line) : std::string(line, static_cast<size_t>(comma - line));
    const long long value = atoll(first.c_str());
    if (value != 0 && static_cast<uint64_t>(value) < mPreTime) {
        mPreTime = static_cast<uint64_t>(value);
    }
    LOGI("first bigdata event ts: %s, return ts: %lu", first.c_str(),
         static_cast<unsigned long>(mPreTime));
}

bool Dft::Init(uint32_t eventId, uint64_t interval) {
    mEventId = eventId;
    mInterval = interval;
    initDone = true;
    return true;
}

void Dft::SetInt(const char *key, long value) {
    intParams[key] = value;
}

void Dft::SetFloat(const char *key, float value) {
    floatParams[key] = value;
}

void Dft::SetString(const char *key, const char *value) {
    stringParams[key] = value == nullptr ? "" : value;
}

bool Dft::CanReport() {
    const uint64_t now = GetTime();
    if (now == 0) {
        LOGE("%s erro \n", "CanReport");
        return false;
    }
    if (now - mPreTime >= mInterval) {
        mPreTime = now;
        return true;
    }
    return false;
}

void Dft::Report() {
    LOGI("+");
    std::unique_ptr<LibVyrMonitor> library(new (std::nothrow) LibVyrMonitor());
    if (library == nullptr || !library->Init()) {
        LOGE("LibVyrMonitor init failed");
    } else {
        brimlog_eventobj_t *event = library->brimlog_create_eventobj(mEventId);
        if (event == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, VYR_LOG_TAG, "activity brimlog create %d failed",
                                static_cast<int>(mEventId));
        } else {
            int32_t sum = 0;
            for (const auto &entry : intParams) {
                sum +=
                    library->brimlog_set_param_integer_v2(event, entry.first.c_str(), entry.second);
            }
            for (const auto &entry : floatParams) {
                sum +=
                    library->brimlog_set_param_float_v2(event, entry.first.c_str(), entry.second);
            }
            for (const auto &entry : stringParams) {
                sum += library->brimlog_set_param_string_v2(event, entry.first.c_str(),
                                                            entry.second.c_str());
            }
            if (sum != 0) {
                LOGE("%s erro, ret = %d\n", "Report", sum);
            } else {
                const int32_t timeRet = library->brimlog_set_time(
                    event, static_cast<int64_t>(VyrHal::RealTimeMs() / 1000));
                if (timeRet != 0) {
                    LOGE("%s brimlog_set_time erro, ret = %d\n", "Report", timeRet);
                } else {
                    const int32_t sent = library->brimlog_send_event(event);
                    if (sent < 0) {
                        LOGE("activity brimlog send event failed: %d", sent);
                    }
                }
            }
            library->brimlog_destroy_eventobj(event);
        }
    }
    intParams.clear();
    floatParams.clear();
    stringParams.clear();
    LOGI("-");
}

std::string Dft::BootSecondText() {
    return std::to_string(VyrHal::BootTimeNs() / 1000000000ULL);
}

std::string Dft::FirstBootSecondText() {
    const uint64_t now = VyrHal::RealTimeMs() / 1000;
    const uint64_t up = VyrHal::BootTimeNs() / 1000000000ULL;
    return std::to_string(now > up ? now - up : 0);
}

#include "log/Dmd.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "log/VyrLog.h"
#include "log/VyrStelmo.h"
#include "platform/Utils.h"

Dmd::Dmd(VyrHal &hal) : mHal(hal), mLog(hal) {}

bool Dmd::Init() {
    LOGI("+");
    std::lock_guard<std::mutex> lock(dmdMutex);
    mergers.clear();
    quietIds.insert(DMD_VYR_LOG_ONLY);
    names["DMDW_VYR_OTHER"] = DMDW_VYR_OTHER;
    logCallback = [this](std::string file, LogDmdParam param) {
        VyrlogCallback(std::move(file), std::move(param));
    };
    return true;
}

void Dmd::SetLimit(int32_t id, int32_t budget) {
    std::lock_guard<std::mutex> lock(dmdMutex);
    limits[id] = budget;
}

void Dmd::AddMerger(int32_t id, int64_t minIntervalMs, uint64_t minCount) {
    std::lock_guard<std::mutex> lock(dmdMutex);
    mergers.erase(id);
    mergers.emplace(id, DmdReportMerger(mHal, id, minIntervalMs, minCount));
}

int32_t Dmd::IdOf(const std::string &name) const {
    auto it = names.find(name);
    return it == names.end() ? 0 : it->second;
}

bool Dmd::CanReport(int32_t id) {
    std::lock_guard<std::mutex> lock(dmdMutex);
    auto it = limits.find(id);
    if (it != limits.end() && it->second < 1) {
        return false;
    }
    return mHal.IsLogEnable() || quietIds.count(id) == 0;
}

bool Dmd::MergerCanReport(int32_t id) {
    std::lock_guard<std::mutex> lock(dmdMutex);
    auto it = mergers.find(id);
    if (it == mergers.end()) {
        return true;
    }
    return it->second.CanReport();
}

void Dmd::Report(DMD_ERROR_ENUM err, std::string a, std::string b) {
    const std::string text = std::string(kRecordWord) + "," +
                             std::to_string(static_cast<int32_t>(err)) + "," + a + "," + b;
    LOGI("%s", text.c_str());
    const std::string path = CheckPath(kDevice);
    const int fd = path.empty() ? -1 : open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        LOGE("Open %s failed fd = %d\n", kDevice, fd);
        return;
    }
    const ssize_t written = write(fd, text.data(), text.size());
    if (written != static_cast<ssize_t>(text.size())) {
        LOGE("failed to write [%s]\n", text.c_str());
    }
    if (close(fd) != 0) {
        LOGE("failed to close [%s]\n", text.c_str());
    }
}

bool Dmd::TakeBudget(int32_t id) {
    auto it = limits.find(id);
    if (it == limits.end()) {
        return true;
    }
    if (it->second < 1) {
        return false;
    }
    it->second -= 1;
    return true;
}

void Dmd::VyrlogCallback(std::string file, LogDmdParam param) {
    std::lock_guard<std::mutex> lock(dmdMutex);
    const int32_t id = static_cast<int32_t>(param.err);
    if (!TakeBudget(id)) {
        return;
    }
    const bool logEnable = mHal.IsLogEnable();
    if (!logEnable && quietIds.count(id) != 0) {
        return;
    }
    LOGI("can Report");
    const std::string text = std::to_string(id) + "_" + param.name;
    if (logEnable && !file.empty()) {
        CopyDmdLog(file);
    }
    Report(param.err, param.module, param.content);
    if (param.hang) {
        VyrStelmo stelmo(mHal);
        stelmo.SendEvent(text, param.name, VyrHal::MonoTimeMs());
    }
}

void Dmd::Logout(LogDmdParam &param) {
    std::lock_guard<std::mutex> lock(logoutMutex);
    const std::string text = std::to_string(static_cast<int32_t>(param.err)) + "_" + param.name;
    LOGI("%s, DMD triggered, %s", param.module.c_str(), text.c_str());
    if (!logCallback) {
        // Reporting without Init is a broken start: end as an empty call does.
        abort();
    }
    logCallback("", param);
    LOGI("-");
}

void Dmd::CopyDmdLog(const std::string &file) {
    // Logging may have been switched on after start, when no log thread exists.
    if (!mHal.HasVyrlog()) {
        LOGD("dmd log %s: no log module to copy it", file.c_str());
        return;
    }
    mHal.GetVyrlog().CopyDmdLog(file);
}

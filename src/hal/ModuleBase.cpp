#include "hal/ModuleBase.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "hal/ServerCmds.h"
#include "hal/VyrHal.h"
#include "log/VyrFrame.h"
#include "log/VyrLog.h"
#include "sensor/SensorHub.h"

ModuleBase::ModuleBase(const std::string name, VyrHal &hal)
    : mHal(hal),
      mLog(hal),
      mFrame(hal.GetCurFrame()),
      mVersion(HalVersion::Default()),
      mName(name) {
    LOGI("name = %s", name.c_str());
    mVersion.SetName(name);
}

ModuleBase::~ModuleBase() {
    LOGI("enter");
}

bool ModuleBase::PreInit() {
    LOGI("+");
    return true;
}

bool ModuleBase::Init() {
    LOGI("+");
    return InitVyrd();
}

bool ModuleBase::LastInit() {
    LOGI("+");
    return true;
}

void ModuleBase::Uninit() {}

void ModuleBase::LastUninit() {
    LOGI("+");
    mTypeSensors.clear();
    mConnections.clear();
}

void ModuleBase::PreSos() {}

bool ModuleBase::InitVyrd() {
    LOGI("+");
    return true;
}

std::string ModuleBase::GetName() {
    return mName;
}

std::string ModuleBase::GetVersion() {
    return mVersion.GetVersionText();
}

HalVersion &ModuleBase::GetVersionInfo() {
    return mVersion;
}

void ModuleBase::SyncFrame() {
    if (!mHal.IsLogEnable() || !mFrame.IsAvailable()) {
        return;
    }
    LOGD("+");
    mFrame.LockData(true);
    mFrame.LockWork(true);
    mFrame.SetLogText(mLog.TakeText());
    mFrame.Stamp();
    mHal.GetVyrlog().QueueInFrame();
    mFrame.Reset();
    mFrame.LockData(false);
    mFrame.LockWork(false);
    LOGV("-");
}

void ModuleBase::SetConnection(const std::string client, int type, bool enable, int32_t rate,
                               int64_t batch) {
    auto &clients = mConnections[static_cast<uint32_t>(type)];
    clients.erase(client);
    if (enable) {
        clients[client] = ConnectionParam{rate, batch};
    }
    for (const auto &entry : clients) {
        LOGD("module: %s type: %d caller: %s", mName.c_str(), type, entry.first.c_str());
    }
}

bool ModuleBase::IsClientConnected(const std::string client, uint32_t type) {
    const auto &clients = mConnections[type];
    return clients.find(client) != clients.end();
}

bool ModuleBase::IsEmulating() {
    return mHal.GetSensorHub().IsEmulating();
}

bool ModuleBase::IsTypeEnabled(uint32_t type) {
    if (IsEmulating()) {
        return true;
    }
    return !mConnections[type].empty();
}

bool ModuleBase::IsAnyTypeEnabled() {
    for (const auto &entry : mTypeSensors) {
        if (IsTypeEnabled(static_cast<uint32_t>(entry.first))) {
            return true;
        }
    }
    return false;
}

bool ModuleBase::IsSensorUsed(int32_t sensor) {
    if (IsEmulating()) {
        return true;
    }
    for (const auto &entry : mConnections) {
        if (entry.second.empty()) {
            continue;
        }
        const auto &sensors = mTypeSensors[static_cast<int32_t>(entry.first)];
        if (sensors.find(sensor) != sensors.end()) {
            return true;
        }
    }
    return false;
}

void ModuleBase::FindBestParameter(int type, int32_t &rate, int64_t &batch) {
    for (const auto &entry : mConnections[static_cast<uint32_t>(type)]) {
        LOGD("caller: %s, %4d %lld", entry.first.c_str(), entry.second.rate,
             static_cast<long long>(entry.second.batch));
        rate = std::max(rate, entry.second.rate);
        if (entry.second.batch < batch) {
            batch = entry.second.batch;
        }
    }
}

void ModuleBase::UpdateSensorRates() {
    mSensorRates.clear();
    for (const auto &entry : mConnections) {
        if (entry.second.empty()) {
            continue;
        }
        for (const auto &row : mTypeSensors[static_cast<int32_t>(entry.first)]) {
            auto found = mSensorRates.find(row.first);
            if (found == mSensorRates.end()) {
                mSensorRates[row.first] = SensorRate{row.second.rate};
            } else if (row.second.rate > found->second.rate) {
                found->second.rate = row.second.rate;
            }
        }
    }
}

void ModuleBase::RebuildResample() {
    UpdateSensorRates();
    mResample.clear();
    for (const auto &entry : mSensorRates) {
        ResampleInfo info{};
        info.rate = entry.second.rate;
        mResample[entry.first] = info;
    }
}

bool ModuleBase::TakeSample(const ASensorEvent &event) {
    if (!IsSensorUsed(event.type)) {
        return false;
    }
    if (mHal.GetSensorHub().DataResampleSkip(event, mResample[event.type])) {
        LOGD("resample skip event: %d", event.type);
        return false;
    }
    return true;
}

bool ModuleBase::SensorEnable(const std::string client, uint32_t type, bool enable) {
    if (!mHal.GetHalStatus().Get(HAL_STATUS_WORKING)) {
        LOGW("%s type %d en: %d SensorEnable skip setting", client.c_str(), type, enable);
        return false;
    }
    UpdateSensorRates();
    const auto &rows = mTypeSensors[static_cast<int32_t>(type)];
    for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
        std::string caller = client + mName + std::to_string(type);
        if (!mHal.GetSensorHub().SetSensorEnable(caller, row->first, enable, row->second.rate,
                                                 row->second.batch, false)) {
            LOGE("%s type %d SetSensorEnable error", client.c_str(), type);
            return false;
        }
    }
    return true;
}

void ModuleBase::NotifyClients(vyr_msg_t &msg) {
    const auto &clients = mConnections[static_cast<uint32_t>(msg.type)];
    if (clients.empty()) {
        LOGW("type %d not found any clients callback", msg.type);
        return;
    }
    const vyr_notify_t &notify = mHal.GetNotify();
    for (const auto &entry : clients) {
        msg.client = entry.first;
        notify.notify(msg);
    }
}

void ModuleBase::DisableClient(const std::string client) {
    std::lock_guard<std::mutex> lock(mLock);
    for (auto &entry : mConnections) {
        if (entry.second.erase(client) > 0) {
            LOGI("module: %s type: %d caller: %s", mName.c_str(), static_cast<int>(entry.first),
                 client.c_str());
        }
    }
}

bool ModuleBase::LockWithin(std::mutex &mutex, std::unique_lock<std::mutex> &lock, int waitMs) {
    lock = std::unique_lock<std::mutex>(mutex, std::defer_lock);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(waitMs);
    while (!lock.try_lock()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool ModuleBase::CopyConnections(Connections &out, int waitMs) {
    std::unique_lock<std::mutex> lock;
    if (!LockWithin(mLock, lock, waitMs)) {
        return false;
    }
    out = mConnections;
    return true;
}

void ModuleBase::EnableConnectSensor(bool enable) {
    // Copy first: SensorEnable may be overridden to touch the tables.
    auto connections = mConnections;
    for (const auto &entry : connections) {
        for (const auto &client : entry.second) {
            SensorEnable(client.first, entry.first, enable);
            LOGI("module: %s type: %d caller: %s %s", mName.c_str(), static_cast<int>(entry.first),
                 client.first.c_str(), enable ? "enable" : "disable");
        }
    }
}

bool ModuleBase::AddCmd(const std::string &name, VyrCmdFunc func) {
    return mHal.GetServerCmds().AddCmd(name, std::move(func));
}

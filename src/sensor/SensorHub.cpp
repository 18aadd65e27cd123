#include "sensor/SensorHub.h"

#include "hal/VyrHal.h"

SensorHub::SensorHub(VyrHal &hal) : ModuleBase("SensorHub", hal) {}

SensorHub::~SensorHub() { LOGI("+"); }

bool SensorHub::PreInit()
{
    LOGI("+");
    return true;
}

bool SensorHub::LastInit()
{
    LOGI("+");
    return true;
}

void SensorHub::Uninit() { LOGI("+"); }

bool SensorHub::InitVyrd()
{
    LOGI("+");
    return true;
}

void SensorHub::DisableClient(const std::string client) { ModuleBase::DisableClient(client); }

void SensorHub::EnableConnectSensor(bool) {}

bool SensorHub::SetSensorEnable(const std::string caller, int32_t sensor, bool enable, int32_t rate,
                                int64_t batch, bool)
{
    LOGW("no sensor service: %s sensor %d en %d rate %d batch %lld", caller.c_str(), sensor, enable,
         rate, static_cast<long long>(batch));
    return false;
}

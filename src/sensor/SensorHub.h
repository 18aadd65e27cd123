// The sensor data path: one queue and one thread between the sensor
// service and the modules.
#pragma once

#include <cstdint>
#include <string>

#include "hal/ModuleBase.h"

class SensorHub : public ModuleBase {
public:
    explicit SensorHub(VyrHal &hal);
    ~SensorHub() override;

    bool PreInit() override;
    bool LastInit() override;
    void Uninit() override;
    bool InitVyrd() override;
    void DisableClient(const std::string client) override;
    void EnableConnectSensor(bool enable) override;

    bool SetSensorEnable(const std::string caller, int32_t sensor, bool enable, int32_t rate,
                         int64_t batch, bool force);
    bool IsEmulating() const { return mEmulating; }

private:
    bool mEmulating = false;
};

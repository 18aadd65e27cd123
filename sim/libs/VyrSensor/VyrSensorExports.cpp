// The exported entry points of the simulated sensor service: the service's
// own (vyr_sensor_api.h) and the test controls (vyr_sensor_sim.h). Each one
// checks its arguments and hands over to SensorService; nothing throws out.
#include "SensorService.h"
#include "libs/VyrSensor/vyr_sensor_sim.h"

using vyrsim::SensorInfo;
using vyrsim::SensorService;

namespace {

constexpr int32_t kErrNoDevice = -19;

const SensorInfo *Describe(VyrSensorRef sensor) {
    SensorService *service = SensorService::Instance();
    return service != nullptr ? service->Describe(sensor) : nullptr;
}

}  // namespace

extern "C" {

int32_t VyrInit(VyrSensorEventCallback_t callback, void *cookie) {
    SensorService *service = SensorService::Instance();
    return service != nullptr ? service->Init(callback, cookie) : kErrNoDevice;
}

int32_t VyrGetSensorList(VyrSensorRef const **list) {
    SensorService *service = SensorService::Instance();
    return service != nullptr ? service->GetList(list) : kErrNoDevice;
}

int32_t VyrEnableSensor(VyrSensorRef sensor, int32_t periodUs, int32_t batchUs) {
    SensorService *service = SensorService::Instance();
    return service != nullptr ? service->Enable(sensor, periodUs, batchUs) : kErrNoDevice;
}

int32_t VyrDisableSensor(VyrSensorRef sensor) {
    SensorService *service = SensorService::Instance();
    return service != nullptr ? service->Disable(sensor) : kErrNoDevice;
}

const char *VyrGetName(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->name : "";
}

const char *VyrGetVendor(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->vendor : "";
}

int32_t VyrGetType(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->type : 0;
}

float VyrGetResolution(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->resolution : 0.0f;
}

int32_t VyrGetMinDelay(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->minDelayUs : 0;
}

int32_t VyrGetFifoMaxEventCount(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->fifoMax : 0;
}

int32_t VyrGetFifoReservedEventCount(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->fifoReserved : 0;
}

const char *VyrGetStringType(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->stringType : "";
}

float VyrGetMaxRange(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->maxRange : 0.0f;
}

float VyrGetPower(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->powerMa : 0.0f;
}

int32_t VyrGetHandle(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->handle : 0;
}

const char *VyrGetReportingMode(VyrSensorRef sensor) {
    const SensorInfo *info = Describe(sensor);
    return info != nullptr ? info->reportingMode : "";
}

int32_t VyrSimInjectEvent(const ASensorEvent *event) {
    SensorService *service = SensorService::Instance();
    return service != nullptr && event != nullptr ? service->Inject(*event) : -1;
}

int32_t VyrSimPlayScenario(const char *nameOrCsvPath) {
    SensorService *service = SensorService::Instance();
    if (service == nullptr || nameOrCsvPath == nullptr || nameOrCsvPath[0] == '\0') {
        return -1;
    }
    return service->Play(nameOrCsvPath);
}

void VyrSimStopScenario(void) {
    if (SensorService *service = SensorService::Instance()) {
        service->StopScenario();
    }
}

bool VyrSimScenarioRunning(void) {
    SensorService *service = SensorService::Instance();
    return service != nullptr && service->ScenarioRunning();
}

void VyrSimServiceDie(void) {
    if (SensorService *service = SensorService::Instance()) {
        service->Die();
    }
}

void VyrSimServiceRestart(void) {
    if (SensorService *service = SensorService::Instance()) {
        service->Restart();
    }
}

bool VyrSimServiceAlive(void) {
    SensorService *service = SensorService::Instance();
    return service != nullptr && service->Alive();
}

int32_t VyrSimGetSensorPeriodUs(int32_t type) {
    SensorService *service = SensorService::Instance();
    return service != nullptr ? service->PeriodUs(type) : 0;
}

int32_t VyrSimGetSensorBatchUs(int32_t type) {
    SensorService *service = SensorService::Instance();
    return service != nullptr ? service->BatchUs(type) : 0;
}

int32_t VyrSimEnableCount(int32_t type) {
    SensorService *service = SensorService::Instance();
    return service != nullptr ? service->EnableCount(type) : 0;
}

int32_t VyrSimDisableCount(int32_t type) {
    SensorService *service = SensorService::Instance();
    return service != nullptr ? service->DisableCount(type) : 0;
}

int32_t VyrSimSync(int32_t timeoutMs) {
    SensorService *service = SensorService::Instance();
    return service != nullptr ? service->Sync(timeoutMs) : -1;
}

void VyrSimDetach(void) {
    if (SensorService *service = SensorService::Instance()) {
        service->Detach();
    }
}

void VyrSimReset(void) {
    if (SensorService *service = SensorService::Instance()) {
        service->Reset();
    }
}

int64_t VyrSimNowNs(void) {
    return SensorService::NowNs();
}

}  // extern "C"

// The calls of the motion and posture modules into SensorHub, gathered in
// one place. Each call is made only when SensorHub offers it; otherwise it is
// a no-op with a neutral result (no callback, no skip, nothing posted).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>

#include "platform/api/sensor_event.h"
#include "sensor/SensorHub.h"

namespace motion {

// Per-sensor resample record used when the hub has none of its own.
struct LocalResample {
    int32_t rate = 0;
    uint64_t startTimeStamp = 0;
    uint64_t preTimeStamp = 0;
    int32_t count = 0;
};

template <typename F>
struct SecondArg;
template <typename C, typename R, typename A, typename B>
struct SecondArg<R (C::*)(A, B)> {
    using type = std::remove_cvref_t<B>;
};

template <typename Hub>
struct HubResample {
    using type = LocalResample;
};
template <typename Hub>
    requires requires { &Hub::DataResampleSkip; }
struct HubResample<Hub> {
    using type = typename SecondArg<decltype(&Hub::DataResampleSkip)>::type;
};

using Resample = HubResample<SensorHub>::type;
using SensorCallback = std::function<void(ASensorEvent, bool)>;

template <typename Hub = SensorHub>
bool RegisterCallback(Hub &hub, const std::string &name, SensorCallback callback)
{
    if constexpr (requires { hub.RegisterSensorCallback(name, callback); }) {
        return hub.RegisterSensorCallback(name, callback);
    } else {
        return false;
    }
}

template <typename Hub = SensorHub>
void UnregisterCallback(Hub &hub, const std::string &name)
{
    if constexpr (requires { hub.UnregisterSensorCallback(name); }) {
        hub.UnregisterSensorCallback(name);
    }
}

template <typename Hub = SensorHub>
bool ResampleSkip(Hub &hub, const ASensorEvent &event, Resample &info)
{
    if constexpr (requires { hub.DataResampleSkip(event, info); }) {
        return hub.DataResampleSkip(event, info);
    } else {
        return false;
    }
}

template <typename Hub = SensorHub>
void PushEvent(Hub &hub, const ASensorEvent &event)
{
    if constexpr (requires { hub.PushSensorEvent(event); }) {
        hub.PushSensorEvent(event);
    }
}

template <typename Hub = SensorHub>
void SensorIdle(Hub &hub, bool enter, int32_t rate)
{
    if constexpr (requires { hub.SensorIdle(enter, rate); }) {
        hub.SensorIdle(enter, rate);
    }
}

template <typename Hub = SensorHub>
void ResetSensorIdle(Hub &hub)
{
    if constexpr (requires { hub.ResetSensorIdle(); }) {
        hub.ResetSensorIdle();
    }
}

}  // namespace motion

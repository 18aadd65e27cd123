// What the simulated sensors measure: the value of each sensor type as a
// function of the time since a scenario started.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vyrsim {

// data[0..15] of one event.
using SensorValues = std::array<float, 16>;

class SensorScenario {
public:
    virtual ~SensorScenario() = default;
    // Values of the type at sinceStartNs (clamped to 0 below).
    virtual SensorValues ValuesAt(int32_t type, int64_t sinceStartNs) const = 0;
    // Time after which nothing changes any more; negative for no end.
    virtual int64_t DurationNs() const = 0;
};

// Values of the phone lying at rest, screen up, open.
SensorValues RestValues(int32_t type);

// A built-in scenario by name ("rest", "walk", "flip", "fold", "pickup",
// "rotate", "still", "hand", "train"); null for any other name.
std::unique_ptr<SensorScenario> MakeBuiltinScenario(const std::string &name);

// Holds the given values for ever (types not in the map are at rest).
std::unique_ptr<SensorScenario> MakeHoldScenario(std::map<int32_t, SensorValues> values);

// A recorded CSV stream (format in vyr_sensor_sim.h). A type keeps its value
// from `base` until its first row. Null with a reason in *error when the file
// cannot be read or a line is malformed.
std::unique_ptr<SensorScenario> LoadCsvScenario(const std::string &path,
                                                std::map<int32_t, SensorValues> base,
                                                std::string *error);

}  // namespace vyrsim

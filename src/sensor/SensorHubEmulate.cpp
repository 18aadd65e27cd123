// Replay of a recorded run: "motion-emulate" reads the sensor files of the
// log side and pushes their events into the hub's queue at once.
#include <algorithm>
#include <cctype>
#include <memory>
#include <new>

#include "hal/ServerCmds.h"
#include "hal/VyrHal.h"
#include "log/LogSink.h"
#include "sensor/FileToEvent.h"
#include "sensor/SensorHub.h"

bool SensorHub::EmulateEvents() {
    std::unique_ptr<FileToEvent> reader(new (std::nothrow) FileToEvent(mHal));
    if (reader == nullptr) {
        LOGE("alloc mFileToEvent memory error");
        return false;
    }
    std::vector<ASensorEvent> events;
    for (const EmulateFile &file : kEmulateFiles) {
        reader->GetEvents(file.stem, file.type, events);
    }
    reader.reset();
    std::sort(events.begin(), events.end(), [](const ASensorEvent &a, const ASensorEvent &b) {
        return a.timestamp < b.timestamp;
    });
    PushSensorEvents(events);
    return true;
}

bool SensorHub::InitVyrdSensorEmulate() {
    return AddCmd("motion-emulate", [this](const std::string, const std::string param,
                                           std::vector<uint8_t> &out) {
        std::string value = param;
        std::transform(value.begin(), value.end(), value.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (value == "on" || value == "1") {
            mEmulate.store(true);
            EmulateEvents();
            SetReply(out, "enable emulate events");
        } else if (value == "off" || value == "0") {
            mEmulate.store(false);
            SetReply(out, "disable emulate events");
        } else {
            SetReply(out, "usage: emulate on/off or emulate 1/0");
        }
    });
}

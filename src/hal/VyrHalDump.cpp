// "dump": what the library holds, as one JSON document, for an integrator
// whose client gets no result. Each part is copied under its own lock, one
// lock at a time and none inside another, on the command thread: the
// sensors and their callers under the hub's module mutex, each module's
// clients under the lock that guards them, queue depths under the queue
// mutexes, the flag word under its mutex. A lock held by a hanging thread
// for longer than a moment is told as "busy" instead of waited for.
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "camera/Camera.h"
#include "hal/ModuleBase.h"
#include "hal/VyrHal.h"
#include "log/VyrLog.h"
#include "platform/LibBase.h"
#include "platform/Sysfs.h"
#include "sensor/SensorHub.h"

namespace {

// How long a part waits for its lock before it reports "busy".
constexpr int kLockWaitMs = 500;

// A small writer of one JSON document: values are appended in order, and
// the writer puts the commas. Strings are escaped; bytes outside printable
// ASCII become \u00XX, so the document is valid whatever the names hold.
class JsonWriter {
public:
    void BeginObject() { Open('{'); }
    void EndObject() { Close('}'); }
    void BeginArray() { Open('['); }
    void EndArray() { Close(']'); }

    // The key of the next value inside an object.
    void Key(const std::string &key) {
        Separate();
        String(key);
        mText += ':';
        mAfterKey = true;
    }
    void Value(const std::string &text) {
        Separate();
        String(text);
    }
    void Value(const char *text) { Value(std::string(text != nullptr ? text : "")); }
    void Value(bool value) {
        Separate();
        mText += value ? "true" : "false";
    }
    void Value(int64_t value) {
        Separate();
        mText += std::to_string(value);
    }
    void Value(uint64_t value) {
        Separate();
        mText += std::to_string(value);
    }
    void Value(int32_t value) { Value(static_cast<int64_t>(value)); }
    void Value(uint32_t value) { Value(static_cast<uint64_t>(value)); }
    void Value(double value) {
        Separate();
        char text[32];
        snprintf(text, sizeof(text), "%.6g", value);
        mText += text;
    }

    template <typename T>
    void Field(const std::string &key, T value) {
        Key(key);
        Value(value);
    }

    const std::string &Text() const { return mText; }

private:
    void Open(char c) {
        Separate();
        mText += c;
        mFirst.push_back(true);
    }
    void Close(char c) {
        mText += c;
        if (!mFirst.empty()) {
            mFirst.pop_back();
        }
    }
    // A comma before every value but the first of its container; none
    // between a key and its value.
    void Separate() {
        if (mAfterKey) {
            mAfterKey = false;
            return;
        }
        if (!mFirst.empty()) {
            if (!mFirst.back()) {
                mText += ',';
            }
            mFirst.back() = false;
        }
    }
    void String(const std::string &text) {
        static constexpr char kDigits[] = "0123456789abcdef";
        mText += '"';
        for (char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            switch (c) {
                case '"':
                    mText += "\\\"";
                    break;
                case '\\':
                    mText += "\\\\";
                    break;
                case '\n':
                    mText += "\\n";
                    break;
                case '\r':
                    mText += "\\r";
                    break;
                case '\t':
                    mText += "\\t";
                    break;
                default:
                    if (byte < 0x20 || byte > 0x7e) {
                        mText += "\\u00";
                        mText += kDigits[byte >> 4];
                        mText += kDigits[byte & 0x0f];
                    } else {
                        mText += c;
                    }
                    break;
            }
        }
        mText += '"';
    }

    std::string mText;
    std::vector<bool> mFirst;  // per open container: nothing written yet
    bool mAfterKey = false;
};

struct FlagName {
    uint32_t mask;
    const char *name;
};

constexpr FlagName kHalFlags[] = {
    {HAL_STATUS_FACTORY, "FACTORY"}, {HAL_STATUS_SCREEN_ON, "SCREEN_ON"},
    {HAL_STATUS_UPGRADE, "UPGRADE"}, {HAL_STATUS_WORKING, "WORKING"},
    {HAL_STATUS_BTPEN, "BTPEN"},     {HAL_STATUS_BACKTAP, "BACKTAP"},
    {HAL_STATUS_IMAGE, "IMAGE"},
};

// Requests are kept by sensor type; a type may have a wakeup and a
// non-wakeup sensor. They are told at the one that serves them: the enabled
// one, else the non-wakeup one, else the first.
std::map<int32_t, const VyrSensor *> RequestHolders(const std::vector<VyrSensor> &sensors) {
    std::map<int32_t, const VyrSensor *> holders;
    auto rank = [](const VyrSensor &sensor) { return sensor.enable ? 2 : !sensor.wakeup ? 1 : 0; };
    for (const VyrSensor &sensor : sensors) {
        auto [it, added] = holders.emplace(sensor.type, &sensor);
        if (!added && rank(sensor) > rank(*it->second)) {
            it->second = &sensor;
        }
    }
    return holders;
}

void WriteSensor(JsonWriter &json, const VyrSensor &sensor, bool isPrivate, bool holdsRequests,
                 const ModuleBase::Connections &requests) {
    json.BeginObject();
    json.Field("type", sensor.type);
    json.Field("handle", sensor.handle);
    json.Field("name", sensor.name);
    json.Field("private", isPrivate);
    json.Field("wakeup", sensor.wakeup);
    json.Field("enabled", sensor.enable);
    json.Field("rate", sensor.rate);
    json.Field("batch", sensor.batch);
    json.Key("requests");
    json.BeginArray();
    auto found = requests.find(static_cast<uint32_t>(sensor.type));
    if (holdsRequests && found != requests.end()) {
        for (const auto &[caller, param] : found->second) {
            json.BeginObject();
            json.Field("caller", caller);
            json.Field("rate", param.rate);
            json.Field("batch", param.batch);
            json.EndObject();
        }
    }
    json.EndArray();
    json.EndObject();
}

}  // namespace

std::string VyrHal::DumpState() {
    JsonWriter json;
    json.BeginObject();
    json.Field("uptimeMs", ElapsedMs());

    const uint32_t word = mHalStatus.Word();
    json.Key("halStatus");
    json.BeginObject();
    json.Field("word", word);
    json.Key("flags");
    json.BeginArray();
    for (const FlagName &flag : kHalFlags) {
        if ((word & flag.mask) != 0) {
            json.Value(flag.name);
        }
    }
    json.EndArray();
    json.EndObject();

    json.Field("pssKb", mSysfs != nullptr ? mSysfs->GetMemoryPss() : uint64_t{0});

    // Sensors: the service's list and the private ones, each with its merged
    // setting and every caller's request.
    json.Key("sensors");
    if (mSensorHub == nullptr) {
        json.Value("none");
    } else {
        std::vector<VyrSensor> sensors;
        std::vector<VyrSensor> privates;
        ModuleBase::Connections requests;
        bool connected = false;
        if (!mSensorHub->CopySensors(sensors, privates, requests, connected, kLockWaitMs)) {
            json.Value("busy");
        } else {
            json.BeginObject();
            json.Field("serviceConnected", connected);
            json.Key("list");
            json.BeginArray();
            const auto holders = RequestHolders(sensors);
            for (const VyrSensor &sensor : sensors) {
                WriteSensor(json, sensor, false, holders.at(sensor.type) == &sensor, requests);
            }
            // A private type the service also lists keeps its requests here:
            // the library's own sensor is the one switched.
            for (const VyrSensor &sensor : privates) {
                WriteSensor(json, sensor, true, true, requests);
            }
            json.EndArray();
            json.EndObject();
        }
    }

    json.Key("modules");
    json.BeginArray();
    for (const std::shared_ptr<ModuleBase> &module : mModules) {
        if (module == nullptr) {
            continue;
        }
        json.BeginObject();
        json.Field("name", module->GetName());
        json.Key("clients");
        ModuleBase::Connections connections;
        if (!module->CopyConnections(connections, kLockWaitMs)) {
            json.Value("busy");
        } else {
            json.BeginArray();
            for (const auto &[type, clients] : connections) {
                if (clients.empty()) {
                    continue;
                }
                json.BeginObject();
                json.Field("type", type);
                json.Key("clients");
                json.BeginArray();
                for (const auto &entry : clients) {
                    json.Value(entry.first);
                }
                json.EndArray();
                json.EndObject();
            }
            json.EndArray();
        }
        json.EndObject();
    }
    json.EndArray();

    json.Key("libraries");
    json.BeginArray();
    for (const auto &[path, wrappers] : LibBase::LoadedLibraries()) {
        json.BeginObject();
        json.Field("path", path);
        json.Field("wrappers", wrappers);
        json.EndObject();
    }
    json.EndArray();

    json.Key("queues");
    json.BeginObject();
    if (mSensorHub != nullptr) {
        const SensorHub::QueueStats stats = mSensorHub->GetQueueStats();
        json.Key("sensor");
        json.BeginObject();
        json.Field("depth", stats.depth);
        json.Field("dropped", stats.lost);
        json.Field("posted", stats.posted);
        json.Field("handled", stats.handled);
        json.Field("threadRunning", stats.running);
        json.EndObject();
    }
    if (mCamera != nullptr) {
        json.Key("camera");
        json.BeginObject();
        json.Field("depth", static_cast<uint64_t>(mCamera->QueueDepth()));
        json.Field("dropped", mCamera->DroppedFrames());
        json.EndObject();
    }
    VyrLog::ThreadStats log;
    if (mVyrLog != nullptr) {
        log = mVyrLog->GetThreadStats();
        json.Key("logFrames");
        json.BeginObject();
        json.Field("depth", static_cast<uint64_t>(mVyrLog->QueuedFrames()));
        json.Field("dropped", log.dropped);
        json.Field("capacity", static_cast<uint64_t>(VyrLog::kQueueCapacity));
        json.EndObject();
    }
    json.EndObject();

    // The log thread runs only with logging on.
    json.Key("logThread");
    json.BeginObject();
    json.Field("logEnabled", IsLogEnable());
    json.Field("running", mVyrLog != nullptr && log.running);
    json.Field("framesQueued", log.queued);
    json.Field("framesWritten", log.written);
    json.Field("framesDropped", log.dropped);
    json.Field("writeUsTotal", log.writeUsTotal);
    json.Field("writeUsMax", log.writeUsMax);
    json.Field("writeUsMean", log.written > 0 ? static_cast<double>(log.writeUsTotal) /
                                                    static_cast<double>(log.written)
                                              : 0.0);
    json.Field("sockets", static_cast<uint64_t>(log.sockets));
    json.EndObject();

    json.EndObject();
    return json.Text();
}

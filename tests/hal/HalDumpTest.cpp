// "dump" through the exported table: after a few clients have asked for
// results, the document holds every sensor of the default phone with its
// merged setting and callers, each module's clients, the open libraries and
// the queues.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <thread>

#include "platform/api/vyr_sensor_api.h"
#include "support/HalFixture.h"

using nlohmann::json;
using vyrtest::HalFixture;

namespace {

constexpr int32_t kAccelerometer = 1;

json Parse(const std::string &text) {
    json doc = json::parse(text, nullptr, false);
    EXPECT_FALSE(doc.is_discarded()) << text;
    return doc;
}

// The first sensor of a type (and name, when given).
const json *FindSensor(const json &doc, int32_t type, bool isPrivate,
                       const std::string &name = "") {
    for (const json &sensor : doc["sensors"]["list"]) {
        if (sensor["type"] == type && sensor["private"] == isPrivate &&
            (name.empty() || sensor["name"] == name)) {
            return &sensor;
        }
    }
    return nullptr;
}

// The clients of one type of one module; empty when none.
std::set<std::string> Clients(const json &doc, const std::string &module, uint32_t type) {
    std::set<std::string> out;
    for (const json &entry : doc["modules"]) {
        if (entry["name"] != module || !entry["clients"].is_array()) {
            continue;
        }
        for (const json &row : entry["clients"]) {
            if (row["type"] == type) {
                for (const json &client : row["clients"]) {
                    out.insert(client.get<std::string>());
                }
            }
        }
    }
    return out;
}

}  // namespace

TEST_F(HalFixture, DumpHoldsEverySensorAndEachModulesClients) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("flip", "on", "app"), "enable flip motion");
    Run("posture-on", "20", "app");
    Run("ar-on", "3,1,0,0", "ar");
    Run("camera-on", "0,300", "cam");

    // Settings go through the hub's thread and the camera's: wait until the
    // accelerometer runs and the camera client is recorded.
    json doc;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    for (;;) {
        doc = Parse(Run("dump"));
        const json *acc = doc.is_object() && doc["sensors"].is_object()
                              ? FindSensor(doc, kAccelerometer, false)
                              : nullptr;
        if ((acc != nullptr && (*acc)["enabled"] == true &&
             Clients(doc, "Camera", 0).count("cam") == 1) ||
            std::chrono::steady_clock::now() > deadline) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ASSERT_TRUE(doc.is_object());

    // Every sensor of the phone's sensor service, by type and name.
    ASSERT_TRUE(doc["sensors"].is_object()) << doc.dump(2);
    EXPECT_EQ(doc["sensors"]["serviceConnected"], true);
    const std::string service = Root() + "/vendor/lib64/libVyrSensor.so";
    void *handle = dlopen(service.c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr) << "the library has not loaded the sensor service";
    auto list = reinterpret_cast<VyrGetSensorList_t>(dlsym(handle, "VyrGetSensorList"));
    auto type = reinterpret_cast<VyrGetType_t>(dlsym(handle, "VyrGetType"));
    auto name = reinterpret_cast<VyrGetName_t>(dlsym(handle, "VyrGetName"));
    ASSERT_TRUE(list && type && name);
    VyrSensorRef const *sensors = nullptr;
    const int32_t count = list(&sensors);
    ASSERT_GT(count, 0);
    for (int32_t i = 0; i < count; ++i) {
        EXPECT_NE(FindSensor(doc, type(sensors[i]), false, name(sensors[i])), nullptr)
            << name(sensors[i]);
    }
    dlclose(handle);

    // The accelerometer runs at the largest rate its callers ask, and each
    // enabled sensor says who asked.
    const json &acc = *FindSensor(doc, kAccelerometer, false);
    ASSERT_FALSE(acc["requests"].empty()) << acc.dump();
    int32_t fastest = 0;
    for (const json &request : acc["requests"]) {
        EXPECT_TRUE(request["caller"].is_string());
        fastest = std::max(fastest, request["rate"].get<int32_t>());
    }
    EXPECT_EQ(acc["rate"], fastest);
    // Requests sit at the sensor that serves them, once per type.
    std::set<std::pair<int32_t, bool>> holders;
    for (const json &sensor : doc["sensors"]["list"]) {
        if (sensor["enabled"] == true) {
            EXPECT_FALSE(sensor["requests"].empty()) << sensor.dump();
        }
        if (!sensor["requests"].empty()) {
            EXPECT_TRUE(
                holders.emplace(sensor["type"].get<int32_t>(), sensor["private"].get<bool>())
                    .second)
                << sensor.dump();
        }
    }
    // The modem pseudo-sensor of the activities is one of the private ones.
    EXPECT_NE(FindSensor(doc, 0x1000000, true), nullptr);

    // Each module with its clients by type.
    std::set<std::string> modules;
    for (const json &entry : doc["modules"]) {
        modules.insert(entry["name"].get<std::string>());
        EXPECT_TRUE(entry["clients"].is_array()) << entry.dump();
    }
    for (const char *module :
         {"Activity", "TouchScreen", "Motion", "Camera", "Posture", "SensorHub", "WatchDog"}) {
        EXPECT_EQ(modules.count(module), 1u) << module;
    }
    EXPECT_EQ(Clients(doc, "Motion", 2), std::set<std::string>{"app"});   // flip
    EXPECT_EQ(Clients(doc, "Posture", 0), std::set<std::string>{"app"});  // posture
    // micro still: the module keeps its client under a name of its own
    // making, which begins with the client's.
    const std::set<std::string> still = Clients(doc, "Activity", 2);
    ASSERT_EQ(still.size(), 1u);
    EXPECT_EQ(still.begin()->rfind("ar", 0), 0u) << *still.begin();
    EXPECT_EQ(Clients(doc, "Camera", 0).count("cam"), 1u);  // face direction

    // The closed libraries those clients needed.
    std::set<std::string> libraries;
    for (const json &library : doc["libraries"]) {
        libraries.insert(library["path"].get<std::string>());
        EXPECT_GE(library["wrappers"].get<int>(), 1);
    }
    for (const char *path : {"/vendor/lib64/libVyrSensor.so", "/vendor/lib64/libmotion.so",
                             "/vendor/lib64/libmicroartolvi.so"}) {
        EXPECT_EQ(libraries.count(path), 1u) << path << " in " << doc["libraries"].dump();
    }

    // Queues, the log thread, the flag word and the memory.
    EXPECT_TRUE(doc["queues"]["sensor"]["depth"].is_number_unsigned());
    EXPECT_EQ(doc["queues"]["sensor"]["dropped"], 0);
    EXPECT_GT(doc["queues"]["sensor"]["handled"].get<uint64_t>(), 0u);
    EXPECT_EQ(doc["queues"]["sensor"]["threadRunning"], true);
    EXPECT_TRUE(doc["queues"]["camera"]["depth"].is_number_unsigned());
    EXPECT_TRUE(doc["logThread"]["logEnabled"].is_boolean());
    EXPECT_TRUE(doc["logThread"]["framesWritten"].is_number_unsigned());
    EXPECT_TRUE(doc["halStatus"]["word"].is_number_unsigned());
    EXPECT_TRUE(doc["halStatus"]["flags"].is_array());
    EXPECT_GT(doc["pssKb"].get<uint64_t>(), 0u);

    // The flag word follows a screen change.
    Run("SCREEN_ON");
    json on = Parse(Run("dump"));
    EXPECT_NE(
        std::find(on["halStatus"]["flags"].begin(), on["halStatus"]["flags"].end(), "SCREEN_ON"),
        on["halStatus"]["flags"].end());
    Run("SCREEN_OFF");
    json off = Parse(Run("dump"));
    EXPECT_EQ(
        std::find(off["halStatus"]["flags"].begin(), off["halStatus"]["flags"].end(), "SCREEN_ON"),
        off["halStatus"]["flags"].end());
}

TEST_F(HalFixture, DumpIsListedAndRefusesParameters) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_NE(Run("help").find("\ndump\n"), std::string::npos);
    EXPECT_EQ(Run("dump", "sensors"), "usage: vyrd dump");
    EXPECT_EQ(Run("dump", "1"), "usage: vyrd dump");
    // Before any client the document is whole, and a client name with
    // quotes, a line end and bytes outside ASCII cannot break it.
    json doc = json::parse(Run("dump", "", "a \"quoted\"\n\xff name"), nullptr, false);
    ASSERT_FALSE(doc.is_discarded());
    EXPECT_TRUE(doc["sensors"]["serviceConnected"].is_boolean());
    Run("flip", "on", "a \"quoted\"\n\xff name");
    json named = json::parse(Run("dump"), nullptr, false);
    ASSERT_FALSE(named.is_discarded());
    bool found = false;
    for (const json &entry : named["modules"]) {
        if (entry["name"] == "Motion") {
            for (const json &row : entry["clients"]) {
                for (const json &client : row["clients"]) {
                    found = found || client == "a \"quoted\"\n\u00ff name";
                }
            }
        }
    }
    EXPECT_TRUE(found) << named["modules"].dump();
}

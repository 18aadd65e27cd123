// The camera through the exported table of the built library, as the daemon
// drives it: commands in, the simulated always-on service's answers, result
// messages out of the notify callback.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "libs/VyrAoClient/vyr_ao_client_sim.h"
#include "support/HalFixture.h"

using vyrtest::HalFixture;

namespace {

class CameraTableTest : public HalFixture {
protected:
    // The always-on stand-in as the library loaded it (with the first
    // camera event).
    void *AoService() {
        const std::string path = Root() + "/vendor/lib64/libVyrAoClient.so";
        void *handle = nullptr;
        for (int i = 0; i < 300 && handle == nullptr; ++i) {
            handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
            if (handle == nullptr) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        }
        return handle;
    }
};

TEST_F(CameraTableTest, RotationOfTheServiceReachesTheDirectionClient) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("camera-on", "0,300", "face-client"), "");
    void *ao = AoService();
    ASSERT_NE(ao, nullptr);
    auto rotate = reinterpret_cast<VyrAoSimRotation_t>(dlsym(ao, "VyrAoSimRotation"));
    ASSERT_NE(rotate, nullptr);
    // The motion registration follows the setting on the Camera thread.
    bool sent = false;
    for (int i = 0; i < 300 && !sent; ++i) {
        sent = rotate(1) == 0;
        if (!sent) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    ASSERT_TRUE(sent);
    EXPECT_TRUE(WaitForMessage([](const vyr_msg_t &msg) {
        return msg.client == "face-client" && msg.type == 0 && msg.dataSize == 5 &&
               msg.data == std::vector<int32_t>{1, 1, 0, 0, 0};
    }));
    // Another client's type outside the product is refused.
    EXPECT_EQ(Run("camera-on", "7,300"), "");
    EXPECT_TRUE(WaitForLog("camera type: 7 not config in xml"));
    dlclose(ao);
}

}  // namespace

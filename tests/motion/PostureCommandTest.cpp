// Posture requests through the command table: replies, the fold library
// following its clients, and results sent by hand.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/HalFixture.h"

using vyrtest::HalFixture;

namespace {

class PostureCommandTest : public HalFixture {
protected:
    bool FoldLoaded() const {
        const std::string path = Root() + "/vendor/lib64/libVyrFold.so";
        void *probe = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (probe == nullptr) {
            return false;
        }
        dlclose(probe);
        return true;
    }
};

}  // namespace

TEST_F(PostureCommandTest, OnOffRepliesAndLibraryLifetime) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("posture-on", ""), "usage: posture-on rate");
    EXPECT_FALSE(FoldLoaded());
    EXPECT_EQ(Run("posture-off", "", "a"), "posture off done");
    EXPECT_TRUE(LogcatHas("posture already disable"));

    EXPECT_EQ(Run("posture-on", "100", "a"), "posture on done");
    EXPECT_TRUE(LogcatHas("posture on rate: 100"));
    EXPECT_TRUE(FoldLoaded());
    EXPECT_TRUE(LogcatHas("Posture/Version:1.5.2/VyrFold-standin-1.0.0"));
    // The motion type of the posture reaches the same switch.
    EXPECT_EQ(Run("motion-on", "20,3", "b"), "");
    EXPECT_EQ(Run("posture-off", "x", "a"), "posture off done");
    EXPECT_TRUE(FoldLoaded());
    EXPECT_FALSE(LogcatHas("algo lib reset"));
    EXPECT_EQ(Run("motion-off", "20", "b"), "");
    EXPECT_TRUE(LogcatHas("algo lib reset"));
    EXPECT_FALSE(FoldLoaded());
}

TEST_F(PostureCommandTest, SetSendsAResultToTheClients) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("posture-set", "1,2,3"), "usage: posture-set postureType,hingeAngle,info");
    EXPECT_EQ(Run("posture-set", "0x2,90"), "usage: posture-set postureType,hingeAngle,info");
    // Nobody listens yet.
    EXPECT_EQ(Run("posture-set", "0x2,90,0"), "posture-set 0x2,90,0 done");
    EXPECT_TRUE(LogcatHas("type 0 not found any clients callback"));
    EXPECT_TRUE(Messages().empty());

    Run("posture-on", "1", "app");
    ClearMessages();
    EXPECT_EQ(Run("posture-set", "0x1000,7,-1"), "posture-set 0x1000,7,-1 done");
    EXPECT_TRUE(LogcatHas("postureType: POSTURE_POSTURE_EXCEPTION, hingeAngle: 7, info: -1"));
    ASSERT_TRUE(WaitForMessages(1));
    const vyr_msg_t msg = Messages().at(0);
    EXPECT_EQ(msg.client, "app");
    EXPECT_EQ(msg.type, 0);
    EXPECT_EQ(msg.data, (std::vector<int32_t>{4096, 7, -1}));
}

TEST_F(PostureCommandTest, MissingFoldLibraryRecordsNoClient) {
    MakeSandbox(vyrsim::SandboxOptions());
    std::filesystem::remove(Root() + "/vendor/lib64/libVyrFold.so");
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("posture-on", "20"), "posture on done");
    EXPECT_TRUE(LogcatHas("LibVyrPosture init failed"));
    EXPECT_EQ(Run("posture-off"), "posture off done");
    EXPECT_TRUE(LogcatHas("posture already disable"));
}

TEST_F(PostureCommandTest, MainlineTwelveHasNoPostureModule) {
    vyrsim::SandboxOptions options;
    options.properties["ro.product.system.name"] = "mainline";
    options.properties["ro.build.version.release"] = "12";
    MakeSandbox(options);
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("posture-on", "1"), "test send unsupported command !");
    EXPECT_TRUE(LogcatHas("systemName: mainline, curVersion: 12"));
}

TEST_F(PostureCommandTest, MainlineThirteenHasIt) {
    vyrsim::SandboxOptions options;
    options.properties["ro.product.system.name"] = "mainline";
    options.properties["ro.build.version.release"] = "13";
    MakeSandbox(options);
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("posture-on", "1"), "posture on done");
}

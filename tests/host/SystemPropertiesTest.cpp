#include <sys/system_properties.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/TestFiles.h"

using vyrtest::ReadText;
using vyrtest::TempDir;
using vyrtest::WriteText;

namespace {

std::string Get(const char *name) {
    char value[PROP_VALUE_MAX];
    int n = __system_property_get(name, value);
    EXPECT_EQ(n, static_cast<int>(strlen(value)));
    return value;
}

class SystemPropertiesTest : public ::testing::Test {
protected:
    void SetUp() override { setenv("VYR_ROOT", mRoot.Path().c_str(), 1); }
    void TearDown() override { unsetenv("VYR_ROOT"); }
    std::string StorePath() const { return mRoot.Path() + "/properties"; }

    TempDir mRoot;
};

TEST_F(SystemPropertiesTest, RoundTripAndValueLimits) {
    EXPECT_EQ(Get("odm.vyr.loglevel"), "");
    EXPECT_EQ(__system_property_set("odm.vyr.loglevel", "4"), 0);
    EXPECT_EQ(__system_property_set("odm.vyr.loglevel", "3"), 0);
    EXPECT_EQ(Get("odm.vyr.loglevel"), "3");
    EXPECT_EQ(ReadText(StorePath()), "odm.vyr.loglevel=3\n");

    std::string longest(PROP_VALUE_MAX - 1, 'a');
    EXPECT_EQ(__system_property_set("odm.vyr.arlist", longest.c_str()), 0);
    EXPECT_EQ(Get("odm.vyr.arlist"), longest);
    std::string tooLong(PROP_VALUE_MAX, 'b');
    EXPECT_EQ(__system_property_set("odm.vyr.arlist", tooLong.c_str()), -1);
    EXPECT_EQ(Get("odm.vyr.arlist"), longest);

    EXPECT_EQ(__system_property_set(nullptr, "1"), -1);
    EXPECT_EQ(__system_property_set("odm.vyr.x", nullptr), -1);
    EXPECT_EQ(__system_property_set("", "1"), -1);
    EXPECT_EQ(__system_property_set("odm..vyr", "1"), -1);
    EXPECT_EQ(__system_property_set("odm.vyr=x", "1"), -1);
    EXPECT_EQ(__system_property_set("odm.vyr.x", "two\nlines"), -1);
    EXPECT_EQ(Get("odm.vyr.x"), "");
}

TEST_F(SystemPropertiesTest, ReadOnlyPropertiesAreSetOnce) {
    EXPECT_EQ(__system_property_set("ro.odm.vyr.usertype", "3"), 0);
    EXPECT_EQ(__system_property_set("ro.odm.vyr.usertype", "5"), -1);
    EXPECT_EQ(Get("ro.odm.vyr.usertype"), "3");

    WriteText(StorePath(), ReadText(StorePath()) + "ro.build.type=user\n");
    EXPECT_EQ(__system_property_set("ro.build.type", "eng"), -1);
    EXPECT_EQ(Get("ro.build.type"), "user");
}

TEST_F(SystemPropertiesTest, ValueSetByAnotherProcessIsRead) {
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        _exit(__system_property_set("odm.vyr.hal_status", "192") == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(Get("odm.vyr.hal_status"), "192");
}

TEST_F(SystemPropertiesTest, ConcurrentSettersLoseNothing) {
    constexpr int kNames = 40;
    constexpr int kThreads = 4;
    auto setMany = [](const std::string &prefix) {
        bool ok = true;
        for (int i = 0; i < kNames; ++i) {
            std::string name = prefix + std::to_string(i);
            ok = __system_property_set(name.c_str(), name.c_str()) == 0 && ok;
        }
        return ok;
    };

    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        _exit(setMany("child.") ? 0 : 1);
    }
    std::vector<std::thread> threads;
    std::vector<char> results(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] { results[t] = setMany("t" + std::to_string(t) + "."); });
    }
    for (auto &thread : threads) {
        thread.join();
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    std::vector<std::string> prefixes = {"child."};
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_TRUE(results[t]) << "thread " << t;
        prefixes.push_back("t" + std::to_string(t) + ".");
    }
    for (const auto &prefix : prefixes) {
        for (int i = 0; i < kNames; ++i) {
            std::string name = prefix + std::to_string(i);
            EXPECT_EQ(Get(name.c_str()), name);
        }
    }
}

TEST_F(SystemPropertiesTest, HandEditedFileIsSeenAndKept) {
    std::string overlong(120, 'z');
    WriteText(StorePath(),
              "# written by hand\nodm.vyr.frame_timer=250\nno separator\n"
              "odm.vyr.note=a = b\nodm.vyr.big=" +
                  overlong + "\n");
    EXPECT_EQ(Get("odm.vyr.frame_timer"), "250");
    EXPECT_EQ(Get("odm.vyr.note"), "a = b");
    EXPECT_EQ(Get("odm.vyr.big"), overlong.substr(0, PROP_VALUE_MAX - 1));

    EXPECT_EQ(__system_property_set("odm.vyr.frame_timer", "500"), 0);
    EXPECT_EQ(__system_property_set("odm.vyr.new", "1"), 0);
    EXPECT_EQ(ReadText(StorePath()),
              "# written by hand\nodm.vyr.frame_timer=500\nno separator\n"
              "odm.vyr.note=a = b\nodm.vyr.big=" +
                  overlong + "\nodm.vyr.new=1\n");

    WriteText(StorePath(), "odm.vyr.frame_timer=750\n");
    EXPECT_EQ(Get("odm.vyr.frame_timer"), "750");
    EXPECT_EQ(Get("odm.vyr.new"), "");
}

TEST(SystemPropertiesLocalTest, WithoutSandboxPropertiesStayInProcess) {
    TempDir notADir;
    std::string file = notADir.Path() + "/file";
    WriteText(file, "");
    setenv("VYR_ROOT", file.c_str(), 1);

    EXPECT_EQ(__system_property_set("odm.vyr.local", "on"), 0);
    EXPECT_EQ(Get("odm.vyr.local"), "on");
    EXPECT_EQ(__system_property_set("ro.vyr.local", "1"), 0);
    EXPECT_EQ(__system_property_set("ro.vyr.local", "2"), -1);
    EXPECT_EQ(Get("ro.vyr.local"), "1");
    EXPECT_EQ(ReadText(file), "");
    unsetenv("VYR_ROOT");
}

}  // namespace

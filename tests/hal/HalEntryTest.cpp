// The library through its exported table, in a fresh sandbox per test.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <regex>

#include "support/HalFixture.h"

using ::testing::HasSubstr;
using ::testing::Not;
using vyrtest::HalFixture;

namespace {

std::string Shell(const std::string &command) {
    std::string output;
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return output;
    }
    char buffer[512];
    while (fgets(buffer, sizeof(buffer), pipe) != nullptr) {
        output += buffer;
    }
    pclose(pipe);
    return output;
}

}  // namespace

TEST(HalExports, OnlyTheTwoEntryPointsAreExported) {
    std::string symbols = Shell(std::string("nm -D --defined-only ") + VYR_LIB_PATH);
    std::regex row("^[0-9a-f]+ ([A-Za-z]) (\\S+)$");
    std::vector<std::string> ours;
    std::istringstream lines(symbols);
    for (std::string line; std::getline(lines, line);) {
        std::smatch m;
        if (std::regex_match(line, m, row) && m[1] != "A") {
            ours.push_back(m[2]);
        }
    }
    std::sort(ours.begin(), ours.end());
    EXPECT_EQ(ours, (std::vector<std::string>{"get_vyr_hal_stub", "get_vyr_hal_version"}));
}

TEST_F(HalFixture, StubReturnsTheSameTableAndVersion) {
    mLib = dlopen(VYR_LIB_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(mLib, nullptr);
    auto stub = reinterpret_cast<get_vyr_hal_stub_t>(dlsym(mLib, "get_vyr_hal_stub"));
    auto version = reinterpret_cast<get_vyr_hal_version_t>(dlsym(mLib, "get_vyr_hal_version"));
    ASSERT_NE(stub, nullptr);
    ASSERT_NE(version, nullptr);
    EXPECT_EQ(stub(), stub());
    EXPECT_STREQ(version(), "0.0.3");
    EXPECT_TRUE(WaitForLog("I vyr_tolvi: get_vyr_hal_stub enter"));
}

TEST_F(HalFixture, StartsInOrderAndPublishesState) {
    ASSERT_EQ(StartHal(), 0);
    std::string log = Logcat();
    size_t hub = log.find("init module: SensorHub");
    size_t dog = log.find("init module: WatchDog");
    ASSERT_NE(hub, std::string::npos);
    ASSERT_NE(dog, std::string::npos);
    EXPECT_LT(hub, dog);
    EXPECT_THAT(log, HasSubstr("vyr hal init consume"));
    EXPECT_EQ(Property("odm.vyr.dae_alive"), "true");
    EXPECT_EQ(Property("odm.vyr.dae_reboot_times"), "1");
    EXPECT_EQ(Property("odm.vyr.service_enable"), "true");
    EXPECT_EQ(Property("odm.vyr.ver_alg"), "0.0.3");
    EXPECT_THAT(Property("odm.vyr.ver_hal"), HasSubstr("VyrHal/Version:1.5.2/BuildTime:"));
    // Screen on and working, saved as a decimal word.
    EXPECT_EQ(Property("odm.vyr.hal_status"), "34");
}

TEST_F(HalFixture, SecondInitOnlyReplacesTheCallback) {
    ASSERT_EQ(StartHal(), 0);
    ASSERT_EQ(StartHal(), 0);
    std::string log = Logcat();
    size_t first = log.find("vyr hal init consume");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(log.find("vyr hal init consume", first + 1), std::string::npos);
    EXPECT_EQ(Property("odm.vyr.dae_reboot_times"), "1");
}

TEST_F(HalFixture, RebootCounterGrowsAcrossStarts) {
    vyrsim::SandboxOptions options;
    options.properties["odm.vyr.dae_reboot_times"] = "41";
    MakeSandbox(options);
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Property("odm.vyr.dae_reboot_times"), "42");
}

TEST_F(HalFixture, NullTraceHooksAreAcceptedWithAnErrorLine) {
    vyr_sys_device_t partial{nullptr, nullptr, nullptr};
    ASSERT_EQ(StartHal(&partial), 0);
    EXPECT_TRUE(LogcatHas("get VyrSys trace interface fail, using default setting."));
}

TEST_F(HalFixture, HelpListsSortedNamesWithoutHeader) {
    ASSERT_EQ(StartHal(), 0);
    std::string help = Run("help");
    EXPECT_THAT(help, Not(HasSubstr("support below")));
    std::vector<std::string> names;
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) {
        names.push_back(line);
    }
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    for (const char *name :
         {"SCREEN_OFF", "SCREEN_ON", "USER_PRESENT", "callback", "client-disable", "fmqSize",
          "help", "loglevel", "power_time", "reboot", "starttime", "systrace", "version"}) {
        EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
    }
    EXPECT_EQ(help.back(), '\n');
}

TEST_F(HalFixture, LogLevelCommand) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("loglevel"), "3");
    EXPECT_EQ(Run("loglevel", "4"), "4");
    EXPECT_EQ(Property("odm.vyr.loglevel"), "4");
    EXPECT_EQ(Run("loglevel", "9"), "3");
    EXPECT_TRUE(LogcatHas("set logleve as 9, actually 3"));
    EXPECT_EQ(Run("loglevel", "0"), "3");
    EXPECT_EQ(Run("loglevel", "5"), "5");
    // Text fails the standard conversion: the entry survives and logs it.
    EXPECT_EQ(Run("loglevel", "high"), "");
    EXPECT_TRUE(LogcatHas("vyr_run_command failed"));
    EXPECT_EQ(Run("loglevel"), "5");
}

TEST_F(HalFixture, LookupIgnoresCaseAndTrimsNonLetters) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("screen_off"), "receive screen off");
    EXPECT_EQ(Property("odm.vyr.hal_status"), "32");
    EXPECT_EQ(Run(" SCREEN_ON\n"), "receive screen on");
    EXPECT_EQ(Property("odm.vyr.hal_status"), "34");
    EXPECT_EQ(Run("42help7"), Run("help"));
    EXPECT_EQ(Run("1234", "", "app"), "app send unsupported command !");
    EXPECT_EQ(Run("no-such-command", "x", "app"), "app send unsupported command !");
    EXPECT_TRUE(LogcatHas("not found cmd = no-such-command, param = x"));
    EXPECT_EQ(Run("USER_PRESENT"), "receive user present");
}

TEST_F(HalFixture, CallbackCommandInjectsAResult) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("callback", "a,b"), "usage: vyrd callback client,eventType,eventCode");
    EXPECT_EQ(Run("callback"), "usage: vyrd callback client,eventType,eventCode");
    EXPECT_EQ(Run("callback", "app,7,x9"), "send msg to app eventType=7 eventCode=x9");
    ASSERT_TRUE(WaitForMessages(1));
    auto msgs = Messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].client, "app");
    EXPECT_EQ(msgs[0].type, 7);
    EXPECT_EQ(msgs[0].dataSize, 2);
    EXPECT_EQ(msgs[0].data, (std::vector<int32_t>{1, 0}));
}

TEST_F(HalFixture, FmqSizeWithoutCameraIs4096) {
    vyrsim::SandboxOptions options;
    options.productXml = vyrsim::ProductXmlFor("<motion><item>MOTION_TYPE_FLIP</item></motion>");
    MakeSandbox(options);
    ASSERT_EQ(StartHal(), 0);
    std::vector<uint8_t> out = RunRaw("fmqSize");
    ASSERT_EQ(out.size(), 4u);
    int32_t size = 0;
    memcpy(&size, out.data(), sizeof(size));
    EXPECT_EQ(size, 4096);
}

TEST_F(HalFixture, FmqSizeWithCameraHoldsTwoTofFrames) {
    ASSERT_EQ(StartHal(), 0);
    std::vector<uint8_t> out = RunRaw("fmqSize");
    ASSERT_EQ(out.size(), 4u);
    int32_t size = 0;
    memcpy(&size, out.data(), sizeof(size));
    EXPECT_EQ(size, 614400);
}

TEST_F(HalFixture, ClientDisableNamesTheSender) {
    ASSERT_EQ(StartHal(), 0);
    EXPECT_EQ(Run("client-disable", "", "com.app"), "com.app disable ok");
    EXPECT_TRUE(LogcatHas("client: com.app"));
}

TEST_F(HalFixture, VersionStartTimeAndSystrace) {
    ASSERT_EQ(StartHal(), 0);
    std::string versions = Run("version");
    EXPECT_THAT(versions, HasSubstr("VyrHal/Version:1.5.2/"));
    EXPECT_THAT(versions, HasSubstr("WatchDog/Version:1.5.2/"));
    EXPECT_TRUE(std::regex_search(Run("starttime"),
                                  std::regex(R"(^\d{4}\.\d\d\.\d\d_\d\d\.\d\d\.\d\d\.\d{3}\n)"
                                             R"(duration is \d+ ms$)")));
    EXPECT_EQ(Run("systrace"), "false");
    EXPECT_EQ(Run("systrace", "ON"), "true");
    EXPECT_EQ(Run("systrace", "maybe"), "true");
    EXPECT_EQ(Run("systrace", "0"), "false");
}

TEST_F(HalFixture, GetDataAnswersThroughTheTable) {
    ASSERT_EQ(StartHal(), 0);
    std::vector<uint8_t> out;
    EXPECT_EQ(Ops().vyr_get_data("unknown", 12, out), 0);
    EXPECT_EQ(std::string(out.begin(), out.end()), "HandleDate send unsupported command !");
    EXPECT_TRUE(LogcatHas("not found cmd = unknown, param = 12"));
    EXPECT_TRUE(LogcatHas("get_data size: 37"));
}

// The SOS path ends the process: run it in a child.
class SosTest : public HalFixture {
protected:
    int RebootInChild() {
        pid_t pid = fork();
        if (pid == 0) {
            if (StartHal() != 0) {
                _exit(3);
            }
            Run("reboot");
            _exit(4);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return status;
    }
};

TEST_F(SosTest, RebootExitsWithZero) {
    int status = RebootInChild();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(Property("odm.vyr.dae_alive"), "true");
}

// A null notify callback reached by a result is a missing member: SOS.
class NullNotifySos : public HalFixture {
protected:
    int SosInChild() {
        pid_t pid = fork();
        if (pid == 0) {
            mLib = dlopen(VYR_LIB_PATH, RTLD_NOW | RTLD_LOCAL);
            auto stub = reinterpret_cast<get_vyr_hal_stub_t>(dlsym(mLib, "get_vyr_hal_stub"));
            auto *ops = static_cast<vyr_hal_ops_t *>(stub());
            if (ops->vyr_init(vyr_notify_t{nullptr}, nullptr) != 0) {
                _exit(3);
            }
            std::string param = "app,1,2";
            std::vector<uint8_t> out;
            ops->vyr_run_command("test", "callback", {param.begin(), param.end()}, out);
            _exit(4);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return status;
    }
};

TEST_F(NullNotifySos, ExitsWithZeroWithoutDump) {
    MakeSandbox(vyrsim::SandboxOptions());
    int status = SosInChild();
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(LogcatHas("mNotify is nullptr"));
    EXPECT_TRUE(LogcatHas("VyrHal::DoSos+, GetNotify, 829"));
    EXPECT_EQ(Property("odm.vyr.dae_bootflag"), "true");
    EXPECT_EQ(Property("odm.vyr.dae_alive"), "true");
}

TEST_F(NullNotifySos, AbortsOnTheAssertionWhenADumpIsWanted) {
    vyrsim::SandboxOptions options;
    options.properties["persist.odm.vyr.sos_dump"] = "1";
    MakeSandbox(options);
    int status = SosInChild();
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
    EXPECT_TRUE(LogcatHas("assertion \"mDoSos != true\" failed"));
}

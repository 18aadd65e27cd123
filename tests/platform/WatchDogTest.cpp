// The hang detector on a started HAL in a device sandbox: watch nodes, the
// tick, the SOS exit of an expired node (in a forked child), the command and
// the stop of the detached thread.
#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <map>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "hal/VyrHal.h"
#include "platform/WatchDog.h"
#include "sandbox/Sandbox.h"
#include "support/TestFiles.h"
#include "support/UnitSandbox.h"

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

// A phone without optional features: only the always-present modules start,
// WatchDog last.

constexpr const char *kFrameTimer = "odm.vyr.frame_timer";
constexpr const char *kSosDump = "persist.odm.vyr.sos_dump";

size_t Count(const std::string &text, const std::string &part) {
    size_t n = 0;
    for (size_t pos = text.find(part); pos != std::string::npos;
         pos = text.find(part, pos + part.size())) {
        ++n;
    }
    return n;
}

// Threads of this process named `name`.
int ThreadsNamed(const std::string &name) {
    int n = 0;
    DIR *dir = opendir("/proc/self/task");
    if (dir == nullptr) {
        return -1;
    }
    while (dirent *entry = readdir(dir)) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        std::string comm =
            vyrtest::ReadText(std::string("/proc/self/task/") + entry->d_name + "/comm");
        if (comm == name + "\n") {
            ++n;
        }
    }
    closedir(dir);
    return n;
}

class WatchDogTest : public vyrtest::UnitSandbox {
protected:
    void MakeSandbox(const std::map<std::string, std::string> &properties) {
        vyrsim::SandboxOptions options;
        options.productXml = vyrsim::ProductXmlFor("");
        options.properties = properties;
        std::string error;
        ASSERT_TRUE(vyrsim::CreateSandbox(mRoot.Path(), options, &error)) << error;
    }

    // A started HAL. It stays alive to the end of the process (reachable),
    // like the library's own instance, unless a test deletes it.
    static VyrHal *StartHal() {
        static std::vector<VyrHal *> *hals = new std::vector<VyrHal *>();
        VyrHal *hal = new VyrHal(nullptr);
        hals->push_back(hal);
        EXPECT_TRUE(hal->Init());
        EXPECT_TRUE(hal->HasWatchdog());
        return hal;
    }

    // Runs `body` on a started HAL in a child process, which must end within
    // `timeoutMs`; returns the wait status. A body that returns exits with 3.
    int RunInChild(const std::function<void(VyrHal &)> &body, int timeoutMs = 15000) {
        fflush(nullptr);
        pid_t child = fork();
        if (child == 0) {
            struct rlimit noCore = {0, 0};
            setrlimit(RLIMIT_CORE, &noCore);
            VyrHal *hal = StartHal();
            body(*hal);
            _exit(3);
        }
        EXPECT_GT(child, 0);
        if (child <= 0) {
            return -1;
        }
        int status = 0;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (waitpid(child, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                kill(child, SIGKILL);
                waitpid(child, &status, 0);
                ADD_FAILURE() << "child did not end";
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return status;
    }

    std::string Property(const std::string &name) const {
        auto props = vyrsim::ReadProperties(mRoot.Path() + "/properties");
        auto it = props.find(name);
        return it == props.end() ? std::string() : it->second;
    }
    bool WaitForLog(const std::string &text, int timeoutMs = 3000) const {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (Logcat().find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }
};

}  // namespace

TEST_F(WatchDogTest, ExpiredNodeEndsTheProcessWithoutDump) {
    MakeSandbox({{kFrameTimer, "10"}});
    int status = RunInChild([](VyrHal &hal) {
        hal.GetWatchdog().ResetWatchNode("Stuck42", 50);
        hal.GetWatchdog().ResetWatchNode("Fine43", 600000);
        std::this_thread::sleep_for(std::chrono::seconds(10));
    });
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 0);

    std::string log = Logcat();
    std::smatch m;
    ASSERT_TRUE(std::regex_search(
        log, m,
        std::regex(R"(E vyr_tolvi: WatchDog::IsTimeout\[\d+\] Process Stuck42 no response, )"
                   R"(expect execution 50ms, timeout in (\d+)ms\.)")))
        << log;
    int late = std::stoi(m[1]);
    EXPECT_GE(late, 50);
    EXPECT_LT(late, 50 + 3000);  // a tick late at most, with generous slack
    EXPECT_THAT(log, Not(HasSubstr("Process Fine43 no response")));
    EXPECT_THAT(log, HasSubstr("VyrHal::DoSos+, ThreadProcess, 97"));
    EXPECT_EQ(Property("odm.vyr.dae_bootflag"), "true");
    EXPECT_EQ(Property("odm.vyr.dae_alive"), "true");
}

TEST_F(WatchDogTest, ExpiredNodeAbortsWhenADumpIsWanted) {
    MakeSandbox({{kFrameTimer, "10"}, {kSosDump, "true"}});
    int status = RunInChild([](VyrHal &hal) {
        ScopedWatchNode guard(hal.GetWatchdog(), "Hung77", 20);
        std::this_thread::sleep_for(std::chrono::seconds(10));
    });
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
    std::string log = Logcat();
    EXPECT_THAT(log, HasSubstr("Process Hung77 no response, expect execution 20ms"));
    EXPECT_THAT(log, HasSubstr("assertion \"mDoSos != true\" failed"));
}

TEST_F(WatchDogTest, TickZeroChecksWithoutPauseWhileNodesExist) {
    MakeSandbox({{kFrameTimer, "0"}});
    VyrHal *hal = StartHal();
    hal->SetLogLevel(4);
    WatchDog &dog = hal->GetWatchdog();
    dog.ResetWatchNode("Busy7", 600000);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    dog.CleanWatchNode("Busy7");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    size_t checks = Count(Logcat(), "Process Busy7 execution");
    EXPECT_GT(checks, 20u);
    // With nothing watched the thread sleeps again.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(Count(Logcat(), "Process Busy7 execution"), checks);
}

TEST_F(WatchDogTest, TickPacesTheChecks) {
    MakeSandbox({{kFrameTimer, "100"}});
    VyrHal *hal = StartHal();
    hal->SetLogLevel(4);
    WatchDog &dog = hal->GetWatchdog();
    dog.ResetWatchNode("Slow8", 600000);
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    size_t checks = Count(Logcat(), "Process Slow8 execution");
    dog.CleanWatchNode("Slow8");
    EXPECT_GE(checks, 1u);
    EXPECT_LE(checks, 4u);
}

TEST_F(WatchDogTest, NestedGuardsWithTheSameNameShareOneNode) {
    MakeSandbox({});
    VyrHal *hal = StartHal();
    WatchDog &dog = hal->GetWatchdog();
    {
        ScopedWatchNode outer(dog, "Nest1", 1000);
        ASSERT_EQ(dog.GetNodes().count("Nest1"), 1u);
        EXPECT_EQ(dog.GetNodes().at("Nest1").expectMs, 1000u);
        {
            ScopedWatchNode inner(&dog, "Nest1", 5000);
            EXPECT_EQ(dog.GetNodes().size(), 1u);
            EXPECT_EQ(dog.GetNodes().at("Nest1").expectMs, 5000u);
        }
        // The inner guard removed the node of the outer one.
        EXPECT_EQ(dog.GetNodes().count("Nest1"), 0u);
    }
    EXPECT_TRUE(dog.GetNodes().empty());

    ScopedWatchNode none(nullptr, "Nobody", 1);  // no dog: nothing happens
    EXPECT_TRUE(dog.GetNodes().empty());
}

// A second module object, never started: its nodes are checked only when
// asked, so every step can be looked at.
TEST_F(WatchDogTest, IsTimeoutChecksAndLogsEveryNode) {
    MakeSandbox({});
    VyrHal *hal = StartHal();
    hal->SetLogLevel(4);
    auto dog = std::make_unique<WatchDog>(*hal);
    EXPECT_FALSE(dog->IsTimeout());

    dog->ResetWatchNode("Alpha1", 0);
    dog->ResetWatchNode("Mid2", 600000);
    dog->ResetWatchNode("Zulu3", 0);
    EXPECT_TRUE(dog->IsTimeout());
    std::string log = Logcat();
    EXPECT_THAT(log, HasSubstr("Process Alpha1 no response, expect execution 0ms, timeout in"));
    EXPECT_THAT(log, HasSubstr("Process Zulu3 no response, expect execution 0ms, timeout in"));
    EXPECT_THAT(log, HasSubstr("D vyr_tolvi: WatchDog::IsTimeout"));
    EXPECT_THAT(log, HasSubstr("Process Mid2 execution "));
    EXPECT_THAT(log, Not(HasSubstr("Process Mid2 no response")));
    // Name order.
    EXPECT_LT(log.find("Process Alpha1 execution"), log.find("Process Mid2 execution"));
    EXPECT_LT(log.find("Process Mid2 execution"), log.find("Process Zulu3 execution"));

    dog->CleanWatchNode("Alpha1");
    dog->CleanWatchNode("Zulu3");
    dog->CleanWatchNode("NeverThere");
    EXPECT_FALSE(dog->IsTimeout());

    // A reset starts the node again.
    uint64_t start = dog->GetNodes().at("Mid2").startMs;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    dog->ResetWatchNode("Mid2", 0);
    EXPECT_GE(dog->GetNodes().at("Mid2").startMs, start + 20);
    EXPECT_EQ(dog->GetNodes().at("Mid2").expectMs, 0u);

    auto before = std::chrono::steady_clock::now();
    dog.reset();  // no thread: nothing to wait for
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(500));
}

TEST_F(WatchDogTest, PowerTimeAnswersBothCounters) {
    MakeSandbox({});
    VyrHal *hal = StartHal();
    std::vector<uint8_t> out{'x', 'y'};
    hal->VyrRunCommand("tester", "power_time", {}, out);
    EXPECT_EQ(std::string(out.begin(), out.end()), "active:0+idle:0");
}

TEST_F(WatchDogTest, ThreadIsNamedAndStopsWithItsModule) {
    MakeSandbox({});  // default tick of a second
    VyrHal *hal = StartHal();
    ASSERT_TRUE(WaitForLog("WatchDog::ThreadProcess["));
    int before = ThreadsNamed("vyr_WatchDog");
    EXPECT_GE(before, 1);

    auto dog = std::make_unique<WatchDog>(*hal);
    ASSERT_TRUE(dog->PreInit());
    EXPECT_TRUE(dog->IsRunning());
    ASSERT_TRUE(dog->LastInit());
    ASSERT_TRUE(dog->LastInit());  // a second call starts nothing
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (ThreadsNamed("vyr_WatchDog") < before + 1 &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(ThreadsNamed("vyr_WatchDog"), before + 1);

    // The thread is in its one-second tick sleep when the module goes.
    dog->ResetWatchNode("Tick1", 600000);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    auto start = std::chrono::steady_clock::now();
    dog.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));

    std::string log = Logcat();
    size_t quit = log.find("quit thread Process");
    size_t end = log.rfind("WatchDog::~WatchDog");
    ASSERT_NE(quit, std::string::npos);
    ASSERT_NE(end, std::string::npos);
    EXPECT_LT(quit, end);  // the thread was done before the destructor ended

    deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (ThreadsNamed("vyr_WatchDog") > before && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(ThreadsNamed("vyr_WatchDog"), before);
}

TEST_F(WatchDogTest, DestroyingTheHalStopsATickingWatchDog) {
    MakeSandbox({{kFrameTimer, "5"}});
    VyrHal *hal = new VyrHal(nullptr);
    ASSERT_TRUE(hal->Init());
    hal->GetWatchdog().ResetWatchNode("Held9", 600000);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    delete hal;
    EXPECT_THAT(Logcat(), HasSubstr("quit thread Process"));
}

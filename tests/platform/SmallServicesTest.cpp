// Version text, the wake lock on its sysfs nodes, thread scheduling and
// naming, the path gate and the text helpers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/HalVersion.h"
#include "platform/ThreadUtils.h"
#include "platform/Utils.h"
#include "platform/WakeLock.h"
#include "support/TestFiles.h"
#include "support/UnitSandbox.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using vyrtest::ReadText;
using vyrtest::TempDir;

namespace {

const std::string kNameBytes(WakeLock::kName, strlen(WakeLock::kName) + 1);

size_t Count(const std::string &text, const std::string &part) {
    size_t n = 0;
    for (size_t pos = text.find(part); pos != std::string::npos;
         pos = text.find(part, pos + part.size())) {
        ++n;
    }
    return n;
}

// A sandbox root and the logcat lines of the test in a file.
class ServiceSandbox : public vyrtest::UnitSandbox {
protected:
    void MakePowerNodes() const {
        mkdir(Real("/sys").c_str(), 0755);
        mkdir(Real("/sys/power").c_str(), 0755);
        vyrtest::WriteText(Real(WakeLock::kLockNode), "");
        vyrtest::WriteText(Real(WakeLock::kUnlockNode), "");
    }
    std::string LockNode() const { return ReadText(Real(WakeLock::kLockNode)); }
    std::string UnlockNode() const { return ReadText(Real(WakeLock::kUnlockNode)); }
};

}  // namespace

// ---- HalVersion ----

TEST(HalVersionTest, DefaultIsTheHalVersionWithBuildStamp) {
    HalVersion &version = HalVersion::Default();
    EXPECT_EQ(version.GetName(), "VyrHal");
    EXPECT_EQ(version.GetVersionNumber(), "1.5.2");
    EXPECT_EQ(version.GetText(), "1.5.2");
    std::string text = version.GetVersionText();
    EXPECT_THAT(text,
                MatchesRegex("VyrHal/Version:1\\.5\\.2/BuildTime:"
                             "[A-Z][a-z][a-z] [ 0-9][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}"));
    EXPECT_EQ(version.GetText(), text);
    EXPECT_EQ(&HalVersion::Default(), &version);
}

TEST(HalVersionTest, ModuleCopyChangesOnlyItself) {
    HalVersion copy = HalVersion::Default();
    copy.SetName("Motion");
    copy.SetVersion(10, 0, 7);
    copy.SetBuild("b1");
    EXPECT_EQ(copy.GetVersionText(), "Motion/Version:10.0.7/b1");
    EXPECT_EQ(copy.GetVersionNumber(), "10.0.7");
    EXPECT_THAT(HalVersion::Default().GetVersionText(), HasSubstr("VyrHal/Version:1.5.2/"));
}

// ---- WakeLock ----

TEST_F(ServiceSandbox, WakeLockCountsReferencesAndWritesNodesOnEdges) {
    MakePowerNodes();
    WakeLock lock;
    lock.Acquire(1);
    EXPECT_TRUE(lock.IsHeld());
    EXPECT_EQ(LockNode(), kNameBytes);  // with its NUL
    EXPECT_THAT(Logcat(), HasSubstr("D vyr_tolvi: sucess WakeLock acquire:VyrHAL_WAKEUP"));

    lock.Acquire(2);  // already held: only counts
    EXPECT_EQ(lock.GetCount(), 3u);
    EXPECT_EQ(LockNode(), kNameBytes);

    lock.Release(5);  // more than held: refused
    EXPECT_EQ(lock.GetCount(), 3u);
    EXPECT_THAT(Logcat(), HasSubstr("E vyr_tolvi: _in_count 5 is larger than _accu_count 3"));
    EXPECT_EQ(UnlockNode(), "");

    lock.Release(2);
    EXPECT_TRUE(lock.IsHeld());
    EXPECT_EQ(UnlockNode(), "");
    lock.Release(1);
    EXPECT_FALSE(lock.IsHeld());
    EXPECT_EQ(lock.GetCount(), 0u);
    EXPECT_EQ(UnlockNode(), kNameBytes);
    EXPECT_THAT(Logcat(), HasSubstr("D vyr_tolvi: sucess release VyrHAL_WAKEUP WakeLock"));

    // A new first reference writes the lock node again.
    lock.Acquire(1);
    EXPECT_EQ(Count(LockNode(), kNameBytes), 2u);
}

TEST_F(ServiceSandbox, WakeLockRefusesOverflowAndReleaseAllDropsEverything) {
    MakePowerNodes();
    WakeLock lock;
    lock.Acquire(4);
    lock.Acquire(0xFFFFFFFFu);
    EXPECT_EQ(lock.GetCount(), 4u);
    EXPECT_THAT(Logcat(), HasSubstr("_in_count -1 will overflow max of _accu_count 4"));
    lock.Acquire(0xFFFFFFFBu);  // exactly up to the maximum is fine
    EXPECT_EQ(lock.GetCount(), 0xFFFFFFFFu);

    lock.ReleaseAll();
    EXPECT_EQ(lock.GetCount(), 0u);
    EXPECT_FALSE(lock.IsHeld());
    EXPECT_EQ(UnlockNode(), kNameBytes);
    lock.ReleaseAll();  // not held: nothing more
    EXPECT_EQ(UnlockNode(), kNameBytes);
}

TEST_F(ServiceSandbox, WakeLockDestructionReleasesAHeldLock) {
    MakePowerNodes();
    {
        WakeLock lock;
        lock.Acquire(2);
    }
    EXPECT_EQ(UnlockNode(), kNameBytes);
    {
        WakeLock lock;  // never held: the unlock node is left alone
    }
    EXPECT_EQ(UnlockNode(), kNameBytes);
}

TEST_F(ServiceSandbox, WakeLockWithoutNodesLogsAndStillCounts) {
    WakeLock lock;
    std::string log = Logcat();
    EXPECT_THAT(log, HasSubstr("E vyr_tolvi: fatal error opening \"/sys/power/wake_lock\": "
                               "No such file or directory"));
    EXPECT_THAT(log, HasSubstr("fatal error opening \"/sys/power/wake_unlock\""));
    lock.Acquire(1);
    EXPECT_FALSE(lock.IsHeld());
    EXPECT_EQ(lock.GetCount(), 1u);
    EXPECT_THAT(Logcat(), HasSubstr("Not able to open fd for wakeup:VyrHAL_WAKEUP"));
    lock.Release(1);
    EXPECT_EQ(lock.GetCount(), 0u);
}

TEST_F(ServiceSandbox, WakeLockWaitEndsWithTheNextLockWrite) {
    MakePowerNodes();
    WakeLock lock;
    std::atomic<bool> woke{false};
    std::thread waiter([&] {
        lock.Wait();
        woke = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(woke.load());
    lock.Acquire(1);
    waiter.join();
    EXPECT_TRUE(woke.load());
    lock.Wait();  // held: returns at once
}

TEST_F(ServiceSandbox, WakeLockInstanceIsOneObjectOnTheSandboxNodes) {
    MakePowerNodes();
    WakeLock &lock = WakeLockInstance();
    EXPECT_EQ(&lock, &WakeLockInstance());
    lock.Acquire(1);
    lock.Release(1);
    EXPECT_EQ(LockNode(), kNameBytes);
    EXPECT_EQ(UnlockNode(), kNameBytes);
}

// ---- Thread services ----

TEST_F(ServiceSandbox, AffinityWithOnlyOutOfRangeValuesFailsAndLogs) {
    std::thread worker([] { EXPECT_EQ(ThreadSetAffInity({-1, 1024, 5000}), -1); });
    worker.join();
    EXPECT_THAT(Logcat(), HasSubstr("E vyr_tolvi: ThreadSetAffInity:Error =0x16"));
}

TEST_F(ServiceSandbox, AffinityPinsTheCallingThreadOnly) {
    cpu_set_t before;
    ASSERT_EQ(sched_getaffinity(0, sizeof(before), &before), 0);
    int first = -1;
    for (int cpu = 0; cpu < CPU_SETSIZE && first < 0; ++cpu) {
        if (CPU_ISSET(cpu, &before)) {
            first = cpu;
        }
    }
    ASSERT_GE(first, 0);
    std::thread worker([first] {
        EXPECT_EQ(ThreadSetAffInity({first, -3, 2048}), 0);
        cpu_set_t now;
        ASSERT_EQ(sched_getaffinity(0, sizeof(now), &now), 0);
        EXPECT_EQ(CPU_COUNT(&now), 1);
        EXPECT_TRUE(CPU_ISSET(first, &now));
    });
    worker.join();
    cpu_set_t after;
    ASSERT_EQ(sched_getaffinity(0, sizeof(after), &after), 0);
    EXPECT_TRUE(CPU_EQUAL(&before, &after));
    EXPECT_EQ(Logcat().find("ThreadSetAffInity"), std::string::npos);
}

TEST(ThreadServices, NameGetsThePrefix) {
    std::string name;
    std::thread worker([&name] {
        SetThreadName("Probe");
        char buffer[17] = {0};
        prctl(PR_GET_NAME, buffer, 0, 0, 0);
        name = buffer;
    });
    worker.join();
    EXPECT_EQ(name, "vyr_Probe");
}

TEST(ThreadServices, RoundRobinWhenPermitted) {
    int policy = -1;
    int ret = -2;
    std::thread worker([&] {
        ret = ThreadSetRR();
        policy = sched_getscheduler(0);
    });
    worker.join();
    if (ret != 0) {
        GTEST_SKIP() << "no right to real-time scheduling here";
    }
    EXPECT_EQ(policy, SCHED_RR);
}

// Without the right to real-time scheduling or a lower nice value, the
// fallback logs the warning and the thread goes on as it was.
TEST_F(ServiceSandbox, RoundRobinFallbackWhenNotPermitted) {
    fflush(nullptr);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        struct rlimit none = {0, 0};
        setrlimit(RLIMIT_RTPRIO, &none);
        setrlimit(RLIMIT_NICE, &none);
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct caps[2] = {};
        if (syscall(SYS_capget, &header, caps) == 0) {
            caps[0].effective &= ~(1u << CAP_SYS_NICE);
            syscall(SYS_capset, &header, caps);
        }
        int plain = ThreadSetRR();
        int before = getpriority(PRIO_PROCESS, 0);
        ThreadSetRRWithFallback();
        bool ok = plain == -1 && sched_getscheduler(0) == SCHED_OTHER &&
                  getpriority(PRIO_PROCESS, 0) == before;
        _exit(ok ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    std::string log = Logcat();
    // Only the form with the fallback warns.
    EXPECT_EQ(Count(log, "WARNING: Failed to set to RR scheduler"), 1u);
    EXPECT_THAT(log, HasSubstr("W vyr_tolvi: WARNING: Failed to set to RR scheduler, pid=" +
                               std::to_string(child) + ", ret=-1"));
}

// ---- Path gate and text helpers ----

TEST_F(ServiceSandbox, CheckPathResolvesInsideTheSandbox) {
    mkdir(Real("/data").c_str(), 0755);
    vyrtest::WriteText(Real("/data/present.txt"), "x");
    char resolved[PATH_MAX] = {0};
    ASSERT_NE(realpath(Real("/data/present.txt").c_str(), resolved), nullptr);
    EXPECT_EQ(CheckPath("/data/present.txt"), resolved);

    EXPECT_EQ(CheckPath("/data/missing.txt"), "");
    EXPECT_EQ(Logcat(), "");  // a missing file is silent

    // Too long a path is refused with an error line (the logcat stand-in
    // cuts that line short, the path comes first).
    EXPECT_EQ(CheckPath("/data/" + std::string(4100, 'a')), "");
    EXPECT_THAT(Logcat(), HasSubstr("E vyr_tolvi: " + Real("/data/aaaa")));
}

TEST(TextHelpers, SplitKeepsEmptyPieces) {
    EXPECT_THAT(Split("a,,b", ","), ElementsAre("a", "", "b"));
    EXPECT_THAT(Split("a,", ","), ElementsAre("a", ""));
    EXPECT_THAT(Split(",a", ","), ElementsAre("", "a"));
    EXPECT_THAT(Split("", ","), ElementsAre(""));
    EXPECT_THAT(Split("a,b", ""), ElementsAre("a,b"));
    EXPECT_THAT(Split("k=v==w", "=="), ElementsAre("k=v", "w"));
}

TEST(TextHelpers, TrimBothEnds) {
    EXPECT_EQ(Trim(" \t\r\n x y \n\v\f"), "x y");
    EXPECT_EQ(Trim("   "), "");
    EXPECT_EQ(Trim(""), "");
    EXPECT_EQ(Trim("abc"), "abc");
}

TEST(TextHelpers, FormatTimeForms) {
    setenv("TZ", "UTC", 1);
    tzset();
    const uint64_t ms = 1700000000123ULL;  // 2023-11-14 22:13:20.123 UTC
    EXPECT_EQ(FormatTime(ms, 0), "2023.11.14_22.13.20.123");
    EXPECT_EQ(FormatTime(ms, 1), "2023-11-14 22.13.20.123");
    EXPECT_EQ(FormatTime(ms, 2), "2023-11-14 22:13:20");
    EXPECT_EQ(FormatTime(1700000000005ULL, 0), "2023.11.14_22.13.20.005");
    EXPECT_EQ(FormatTime(ms, 3), "");
    EXPECT_EQ(FormatTime(ms, -1), "");
}

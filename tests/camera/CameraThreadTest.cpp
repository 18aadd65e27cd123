// Scheduling of the Camera thread: the face pipeline computes for tens of
// milliseconds a frame, so its thread runs at the normal policy while the
// sensor hub's thread keeps the round-robin policy of the library's threads.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

#include "camera/CameraFixture.h"

namespace vyrtest {
namespace {

// The policy of each named thread of this process.
std::map<std::string, int> ThreadPolicies() {
    std::map<std::string, int> policies;
    DIR *dir = opendir("/proc/self/task");
    if (dir == nullptr) {
        return policies;
    }
    while (dirent *entry = readdir(dir)) {
        const int tid = atoi(entry->d_name);
        if (tid <= 0) {
            continue;
        }
        std::ifstream comm(std::string("/proc/self/task/") + entry->d_name + "/comm");
        std::string name;
        std::getline(comm, name);
        policies[name] = sched_getscheduler(tid);
    }
    closedir(dir);
    return policies;
}

class CameraThreadTest : public CameraFixture {};

TEST_F(CameraThreadTest, CameraThreadRunsAtTheNormalPolicyBesideTheRoundRobinHub) {
    StartHal();
    // A handled event: the thread has named and placed itself.
    ASSERT_TRUE(Drain());
    std::map<std::string, int> policies = ThreadPolicies();
    ASSERT_TRUE(policies.count("vyr_Camera"));
    ASSERT_TRUE(policies.count("vyr_SensorHub"));
    if (policies["vyr_SensorHub"] != SCHED_RR) {
        GTEST_SKIP() << "no right to real-time scheduling here";
    }
    EXPECT_EQ(policies["vyr_Camera"], SCHED_OTHER);
}

}  // namespace
}  // namespace vyrtest

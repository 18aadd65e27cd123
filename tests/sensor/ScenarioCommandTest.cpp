// vyrd's "scenario" built-in drives the sensor service that the library
// loaded; with the debug level the samples show in the log.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/Emulator.h"
#include "support/HalFixture.h"

namespace {

std::string RunVyrd(const std::string &dir, const std::string &root, const std::string &commands) {
    const std::string out = dir + "/vyrd.out";
    std::string line = vyrtest::EmulatorShellPrefix() + VYRD_PATH + " --root " + root +
                       " --quiet-log" + commands + " > " + out + " 2> " + dir + "/vyrd.err";
    int status = std::system(line.c_str());
    EXPECT_EQ(status, 0) << vyrtest::ReadText(dir + "/vyrd.err");
    return vyrtest::ReadText(out);
}

}  // namespace

TEST(ScenarioCommand, PlaysOnTheLoadedSensorServiceAndSamplesShowInTheLog) {
    vyrtest::TempDir dir;
    ASSERT_FALSE(dir.Path().empty());
    const std::string root = dir.Path() + "/phone";
    std::string out = RunVyrd(dir.Path(), root,
                              " -c 'scenario walk'"
                              " -c 'loglevel 4'"
                              " -c 'motion-on 2,0'"
                              " -c 'sleep 200'"
                              " -c 'scenario walk'"
                              " -c 'scenario /data/none.csv'"
                              " -c 'sleep 300'");
    EXPECT_NE(out.find("the sensor service is not loaded yet"), std::string::npos) << out;
    EXPECT_NE(out.find("scenario walk: playing"), std::string::npos) << out;
    EXPECT_NE(out.find("scenario /data/none.csv: failed"), std::string::npos) << out;
    std::string log = vyrtest::ReadText(root + "/logcat.txt");
    EXPECT_NE(log.find("type=1 get one event"), std::string::npos);
}

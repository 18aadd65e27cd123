// The command table on its own: rows, lookup and the default answer.
#include <gtest/gtest.h>

#include "hal/ServerCmds.h"
#include "log/LogSink.h"

namespace {

std::string Call(ServerCmds &cmds, const std::string &name, const std::string &param = "",
                 const std::string &client = "c") {
    std::vector<uint8_t> out;
    cmds.HandleCmd(client, name, std::vector<uint8_t>(param.begin(), param.end()), out);
    return std::string(out.begin(), out.end());
}

VyrCmdFunc Answer(const std::string &text) {
    return [text](const std::string, const std::string param, std::vector<uint8_t> &out) {
        SetReply(out, text + ":" + param);
    };
}

class ServerCmdsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(cmds.Init()); }
    ServerCmds cmds{LogSink::System()};
};

}  // namespace

TEST_F(ServerCmdsTest, FirstRowOfTwoCaseVariantsWinsAndDuplicatesAreDropped) {
    EXPECT_TRUE(cmds.AddCmd("Flip", Answer("first")));
    EXPECT_TRUE(cmds.AddCmd("flip", Answer("second")));
    EXPECT_FALSE(cmds.AddCmd("flip", Answer("third")));
    EXPECT_FALSE(cmds.PushCmd(nullptr));
    EXPECT_EQ(Call(cmds, "FLIP", "on"), "first:on");
    cmds.PopCmd("Flip");
    EXPECT_EQ(Call(cmds, "FLIP", "on"), "second:on");
}

TEST_F(ServerCmdsTest, NamesAreTrimmedOfNonLettersAtBothEnds) {
    ASSERT_TRUE(cmds.AddCmd("posture-on", Answer("p")));
    EXPECT_EQ(Call(cmds, " \tposture-on\r\n"), "p:");
    EXPECT_EQ(Call(cmds, "1posture-on2"), "p:");
    // Inner characters stay, so a name with inner junk is unknown.
    EXPECT_EQ(Call(cmds, "posture on", "", "app"), "app send unsupported command !");
    EXPECT_EQ(Call(cmds, "", "", "app"), "app send unsupported command !");
    EXPECT_EQ(Call(cmds, "-=-", "", "app"), "app send unsupported command !");
}

TEST_F(ServerCmdsTest, HelpListsNamesInByteOrder) {
    ASSERT_TRUE(cmds.AddCmd("b", Answer("")));
    ASSERT_TRUE(cmds.AddCmd("B", Answer("")));
    ASSERT_TRUE(cmds.AddCmd("a", Answer("")));
    EXPECT_EQ(Call(cmds, "help"), "B\na\nb\nhelp\n");
}

TEST_F(ServerCmdsTest, DataRequestsUseTheFixedClientNameAndSizeAsParameter) {
    std::string seen;
    ASSERT_TRUE(cmds.AddCmd("blob", [&seen](const std::string client, const std::string param,
                                            std::vector<uint8_t> &out) {
        seen = client + "/" + param;
        out.assign(3, 7);
    }));
    std::vector<uint8_t> out;
    cmds.HandleData("blob", 640, out);
    EXPECT_EQ(seen, "HandleDate/640");
    EXPECT_EQ(out.size(), 3u);
}

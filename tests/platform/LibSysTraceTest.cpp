// The trace hooks: stubs, the daemon's hooks, and the trace scope.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/LibSysTrace.h"
#include "platform/LibTestSupport.h"

namespace {

std::vector<std::string> gCalls;

int32_t RecordIsTagEnabled(int64_t tag) {
    gCalls.push_back("enabled " + std::to_string(tag));
    return 1;
}
void RecordBegin(int64_t tag, const char *name) {
    gCalls.push_back("begin " + std::to_string(tag) + " " + name);
}
void RecordEnd(int64_t tag) {
    gCalls.push_back("end " + std::to_string(tag));
}

class LibSysTraceTest : public vyr_lib_test::LibSandbox {
protected:
    void SetUp() override {
        LibSandbox::SetUp();
        gCalls.clear();
    }
    vyr_sys_device_t Hooks() { return {&RecordIsTagEnabled, &RecordBegin, &RecordEnd}; }
};

TEST_F(LibSysTraceTest, StubsBeforeAndAfterInit) {
    LibSysTrace trace;
    EXPECT_STREQ(trace.GetVersion(), "sys_unknown");
    trace.SetEnable(true);
    EXPECT_TRUE(trace.Init());
    EXPECT_FALSE(trace.IsEnabled());
    EXPECT_FALSE(trace.IsOpened());
    EXPECT_STREQ(trace.GetVersion(), "sys_unknown");
    EXPECT_EQ(trace.AtraceIsTagEnabled(1), 0);
    trace.AtraceBegin(1, "x");
    trace.AtraceEnd(1);
    // Stubs are no failures.
    EXPECT_EQ(Count("can not load func"), 0u);
}

TEST_F(LibSysTraceTest, HooksTakenOnlyWhenAllAreSet) {
    LibSysTrace trace;
    trace.Init();
    vyr_sys_device_t partial = Hooks();
    partial.AtraceEnd = nullptr;
    trace.SetHooks(partial);
    EXPECT_EQ(trace.AtraceIsTagEnabled(1), 0);

    trace.SetHooks(Hooks());
    EXPECT_EQ(trace.AtraceIsTagEnabled(1), 1);
    EXPECT_EQ(gCalls, std::vector<std::string>{"enabled 1"});
}

TEST_F(LibSysTraceTest, ScopeTracesWithTagOneWhenEnabled) {
    LibSysTrace trace;
    trace.Init();
    trace.SetHooks(Hooks());
    { ScopedTrace off(trace, "Off"); }
    EXPECT_TRUE(gCalls.empty());

    trace.SetEnable(true);
    {
        ScopedTrace on(trace, "WatchDog");
        EXPECT_EQ(gCalls.size(), 2u);
    }
    EXPECT_EQ(gCalls, (std::vector<std::string>{"enabled 1", "begin 1 WatchDog", "end 1"}));
}

// The switch during a section does not unbalance begin and end.
TEST_F(LibSysTraceTest, SampleAtStartDecides) {
    LibSysTrace trace;
    trace.Init();
    trace.SetHooks(Hooks());
    trace.SetEnable(true);
    {
        ScopedTrace section(trace, "A");
        trace.SetEnable(false);
    }
    {
        ScopedTrace section(trace, "B");
        trace.SetEnable(true);
    }
    EXPECT_EQ(gCalls, (std::vector<std::string>{"enabled 1", "begin 1 A", "end 1"}));
}

}  // namespace

// Every wrapper whose library the simulated phone provides opens it from a
// sandbox made as vyrd makes one, with all of its symbols resolved.
#include <gtest/gtest.h>

#include "platform/LibOpenssl.h"
#include "platform/LibRotationGesture.h"
#include "platform/LibTapFusion.h"
#include "platform/LibTapGesture.h"
#include "platform/LibVyrFusion.h"
#include "platform/LibVyrMonitor.h"
#include "platform/LibVyrMotion.h"
#include "platform/LibVyrPosture.h"
#include "platform/LibVyrSensor.h"
#include "platform/LibWristFlipGesture.h"
#include "sandbox/Sandbox.h"
#include "support/UnitSandbox.h"

namespace {

class StandinWrappers : public vyrtest::UnitSandbox {
protected:
    void SetUp() override {
        UnitSandbox::SetUp();
        std::string error;
        ASSERT_TRUE(vyrsim::CreateSandbox(mRoot.Path(), vyrsim::SandboxOptions(), &error)) << error;
    }

    template <typename Wrapper>
    void ExpectOpens(const char *name) {
        Wrapper wrapper;
        EXPECT_TRUE(wrapper.Init()) << name;
        EXPECT_TRUE(wrapper.IsOpened()) << name;
    }
};

}  // namespace

TEST_F(StandinWrappers, EveryProvidedLibraryResolvesAllSymbols) {
    ExpectOpens<LibVyrSensor>("VyrSensor");
    ExpectOpens<LibVyrFusion>("FusionSense");
    ExpectOpens<LibOpenssl>("ciphrel_sdk");
    ExpectOpens<LibVyrMotion>("motion");
    ExpectOpens<LibVyrPosture>("VyrFold");
    ExpectOpens<LibTapGesture>("BackTapAlg");
    ExpectOpens<LibTapFusion>("BackTapFusion");
    ExpectOpens<LibWristFlipGesture>("FlipWristScanCode");
    ExpectOpens<LibRotationGesture>("RotationGesture");
    ExpectOpens<LibVyrMonitor>("brimlog");
    EXPECT_TRUE(LinesWith("can not load func").empty()) << Logcat();
}

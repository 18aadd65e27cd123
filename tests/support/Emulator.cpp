// Death tests in the "threadsafe" style start the test binary again; under
// an emulator that start goes through the emulator's command words.
#include "support/Emulator.h"

#include <gtest/gtest.h>

namespace {

class EmulatedDeathTests : public ::testing::Environment {
public:
    void SetUp() override {
        std::vector<std::string> argv = vyrtest::EmulatorWords();
        if (argv.empty()) {
            return;
        }
        const std::vector<std::string> own = ::testing::internal::GetArgvs();
        argv.insert(argv.end(), own.begin(), own.end());
        ::testing::internal::SetInjectableArgvs(argv);
    }
};

[[maybe_unused]] const ::testing::Environment *const kEmulatedDeathTests =
    ::testing::AddGlobalTestEnvironment(new EmulatedDeathTests);

}  // namespace

#include "Stack.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

/// Whether cases that this kernel cannot run are none that failed.
bool maySkip() {
    const char* const text = std::getenv("RADIO_SKIPS");
    return text && std::string_view(text) == "ok";
}

} // namespace

/// Runs the cases on this machine's kernel, with controllers, a bus and a service of its own, and says at the end how
/// many passed, failed, and could not be tried, which counts as failed too unless RADIO_SKIPS is "ok".
int main(int count, char** values) {
    ::testing::InitGoogleTest(&count, values);
    if (!std::getenv("RADIO_KERNEL") || ::geteuid() != 0) {
        std::fprintf(stderr,
                     "radio_bench ends and starts Bluetooth services, so it runs in a machine of its own:\n"
                     "    Tests/Radio/machine %s\n",
                     values[0]);
        return 2;
    }
    ::signal(SIGPIPE, SIG_IGN);
    const int status = RUN_ALL_TESTS();
    const auto& result = *::testing::UnitTest::GetInstance();
    // A case that could not be tried has shown nothing.
    const int skipped = result.skipped_test_count();
    const int failed = result.failed_test_count() + (maySkip() ? 0 : skipped);
    std::printf("\n%d passed, %d failed, %d skipped\n", result.successful_test_count(), failed, skipped);
    return status != 0 || failed > 0 ? 1 : 0;
}

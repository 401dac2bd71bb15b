#include "Stack.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

/// Runs the cases on this machine's kernel, with controllers, a bus and a service of its own, and says at the end how
/// many passed and failed.
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
    std::printf("\n%d passed, %d failed\n", result.successful_test_count(), result.failed_test_count());
    return status;
}

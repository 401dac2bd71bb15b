#pragma once

#include "Glasses.hpp"
#include "Host.hpp"
#include "Stack.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::radio {

using namespace std::chrono_literals;

/// A machine with two controllers that hear each other: the application's and that of a pair of glasses.
class RadioTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (hasKernelFailed()) {
            GTEST_SKIP() << "a case before this one has brought the kernel's Bluetooth down";
        }
        Host::eraseSettings();
    }
    void TearDown() override {
        if (HasFailure() && stack) {
            std::printf("%s\n", stack->logs().c_str());
        }
        host.reset();
        glasses.clear();
        stack.reset();
    }

    /// Glasses with a controller of their own, hci1 and up, then the service with the first one for the application.
    void start(const std::vector<std::vector<std::string>>& arguments = {{}}, Stack::Options options = {}) {
        options.controllers = static_cast<int>(arguments.size()) + 1;
        stack = std::make_unique<Stack>(options);
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            auto own = arguments[i];
            own.insert(own.end(), {"--controller", std::to_string(i + 1)});
            glasses.push_back(std::make_unique<Glasses>(own));
            glasses.back()->tell("advertise normal");
            ASSERT_TRUE(eventually([&] { return glasses.back()->describe().isSettled; }));
        }
        stack->startDaemon();
        ASSERT_TRUE(stack->awaitAdapter(stack->adapter()));
    }

    void startLinked(const std::vector<std::string>& arguments = {}, const Stack::Options& options = {}) {
        ASSERT_NO_FATAL_FAILURE(start({arguments}, options));
        host.emplace(stack->adapter());
        ASSERT_TRUE(host->link());
    }

    Glasses& pair() { return *glasses.front(); }

    std::unique_ptr<Stack> stack;
    std::vector<std::unique_ptr<Glasses>> glasses;
    std::optional<Host> host;
};

} // namespace tarnel::radio

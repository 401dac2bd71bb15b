#pragma once

#include "Process.hpp"

#include <TarnelSDK/platform/Bytes.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::radio {

/// A pair of glasses that runs as a process of its own (`radio_glasses`), by its verbs. Every one waits for the answer
/// and throws when there is none.
class Glasses {
public:
    struct Description {
        bool isSettled = false; ///< the radio has done all that it was told
        bool isConnected = false;
        std::uint64_t connections = 0;
        std::uint64_t values = 0;
        std::uint64_t bytes = 0;
        std::uint64_t longest = 0;
        std::uint64_t misplaced = 0;
        std::uint64_t valueLength = 0;
        std::uint64_t messages = 0;
        std::uint64_t errors = 0;
        bool isLit = false;
        int layout = 0;
        std::chrono::steady_clock::time_point first; ///< value since `forget`
        std::chrono::steady_clock::time_point last;
        std::chrono::steady_clock::time_point advertised;
    };

    explicit Glasses(const std::vector<std::string>& arguments = {});

    /// A verb of the program on the glasses, "tap 2".
    void tell(const std::string& line);
    Description describe();
    /// 640 x 480 levels.
    Bytes frame();

private:
    std::unique_ptr<Process> process_;
};

} // namespace tarnel::radio

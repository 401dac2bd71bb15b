#pragma once

#include "Messages.hpp"

#include <TarnelGlasses/Chunks.hpp>
#include <TarnelGlasses/Firmware.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <utility>
#include <vector>

namespace tarnel::glasses::test {

inline constexpr int canvasLayout = 4;

/// A firmware at the end of a wire.
struct Glasses {
    explicit Glasses(const GlassesOptions& options = {}) : firmware(options, output()) { firmware.connected(495); }

    Firmware::Output output() {
        return {.notify = [this](Bytes value) { values.push_back(std::move(value)); },
                .after = [this](platform::Duration delay,
                                platform::Block block) { timers.emplace_back(delay, std::move(block)); },
                .now = [this] { return now; },
                .frameChanged = [this] { ++frameChanges; }};
    }

    void receive(const Bytes& message) {
        for (const auto& value : cutter.cut({message}, 20)) {
            firmware.receive(value);
        }
    }

    /// Takes the answers that came since the last call.
    std::vector<Value> answers() {
        ChunkJoiner joiner(100'000);
        std::vector<Value> answers;
        for (const auto& value : std::exchange(values, {})) {
            if (const auto message = joiner.add(value)) {
                answers.push_back(unpackMessage(message->bytes).value());
            }
        }
        return answers;
    }

    Value onlyAnswer() {
        const auto all = answers();
        EXPECT_EQ(all.size(), 1U);
        return all.empty() ? Value() : all.front();
    }

    /// The code of the only answer, a "cmp_err"; 0 when there is none.
    std::int64_t errorCode() {
        const auto all = answers();
        if (all.empty()) {
            return 0;
        }
        EXPECT_EQ(all.size(), 1U);
        return all[0].dictionary()->at("cmp_err").array()->at(0).integer().value();
    }

    void takeCanvas() { receive(control("app", canvasLayout)); }
    void flush() { receive(canvas("flush", {})); }

    std::vector<Bytes> values;
    std::vector<std::pair<platform::Duration, platform::Block>> timers;
    platform::Duration now{};
    int frameChanges = 0;
    ChunkCutter cutter;
    Firmware firmware;
};

/// Bytes that are random, or a good message with a few bytes changed, cut or doubled.
inline Bytes hostileBytes(std::mt19937& random, const std::vector<Bytes>& good) {
    const auto below = [&](std::size_t bound) {
        return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
    };
    Bytes bytes;
    if (below(4) == 0) {
        bytes.resize(below(64));
        for (auto& byte : bytes) {
            byte = static_cast<std::uint8_t>(below(256));
        }
        return bytes;
    }
    bytes = good[below(good.size())];
    for (auto changes = below(4) + 1; changes > 0 && !bytes.empty(); --changes) {
        const auto position = below(bytes.size());
        switch (below(3)) {
        case 0:
            bytes[position] = static_cast<std::uint8_t>(below(256));
            break;
        case 1:
            bytes.resize(position);
            break;
        default:
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(position), bytes[position]);
        }
    }
    return bytes;
}

} // namespace tarnel::glasses::test

#pragma once

#include "support/TestPlatform.hpp"

#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/link/ChunkHeader.hpp>
#include <TarnelSDK/link/Item.hpp>
#include <TarnelSDK/link/OutgoingManager.hpp>

#include <gtest/gtest.h>

#include <any>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tarnel {

using test::TestPlatform;

/// `size` bytes that count up from `first`.
inline Bytes message(std::size_t size, std::uint8_t first = 0) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(first + i);
    }
    return bytes;
}

/// Cuts the next chunk as it goes out, with its header when the type has one.
inline Bytes cutFramed(Item& item) {
    const Bytes chunk = item.getNextChunk().value();
    Bytes value;
    if (shouldChunk(item.type())) {
        value.push_back(ChunkHeader::make(item.id(), item.hasMoreChunks()).value().data().front());
    }
    value.insert(value.end(), chunk.begin(), chunk.end());
    return value;
}

/// Writes a chunk of the item that was served last as a device does: the last chunk ends the item.
inline Bytes write(OutgoingManager& manager, const std::shared_ptr<Item>& item) {
    Bytes value = cutFramed(*item);
    if (!item->hasMoreChunks()) {
        manager.remove(manager.getCurrentItem());
    }
    return value;
}

/// A platform, the queue of its Bluetooth central, and an ear on the log.
class LinkFixture : public ::testing::Test {
protected:
    LinkFixture() { setLogEnabled(true); }

    /// What was logged so far, without time and place.
    const std::vector<std::string>& logged() {
        platform.run();
        return logged_;
    }

    TestPlatform platform;
    const std::shared_ptr<platform::Queue> queue = platform.scheduler->makeSerialQueue("com.brenlo.bluetooth");

private:
    std::vector<std::string> logged_;
    const platform::Observation observation_ =
        platform.notificationCenter().observe("log", [this](const platform::Notification& notification) {
            const auto line = std::any_cast<std::string>(notification.userInfo.at("msg"));
            const auto begin = line.find("): ") + 3;
            logged_.push_back(line.substr(begin, line.find(" | ") - begin));
        });
};

} // namespace tarnel

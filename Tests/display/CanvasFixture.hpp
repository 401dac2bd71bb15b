#pragma once

#include "support/TestPlatform.hpp"

#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/display/DisplayDevice.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>
#include <TarnelSDK/messagepack/MessagePackValue.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace tarnel::test {

/// The current device of a display that notes what it is sent.
class RecordingDevice : public DisplayDevice, public DisplayDeviceSource {
public:
    void sendData(Bytes data, ItemType type) override {
        messages.push_back(unpackFirst(data));
        sizes.push_back(data.size());
        types.push_back(type);
    }
    bool isDisplayConnected() const override { return isConnected; }
    Glypher& displayGlypher() override { return glypher; }
    std::shared_ptr<DisplayDevice> currentDisplayDevice() override { return isCurrent ? self.lock() : nullptr; }

    bool isCurrent = true;
    bool isConnected = true;
    Glypher glypher;
    std::weak_ptr<RecordingDevice> self;
    std::vector<MessagePackValue> messages;
    std::vector<std::size_t> sizes;
    std::vector<ItemType> types;
};

class DisplayFixture : public ::testing::Test {
protected:
    DisplayFixture() {
        device->self = device;
        platform::Provided<DisplayDeviceSource>::provide(device);
    }

    TestPlatform platform;
    std::shared_ptr<RecordingDevice> device = std::make_shared<RecordingDevice>();
};

/// A canvas on a device that notes what it is sent.
class CanvasFixture : public DisplayFixture {
protected:
    /// The argument of the n-th message, which must be this command of this layer.
    MessagePackValue argument(const char* layer, const char* command, std::size_t n) const {
        const auto* commands = device->messages.at(n)[layer];
        const auto* value = commands ? (*commands)[command] : nullptr;
        EXPECT_TRUE(value) << "message " << n << " is " << device->messages.at(n).description();
        return value ? *value : MessagePackValue();
    }

    static MessagePackValue message(const char* layer, const char* command, MessagePackValue argument) {
        return MessagePackValue::map({{layer, MessagePackValue::map({{command, std::move(argument)}})}});
    }

    bool isFlush(std::size_t n) const { return device->messages.at(n) == message("canvas", "flush", nullptr); }

    static std::vector<std::uint64_t> numbers(const MessagePackValue& array) {
        std::vector<std::uint64_t> result;
        for (const auto& element : *array.arrayValue()) {
            result.push_back(element.uint64Value().value());
        }
        return result;
    }

    static Image gray(int width, int height, std::uint8_t value = 0x80) {
        return Image(width, height, PixelFormat::gray8,
                     Bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), value));
    }

    /// The part of the mirror with this value is exactly this rectangle; all else is black.
    void expectMirrorShowsOnly(const Rect& rect, std::uint8_t value) const {
        const Image mirror = canvas.mirror();
        for (int y = 0; y < Canvas::HEIGHT; ++y) {
            for (int x = 0; x < Canvas::WIDTH; ++x) {
                const bool isInside = x >= rect.x && x < rect.x + rect.width && y >= rect.y && y < rect.y + rect.height;
                ASSERT_EQ(mirror.row(y)[static_cast<std::size_t>(x)], isInside ? value : 0) << "at " << x << ", " << y;
            }
        }
    }
    void expectMirrorIsBlack() const { expectMirrorShowsOnly({}, 0); }

    Canvas canvas;
};

} // namespace tarnel::test

#include "Drawing.hpp"

#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/images/ImageFile.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>

#include <stdexcept>
#include <string>
#include <variant>

namespace tarnel::radio {
namespace {

Image picture(const std::string& name) {
    auto result = readImage(std::string(RADIO_PICTURES) + "/" + name);
    if (!std::holds_alternative<Image>(result)) {
        throw std::runtime_error("the picture " + name + " cannot be read");
    }
    return std::get<Image>(std::move(result));
}

/// A chess board of the four levels.
Image board(int side) {
    constexpr int field = 8;
    Bytes pixels;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            pixels.push_back(static_cast<std::uint8_t>((x / field + y / field) % 4 * 0x55));
        }
    }
    return {side, side, PixelFormat::gray8, pixels};
}

} // namespace

void drawScene(Tarnel& device) {
    Canvas& canvas = device.canvas;
    canvas.drawBackground(picture("drawing.png"), 0, 0, false);
    canvas.drawRect({.x = 20, .y = 20, .width = 200, .height = 100, .cornerRadius = 12, .borderWidth = 3});
    canvas.drawLine({.x1 = 300, .y1 = 10, .x2 = 630, .y2 = 200, .lineWidth = 5});
    canvas.createText("Grüße aus Wien", {.anchor = Anchor::center});
    canvas.createText("你好，世界", {.anchor = Anchor::bottomLeft, .xOffset = 10, .yOffset = -20});
    canvas.createText("Ελληνικά Кириллица", {.anchor = Anchor::bottomRight, .xOffset = -10, .yOffset = -20});
    canvas.createImage(board(80), {.anchor = Anchor::topRight, .xOffset = -10, .yOffset = 10});
    canvas.commit();
}

void drawPhotograph(Tarnel& device) {
    device.canvas.drawBackground(picture("photograph.jpg"), 0, 0, true);
}

Drawn drawInProcess(const std::function<void(Tarnel&)>& draw) {
    using namespace std::chrono_literals;
    glasses::SimulatedWorld world;
    const auto pair = world.addGlasses();
    auto& manager = TarnelManager::shared();
    world.runUntil([&] { return manager.isReady.value(); });
    manager.startScan([&](const auto& peripheral) { manager.link(peripheral, [](const auto&) {}); });
    if (!world.runUntil([&] { return manager.currentDevice() && manager.currentDevice()->isConnected.value(); })) {
        throw std::runtime_error("the glasses of this process are not linked");
    }
    manager.currentDevice()->setLayout(Layout::canvas, 0, true);
    world.advance(1s);
    draw(*manager.currentDevice());
    world.advance(1min);
    return {pair->frame().levels(), pair->receivedCount()};
}

} // namespace tarnel::radio

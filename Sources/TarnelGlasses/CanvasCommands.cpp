#include <TarnelGlasses/Arguments.hpp>
#include <TarnelGlasses/CanvasCommands.hpp>
#include <TarnelGlasses/Rle.hpp>

#include <map>
#include <string_view>

namespace tarnel::glasses {

namespace {

constexpr std::int64_t maximumCoordinate = UINT16_MAX;
/// An image may reach past the display, but a few bytes must not unfold to any size.
constexpr std::int64_t maximumImagePixels = 4 * 1024 * 1024;

void drawImage(const Value& value, DisplayLayers& layers) {
    const auto& elements = requireArray(value, {4});
    const auto& origin = requireArray(elements[0], {2});
    const auto& size = requireArray(elements[1], {2});
    const DisplayLayers::Area area{.x = requireInteger(origin[0], 0, maximumCoordinate),
                                   .y = requireInteger(origin[1], 0, maximumCoordinate),
                                   .width = requireInteger(size[0], 1, maximumCoordinate),
                                   .height = requireInteger(size[1], 1, maximumCoordinate)};
    if (area.width * area.height > maximumImagePixels) {
        throw CommandFailure("the image is too large");
    }
    requireInteger(elements[2], 1, 1);
    const auto encoded = requireBinary(elements[3]);
    const auto pixels = decodeRle(encoded, static_cast<std::size_t>((area.width * area.height + 3) / 4));
    if (!pixels) {
        throw CommandFailure("the pixels do not fill the image");
    }
    layers.drawBackground(area, *pixels);
}

void clear(const Value& value, DisplayLayers& layers) {
    requireNil(value);
    layers.clearBackground();
}

void clearBlock(const Value& value, DisplayLayers& layers) {
    const auto& elements = requireArray(value, {4, 5});
    const auto left = requireInteger(elements[0], 0, maximumCoordinate);
    const auto top = requireInteger(elements[1], 0, maximumCoordinate);
    const auto right = requireInteger(elements[2], left, maximumCoordinate);
    const auto bottom = requireInteger(elements[3], top, maximumCoordinate);
    const auto level = elements.size() == 5 ? requireInteger(elements[4], 0, 3) : 0;
    layers.fillBackground({left, top, right - left, bottom - top}, static_cast<std::uint8_t>(level));
}

void flush(const Value& value, DisplayLayers& layers) {
    requireNil(value);
    layers.flushBackground();
}

} // namespace

bool performCanvasCommand(const Value& value, DisplayLayers& layers) {
    using Command = void (*)(const Value&, DisplayLayers&);
    static const std::map<std::string_view, Command> commands = {
        {"cnvs_img", drawImage}, {"cnvs_clr", clear}, {"cnvs_clrblk", clearBlock}, {"flush", flush}};
    const auto [name, argument] = requireCommand(value);
    const auto command = commands.find(name);
    if (command == commands.end()) {
        throw UnknownCommand{name};
    }
    try {
        command->second(argument, layers);
    } catch (const CommandFailure& failure) {
        throw CommandFailure(name + ": " + failure.what());
    }
    return command->second == flush;
}

} // namespace tarnel::glasses

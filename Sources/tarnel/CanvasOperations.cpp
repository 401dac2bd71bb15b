#include "Bridge.hpp"
#include "DisplayNames.hpp"
#include "Files.hpp"
#include "Fonts.hpp"
#include "Operations.hpp"
#include "Pictures.hpp"

#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>
#include <TarnelSDK/images/Dither.hpp>

#include <algorithm>

namespace tarnel::command {
namespace {

/// Beyond what any display has, and far from where sums of coordinates overflow.
constexpr std::int64_t farthest = 65'535;

/// Sizes of a font, in pixels.
constexpr std::int64_t smallestFont = 4;
constexpr std::int64_t largestFont = 400;

Parameter coordinate(std::string name) {
    return parameter::integer(std::move(name), 0, farthest);
}

JSON drawBackground(Bridge& bridge, const Arguments& arguments) {
    const auto device = bridge.device();
    Image picture = readPicture(arguments.text("image"));
    if (arguments.has("dither") && arguments.boolean("dither")) {
        picture = ditherToLevels(picture);
    }
    device->canvas.drawBackground(picture, static_cast<int>(arguments.integer("x")),
                                  static_cast<int>(arguments.integer("y")),
                                  arguments.boolean("shouldCommitImmediately"));
    return nullptr;
}

JSON clearBackgroundRect(Bridge& bridge, const Arguments& arguments) {
    bridge.device()->canvas.clearBackgroundRect(
        static_cast<int>(arguments.integer("x")), static_cast<int>(arguments.integer("y")),
        static_cast<int>(arguments.integer("width")), static_cast<int>(arguments.integer("height")));
    return nullptr;
}

/// A place that may lie off the display.
Parameter anyCoordinate(std::string name) {
    return parameter::integer(std::move(name), -farthest, farthest);
}

Parameter anyPoint(std::string name) {
    return parameter::number(std::move(name), -farthest, farthest);
}

Parameter length(std::string name) {
    return parameter::number(std::move(name), 0, farthest);
}

constexpr Cases<bool Corners::*, 4> cornerNames{{
    {"topLeft", &Corners::topLeft},
    {"topRight", &Corners::topRight},
    {"bottomLeft", &Corners::bottomLeft},
    {"bottomRight", &Corners::bottomRight},
}};

Corners cornersOf(const std::vector<std::string>& names) {
    Corners corners{false, false, false, false};
    for (const auto& [name, corner] : cornerNames) {
        corners.*corner = std::find(names.begin(), names.end(), name) != names.end();
    }
    return corners;
}

double numberOr(const Arguments& arguments, const char* name, double otherwise) {
    return arguments.has(name) ? arguments.number(name) : otherwise;
}

JSON drawRect(Bridge& bridge, const Arguments& arguments) {
    RectArguments rect{.x = static_cast<int>(arguments.integer("x")),
                       .y = static_cast<int>(arguments.integer("y")),
                       .width = static_cast<int>(arguments.integer("width")),
                       .height = static_cast<int>(arguments.integer("height")),
                       .cornerRadius = numberOr(arguments, "cornerRadius", 0),
                       .borderWidth = numberOr(arguments, "borderWidth", 0)};
    if (arguments.has("borderColor")) {
        rect.borderColor = arguments.choice("borderColor", colors);
    }
    if (arguments.has("fillColor")) {
        rect.fillColor = arguments.choice("fillColor", colors);
    }
    if (arguments.has("corners")) {
        rect.corners = cornersOf(arguments.texts("corners"));
    }
    bridge.device()->canvas.drawRect(rect);
    return nullptr;
}

JSON drawLine(Bridge& bridge, const Arguments& arguments) {
    bridge.device()->canvas.drawLine(
        {.x1 = arguments.number("x1"),
         .y1 = arguments.number("y1"),
         .x2 = arguments.number("x2"),
         .y2 = arguments.number("y2"),
         .lineWidth = numberOr(arguments, "lineWidth", 1),
         .color = arguments.has("color") ? arguments.choice("color", colors) : Color::white});
    return nullptr;
}

JSON drawStaticText(Bridge& bridge, const Arguments& arguments) {
    const auto device = bridge.device();
    const double size = numberOr(arguments, "size", Glypher::defaultFontSize);
    device->canvas.drawStaticText(arguments.text("text"),
                                  arguments.has("font") ? fontNamed(arguments.text("font"), size) : systemFont(size),
                                  arguments.has("color") ? arguments.choice("color", colors) : Color::white,
                                  static_cast<int>(arguments.integer("x")), static_cast<int>(arguments.integer("y")));
    return nullptr;
}

JSON mirror(Bridge& bridge, const Arguments& arguments) {
    const auto device = bridge.device();
    OutputFile(arguments.text("to")).store(pngOf(device->canvas.mirror()));
    return nullptr;
}

/// An operation without arguments and result.
Operation plain(const char* name, const char* about, void (Canvas::*operation)()) {
    return {name, {}, about, [operation](Bridge& bridge, const Arguments&) -> JSON {
                (bridge.device()->canvas.*operation)();
                return nullptr;
            }};
}

} // namespace

std::vector<Operation> canvasOperations() {
    using namespace parameter;
    return {
        {"drawBackground",
         {path("image"), coordinate("x"), coordinate("y"), boolean("shouldCommitImmediately"),
          optional(boolean("dither"))},
         "Draws a PNG or JPEG file, its top left corner at (x, y), in the nearest of four grey levels, or a mixture of "
         "them with \"dither\".",
         drawBackground},
        plain("clearBackground", "Makes all of the background dark.", &Canvas::clearBackground),
        {"clearBackgroundRect",
         {coordinate("x"), coordinate("y"), coordinate("width"), coordinate("height")},
         "Makes a rectangle of the background dark.",
         clearBackgroundRect},
        {"drawRect",
         {anyCoordinate("x"), anyCoordinate("y"), coordinate("width"), coordinate("height"),
          optional(length("cornerRadius")), optional(length("borderWidth")), optional(choice("borderColor", colors)),
          optional(choice("fillColor", colors)), optional(choices("corners", cornerNames))},
         "Draws a rectangle with a border inside its edge, a filling, or both. \"corners\" are those that are round, "
         "all when left out.",
         drawRect},
        {"drawLine",
         {anyPoint("x1"), anyPoint("y1"), anyPoint("x2"), anyPoint("y2"), optional(length("lineWidth")),
          optional(choice("color", colors))},
         "Draws a line from one pixel to another.",
         drawLine},
        {"drawStaticText",
         {string("text"), anyCoordinate("x"), anyCoordinate("y"), optional(choice("color", colors)),
          optional(string("font")), optional(number("size", smallestFont, largestFont))},
         "Draws text into the background, its upper left corner at (x, y). \"font\" is an installed family or a font "
         "file, \"size\" in pixels, 28 when left out.",
         drawStaticText},
        plain("flush", "Shows the background as drawn so far.", &Canvas::flush),
        plain("commit", "Shows all that was drawn since the last commit.", &Canvas::commit),
        plain("reset", "Forgets what was drawn, and sends nothing.", &Canvas::reset),
        {"mirror", {path("to")}, "Writes the application's copy of the display to a PNG file.", mirror},
    };
}

} // namespace tarnel::command

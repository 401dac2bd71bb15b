#include "Bridge.hpp"
#include "Files.hpp"
#include "Operations.hpp"
#include "Pictures.hpp"

#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/images/Dither.hpp>

namespace tarnel::command {
namespace {

/// Beyond what any display has, and far from where sums of coordinates overflow.
constexpr std::int64_t farthest = 65'535;

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
        plain("flush", "Shows the background as drawn so far.", &Canvas::flush),
        plain("commit", "Shows all that was drawn since the last commit.", &Canvas::commit),
        plain("reset", "Forgets what was drawn, and sends nothing.", &Canvas::reset),
        {"mirror", {path("to")}, "Writes the application's copy of the display to a PNG file.", mirror},
    };
}

} // namespace tarnel::command

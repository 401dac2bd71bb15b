#include "Bridge.hpp"
#include "DisplayNames.hpp"
#include "Operations.hpp"
#include "Pictures.hpp"

#include <TarnelSDK/display/Canvas.hpp>

#include <limits>

namespace tarnel::command {
namespace {

/// The offsets that the glasses take.
constexpr std::int64_t lowestOffset = std::numeric_limits<std::int16_t>::min();
constexpr std::int64_t highestOffset = std::numeric_limits<std::int16_t>::max();

constexpr int textCount = 7;
constexpr int imageCount = 3;
constexpr std::size_t mostFrames = 100;

Parameter offset(std::string name) {
    return parameter::integer(std::move(name), lowestOffset, highestOffset);
}

/// Offsets that an object is moved to.
Parameter place(std::string name) {
    return parameter::integer(std::move(name), 0, highestOffset);
}

Parameter id(int count) {
    return parameter::integer("id", 0, count - 1);
}

int intOf(const Arguments& arguments, const char* name) {
    return static_cast<int>(arguments.integer(name));
}

int integerOr(const Arguments& arguments, const char* name, int otherwise) {
    return arguments.has(name) ? intOf(arguments, name) : otherwise;
}

bool booleanOr(const Arguments& arguments, const char* name, bool otherwise) {
    return arguments.has(name) ? arguments.boolean(name) : otherwise;
}

Anchor anchorOf(const Arguments& arguments) {
    return arguments.has("anchor") ? arguments.choice("anchor", anchors) : Anchor::topLeft;
}

JSON createImage(Bridge& bridge, const Arguments& arguments) {
    const auto device = bridge.device();
    return orNull(device->canvas.createImage(readObjectPicture(arguments.text("image")),
                                             {.anchor = anchorOf(arguments),
                                              .xOffset = integerOr(arguments, "xOffset", 0),
                                              .yOffset = integerOr(arguments, "yOffset", 0),
                                              .isVisible = booleanOr(arguments, "isVisible", true)}));
}

JSON createAnimation(Bridge& bridge, const Arguments& arguments) {
    const auto device = bridge.device();
    const auto paths = arguments.texts("images");
    if (paths.empty() || paths.size() > mostFrames) {
        throw Failure("an animation has 1 to " + std::to_string(mostFrames) + " images, not " +
                      std::to_string(paths.size()));
    }
    std::vector<Image> frames;
    frames.reserve(paths.size());
    for (const auto& path : paths) {
        frames.push_back(readObjectPicture(path));
    }
    AnimationArguments animation{.anchor = anchorOf(arguments),
                                 .xOffset = integerOr(arguments, "xOffset", 0),
                                 .yOffset = integerOr(arguments, "yOffset", 0),
                                 .visible = booleanOr(arguments, "visible", true)};
    if (arguments.has("duration")) {
        animation.duration = static_cast<unsigned>(arguments.integer("duration"));
    }
    return device->canvas.createAnimation(frames, animation);
}

JSON createText(Bridge& bridge, const Arguments& arguments) {
    TextArguments text{.anchor = anchorOf(arguments),
                       .xOffset = integerOr(arguments, "xOffset", 0),
                       .yOffset = integerOr(arguments, "yOffset", 0),
                       .isVisible = booleanOr(arguments, "isVisible", true),
                       .width = integerOr(arguments, "width", -1),
                       .height = integerOr(arguments, "height", -1)};
    if (arguments.has("textAlignment")) {
        text.textAlignment = arguments.choice("textAlignment", textAlignments);
    }
    if (arguments.has("textColor")) {
        text.textColor = arguments.choice("textColor", colors);
    }
    if (arguments.has("wrapMode")) {
        text.wrapMode = arguments.choice("wrapMode", textWrapModes);
    }
    return orNull(bridge.device()->canvas.createText(arguments.text("text"), text));
}

/// What an operation on objects of every kind is done to.
struct Target {
    LVGLType type;
    int id;
};

Target target(const Arguments& arguments) {
    const Target target{arguments.choice("type", objectTypes), intOf(arguments, "id")};
    const int count = target.type == LVGLType::text ? textCount : target.type == LVGLType::image ? imageCount : 1;
    if (target.id >= count) {
        throw Failure("\"id\" is 0..." + std::to_string(count - 1) + " for this type, not " +
                      std::to_string(target.id));
    }
    return target;
}

/// An operation on a canvas without a result.
template <typename Perform>
Operation change(const char* name, std::vector<Parameter> parameters, const char* about, Perform perform) {
    return {name, std::move(parameters), about, [perform](Bridge& bridge, const Arguments& arguments) -> JSON {
                perform(bridge.device()->canvas, arguments);
                return nullptr;
            }};
}

std::vector<Operation> textOperations() {
    using namespace parameter;
    return {
        {"createText",
         {string("text"), optional(choice("textAlignment", textAlignments)), optional(choice("textColor", colors)),
          optional(choice("anchor", anchors)), optional(offset("xOffset")), optional(offset("yOffset")),
          optional(boolean("isVisible")), optional(integer("width", -1, highestOffset)),
          optional(integer("height", -1, highestOffset)), optional(choice("wrapMode", textWrapModes))},
         "Makes a label, which \"commit\" shows. Gives its id, null when it cannot be made. What is left out is "
         "auto, white, topLeft, 0, true, -1 (as the text needs) and default.",
         createText},
        change("updateText", {string("text"), id(textCount)}, "Replaces the text of a label.",
               [](Canvas& canvas, const Arguments& arguments) {
                   canvas.updateText(arguments.text("text"), intOf(arguments, "id"));
               }),
        change("moveText", {id(textCount), place("x"), place("y")}, "Moves a label to these offsets of its anchor.",
               [](Canvas& canvas, const Arguments& arguments) {
                   canvas.moveText(intOf(arguments, "id"), intOf(arguments, "x"), intOf(arguments, "y"));
               }),
        change("setTextVisible", {id(textCount), boolean("visible")}, "Shows or hides a label.",
               [](Canvas& canvas, const Arguments& arguments) {
                   canvas.setTextVisible(intOf(arguments, "id"), arguments.boolean("visible"));
               }),
        change("removeText", {id(textCount)}, "Removes a label.",
               [](Canvas& canvas, const Arguments& arguments) { canvas.removeText(intOf(arguments, "id")); }),
    };
}

std::vector<Operation> imageOperations() {
    using namespace parameter;
    return {
        {"createImage",
         {path("image"), optional(choice("anchor", anchors)), optional(offset("xOffset")), optional(offset("yOffset")),
          optional(boolean("isVisible"))},
         "Makes an image that the glasses keep, which \"commit\" shows. Gives its id, null when it cannot be made: it "
         "has at most some 39,600 pixels.",
         createImage},
        {"updateImage",
         {path("image"), id(imageCount)},
         "Replaces the picture of an image. Gives whether it could.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             const auto device = bridge.device();
             return device->canvas.updateImage(readObjectPicture(arguments.text("image")), intOf(arguments, "id"));
         }},
        change("moveImage", {id(imageCount), place("x"), place("y")}, "Moves an image to these offsets of its anchor.",
               [](Canvas& canvas, const Arguments& arguments) {
                   canvas.moveImage(intOf(arguments, "id"), intOf(arguments, "x"), intOf(arguments, "y"));
               }),
        change("setImageVisible", {id(imageCount), boolean("visible")}, "Shows or hides an image.",
               [](Canvas& canvas, const Arguments& arguments) {
                   canvas.setImageVisible(intOf(arguments, "id"), arguments.boolean("visible"));
               }),
        change("removeImage", {id(imageCount)}, "Removes an image.",
               [](Canvas& canvas, const Arguments& arguments) { canvas.removeImage(intOf(arguments, "id")); }),
        {"createAnimation",
         {paths("images"), optional(choice("anchor", anchors)), optional(offset("xOffset")),
          optional(offset("yOffset")), optional(integer("duration", 0, UINT32_MAX)), optional(boolean("visible"))},
         "Makes the animation, whose frames take the images' places; \"commit\" shows it. The duration is that of all "
         "frames, in milliseconds. Gives whether it was made.",
         createAnimation},
        change("moveAnimation", {place("x"), place("y")}, "Moves the animation to these offsets of its anchor.",
               [](Canvas& canvas, const Arguments& arguments) {
                   canvas.moveAnimation(intOf(arguments, "x"), intOf(arguments, "y"));
               }),
        change("setAnimationVisible", {boolean("visible")}, "Shows or hides the animation.",
               [](Canvas& canvas, const Arguments& arguments) {
                   canvas.setAnimationVisible(arguments.boolean("visible"));
               }),
        change("removeAninimation", {}, "Removes the animation.",
               [](Canvas& canvas, const Arguments&) { canvas.removeAninimation(); }),
    };
}

std::vector<Operation> operationsOnEveryKind() {
    using namespace parameter;
    return {
        change("moveTo", {choice("type", objectTypes), id(textCount), place("x"), place("y")},
               "Moves an object to these offsets of its anchor.",
               [](Canvas& canvas, const Arguments& arguments) {
                   const auto [type, id] = target(arguments);
                   canvas.moveTo(type, id, intOf(arguments, "x"), intOf(arguments, "y"));
               }),
        change("setVisible", {choice("type", objectTypes), id(textCount), boolean("visible")},
               "Shows or hides an object.",
               [](Canvas& canvas, const Arguments& arguments) {
                   const auto [type, id] = target(arguments);
                   canvas.setVisible(type, id, arguments.boolean("visible"));
               }),
        change("remove", {choice("type", objectTypes), id(textCount)}, "Removes an object.",
               [](Canvas& canvas, const Arguments& arguments) {
                   const auto [type, id] = target(arguments);
                   canvas.remove(type, id);
               }),
        change("clear_all", {}, "Removes all labels, images and the animation.",
               [](Canvas& canvas, const Arguments&) { canvas.clear_all(); }),
        change("clear", {boolean("shouldClearBackground")}, "Removes all objects, and the background too when asked.",
               [](Canvas& canvas, const Arguments& arguments) {
                   canvas.clear(arguments.boolean("shouldClearBackground"));
               }),
    };
}

} // namespace

std::vector<Operation> objectOperations() {
    auto all = textOperations();
    for (auto group : {imageOperations, operationsOnEveryKind}) {
        for (auto& operation : group()) {
            all.push_back(std::move(operation));
        }
    }
    return all;
}

} // namespace tarnel::command

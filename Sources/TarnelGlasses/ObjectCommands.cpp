#include <TarnelGlasses/Arguments.hpp>
#include <TarnelGlasses/ObjectCommands.hpp>

#include <algorithm>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

namespace tarnel::glasses {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t plainLabel = 8;
constexpr std::size_t sizedLabel = 11;

std::uint8_t requireLevel(const Value& value) {
    return static_cast<std::uint8_t>(requireInteger(value, 0, 3));
}

LvglAnchor requireAnchor(const Value& value) {
    return static_cast<LvglAnchor>(requireInteger(value, 1, 9));
}

/// LVGL's coordinates have 16 bits; what lies further away is off the display all the same.
int requireOffset(const Value& value) {
    return static_cast<int>(
        std::clamp<std::int64_t>(requireInteger(value, INT32_MIN, INT32_MAX), INT16_MIN, INT16_MAX));
}

/// A width or height; a negative one is that of the content.
std::optional<int> requireSize(const Value& value) {
    const auto size = requireInteger(value, INT16_MIN, INT16_MAX);
    return size < 0 ? std::nullopt : std::optional(static_cast<int>(size));
}

ObjectType requireType(const Value& value) {
    return static_cast<ObjectType>(requireInteger(value, 0, 2));
}

std::size_t requireId(const Value& value, ObjectType type) {
    return static_cast<std::size_t>(requireInteger(value, 0, static_cast<std::int64_t>(ObjectLayer::count(type)) - 1));
}

class Parser {
public:
    explicit Parser(LvglVersion version) : version_(version) {}

    void parse(const Value& value) {
        const auto [name, argument] = requireCommand(value);
        const auto command = commands().find(name);
        if (command == commands().end()) {
            throw UnknownCommand{name};
        }
        try {
            (this->*command->second)(argument);
        } catch (const CommandFailure& failure) {
            throw CommandFailure(name + ": " + failure.what());
        }
    }

    ObjectCommands take() { return std::move(result_); }

private:
    using Command = void (Parser::*)(const Value&);

    static const std::map<std::string_view, Command>& commands() {
        static const std::map<std::string_view, Command> commands = {
            {"label", &Parser::label},      {"image", &Parser::image},    {"animate", &Parser::animate},
            {"move", &Parser::move},        {"set_vis", &Parser::setVis}, {"object_clr", &Parser::objectClear},
            {"clr_all", &Parser::clearAll}, {"font", &Parser::font},      {"flush", &Parser::flush},
        };
        return commands;
    }

    template <typename Change>
    void add(Change change) {
        result_.changes.push_back(
            [change = std::move(change)](ObjectLayer& objects, platform::Duration /*now*/) { change(objects); });
    }

    void label(const Value& value) {
        const auto& elements = requireArray(value, {plainLabel, sizedLabel});
        const auto id = requireId(elements[0], ObjectType::label);
        LabelObject label;
        label.options.alignment = static_cast<LvglAlignment>(requireInteger(elements[1], 0, 3));
        label.options.level = requireLevel(elements[2]);
        label.options.anchor = requireAnchor(elements[3]);
        label.options.xOffset = requireOffset(elements[4]);
        label.options.yOffset = requireOffset(elements[5]);
        label.isVisible = requireBool(elements[6]);
        label.options.text = requireText(elements[7]);
        if (elements.size() == sizedLabel) {
            const auto width = requireSize(elements[8]);
            const auto height = requireSize(elements[9]);
            constexpr std::int64_t asLargeAsItsText = -1;
            const auto mode = requireInteger(elements[10], asLargeAsItsText, 4);
            if (mode != asLargeAsItsText) {
                label.options.width = width;
                label.options.height = height;
                label.options.longMode = static_cast<LvglLongMode>(mode);
            }
        }
        add([id, label](ObjectLayer& objects) { objects.setLabel(id, label); });
    }

    void image(const Value& value) {
        const auto& elements = requireArray(value, {6});
        const auto id = requireId(elements[0], ObjectType::image);
        ImageObject object;
        object.anchor = requireAnchor(elements[1]);
        object.xOffset = requireOffset(elements[2]);
        object.yOffset = requireOffset(elements[3]);
        object.isVisible = requireBool(elements[4]);
        object.image = std::make_shared<const LvglImage>(requireImage(elements[5]));
        add([id, object](ObjectLayer& objects) { objects.setImage(id, object); });
    }

    void animate(const Value& value) {
        const auto& elements = requireArray(value, {7});
        requireId(elements[0], ObjectType::animation);
        AnimationObject object;
        object.duration = milliseconds(requireInteger(elements[1], 0, UINT32_MAX));
        object.anchor = requireAnchor(elements[2]);
        object.xOffset = requireOffset(elements[3]);
        object.yOffset = requireOffset(elements[4]);
        for (const auto& frame : requireArray(elements[5])) {
            object.frames.push_back(requireId(frame, ObjectType::image));
        }
        if (object.frames.empty()) {
            throw CommandFailure("no frames");
        }
        object.isVisible = requireBool(elements[6]);
        add([object](ObjectLayer& objects) { objects.setAnimation(object); });
    }

    void move(const Value& value) {
        const auto& elements = requireArray(value, {4});
        const auto type = requireType(elements[0]);
        const auto id = requireId(elements[1], type);
        const auto x = static_cast<int>(requireInteger(elements[2], 0, INT16_MAX));
        const auto y = static_cast<int>(requireInteger(elements[3], 0, INT16_MAX));
        add([=](ObjectLayer& objects) { objects.move(type, id, x, y); });
    }

    void setVis(const Value& value) {
        const auto& elements = requireArray(value, {3});
        const auto type = requireType(elements[0]);
        const auto id = requireId(elements[1], type);
        const bool isVisible = requireBool(elements[2]);
        add([=](ObjectLayer& objects) { objects.setVisible(type, id, isVisible); });
    }

    void objectClear(const Value& value) {
        const auto& elements = requireArray(value, {2});
        const auto type = requireType(elements[0]);
        const auto id = requireId(elements[1], type);
        add([=](ObjectLayer& objects) { objects.remove(type, id); });
    }

    void clearAll(const Value& value) {
        requireNil(value);
        add([](ObjectLayer& objects) { objects.clear(); });
    }

    void font(const Value& value) {
        auto font = LvglFont::load(requireBinary(value), version_);
        if (auto* reason = std::get_if<std::string>(&font)) {
            result_.refusedFonts.push_back(std::move(*reason));
            return;
        }
        const auto shared = std::make_shared<const LvglFont>(std::get<LvglFont>(std::move(font)));
        add([shared](ObjectLayer& objects) { objects.setFont(shared); });
    }

    void flush(const Value& value) {
        requireNil(value);
        result_.flushes = true;
        result_.changes.emplace_back([](ObjectLayer& objects, platform::Duration now) { objects.flush(now); });
    }

    LvglVersion version_;
    ObjectCommands result_;
};

} // namespace

ObjectCommands parseObjectCommands(const Value& value, LvglVersion version) {
    Parser parser(version);
    if (value.array() == nullptr) {
        parser.parse(value);
        return parser.take();
    }
    for (const auto& command : requireArray(value)) {
        parser.parse(command);
    }
    return parser.take();
}

} // namespace tarnel::glasses

#include <TarnelGlasses/Arguments.hpp>
#include <TarnelGlasses/TextCommands.hpp>

#include <memory>
#include <utility>

namespace tarnel::glasses {

TextCommand parseText(const Value& value, LvglVersion version) {
    const auto& elements = requireArray(value, {1, 2});
    TextCommand command;
    command.text.text = requireText(elements[0]);
    if (elements.size() == 2) {
        auto font = LvglFont::load(requireBinary(elements[1]), version);
        if (auto* reason = std::get_if<std::string>(&font)) {
            command.refusedFont = std::move(*reason);
        } else {
            command.text.font = std::make_shared<const LvglFont>(std::get<LvglFont>(std::move(font)));
        }
    }
    return command;
}

NavigationCommand parseNavigation(const Value& value, LvglVersion version) {
    constexpr std::int64_t withoutIcon = 0;
    constexpr std::int64_t withIcon = 9;
    const auto& elements = requireArray(value, {2});
    const auto icon = requireInteger(elements[0], withoutIcon, withIcon);
    if (icon != withoutIcon && icon != withIcon) {
        throw CommandFailure("neither with nor without icon");
    }
    return {.showsIcon = icon == withIcon, .text = parseText(elements[1], version)};
}

LvglImage parseIcon(const Value& value) {
    auto icon = requireImage(value);
    if (icon.bitsPerPixel() != 1) {
        throw CommandFailure("not 1 bit a pixel");
    }
    return icon;
}

} // namespace tarnel::glasses

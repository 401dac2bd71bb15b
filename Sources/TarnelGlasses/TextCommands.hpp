#pragma once

#include <TarnelGlasses/LvglFont.hpp>
#include <TarnelGlasses/LvglImage.hpp>
#include <TarnelGlasses/TextScreen.hpp>
#include <TarnelSDK/platform/Value.hpp>

#include <optional>
#include <string>

/// The values of the commands of the text and navigation layouts. All throw `CommandFailure`.
namespace tarnel::glasses {

struct TextCommand {
    TextScreen::Text text;
    std::optional<std::string> refusedFont; ///< why; the text holds
};

/// [text] or [text, font].
TextCommand parseText(const Value& value, LvglVersion version);

struct NavigationCommand {
    bool showsIcon = false;
    TextCommand text;
};

/// [9 with icon or 0 without, [text] or [text, font]].
NavigationCommand parseNavigation(const Value& value, LvglVersion version);

/// A picture of 1 bit a pixel.
LvglImage parseIcon(const Value& value);

} // namespace tarnel::glasses

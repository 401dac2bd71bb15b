#include "Fonts.hpp"

#include "Failure.hpp"

#include <TarnelSDK/glyphs/CharacterSet.hpp>

#include <algorithm>
#include <array>
#include <string_view>

namespace tarnel::command {
namespace {

bool isFile(std::string_view name) {
    constexpr std::array<std::string_view, 3> endings{".ttf", ".otf", ".ttc"};
    return name.find('/') != std::string_view::npos ||
           std::any_of(endings.begin(), endings.end(), [&](auto ending) { return name.ends_with(ending); });
}

} // namespace

Font fontNamed(const std::string& name, double size) {
    if (isFile(name)) {
        const auto font = Font::withFile(name, size);
        if (!font || font->characterSet()->count() == 0) {
            throw Failure(name + " cannot be read as a font; give a TrueType or OpenType file");
        }
        return *font;
    }
    const auto font = Font::named(name, size);
    if (!font) {
        throw Failure("no font family \"" + name + "\" is installed; fc-list : family tells those that are");
    }
    return *font;
}

Font systemFont(double size) {
    const auto font = Font::system(size);
    if (!font) {
        throw Failure("this system has no fonts; install one, such as Noto Sans");
    }
    return *font;
}

} // namespace tarnel::command

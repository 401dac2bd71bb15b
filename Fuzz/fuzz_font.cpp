// Any bytes are a font or an error; a font's glyphs, written again, are read as the same glyphs.

#include <TarnelSDK/glyphs/BinaryFont.hpp>

#include <cstdlib>
#include <variant>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarnel;
    const auto result = readBinaryFont({data, size});
    if (const auto* error = std::get_if<BinaryFontError>(&result)) {
        require(!error->message.empty());
        return 0;
    }
    const auto& font = std::get<BinaryFont>(result);
    std::map<char32_t, BinaryFontGlyph> glyphs;
    for (const auto& [codePoint, id] : font.characters) {
        glyphs.emplace(codePoint, font.glyphs.at(id));
    }
    const auto written = writeBinaryFont({.pointSize = font.head.fontSize, .ascent = 30, .descent = 8}, glyphs);
    const auto* bytes = std::get_if<Bytes>(&written);
    if (!bytes) {
        return 0;
    }
    const auto again = readBinaryFont(*bytes);
    require(std::holds_alternative<BinaryFont>(again));
    require(std::get<BinaryFont>(again).characters.size() == glyphs.size());
    for (const auto& [codePoint, glyph] : glyphs) {
        const auto* read = std::get<BinaryFont>(again).glyph(codePoint);
        require(read && *read == glyph);
    }
    return 0;
}

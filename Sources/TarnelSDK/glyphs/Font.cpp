#include <TarnelSDK/glyphs/CharacterSet.hpp>
#include <TarnelSDK/glyphs/Font.hpp>
#include <TarnelSDK/glyphs/Typeface.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <fstream>
#include <utility>

namespace tarnel {
namespace {

constexpr double maximumSize = 1000;

double inPixels(int units, const Typeface::Metrics& metrics, double size) {
    return metrics.unitsPerEm > 0 ? units * size / metrics.unitsPerEm : 0;
}

} // namespace

Font::Font(std::shared_ptr<Typeface> typeface, double size) : typeface_(std::move(typeface)), size_(size) {
    precondition(size > 0 && size <= maximumSize, "a font's size is above 0 and at most 1,000");
}

std::optional<Font> Font::withFile(const std::filesystem::path& file, double size, int face) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error) || !std::ifstream(file, std::ios::binary)) {
        return std::nullopt;
    }
    return Font(Typeface::of(file, face), size);
}

Font Font::withSize(double size) const {
    return Font(typeface_, size);
}

std::string Font::name() const {
    return typeface_->name();
}

double Font::ascent() const {
    const auto metrics = typeface_->metrics();
    return inPixels(metrics.ascent, metrics, size_);
}

double Font::descent() const {
    const auto metrics = typeface_->metrics();
    return inPixels(metrics.descent, metrics, size_);
}

double Font::leading() const {
    const auto metrics = typeface_->metrics();
    return inPixels(metrics.lineGap, metrics, size_);
}

bool Font::isGlyphSupported(char32_t codePoint) const {
    return typeface_->glyph(codePoint) != 0;
}

std::shared_ptr<const CharacterSet> Font::characterSet() const {
    return typeface_->characterSet();
}

} // namespace tarnel

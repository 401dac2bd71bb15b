#include <TarnelSDK/glyphs/TextImage.hpp>
#include <TarnelSDK/glyphs/TextLine.hpp>
#include <TarnelSDK/images/CairoSurface.hpp>

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnel {
namespace {

/// Cut at its line feeds. An empty line keeps the attributes of its end, for its height.
std::vector<AttributedString> linesOf(const AttributedString& string) {
    std::vector<AttributedString> lines(1);
    for (const auto& run : string.runs()) {
        std::string_view rest = run.text;
        for (auto end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
            lines.back().append(std::string(rest.substr(0, end)), run.attributes);
            lines.emplace_back();
            rest.remove_prefix(end + 1);
        }
        lines.back().append(std::string(rest), run.attributes);
    }
    return lines;
}

} // namespace

Image text(const AttributedString& attributes, std::string_view locale) {
    struct PlacedLine {
        TextLine line;
        double baseline;
    };
    std::vector<PlacedLine> lines;
    TextLine::Bounds box; // y upward from the top of the first line
    double top = 0;
    for (const AttributedString& string : linesOf(attributes)) {
        const TextLine line(string, locale);
        const double baseline = std::round(top + line.ascent());
        const double bottom = baseline + line.descent();
        TextLine::Bounds ink = line.imageBounds();
        ink.y -= baseline;
        box = box.united({0, -bottom, line.width(), bottom - top}).united(ink);
        lines.push_back({line, baseline});
        top = bottom + line.leading();
    }
    const double left = std::floor(std::min(box.x, 0.0));
    const double above = std::ceil(std::max(box.y + box.height, 0.0));
    const auto side = [](double length) {
        return static_cast<int>(std::clamp<double>(std::ceil(length), 0, TextLine::largestSide));
    };
    const CairoSurface surface(side(box.x + box.width - left), side(above - box.y));
    for (const PlacedLine& placed : lines) {
        placed.line.draw(surface.context(), -left, above + placed.baseline);
    }
    return surface.image();
}

} // namespace tarnel

#include <TarnelGlasses/LvglFont.hpp>
#include <TarnelGlasses/LvglLabel.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>

namespace {

using namespace tarnel;
using namespace tarnel::glasses;

/// Text of several scripts, and the end of the input as text.
std::string textFor(ByteView input) {
    const auto tail = input.last(std::min<std::size_t>(input.size(), 48));
    return "Aa 1:2,\t\xC3\xA9\xD0\x96\n\xE4\xB8\xAD\xE6\x96\x87\xF0\x9F\x98\x80\r\n" +
           std::string(tail.begin(), tail.end());
}

void drawLabels(const std::shared_ptr<const LvglFont>& font, const std::string& text) {
    for (int mode = 0; mode <= 4; ++mode) {
        for (const int width : {-1, 0, 90}) {
            LvglLabelOptions options{.text = text,
                                     .alignment = static_cast<LvglAlignment>(mode % 4),
                                     .anchor = static_cast<LvglAnchor>(mode + 1),
                                     .longMode = static_cast<LvglLongMode>(mode)};
            if (width >= 0) {
                options.width = width;
                options.height = 60;
            }
            const LvglLabel label(font, options);
            Frame frame;
            label.draw(frame, std::chrono::milliseconds(1234));
            precondition(label.lines().empty() || label.lines().back().end == label.drawnText().size(),
                         "the lines hold the whole text");
        }
    }
}

} // namespace

/// Any bytes are a font or are refused with a reason, in every version, and a label is drawn with what is a font.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView input(data, size);
    for (const auto version : {LvglVersion::v8_2, LvglVersion::v8_3_11, LvglVersion::v8_4}) {
        auto font = LvglFont::load(input, version);
        if (const auto* reason = std::get_if<std::string>(&font)) {
            precondition(!reason->empty(), "a refusal has a reason");
            continue;
        }
        drawLabels(std::make_shared<const LvglFont>(std::get<LvglFont>(std::move(font))), textFor(input));
    }
    return 0;
}

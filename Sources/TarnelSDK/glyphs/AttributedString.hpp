#pragma once

#include <TarnelSDK/glyphs/Font.hpp>
#include <TarnelSDK/images/UIColor.hpp>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarnel {

/// How a run of text is drawn.
struct TextAttributes {
    /// Nothing: the system's font at 28 pixels.
    std::optional<Font> font;
    UIColor foregroundColor = UIColor::gray(1);

    friend bool operator==(const TextAttributes&, const TextAttributes&) = default;
};

/// Text, UTF-8, whose parts are drawn differently.
class AttributedString {
public:
    struct Run {
        std::string text;
        TextAttributes attributes;

        friend bool operator==(const Run&, const Run&) = default;
    };

    AttributedString() = default;
    AttributedString(std::string text, TextAttributes attributes) { append(std::move(text), std::move(attributes)); }

    void append(std::string text, TextAttributes attributes) {
        runs_.push_back({std::move(text), std::move(attributes)});
    }
    const std::vector<Run>& runs() const { return runs_; }

private:
    std::vector<Run> runs_;
};

} // namespace tarnel

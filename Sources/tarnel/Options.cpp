#include "Options.hpp"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace tarnel::command {
namespace {

class HelpFormatter : public CLI::Formatter {
public:
    explicit HelpFormatter(std::string usage) : usage_(std::move(usage)) {}
    std::string make_usage(const CLI::App*, std::string) const override { return usage_ + "\n"; }
    /// Which options go together is told by their groups.
    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string type = option->get_type_name();
        return (type.empty() ? "" : " " + type) + (option->get_required() ? " REQUIRED" : "");
    }

private:
    std::string usage_;
};

} // namespace

std::shared_ptr<CLI::FormatterBase> usage(std::string text) {
    return std::make_shared<HelpFormatter>(std::move(text));
}

std::optional<Point> pointFromText(const std::string& text) {
    const auto comma = std::find(text.begin(), text.end(), ',');
    Point point;
    const auto isNumber = [](std::string_view digits, int& number) {
        const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        return result.ec == std::errc() && result.ptr == digits.data() + digits.size();
    };
    const bool isPoint =
        comma != text.end() && isNumber({text.begin(), comma}, point.x) && isNumber({comma + 1, text.end()}, point.y);
    return isPoint ? std::optional(point) : std::nullopt;
}

} // namespace tarnel::command

#include "Failure.hpp"
#include "JSON.hpp"
#include "Text.hpp"

#include <TarnelSDK/foundation/UTF8.hpp>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <unordered_set>

namespace tarnel::command {
namespace {

using Parser = nlohmann::json;

/// Builds the value from the parser's events. An event that gives false ends the parsing; `error` then says why.
class Builder {
public:
    using number_integer_t = Parser::number_integer_t;
    using number_unsigned_t = Parser::number_unsigned_t;
    using number_float_t = Parser::number_float_t;
    using string_t = Parser::string_t;
    using binary_t = Parser::binary_t;

    bool null() { return add(nullptr); }
    bool boolean(bool value) { return add(value); }
    bool number_integer(number_integer_t value) { return add(std::int64_t{value}); }
    bool number_unsigned(number_unsigned_t value) { return add(std::uint64_t{value}); }
    bool number_float(number_float_t value, const string_t& token) {
        if (token.find_first_of(".eE") == string_t::npos) {
            error = "an integer lies outside -9223372036854775808...18446744073709551615";
            return false;
        }
        return add(value);
    }
    bool string(string_t& value) { return add(std::move(value)); }
    bool binary(binary_t&) { return false; }

    bool start_object(std::size_t) { return open(JSON::Object()); }
    bool key(string_t& value) {
        Container& container = open_.back();
        if (!container.keys.insert(value).second) {
            error = "the key " + command::text(value) + " occurs twice in one object";
            return false;
        }
        container.value->object()->emplace_back(std::move(value), JSON());
        return true;
    }
    bool end_object() { return close(); }
    bool start_array(std::size_t) { return open(JSON::Array()); }
    bool end_array() { return close(); }

    template <typename Exception>
    bool parse_error(std::size_t position, const std::string&, const Exception& exception) {
        error = reason(exception.what()) + " at byte " + std::to_string(position);
        return false;
    }

    JSON root;
    std::string error = "it could not be read";

private:
    struct Container {
        JSON* value;
        std::unordered_set<std::string> keys;
    };

    JSON* place(JSON value) {
        if (open_.empty()) {
            root = std::move(value);
            return &root;
        }
        JSON& container = *open_.back().value;
        if (auto* array = container.array()) {
            return &array->emplace_back(std::move(value));
        }
        JSON& member = container.object()->back().second;
        member = std::move(value);
        return &member;
    }

    bool add(JSON value) {
        place(std::move(value));
        return true;
    }

    bool open(JSON value) {
        if (open_.size() == maximumJSONDepth) {
            error = "it is nested more than " + std::to_string(maximumJSONDepth) + " deep";
            return false;
        }
        open_.push_back({place(std::move(value)), {}});
        return true;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    /// What of the parser's message is about the mistake and not about the parser.
    static std::string reason(std::string_view message) {
        if (message.find("out_of_range") != std::string_view::npos) {
            return "a number is too large";
        }
        if (const auto start = message.find(" - "); start != std::string_view::npos) {
            message.remove_prefix(start + 3);
        }
        return std::string(message.substr(0, message.find("; ")));
    }

    std::vector<Container> open_;
};

void write(const JSON& value, std::string& out);

/// REQUIRES: the character is one of the Basic Multilingual Plane.
std::string escaped(char32_t character) {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(character) & 0xFFFFU);
    return text.data();
}

struct Writer {
    std::string& out;

    void operator()(std::nullptr_t) const { out += "null"; }
    void operator()(bool value) const { out += value ? "true" : "false"; }
    void operator()(std::int64_t value) const { out += std::to_string(value); }
    void operator()(std::uint64_t value) const { out += std::to_string(value); }
    void operator()(double value) const { out += Parser(value).dump(); }
    void operator()(const std::string& value) const {
        const std::string quoted = Parser(value).dump(-1, ' ', false, Parser::error_handler_t::replace);
        if (std::all_of(quoted.begin(), quoted.end(), [](char c) { return c >= ' ' && c < '\x7F'; })) {
            out += quoted;
            return;
        }
        for (const char32_t character : decodeUTF8(quoted)) {
            out += changesTerminal(character) ? escaped(character) : encodeUTF8({&character, 1});
        }
    }
    void operator()(const JSON::Array& value) const {
        out += '[';
        for (const JSON& element : value) {
            out += &element == value.data() ? "" : ",";
            write(element, out);
        }
        out += ']';
    }
    void operator()(const JSON::Object& value) const {
        out += '{';
        for (const JSON::Member& member : value) {
            out += &member == value.data() ? "" : ",";
            (*this)(member.first);
            out += ':';
            write(member.second, out);
        }
        out += '}';
    }
};

void write(const JSON& value, std::string& out) {
    std::visit(Writer{out}, value.storage());
}

} // namespace

JSON parseJSON(std::string_view text) {
    Builder builder;
    if (!Parser::sax_parse(text.begin(), text.end(), &builder)) {
        throw Failure("cannot read the JSON: " + builder.error);
    }
    return std::move(builder.root);
}

std::string text(const JSON& value) {
    std::string out;
    write(value, out);
    return out;
}

} // namespace tarnel::command

#include "JSON.hpp"

#include <algorithm>

namespace tarnel::command {

JSON::JSON(const JSON&) = default;
JSON::JSON(JSON&&) noexcept = default;
JSON& JSON::operator=(const JSON&) = default;
JSON& JSON::operator=(JSON&&) noexcept = default;
JSON::~JSON() = default;

const JSON* JSON::find(std::string_view key) const {
    if (const auto* members = object()) {
        const auto found =
            std::find_if(members->begin(), members->end(), [&](const Member& member) { return member.first == key; });
        return found == members->end() ? nullptr : &found->second;
    }
    return nullptr;
}

const char* JSON::kind() const {
    static constexpr const char* kinds[] = {"null",     "a boolean", "an integer", "an integer",
                                            "a number", "text",      "an array",   "an object"};
    return kinds[storage_.index()];
}

} // namespace tarnel::command

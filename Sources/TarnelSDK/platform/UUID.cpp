#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/platform/UUID.hpp>

#include <cstring>

namespace tarnel {
namespace {

constexpr std::string_view upperHexDigits = "0123456789ABCDEF";
constexpr std::string_view canonicalForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
constexpr std::string_view bluetoothBaseTail = "-0000-1000-8000-00805F9B34FB";

std::optional<std::uint8_t> nibble(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<std::uint8_t>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<std::uint8_t>(c - 'a' + 10);
    }
    if (c >= 'A' && c <= 'F') {
        return static_cast<std::uint8_t>(c - 'A' + 10);
    }
    return std::nullopt;
}

} // namespace

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != canonicalForm.size()) {
        return std::nullopt;
    }
    std::array<std::uint8_t, 16> bytes{};
    std::size_t digits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (canonicalForm[i] == '-') {
            if (text[i] != '-') {
                return std::nullopt;
            }
            continue;
        }
        const auto value = nibble(text[i]);
        if (!value) {
            return std::nullopt;
        }
        auto& byte = bytes[digits / 2];
        byte = static_cast<std::uint8_t>((byte << 4) | *value);
        ++digits;
    }
    return UUID(bytes);
}

std::optional<UUID> UUID::parseBluetooth(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        if (text.size() > 8) {
            return std::nullopt;
        }
    }
    if (text.size() != 4 && text.size() != 8) {
        return parse(text);
    }
    std::string full(8 - text.size(), '0');
    full.append(text).append(bluetoothBaseTail);
    return parse(full);
}

UUID UUID::bluetooth(std::string_view text) {
    const auto uuid = parseBluetooth(text);
    precondition(uuid.has_value(), "the text is a Bluetooth UUID");
    return *uuid;
}

UUID UUID::random() {
    std::array<std::uint8_t, 16> bytes{};
    precondition(platform::Platform::current().services().random->fill(bytes), "the random source works");
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    return UUID(bytes);
}

std::string UUID::string() const {
    std::string text;
    text.reserve(canonicalForm.size());
    std::size_t digits = 0;
    for (const char c : canonicalForm) {
        if (c == '-') {
            text += '-';
            continue;
        }
        const std::uint8_t byte = bytes_[digits / 2];
        text += upperHexDigits[digits % 2 == 0 ? byte >> 4 : byte & 0x0F];
        ++digits;
    }
    return text;
}

} // namespace tarnel

std::size_t std::hash<tarnel::UUID>::operator()(const tarnel::UUID& uuid) const noexcept {
    const auto& bytes = uuid.bytes();
    return std::hash<std::string_view>{}({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

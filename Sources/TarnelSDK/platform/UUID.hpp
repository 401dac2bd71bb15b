#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// A 128-bit universally unique identifier (RFC 4122), its bytes in the order of the text form.
class UUID {
public:
    constexpr UUID() = default;
    constexpr explicit UUID(const std::array<std::uint8_t, 16>& bytes) : bytes_(bytes) {}

    /// Reads the canonical 8-4-4-4-12 form, either letter case; empty for anything else.
    static std::optional<UUID> parse(std::string_view text);

    /// Reads a Bluetooth attribute UUID: canonical, or the 4 or 8 hexadecimal digits of an assigned number with an
    /// optional "0x", which are completed with the Bluetooth base UUID. Empty for anything else.
    static std::optional<UUID> parseBluetooth(std::string_view text);

    /// As `parseBluetooth`, for constants of the program: text that is no Bluetooth UUID stops the program.
    static UUID bluetooth(std::string_view text);

    /// A random (version 4) UUID from the platform's random source.
    static UUID random();

    constexpr const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }

    /// The canonical text in upper case.
    std::string string() const;

    friend constexpr auto operator<=>(const UUID&, const UUID&) = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};

} // namespace tarnel

template <>
struct std::hash<tarnel::UUID> {
    std::size_t operator()(const tarnel::UUID& uuid) const noexcept;
};

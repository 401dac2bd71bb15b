#include <TarnelLinux/bluez/Address.hpp>

#include <string_view>

namespace tarnel::bluez {
namespace {

constexpr std::string_view prefix = "5461726E-656C-8000-8000-";
constexpr std::size_t octets = 6;

} // namespace

std::optional<UUID> identifierOfAddress(const std::string& address) {
    if (address.size() != octets * 3 - 1) {
        return std::nullopt;
    }
    std::string text(prefix);
    for (std::size_t i = 0; i < address.size(); ++i) {
        if (i % 3 != 2) {
            text += address[i];
        } else if (address[i] != ':') {
            return std::nullopt;
        }
    }
    return UUID::parse(text);
}

std::optional<std::string> addressOfIdentifier(const UUID& identifier) {
    const std::string text = identifier.string();
    if (!text.starts_with(prefix)) {
        return std::nullopt;
    }
    std::string address;
    for (std::size_t i = prefix.size(); i < text.size(); i += 2) {
        address += address.empty() ? "" : ":";
        address += text.substr(i, 2);
    }
    return address;
}

} // namespace tarnel::bluez

#include <TarnelLinux/bluez/Adapters.hpp>
#include <TarnelLinux/bluez/Names.hpp>

#include <algorithm>

namespace tarnel::bluez {
namespace {

char uppercase(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

} // namespace

bool isPowered(const Bus& bus, const std::string& adapter) {
    const Properties* properties = bus.properties(adapter, adapterInterface);
    return properties && valueOf<bool>(*properties, "Powered").value_or(false);
}

bool isCalled(const std::string& path, const Properties& adapter, const std::string& wanted) {
    const auto address = valueOf<std::string>(adapter, "Address").value_or("");
    return path.ends_with("/" + wanted) ||
           std::equal(address.begin(), address.end(), wanted.begin(), wanted.end(),
                      [](char own, char other) { return uppercase(own) == uppercase(other); });
}

std::string chooseAdapter(const Bus& bus, const std::optional<std::string>& wanted, const std::string& inUse) {
    std::string chosen;
    for (const auto& [path, interfaces] : bus.objects()) {
        const auto found = interfaces.find(adapterInterface);
        if (found == interfaces.end()) {
            continue;
        }
        if (wanted) {
            if (isCalled(path, found->second, *wanted)) {
                return path;
            }
            continue;
        }
        const bool isOn = valueOf<bool>(found->second, "Powered").value_or(false);
        if (isOn && path == inUse) {
            return path;
        }
        if (chosen.empty() || (isOn && !isPowered(bus, chosen))) {
            chosen = path;
        }
    }
    return chosen;
}

} // namespace tarnel::bluez

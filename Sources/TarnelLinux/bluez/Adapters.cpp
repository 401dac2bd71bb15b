#include <TarnelLinux/bluez/Adapters.hpp>
#include <TarnelLinux/bluez/Address.hpp>
#include <TarnelLinux/bluez/Names.hpp>

namespace tarnel::bluez {

bool isPowered(const Bus& bus, const std::string& adapter) {
    const Properties* properties = bus.properties(adapter, adapterInterface);
    return properties && valueOf<bool>(*properties, "Powered").value_or(false);
}

bool isCalled(const std::string& path, const Properties& adapter, const std::string& wanted) {
    if (path.ends_with("/" + wanted)) {
        return true;
    }
    const auto address = valueOf<std::string>(adapter, "Address");
    const auto identifier = identifierOfAddress(wanted);
    return address && identifier && identifierOfAddress(*address) == identifier;
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

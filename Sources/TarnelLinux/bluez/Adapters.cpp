#include <TarnelLinux/bluez/Adapters.hpp>
#include <TarnelLinux/bluez/Names.hpp>

namespace tarnel::bluez {

bool isPowered(const Bus& bus, const std::string& adapter) {
    const Properties* properties = bus.properties(adapter, adapterInterface);
    return properties && valueOf<bool>(*properties, "Powered").value_or(false);
}

std::string chooseAdapter(const Bus& bus, const std::optional<std::string>& wanted, const std::string& inUse) {
    std::string chosen;
    for (const auto& [path, interfaces] : bus.objects()) {
        const auto found = interfaces.find(adapterInterface);
        if (found == interfaces.end()) {
            continue;
        }
        if (wanted) {
            if (path.ends_with("/" + *wanted) || valueOf<std::string>(found->second, "Address") == wanted) {
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

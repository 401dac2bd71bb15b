#include <TarnelLinux/bluez/AdapterName.hpp>
#include <TarnelLinux/bluez/Names.hpp>

namespace tarnel::bluez {

void AdapterName::set(const std::string& adapter, const std::string& name) {
    if (adapter == adapter_ && name == name_) {
        return;
    }
    if (adapter != adapter_) {
        restore();
        const Properties* properties = bus_.properties(adapter, adapterInterface);
        if (!properties) {
            return;
        }
        adapter_ = adapter;
        const auto present = valueOf<std::string>(*properties, "Alias").value_or("");
        // It is the new one already where a process could not put the former back.
        formers_.try_emplace(adapter, present == name ? "" : present);
    }
    name_ = name;
    write(name);
}

void AdapterName::restore() {
    if (!adapter_.empty()) {
        write(formers_[adapter_]);
    }
    lose();
}

void AdapterName::lose() {
    adapter_.clear();
    name_.clear();
}

void AdapterName::write(const std::string& name) {
    bus_.call(
        adapter_, propertiesInterface, "Set",
        [&name](sdbus::MethodCall& message) {
            message << std::string(adapterInterface) << std::string("Alias") << sdbus::Variant(name);
        },
        [](sdbus::MethodReply*, const Failure*) {
            // The advertisement carries the name as well.
        });
}

} // namespace tarnel::bluez

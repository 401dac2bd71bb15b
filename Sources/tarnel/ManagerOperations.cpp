#include "BluetoothNames.hpp"
#include "Bridge.hpp"
#include "Operations.hpp"

#include <TarnelSDK/manager/TarnelManager.hpp>

#include <algorithm>

namespace tarnel::command {
namespace {

constexpr Cases<BluetoothScanResult, 3> scanResults{{
    {"SUCCESS", BluetoothScanResult::SUCCESS},
    {"DISABLED", BluetoothScanResult::DISABLED},
    {"BLUETOOTH_PERMISSION_NEEDED", BluetoothScanResult::BLUETOOTH_PERMISSION_NEEDED},
}};

TarnelManager& manager() {
    return TarnelManager::shared();
}

JSON describe(const std::shared_ptr<Tarnel>& device) {
    if (!device) {
        return nullptr;
    }
    const auto identifier = device->peripheralID();
    const auto peripheralName = device->peripheralName();
    return JSON::Object{{"uuid", device->uuidString()},
                        {"peripheralID", identifier ? JSON(identifier->string()) : JSON()},
                        {"peripheralName", peripheralName ? JSON(*peripheralName) : JSON()},
                        {"state", name(device->state())},
                        {"isConnected", device->isConnected.value()}};
}

JSON startScan(Bridge& bridge, const Arguments&) {
    const auto result = manager().startScan([&bridge](const platform::PeripheralPointer& peripheral) {
        Bridge::later([&bridge, peripheral] { bridge.found(peripheral); });
    });
    return nameOf(result, scanResults);
}

JSON link(Bridge& bridge, const Arguments& arguments) {
    const auto peripheral = bridge.scanned(arguments.has("device") ? std::optional(arguments.text("device"))
                                                                   : std::optional<std::string>());
    // A peripheral that is connected already does not complete a connection.
    bridge.surroundings().setIsLinking(peripheral->state() != platform::PeripheralState::connected);
    manager().link(peripheral, [&bridge](const std::shared_ptr<Tarnel>& device) {
        Bridge::later([&bridge, uuid = device->uuidString()] {
            bridge.surroundings().setIsLinking(false);
            bridge.emit({{"event", "linked"}, {"device", uuid}});
        });
    });
    return nullptr;
}

JSON setCurrentDevice(Bridge&, const Arguments& arguments) {
    if (!arguments.has("device")) {
        manager().setCurrentDevice(nullptr);
        return nullptr;
    }
    const auto devices = manager().getAllDevices();
    const auto found = std::find_if(devices.begin(), devices.end(), [&](const std::shared_ptr<Tarnel>& device) {
        return device->uuidString() == arguments.text("device");
    });
    if (found == devices.end()) {
        throw Failure(R"(no linked glasses have this uuid; "getAllDevices" lists them)");
    }
    manager().setCurrentDevice(*found);
    return nullptr;
}

JSON getAllDevices(Bridge&, const Arguments&) {
    JSON::Array list;
    for (const auto& device : manager().getAllDevices()) {
        list.push_back(describe(device));
    }
    return list;
}

JSON getBluetoothManager(Bridge&, const Arguments&) {
    const auto central = manager().getBluetoothManager();
    if (!central) {
        return nullptr;
    }
    return JSON::Object{{"state", nameOf(central->state(), centralStates)}, {"isScanning", central->isScanning()}};
}

/// An operation that gives one of the manager's flags.
Operation flag(const char* name, Bindable<bool> TarnelManager::*bindable) {
    return {name, {}, "Gives true or false.", [bindable](Bridge&, const Arguments&) -> JSON {
                return (manager().*bindable).value();
            }};
}

/// An operation without arguments and result.
Operation plain(const char* name, const char* about, void (TarnelManager::*operation)()) {
    return {name, {}, about, [operation](Bridge&, const Arguments&) -> JSON {
                (manager().*operation)();
                return nullptr;
            }};
}

} // namespace

std::vector<Operation> managerOperations() {
    using namespace parameter;
    return {
        {"startScan",
         {},
         "Looks for glasses; each pair found is an event \"scanned\". Gives SUCCESS, DISABLED or "
         "BLUETOOTH_PERMISSION_NEEDED.",
         startScan},
        plain("stopScan", "Ends the scan.", &TarnelManager::stopScan),
        {"link",
         {optional(string("device"))},
         "Connects and links the glasses that the event \"scanned\" told of, those told of last when left out; the "
         "event "
         "\"linked\" follows.",
         link},
        plain("unlink", "Forgets the linked glasses and all that the application has stored.", &TarnelManager::unlink),
        {"linkDevice",
         {},
         "Makes the current device the one that is linked.",
         [](Bridge& bridge, const Arguments&) -> JSON {
             manager().linkDevice(bridge.device());
             return nullptr;
         }},
        {"currentDevice",
         {},
         "Gives the linked glasses or null.",
         [](Bridge&, const Arguments&) { return describe(manager().currentDevice()); }},
        {"setCurrentDevice",
         {optional(string("device"))},
         "Makes the device of this uuid the current one, or none.",
         setCurrentDevice},
        {"getAllDevices", {}, "Gives the list of linked glasses.", getAllDevices},
        plain("save", "Stores the link.", &TarnelManager::save),
        {"getBluetoothManager", {}, "Gives the central's state and whether it scans.", getBluetoothManager},
        plain("setBluetoothManger", "Restarts the connection of the linked glasses.",
              &TarnelManager::setBluetoothManger),
        flag("isBluetoothEnabled", &TarnelManager::isBluetoothEnabled),
        flag("isReady", &TarnelManager::isReady),
        flag("isScanning", &TarnelManager::isScanning),
        flag("isLinked", &TarnelManager::isLinked),
    };
}

} // namespace tarnel::command

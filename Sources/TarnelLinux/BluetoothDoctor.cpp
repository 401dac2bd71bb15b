#include <TarnelLinux/BluetoothDoctor.hpp>
#include <TarnelLinux/bluez/Adapters.hpp>
#include <TarnelLinux/bluez/Names.hpp>
#include <TarnelLinux/doctor/DaemonView.hpp>
#include <TarnelLinux/doctor/MachineFiles.hpp>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace tarnel {

using namespace doctor;
using bluez::Properties;
using bluez::valueOf;
using Result = Finding::Result;

namespace {

constexpr const char* glassesService = "39191400-bfc2-4bee-a81a-28c23b6ac84a";
constexpr const char* restartDaemon = "sudo systemctl restart bluetooth";

std::string addressOfBus(const ExaminedMachine& machine) {
    if (machine.busAddress) {
        return *machine.busAddress;
    }
    const char* given = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    return given && *given ? given : "unix:path=" + (machine.root / "run/dbus/system_bus_socket").string();
}

/// One machine's examination: what was found, and what later checks need of earlier ones.
class Examination {
public:
    explicit Examination(const ExaminedMachine& machine) : machine_(machine) {}

    std::vector<Finding> run() {
        checkBus();
        checkDaemon();
        add(checkSwitch(machine_.root));
        checkAdapter();
        checkDevices();
        checkFiles();
        return std::move(findings_);
    }

private:
    void add(Finding finding) { findings_.push_back(std::move(finding)); }
    void ok(const char* check, std::string text) { add({check, Result::ok, std::move(text), ""}); }
    void problem(const char* check, std::string text, std::string remedy) {
        add({check, Result::problem, std::move(text), std::move(remedy)});
    }
    void skip(const std::vector<const char*>& checks, const std::string& why) {
        for (const auto* check : checks) {
            add({check, Result::notChecked, why, ""});
        }
    }

    std::string whyNobodyAnswers() const {
        return hasBus_ ? "the Bluetooth service cannot be asked" : "the bus cannot be used";
    }

    void checkBus();
    void checkDaemon();
    void checkAdapter();
    void checkVersionAndPower(const Properties& adapter, const bluez::Interfaces& interfaces);
    void checkDevices();
    void checkBonds();
    void checkGlasses();
    void checkFiles();

    bool isBelowAdapter(const std::string& path) const { return path.starts_with(adapter_ + "/"); }
    const Properties* device(const std::string& path) const;
    /// Whether another program has a characteristic of the device.
    bool isHeld(const std::string& devicePath) const;
    const Properties* linkedDevice(std::string* path) const;

    const ExaminedMachine& machine_;
    std::vector<Finding> findings_;
    bool hasBus_ = false;
    DaemonView view_;
    bool hasDaemon_ = false;
    std::string adapter_; ///< its path; empty without one
    std::string adapterAddress_;
    bool isPowered_ = false;
};

void Examination::checkBus() {
    const auto address = addressOfBus(machine_);
    const auto probe = probeBus(address, machine_.patience);
    switch (probe.answer) {
    case BusProbe::Answer::alive:
        break;
    case BusProbe::Answer::absent:
        return isContainer(machine_.root)
                   ? problem("bus", "this is a container without a system bus (D-Bus), so without Bluetooth",
                             "docker run -v /run/dbus:/run/dbus ...   (starts it with the host's)")
                   : problem("bus", "there is no system bus (D-Bus) at " + probe.path + ": " + probe.reason,
                             "sudo systemctl start dbus");
    case BusProbe::Answer::refused:
        return problem("bus", "the system bus (D-Bus) at " + probe.path + " lets this user not in: " + probe.reason,
                       "sudo chmod a+rw " + probe.path);
    case BusProbe::Answer::silent:
        return problem("bus", "the system bus (D-Bus) at " + probe.path + " does not answer",
                       "sudo systemctl restart dbus");
    case BusProbe::Answer::unknownUser:
        return problem("bus", "the system bus (D-Bus) at " + probe.path + " does not accept this user",
                       isContainer(machine_.root) ? "docker run --user \"$(id -u)\" ...   (the bus asks who it is)"
                                                  : "sudo systemctl restart dbus");
    }
    view_ = viewDaemon(address, machine_.patience);
    if (view_.busFailure) {
        return problem("bus", "the system bus (D-Bus) cannot be used: " + view_.busFailure->message,
                       "sudo systemctl restart dbus");
    }
    hasBus_ = true;
    ok("bus", "the system bus (D-Bus) answers");
}

void Examination::checkDaemon() {
    if (!hasBus_) {
        return skip({"daemon", "permission"}, whyNobodyAnswers());
    }
    if (!view_.isRunning) {
        if (isDaemonInstalled(machine_.root)) {
            problem("daemon", "the Bluetooth service (bluetoothd) does not run",
                    "sudo systemctl enable --now bluetooth");
        } else {
            problem("daemon", "the Bluetooth service (bluetoothd) is not installed",
                    isContainer(machine_.root) ? "docker run -v /run/dbus:/run/dbus ...   (uses the host's)"
                                               : installCommand(machine_.root, "bluez"));
        }
        return skip({"permission"}, "the Bluetooth service does not run");
    }
    const auto& failure = view_.daemonFailure;
    if (failure && failure->name == "org.freedesktop.DBus.Error.AccessDenied") {
        ok("daemon", "the Bluetooth service (bluetoothd) runs");
        return problem("permission", "the bus does not let this user speak to the Bluetooth service",
                       "sudo usermod -aG bluetooth \"$USER\"   (from the next login on)");
    }
    if (failure) {
        problem("daemon", "the Bluetooth service (bluetoothd) does not answer: " + failure->message, restartDaemon);
        return skip({"permission"}, "the Bluetooth service does not answer");
    }
    hasDaemon_ = true;
    ok("daemon", "the Bluetooth service (bluetoothd) runs");
    ok("permission", "this user may speak to it");
}

void Examination::checkAdapter() {
    if (!hasDaemon_) {
        return skip({"adapter", "version", "power"}, whyNobodyAnswers());
    }
    const bluez::Interfaces* interfaces = nullptr;
    for (const auto& [path, each] : view_.objects) {
        const auto found = each.find(bluez::adapterInterface);
        if (found == each.end()) {
            continue;
        }
        const auto address = valueOf<std::string>(found->second, "Address").value_or("");
        const bool isPowered = valueOf<bool>(found->second, "Powered").value_or(false);
        const bool isWanted = !machine_.adapter || bluez::isCalled(path, found->second, *machine_.adapter);
        if (isWanted && (adapter_.empty() || (isPowered && !isPowered_))) {
            adapter_ = path;
            adapterAddress_ = address;
            isPowered_ = isPowered;
            interfaces = &each;
        }
    }
    if (interfaces) {
        ok("adapter", adapter_.substr(adapter_.rfind('/') + 1) + " (" + adapterAddress_ + ")");
        return checkVersionAndPower(interfaces->at(bluez::adapterInterface), *interfaces);
    }
    const auto controllers = kernelControllers(machine_.root);
    if (machine_.adapter) {
        problem("adapter", "there is no Bluetooth adapter " + *machine_.adapter, "bluetoothctl list");
    } else if (!controllers.empty()) {
        problem("adapter", "the kernel has " + controllers.front() + ", of which the Bluetooth service does not know",
                restartDaemon);
    } else {
        problem("adapter", "this machine has no Bluetooth adapter, or no driver for it",
                "sudo modprobe btusb   (once one is plugged in)");
    }
    skip({"version", "power"}, "there is no adapter");
}

void Examination::checkVersionAndPower(const Properties& adapter, const bluez::Interfaces& interfaces) {
    const auto roles = valueOf<std::vector<std::string>>(adapter, "Roles");
    if (!interfaces.contains(bluez::gattManagerInterface)) {
        problem("version", "the Bluetooth service is older than BlueZ 5.48: GattManager1 is not on the bus",
                installCommand(machine_.root, "bluez"));
    } else if (roles && std::find(roles->begin(), roles->end(), "central") == roles->end()) {
        problem("version", "the adapter knows no Bluetooth Low Energy: \"central\" is not among its roles",
                "bluetoothctl list   (shows whether there is another, for --adapter)");
    } else {
        ok("version", "BlueZ 5.48 or newer, as GattManager1 is on the bus");
    }
    if (isPowered_) {
        return ok("power", "the adapter is switched on");
    }
    const bool isBlocked = std::any_of(findings_.begin(), findings_.end(), [](const Finding& finding) {
        return finding.check == "switch" && finding.result == Result::problem;
    });
    if (isBlocked) {
        return skip({"power"}, "the adapter is off, as its radio is blocked");
    }
    problem("power", "the adapter is switched off", "bluetoothctl power on");
}

const Properties* Examination::device(const std::string& path) const {
    const auto object = view_.objects.find(path);
    if (object == view_.objects.end() || !isBelowAdapter(path)) {
        return nullptr;
    }
    const auto found = object->second.find(bluez::deviceInterface);
    return found == object->second.end() ? nullptr : &found->second;
}

bool Examination::isHeld(const std::string& devicePath) const {
    return std::any_of(view_.objects.begin(), view_.objects.end(), [&](const auto& object) {
        const auto found = object.second.find(bluez::gattCharacteristicInterface);
        if (found == object.second.end() || !object.first.starts_with(devicePath + "/")) {
            return false;
        }
        const auto is = [&](const char* name) { return valueOf<bool>(found->second, name).value_or(false); };
        return is("WriteAcquired") || is("NotifyAcquired") || is("Notifying");
    });
}

const Properties* Examination::linkedDevice(std::string* path) const {
    for (const auto& [each, interfaces] : view_.objects) {
        const auto* properties = device(each);
        if (properties && valueOf<std::string>(*properties, "Address") == machine_.linkedAddress) {
            *path = each;
            return properties;
        }
    }
    return nullptr;
}

void Examination::checkDevices() {
    if (adapter_.empty()) {
        return skip({"bonds", "glasses"}, hasDaemon_ ? "there is no adapter" : whyNobodyAnswers());
    }
    checkBonds();
    checkGlasses();
}

void Examination::checkBonds() {
    for (const auto& [path, interfaces] : view_.objects) {
        const auto* properties = device(path);
        if (!properties) {
            continue;
        }
        const auto services =
            valueOf<std::vector<std::string>>(*properties, "UUIDs").value_or(std::vector<std::string>());
        const auto address = valueOf<std::string>(*properties, "Address").value_or("");
        const bool isGlasses = std::find(services.begin(), services.end(), glassesService) != services.end();
        const bool isPaired = valueOf<bool>(*properties, "Paired").value_or(false);
        const bool isConnected = valueOf<bool>(*properties, "Connected").value_or(false);
        if (isGlasses && isPaired && !isConnected && address != machine_.linkedAddress) {
            return problem("bonds",
                           "a bond is kept with glasses that are not linked (" + address +
                               "), which do not connect should they have forgotten it",
                           "bluetoothctl remove " + address);
        }
    }
    ok("bonds", "no bond is kept with glasses that are not linked");
}

void Examination::checkGlasses() {
    if (!machine_.linkedAddress) {
        return skip({"glasses"}, "no glasses are linked");
    }
    const std::string& address = *machine_.linkedAddress;
    std::string path;
    const auto* properties = linkedDevice(&path);
    if (!properties) {
        return ok("glasses", address + " is not known to the Bluetooth service, which finds it when it is near");
    }
    const auto is = [&](const char* name) { return valueOf<bool>(*properties, name).value_or(false); };
    if (is("Blocked")) {
        problem("glasses", address + " is blocked", "bluetoothctl unblock " + address);
    } else if (is("Connected") && !is("ServicesResolved")) {
        problem("glasses", address + " is connected, but only half: its services are not known",
                "bluetoothctl disconnect " + address);
    } else if (is("Connected") && isHeld(path)) {
        problem("glasses", address + " is in use by another program of this machine",
                "bluetoothctl disconnect " + address);
    } else if (is("Connected")) {
        ok("glasses", address + " is connected");
    } else {
        ok("glasses", address + " is known, and not connected");
    }
}

void Examination::checkFiles() {
    if (machine_.linkedAddress && !adapterAddress_.empty()) {
        add(checkCache(machine_.root, adapterAddress_, *machine_.linkedAddress));
    } else {
        skip({"cache"}, machine_.linkedAddress ? "there is no adapter" : "no glasses are linked");
    }
    if (hasDaemon_) {
        add(checkChannels(machine_.root));
    } else {
        skip({"channels"}, whyNobodyAnswers());
    }
}

} // namespace

std::vector<Finding> examineBluetooth(const ExaminedMachine& machine) {
    return Examination(machine).run();
}

Finding examineSettings(const std::optional<std::filesystem::path>& folder) {
    if (!folder) {
        return {"settings", Result::problem, "there is no home for settings: neither HOME nor XDG_CONFIG_HOME is set",
                "export HOME=~"};
    }
    return checkSettings(*folder);
}

} // namespace tarnel

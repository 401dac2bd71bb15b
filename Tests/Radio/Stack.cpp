#include "Stack.hpp"

#include <fcntl.h>
#include <sdbus-c++/sdbus-c++.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace tarnel::radio {
namespace {

namespace fs = std::filesystem;

constexpr const char* daemonPath = "/usr/libexec/bluetooth/bluetoothd";
constexpr const char* busSocket = "/run/dbus/system_bus_socket";
constexpr const char* adapterInterface = "org.bluez.Adapter1";
constexpr const char* deviceInterface = "org.bluez.Device1";

std::string logOf(const std::string& name) {
    return Stack::folder() + "/" + name + ".log";
}

std::unique_ptr<sdbus::IProxy> adapterProxy(const std::string& adapter) {
    return sdbus::createProxy(sdbus::createSystemBusConnection(), "org.bluez", "/org/bluez/" + adapter);
}

using Properties = std::map<std::string, sdbus::Variant>;

std::map<sdbus::ObjectPath, Properties> devicesOf(sdbus::IConnection& connection, const std::string& adapter) {
    std::map<sdbus::ObjectPath, std::map<std::string, Properties>> objects;
    sdbus::createProxy(connection, "org.bluez", "/")
        ->callMethod("GetManagedObjects")
        .onInterface("org.freedesktop.DBus.ObjectManager")
        .storeResultsTo(objects);
    std::map<sdbus::ObjectPath, Properties> devices;
    for (const auto& [path, interfaces] : objects) {
        const auto device = interfaces.find(deviceInterface);
        if (device != interfaces.end() && path.starts_with("/org/bluez/" + adapter + "/")) {
            devices.emplace(path, device->second);
        }
    }
    return devices;
}

std::size_t countControllers() {
    const fs::path folder = "/sys/class/bluetooth";
    return fs::exists(folder) ? static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {})) : 0;
}

std::string endOf(const std::string& path, std::size_t lines) {
    std::ifstream file(path);
    std::vector<std::string> all;
    for (std::string line; std::getline(file, line);) {
        // What the service and the kernel say to each other is most of what it writes.
        if (line.find("src/shared/mgmt.c") == std::string::npos) {
            all.push_back(line);
        }
    }
    std::ostringstream text;
    for (std::size_t i = all.size() - std::min(lines, all.size()); i < all.size(); ++i) {
        text << all[i] << '\n';
    }
    return text.str();
}

} // namespace

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

bool hasKernelFailed() {
    constexpr unsigned long died = 1UL << 7; // TAINT_DIE
    unsigned long taint = 0;
    std::ifstream("/proc/sys/kernel/tainted") >> taint;
    return (taint & died) != 0;
}

std::string Stack::folder() {
    return "/run/radio";
}

Stack::Stack(const Options& options) : options_(options) {
    fs::create_directories(folder());
    for (const char* name : {"bus", "controllers", "daemon", "glasses"}) {
        fs::remove(logOf(name));
    }
    fs::remove_all("/var/lib/bluetooth");
    fs::create_directories("/var/lib/bluetooth");
    std::ofstream(folder() + "/main.conf")
        << "[General]\nControllerMode = le\n[GATT]\nChannels = " << options.attributeChannels
        << "\n[Policy]\nAutoEnable = true\n";
    startBus();
    startControllers(options.controllers);
    if (options.pace > 0) {
        paced_ = std::make_unique<PacedController>(0, options.pace);
    }
}

Stack::~Stack() {
    others_.clear();
    daemon_.reset();
    paced_.reset();
    controllers_.clear();
    bus_.reset();
    eventually([] { return countControllers() == 0; });
}

void Stack::startBus() {
    fs::create_directories("/run/dbus");
    fs::remove(busSocket);
    bus_ = std::make_unique<Process>(std::vector<std::string>{"dbus-daemon", "--system", "--nofork", "--nopidfile"},
                                     Process::Options{.log = logOf("bus")});
    if (!eventually([] { return ::access(busSocket, W_OK) == 0; })) {
        throw std::runtime_error("the system bus does not start:\n" + logs());
    }
}

void Stack::stopBus() {
    bus_.reset();
}

void Stack::startControllers(int count) {
    const std::size_t wanted = countControllers() + static_cast<std::size_t>(count);
    controllers_.push_back(std::make_unique<Process>(std::vector<std::string>{"btvirt", "-l" + std::to_string(count)},
                                                     Process::Options{.log = logOf("controllers")}));
    if (!eventually([&] { return countControllers() == wanted; })) {
        throw std::runtime_error("the controllers do not start:\n" + logs());
    }
}

void Stack::stopControllers() {
    controllers_.clear();
    eventually([] { return countControllers() == 0; });
}

void Stack::startDaemon() {
    daemon_ = std::make_unique<Process>(std::vector<std::string>{daemonPath, "-n", "-d", "-f", folder() + "/main.conf"},
                                        Process::Options{.log = logOf("daemon")});
}

void Stack::killDaemon() {
    if (daemon_) {
        daemon_->end(SIGKILL);
    }
}

bool Stack::awaitAdapter(const std::string& name) {
    return eventually([&] {
        try {
            return adapterProxy(name)->getProperty("Powered").onInterface(adapterInterface).get<bool>();
        } catch (const sdbus::Error&) {
            return false;
        }
    });
}

bool Stack::isDiscovering(const std::string& adapter) const {
    return adapterProxy(adapter)->getProperty("Discovering").onInterface(adapterInterface).get<bool>();
}

void Stack::setPowered(const std::string& adapter, bool isPowered) {
    adapterProxy(adapter)->setProperty("Powered").onInterface(adapterInterface).toValue(isPowered);
}

void Stack::block(bool isBlocked) {
    // struct rfkill_event of <linux/rfkill.h>: index, type (0: all), operation (3: change all), soft, hard.
    const std::array<std::uint8_t, 8> event{0, 0, 0, 0, 0, 3, isBlocked, 0};
    const int file = ::open("/dev/rfkill", O_WRONLY | O_CLOEXEC);
    const auto written = ::write(file, event.data(), event.size());
    ::close(file);
    if (written != static_cast<ssize_t>(event.size())) {
        throw std::runtime_error("/dev/rfkill cannot be written to");
    }
}

void Stack::removeDevice(const std::string& adapter, const std::string& address) {
    std::string path = "/org/bluez/" + adapter + "/dev_" + address;
    std::replace(path.begin(), path.end(), ':', '_');
    adapterProxy(adapter)
        ->callMethod("RemoveDevice")
        .onInterface(adapterInterface)
        .withArguments(sdbus::ObjectPath(path));
}

bool Stack::isBonded(const std::string& adapter) const {
    const auto connection = sdbus::createSystemBusConnection();
    const auto devices = devicesOf(*connection, adapter);
    return std::any_of(devices.begin(), devices.end(),
                       [](const auto& entry) { return entry.second.at("Paired").template get<bool>(); });
}

std::string Stack::addressOf(const std::string& adapter) const {
    return adapterProxy(adapter)->getProperty("Address").onInterface(adapterInterface).get<std::string>();
}

std::string Stack::connectByAnother(const std::string& adapter) {
    others_.push_back(sdbus::createSystemBusConnection());
    sdbus::IConnection& connection = *others_.back();
    const auto proxy = sdbus::createProxy(connection, "org.bluez", "/org/bluez/" + adapter);
    proxy->callMethod("StartDiscovery").onInterface(adapterInterface);
    std::string address;
    eventually([&] {
        for (const auto& [path, device] : devicesOf(connection, adapter)) {
            try {
                sdbus::createProxy(connection, "org.bluez", path)->callMethod("Connect").onInterface(deviceInterface);
                address = device.at("Address").get<std::string>();
            } catch (const sdbus::Error&) {
                continue; // is tried again
            }
        }
        return !address.empty();
    });
    proxy->callMethod("StopDiscovery").onInterface(adapterInterface);
    return address;
}

std::string Stack::logs() const {
    std::ostringstream text;
    for (const auto& [name, lines] :
         std::map<std::string, std::size_t>{{"bus", 20}, {"controllers", 20}, {"daemon", 80}, {"glasses", 20}}) {
        text << "-- " << name << ":\n" << endOf(logOf(name), lines);
    }
    return text.str();
}

} // namespace tarnel::radio

#pragma once

#include <support/Command.hpp>

#include <memory>
#include <string>

namespace tarnel::test {

/// A D-Bus daemon of the test's own, at an address that stays the same when it is started again.
class PrivateBus {
public:
    /// With `isForbidden` nobody may send anything to the Bluetooth service; unless `isWatchable`, nobody may become a
    /// monitor.
    explicit PrivateBus(bool isForbidden = false, bool isWatchable = true) {
        std::filesystem::create_directory(servicesFolder());
        const std::string policy = isForbidden ? "<deny send_destination=\"org.bluez\"/>"
                                               : "<allow send_destination=\"*\" eavesdrop=\"false\"/>";
        writeText(
            folder_ / "bus.conf",
            "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
            "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">"
            "<busconfig><type>session</type><listen>" +
                address() + "</listen><servicedir>" + servicesFolder() +
                "</servicedir><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
                "<allow send_type=\"method_call\"/><allow send_type=\"signal\"/>"
                "<allow send_requested_reply=\"true\"/><allow receive_type=\"signal\"/>"
                "<allow receive_type=\"method_call\"/><allow receive_requested_reply=\"true\"/>" +
                policy + (isWatchable ? "" : "<deny send_interface=\"org.freedesktop.DBus.Monitoring\"/>") +
                "</policy></busconfig>");
        start();
    }

    /// What the bus starts when somebody calls the name; before that, nobody has it.
    void addService(const std::string& name, const std::string& command) const {
        writeText(servicesFolder() + "/" + name + ".service",
                  "[D-BUS Service]\nName=" + name + "\nExec=" + command + "\n");
    }

    std::string address() const { return "unix:path=" + folder_ / "bus"; }

    void start() {
        process_ = std::make_unique<Process>(std::vector<std::string>{"/usr/bin/dbus-daemon", "--nofork", "--nopidfile",
                                                                      "--config-file=" + folder_ / "bus.conf",
                                                                      "--print-address"});
        process_->readLine();
    }
    void stop() {
        process_.reset();
        std::filesystem::remove(folder_.path() / "bus");
    }

private:
    std::string servicesFolder() const { return folder_ / "services"; }

    TemporaryFolder folder_;
    std::unique_ptr<Process> process_;
};

} // namespace tarnel::test

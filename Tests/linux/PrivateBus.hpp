#pragma once

#include <support/Command.hpp>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <string>
#include <system_error>

namespace tarnel::test {

/// What somebody may take for a bus: it lets everybody connect, and says nothing.
class SilentBus {
public:
    SilentBus() : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        path().copy(name.sun_path, sizeof name.sun_path - 1);
        if (::bind(socket_, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 || ::listen(socket_, 5) != 0) {
            throw std::system_error(errno, std::generic_category(), path());
        }
    }
    ~SilentBus() { ::close(socket_); }
    SilentBus(const SilentBus&) = delete;
    SilentBus& operator=(const SilentBus&) = delete;

    std::string address() const { return "unix:path=" + path(); }

private:
    std::string path() const { return folder_ / "bus"; }

    const TemporaryFolder folder_;
    const int socket_;
};

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
    /// Answers nobody until it goes on.
    void pause() { process_->signal(SIGSTOP); }
    void goOn() { process_->signal(SIGCONT); }

private:
    std::string servicesFolder() const { return folder_ / "services"; }

    TemporaryFolder folder_;
    std::unique_ptr<Process> process_;
};

} // namespace tarnel::test

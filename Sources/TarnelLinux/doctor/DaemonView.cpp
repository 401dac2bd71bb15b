#include <TarnelLinux/bluez/Names.hpp>
#include <TarnelLinux/doctor/DaemonView.hpp>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

namespace tarnel::doctor {
namespace {

constexpr std::string_view pathPrefix = "unix:path=";

/// A socket that closes with it.
class Socket {
public:
    Socket() : descriptor_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}
    ~Socket() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int descriptor() const { return descriptor_; }
    bool isReady(short events, std::chrono::milliseconds patience) const {
        pollfd entry{descriptor_, events, 0};
        return ::poll(&entry, 1, static_cast<int>(patience.count())) > 0 && (entry.revents & events) != 0;
    }

private:
    int descriptor_;
};

} // namespace

BusProbe probeBus(const std::string& address, std::chrono::milliseconds patience) {
    BusProbe probe;
    if (!address.starts_with(pathPrefix)) {
        return probe;
    }
    probe.path = address.substr(pathPrefix.size(), address.find_first_of(",;") - pathPrefix.size());
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    if (probe.path.size() >= sizeof name.sun_path) {
        return {BusProbe::Answer::absent, probe.path, "the path is too long"};
    }
    std::memcpy(name.sun_path, probe.path.data(), probe.path.size());
    const Socket socket;
    if (::connect(socket.descriptor(), reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0) {
        const int error = errno;
        const bool isAbsent = error == ENOENT || error == ENOTDIR || error == ECONNREFUSED;
        const auto answer = error == EAGAIN ? BusProbe::Answer::silent
                                            : (isAbsent ? BusProbe::Answer::absent : BusProbe::Answer::refused);
        return {answer, probe.path, std::strerror(error)};
    }
    // The one byte before the first line carries credentials. The answer is the list of mechanisms.
    constexpr std::string_view greeting("\0AUTH\r\n", 7);
    std::array<char, 256> line{};
    const bool isAsked = ::send(socket.descriptor(), greeting.data(), greeting.size(), MSG_NOSIGNAL) ==
                         static_cast<ssize_t>(greeting.size());
    if (!isAsked || !socket.isReady(POLLIN, patience) ||
        ::recv(socket.descriptor(), line.data(), line.size(), 0) <= 0) {
        return {BusProbe::Answer::silent, probe.path, "no answer"};
    }
    return probe;
}

DaemonView viewDaemon(const std::string& address, std::chrono::milliseconds patience) {
    DaemonView view;
    std::unique_ptr<sdbus::IConnection> connection;
    try {
        connection = sdbus::createSessionBusConnectionWithAddress(address);
        auto bus = sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
        bus->callMethod("NameHasOwner")
            .onInterface("org.freedesktop.DBus")
            .withTimeout(patience)
            .withArguments(std::string(bluez::serviceName))
            .storeResultsTo(view.isRunning);
    } catch (const sdbus::Error& error) {
        view.busFailure = {error.getName(), error.getMessage()};
        return view;
    }
    try {
        auto root = sdbus::createProxy(*connection, bluez::serviceName, "/");
        std::map<sdbus::ObjectPath, bluez::Interfaces> objects;
        if (view.isRunning) {
            root->callMethod("GetManagedObjects")
                .onInterface(bluez::objectManagerInterface)
                .withTimeout(patience)
                .storeResultsTo(objects);
        }
        for (auto& [path, interfaces] : objects) {
            view.objects.insert_or_assign(path, std::move(interfaces));
        }
    } catch (const sdbus::Error& error) {
        view.daemonFailure = {error.getName(), error.getMessage()};
    }
    return view;
}

} // namespace tarnel::doctor

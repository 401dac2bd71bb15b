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

    /// The first line that comes in answer, or what there is of it; empty when nothing comes.
    std::string ask(std::string_view question, std::chrono::milliseconds patience) const {
        if (::send(descriptor_, question.data(), question.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(question.size())) {
            return {};
        }
        std::array<char, 256> line{};
        pollfd entry{descriptor_, POLLIN, 0};
        const auto length = ::poll(&entry, 1, static_cast<int>(patience.count())) > 0
                                ? ::recv(descriptor_, line.data(), line.size(), 0)
                                : 0;
        return length > 0 ? std::string(line.data(), static_cast<std::size_t>(length)) : std::string();
    }

private:
    int descriptor_;
};

/// This process's user asks to be let in. The one byte before the first line carries credentials.
std::string greeting() {
    std::string user;
    for (const char digit : std::to_string(::geteuid())) {
        user += '3';
        user += digit; // "0" is 30 in hexadecimal
    }
    return std::string(1, '\0') + "AUTH EXTERNAL " + user + "\r\n";
}

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
    const std::string answer = socket.ask(greeting(), patience);
    if (answer.empty()) {
        return {BusProbe::Answer::silent, probe.path, "no answer"};
    }
    if (!answer.starts_with("OK ")) {
        return {BusProbe::Answer::unknownUser, probe.path, "it does not accept this user"};
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

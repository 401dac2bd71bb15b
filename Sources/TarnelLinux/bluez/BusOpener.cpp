#include <TarnelLinux/bluez/BusOpener.hpp>

#include <system_error>
#include <thread>
#include <utility>

namespace tarnel::bluez {
namespace {

OpenedBus opened(const BusWish& wish) {
    OpenedBus bus;
    try {
        bus.connection = wish.connect();
        for (const auto& match : wish.matches) {
            bus.matches.push_back(bus.connection->addMatch(match, wish.matched));
        }
    } catch (const sdbus::Error& error) {
        bus.matches.clear();
        bus.connection.reset();
        bus.failure = {error.getName(), error.getMessage()};
    }
    return bus;
}

} // namespace

void openBus(EventLoop& loop, BusWish wish, std::function<void(OpenedBus)> done) {
    const auto handOver = [post = loop.poster(), done = std::move(done)](OpenedBus bus) {
        post([done, bus = std::make_shared<OpenedBus>(std::move(bus))] { done(std::move(*bus)); });
    };
    try {
        std::thread([wish = std::move(wish), handOver] { handOver(opened(wish)); }).detach();
    } catch (const std::system_error& error) {
        handOver(
            {.connection = nullptr, .matches = {}, .failure = {"org.freedesktop.DBus.Error.NoMemory", error.what()}});
    }
}

} // namespace tarnel::bluez

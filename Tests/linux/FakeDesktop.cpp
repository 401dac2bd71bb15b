#include "FakeDesktop.hpp"

#include <algorithm>
#include <future>
#include <utility>

namespace tarnel::test {
namespace {

constexpr const char* name = "org.freedesktop.Notifications";
constexpr const char* path = "/org/freedesktop/Notifications";

} // namespace

FakeDesktop::~FakeDesktop() {
    crash();
    loop_.end();
}

void FakeDesktop::sync(const std::function<void()>& task) {
    std::promise<void> done;
    loop_.post([&] {
        task();
        done.set_value();
    });
    done.get_future().wait();
}

void FakeDesktop::start() {
    sync([this] {
        connection_ = sdbus::createSessionBusConnectionWithAddress(busAddress_);
        object_ = sdbus::createObject(*connection_, path);
        object_->registerMethod("GetCapabilities")
            .onInterface(name)
            .implementedAs([this](sdbus::Result<std::vector<std::string>> result) {
                count("GetCapabilities");
                if (isHeld("GetCapabilities")) {
                    heldCapabilities_.push_back(std::move(result));
                    return;
                }
                std::unique_lock lock(mutex_);
                const auto capabilities = capabilities_;
                lock.unlock();
                result.returnResults(capabilities);
            });
        object_->registerMethod("Notify").onInterface(name).implementedAs(
            [this](sdbus::Result<std::uint32_t> result, const std::string& application, std::uint32_t replaces,
                   const std::string& icon, const std::string& summary, const std::string& body,
                   const std::vector<std::string>& actions, const std::map<std::string, sdbus::Variant>& hints,
                   std::int32_t timeout) {
                count("Notify");
                notify({0, application, replaces, icon, summary, body, actions, hints, timeout}, std::move(result));
            });
        object_->registerMethod("CloseNotification").onInterface(name).implementedAs([this](std::uint32_t id) {
            {
                const std::lock_guard lock(mutex_);
                closed_.push_back(id);
            }
            changed_.notify_all();
            constexpr std::uint32_t byCall = 3;
            auto message = object_->createSignal(name, "NotificationClosed");
            message << id << byCall;
            object_->emitSignal(message);
        });
        object_->finishRegistration();
        loop_.setSource({[this] {
                             const auto data = connection_->getEventLoopPollData();
                             return bluez::EventLoop::Source::Poll{data.fd, data.events, data.getPollTimeout()};
                         },
                         [this] {
                             try {
                                 while (connection_->processPendingRequest()) {
                                 }
                             } catch (const sdbus::Error&) {
                                 loop_.setSource({}); // the bus is gone
                             }
                         }});
        connection_->requestName(name);
    });
}

void FakeDesktop::crash() {
    sync([this] {
        loop_.setSource({});
        heldCapabilities_.clear();
        heldNotifications_.clear();
        object_.reset();
        connection_.reset();
    });
}

void FakeDesktop::notify(FakeNotification notification, sdbus::Result<std::uint32_t> result) {
    if (isHeld("Notify")) {
        heldNotifications_.emplace_back(std::move(notification), std::move(result));
        return;
    }
    std::unique_lock lock(mutex_);
    if (const auto refusal = refusal_) {
        lock.unlock();
        result.returnError(sdbus::Error("org.freedesktop.Notifications.Error.Refused", *refusal));
        return;
    }
    const std::uint32_t id = notification.replaces != 0 ? notification.replaces : nextId_++;
    notification.id = id;
    notifications_.push_back(std::move(notification));
    lock.unlock();
    // No lock is held in a call of the bus, which has locks of its own.
    result.returnResults(id);
    changed_.notify_all();
}

void FakeDesktop::setCapabilities(std::vector<std::string> capabilities) {
    const std::lock_guard lock(mutex_);
    capabilities_ = std::move(capabilities);
}

void FakeDesktop::hold(const std::string& method) {
    const std::lock_guard lock(mutex_);
    heldMethods_.push_back(method);
}

void FakeDesktop::takeHeld() {
    sync([this] {
        {
            const std::lock_guard lock(mutex_);
            std::erase(heldMethods_, "Notify");
        }
        for (auto& [notification, result] : std::exchange(heldNotifications_, {})) {
            notify(std::move(notification), std::move(result));
        }
    });
}

void FakeDesktop::refuse(std::string text) {
    const std::lock_guard lock(mutex_);
    refusal_ = std::move(text);
}

void FakeDesktop::setNextId(std::uint32_t id) {
    const std::lock_guard lock(mutex_);
    nextId_ = id;
}

void FakeDesktop::signal(const std::string& member, const std::function<void(sdbus::Signal&)>& fill) {
    sync([&] {
        auto message = object_->createSignal(name, member);
        fill(message);
        object_->emitSignal(message);
    });
}

void FakeDesktop::invoke(std::uint32_t id, const std::string& action) {
    signal("ActionInvoked", [&](sdbus::Signal& message) { message << id << action; });
}

void FakeDesktop::close(std::uint32_t id, std::uint32_t reason) {
    signal("NotificationClosed", [&](sdbus::Signal& message) { message << id << reason; });
}

void FakeDesktop::sendNonsense(const std::string& member) {
    signal(member, [](sdbus::Signal& message) { message << std::string("nonsense"); });
}

bool FakeDesktop::await(std::size_t number) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return notifications_.size() >= number; });
}

std::vector<std::uint32_t> FakeDesktop::closed(std::size_t number) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(30), [&] { return closed_.size() >= number; });
    return closed_;
}

std::vector<FakeNotification> FakeDesktop::notifications() {
    const std::lock_guard lock(mutex_);
    return notifications_;
}

int FakeDesktop::calls(const std::string& method) {
    const std::lock_guard lock(mutex_);
    return calls_[method];
}

void FakeDesktop::count(const std::string& method) {
    const std::lock_guard lock(mutex_);
    ++calls_[method];
}

bool FakeDesktop::isHeld(const std::string& method) {
    const std::lock_guard lock(mutex_);
    return std::find(heldMethods_.begin(), heldMethods_.end(), method) != heldMethods_.end();
}

} // namespace tarnel::test

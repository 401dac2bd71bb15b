#include <TarnelLinux/bluez/Names.hpp>
#include <TarnelLinux/bluez/NotificationServer.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::bluez {
namespace {

constexpr const char* notificationsPath = "/org/tarnel/notifications";
constexpr int readNotPermitted = 0x02;
constexpr std::size_t notificationHeader = 3; ///< opcode and handle
constexpr std::size_t leastValueLength = 20;

std::vector<LocalService> services() {
    return {{ancs::service(),
             {{.uuid = ancs::notificationSource(), .canNotify = true, .needsEncryption = true},
              {.uuid = ancs::controlPoint(), .canWrite = true, .needsEncryption = true},
              {.uuid = ancs::dataSource(), .canNotify = true, .needsEncryption = true}}}};
}

} // namespace

/// Brings the provider's news, which come on its queue, to the server, which is kept by its own thread alone.
class NotificationServer::Relay final : public ancs::NotificationProvider::Listener {
public:
    Relay(std::weak_ptr<NotificationServer> server, Post post) : server_(std::move(server)), post_(std::move(post)) {}

    void happened(const ancs::Event& event) override {
        post_([weak = server_, event] {
            if (const auto server = weak.lock()) {
                server->send(event);
            }
        });
    }

private:
    const std::weak_ptr<NotificationServer> server_;
    const Post post_;
};

std::shared_ptr<NotificationServer> NotificationServer::make(EventLoop& loop, Bus& bus, Post post,
                                                             std::shared_ptr<ancs::NotificationProvider> provider,
                                                             SubscriptionChanged changed) {
    auto server = std::make_shared<NotificationServer>(Key(), loop, bus, std::move(post), std::move(provider),
                                                       std::move(changed));
    server->relay_ = std::make_shared<Relay>(server, server->post_);
    server->provider_->queue().async(
        [provider = server->provider_, relay = server->relay_] { provider->addListener(relay); });
    return server;
}

NotificationServer::NotificationServer(Key, EventLoop& loop, Bus& bus, Post post,
                                       std::shared_ptr<ancs::NotificationProvider> provider,
                                       SubscriptionChanged changed)
    : bus_(bus), post_(std::move(post)), provider_(std::move(provider)), changed_(std::move(changed)),
      registration_(loop, bus, gattManager, [] {}) {}

void NotificationServer::connectionChanged(sdbus::IConnection* connection) {
    if (!connection) {
        registration_.lose();
        application_.reset();
    }
    connection_ = connection;
}

void NotificationServer::update(const std::string& adapter, bool isWanted) {
    if (adapter != adapter_) {
        withdraw();
        adapter_ = adapter;
    }
    if (!isWanted) {
        return withdraw();
    }
    if (application_ || !connection_ || !bus_.properties(adapter_, gattManagerInterface)) {
        return;
    }
    application_ = std::make_unique<GattApplication>(*connection_, notificationsPath + std::to_string(++applications_),
                                                     services(), *this);
    registration_.begin(adapter_, application_->path());
}

void NotificationServer::withdraw() {
    if (!application_) {
        return;
    }
    if (bus_.isDaemonThere()) {
        registration_.end();
    } else {
        registration_.lose();
    }
    application_.reset();
}

void NotificationServer::connected() {
    if (application_ && application_->isNotifying(ancs::notificationSource())) {
        subscribed();
    }
}

/// Tells the new subscriber what is there.
void NotificationServer::subscribed() {
    changed_({}, true);
    provider_->queue().async([provider = provider_, relay = relay_] {
        for (const auto& event : provider->existing()) {
            relay->happened(event);
        }
    });
}

void NotificationServer::send(const ancs::Event& event) {
    if (application_) {
        application_->notify(ancs::notificationSource(), ancs::encode(event));
    }
}

// Requests. They become tasks, as signals do, and so keep their order among them.

void NotificationServer::readAsked(const GattApplication::Request& request) {
    post_([weak = weak_from_this(), number = request.number, application = applications_] {
        const auto self = weak.lock();
        if (self && self->application_ && application == self->applications_) {
            self->application_->answer(number, readNotPermitted, {});
        }
    });
}

void NotificationServer::writeAsked(const GattApplication::Request& request, Bytes value, platform::WriteType) {
    post_([weak = weak_from_this(), device = request.device] {
        if (const auto self = weak.lock()) {
            self->changed_(device, true);
        }
    });
    const std::size_t length =
        std::max(leastValueLength, std::max<std::size_t>(request.mtu, notificationHeader) - notificationHeader);
    provider_->queue().async([weak = weak_from_this(), provider = provider_, post = post_, value = std::move(value),
                              length, application = applications_, number = request.number] {
        post([weak, application, number, answer = provider->write(value, length)] {
            if (const auto self = weak.lock()) {
                self->answer(application, number, answer);
            }
        });
    });
}

void NotificationServer::answer(std::uint64_t application, std::uint64_t number,
                                const ancs::NotificationProvider::Answer& answer) {
    if (!application_ || application != applications_) {
        return;
    }
    if (number != 0) {
        application_->answer(number, answer.error ? std::optional(static_cast<int>(*answer.error)) : std::nullopt, {});
    }
    for (const auto& value : answer.data) {
        application_->notify(ancs::dataSource(), value);
    }
}

void NotificationServer::notifyingChanged(const UUID& characteristic, bool isNotifying) {
    if (characteristic != ancs::notificationSource()) {
        return;
    }
    post_([weak = weak_from_this(), isNotifying] {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        if (isNotifying) {
            self->subscribed();
        } else {
            self->changed_({}, false);
        }
    });
}

} // namespace tarnel::bluez

#pragma once

#include <TarnelGlasses/AirLink.hpp>
#include <TarnelGlasses/SimulatedGlasses.hpp>
#include <TarnelSDK/ancs/NotificationProvider.hpp>

#include <cstddef>
#include <functional>
#include <memory>

namespace tarnel::glasses {

/// The host's notification service as one pair of glasses meets it over one connection. Used on the radio's queue,
/// which is the provider's, too.
class HostNotifications final : public ancs::NotificationProvider::Listener,
                                public std::enable_shared_from_this<HostNotifications> {
public:
    HostNotifications(std::shared_ptr<ancs::NotificationProvider> provider, std::shared_ptr<SimulatedGlasses> glasses,
                      std::shared_ptr<AirLink> link);

    /// The glasses find the service, or find that it is gone.
    void offer();
    void withdraw();

    void subscribe();
    void write(ByteView command);

    void happened(const ancs::Event& event) override;

private:
    void send(std::size_t attLength, std::function<void(SimulatedGlasses&)> arrived);

    const std::shared_ptr<ancs::NotificationProvider> provider_;
    const std::shared_ptr<SimulatedGlasses> glasses_;
    const std::shared_ptr<AirLink> link_;
    bool isOffered_ = false;
    bool isSubscribed_ = false;
};

} // namespace tarnel::glasses

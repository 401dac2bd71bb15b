#pragma once

#include "Air.hpp"
#include "AttributeServer.hpp"
#include "Controller.hpp"

#include <cstdint>
#include <memory>
#include <string>

namespace tarnel::radio {

/// Glasses on a small chip: a controller of their own, one ATT channel, no pairing. What becomes of this machine's
/// Bluetooth service does not concern them.
class ControllerAir final : public Air {
public:
    struct Options {
        std::uint16_t controller = 1;
        std::uint16_t mtu = 517;
        Bytes randomAddress; ///< as the controller takes it
    };

    ControllerAir(bluez::EventLoop& loop, const Options& options, glasses::GlassesOptions glasses,
                  AirListener listener);

    void advertise(std::optional<glasses::AdvertisingMode> mode) override;
    bool isSettled() const override { return controller_.isSettled(); }
    void notify(const UUID& characteristic, ByteView value) override;
    void drop(bool isLost) override;

private:
    void serve();
    void received(std::uint16_t channel, ByteView payload);
    Bytes advertisement() const;
    Bytes scanResponse() const;

    const Options options_;
    glasses::GlassesOptions glasses_;
    const AirListener listener_;
    Controller controller_;
    std::unique_ptr<AttributeServer> server_;
};

} // namespace tarnel::radio

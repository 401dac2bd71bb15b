#pragma once

#include <TarnelGlasses/GlassesOptions.hpp>
#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/UUID.hpp>

#include <cstddef>
#include <functional>
#include <optional>

namespace tarnel::radio {

/// What the program on the glasses hears of its radio. Everything on the loop's thread.
struct AirListener {
    std::function<void()> connected;
    std::function<void()> disconnected;
    /// The in characteristic; values that are sent have at most `valueLength` bytes.
    std::function<void(bool isOn, std::size_t valueLength)> subscribed;
    std::function<void(ByteView value)> wrote; ///< to the out characteristic
    std::function<Bytes(const UUID&)> read;
};

/// The radio of the glasses: advertisements, one connection, attributes.
class Air {
public:
    Air() = default;
    virtual ~Air() = default;
    Air(const Air&) = delete;
    Air& operator=(const Air&) = delete;

    /// Advertises in this mode, with its services, or falls silent.
    virtual void advertise(std::optional<glasses::AdvertisingMode> mode) = 0;
    /// What was asked for has been done.
    virtual bool isSettled() const = 0;
    virtual void notify(const UUID& characteristic, ByteView value) = 0;
    /// Ends the connection; `isLost` as if the other side were out of reach.
    virtual void drop(bool isLost) = 0;
};

} // namespace tarnel::radio

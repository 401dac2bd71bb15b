#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <cstddef>

namespace tarnel::glasses {

/// Of an attribute that is written or notified: opcode and attribute handle, in bytes.
inline constexpr std::size_t attWriteHeader = 3;

/// A connection as the glasses use it, on the radio's queue.
class GlassesLink {
public:
    virtual ~GlassesLink() = default;

    /// The longest value of a notification, in bytes. It may change: `SimulatedGlasses::linkChanged`.
    virtual std::size_t maximumValueLength() const = 0;
    /// Silence after which the host holds the connection for lost.
    virtual platform::Duration supervisionTimeout() const = 0;

    /// Sends an attribute packet of `attLength` bytes; `arrived` runs when the host has it, and never if the link
    /// closes before. Calls nothing back before it returns.
    virtual void sendToHost(std::size_t attLength, platform::Block arrived) = 0;

    /// While halted nothing arrives, either way.
    virtual void setHalted(bool halted) = 0;

    /// Ends the link; what is under way is lost.
    virtual void close() = 0;
};

} // namespace tarnel::glasses

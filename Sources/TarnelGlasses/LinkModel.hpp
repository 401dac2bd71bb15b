#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <cstddef>
#include <cstdint>

namespace tarnel::glasses {

enum class Phy { le1M, le2M };

/// How fast a simulated connection is and when it gives up. Air times follow Bluetooth Core, Vol 6,
/// Part B: unencrypted packets, each answered after the inter-frame space by an empty one.
struct LinkModel {
    /// ATT MTU in bytes, at least 23. A value takes at most `mtu - 3` bytes.
    std::size_t mtu = 498;
    /// Payload of one radio packet in bytes: 251 with the data length extension, 27 without.
    std::size_t packetPayload = 251;
    Phy phy = Phy::le2M;
    platform::Duration connectionInterval = std::chrono::milliseconds(15);
    /// Packets in one connection event; 0 stands for as many as fit into the interval.
    std::size_t packetsPerEvent = 0;
    /// Writes without response that the host buffers.
    std::size_t bufferDepth = 8;

    /// From an advertisement to the next of the same glasses.
    platform::Duration advertisingInterval = std::chrono::milliseconds(100);
    /// From hearing an advertisement to a connection on which requests may be sent.
    platform::Duration connectionSetup = std::chrono::milliseconds(60);
    /// How long pairing takes once the user has agreed.
    platform::Duration pairing = std::chrono::milliseconds(500);
    /// Silence after which both sides hold the connection for lost.
    platform::Duration supervisionTimeout = std::chrono::seconds(2);

    std::size_t maximumValueLength() const { return mtu - 3; }

    /// Radio packets that an ATT packet of `attLength` bytes is cut into.
    std::size_t packets(std::size_t attLength) const;
    /// Payload of the last of them.
    std::size_t lastPacketPayload(std::size_t attLength) const;

    /// Time on the air of one packet with `payload` bytes, its answer and both inter-frame spaces.
    platform::Duration packetTime(std::size_t payload) const;
};

} // namespace tarnel::glasses

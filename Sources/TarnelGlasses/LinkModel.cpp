#include <TarnelGlasses/LinkModel.hpp>

namespace tarnel::glasses {

namespace {

constexpr std::size_t l2capHeader = 4;
constexpr auto interFrameSpace = std::chrono::microseconds(150);

/// Preamble (two bytes on 2M), access address, header and CRC.
constexpr std::size_t packetOverhead(Phy phy) {
    return (phy == Phy::le1M ? 1u : 2u) + 4 + 2 + 3;
}

constexpr platform::Duration byteTime(Phy phy) {
    return std::chrono::microseconds(phy == Phy::le1M ? 8 : 4);
}

} // namespace

std::size_t LinkModel::packets(std::size_t attLength) const {
    return (attLength + l2capHeader + packetPayload - 1) / packetPayload;
}

std::size_t LinkModel::lastPacketPayload(std::size_t attLength) const {
    return attLength + l2capHeader - (packets(attLength) - 1) * packetPayload;
}

platform::Duration LinkModel::packetTime(std::size_t payload) const {
    const std::size_t bytes = packetOverhead(phy) + payload + packetOverhead(phy);
    return static_cast<std::int64_t>(bytes) * byteTime(phy) + 2 * interFrameSpace;
}

} // namespace tarnel::glasses

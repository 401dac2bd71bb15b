#pragma once

#include <TarnelGlasses/GlassesLink.hpp>
#include <TarnelSDK/platform/Queue.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <utility>

namespace tarnel::glasses {

/// A connection that a real radio carries: it adds no time of its own, and only holds back what comes while it is
/// halted. Used on the radio's queue.
class OnAirLink final : public GlassesLink, public std::enable_shared_from_this<OnAirLink> {
public:
    /// What is held back at most, in bytes of values.
    static constexpr std::size_t mostBytes = std::size_t{1} << 20;

    explicit OnAirLink(std::shared_ptr<platform::Queue> queue) : queue_(std::move(queue)) {}

    /// The ATT MTU of the connection, which only grows. True when longer values fit from now on.
    bool setMTU(std::uint16_t mtu);

    std::size_t maximumValueLength() const override { return maximumLength_; }
    platform::Duration supervisionTimeout() const override { return std::chrono::seconds(2); }
    void sendToHost(std::size_t attLength, platform::Block arrived) override;
    /// The same in the other direction, in one order with it. False when too much is held back already.
    bool sendToGlasses(std::size_t attLength, platform::Block arrived);
    void setHalted(bool halted) override;
    void close() override;

private:
    void start();
    void deliver();

    static constexpr std::size_t leastLength = 20;

    const std::shared_ptr<platform::Queue> queue_;
    std::size_t maximumLength_ = leastLength;
    std::deque<std::pair<std::size_t, platform::Block>> waiting_;
    std::size_t waitingBytes_ = 0;
    bool isHalted_ = false;
    bool isOpen_ = true;
    bool isDelivering_ = false; ///< or about to
};

} // namespace tarnel::glasses

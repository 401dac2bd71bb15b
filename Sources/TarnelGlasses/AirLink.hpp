#pragma once

#include <TarnelGlasses/GlassesLink.hpp>
#include <TarnelGlasses/Radio.hpp>

#include <array>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace tarnel::glasses {

/// One connection on the air: carries packets of the attribute protocol both ways, each side's in order, the two sides
/// taking turns, at the pace of the link model. Used on the radio's queue; owned by its two ends.
class AirLink final : public GlassesLink, public std::enable_shared_from_this<AirLink> {
public:
    enum class Side { host, glasses };

    static std::shared_ptr<AirLink> make(const Radio& radio);

    const LinkModel& model() const { return model_; }
    bool isOpen() const { return isOpen_; }

    /// Sends a packet of `attLength` bytes; `arrived` runs when the other side has all of it, and never if the link
    /// closes before. Like every operation here it calls nothing back before it returns.
    void send(Side from, std::size_t attLength, platform::Block arrived);

    std::size_t maximumValueLength() const override { return model_.maximumValueLength(); }
    platform::Duration supervisionTimeout() const override { return model_.supervisionTimeout; }
    void sendToHost(std::size_t attLength, platform::Block arrived) override {
        send(Side::glasses, attLength, std::move(arrived));
    }
    void setHalted(bool halted) override;
    void close() override;

    class Key {
        friend class AirLink;
        Key() = default;
    };
    AirLink(Key, const Radio& radio);

private:
    struct Packet {
        std::size_t attLength;
        platform::Block arrived;
    };

    void start();
    void arrive();
    void deliver();
    void waitForEvent();
    void occupy(std::size_t attLength);

    const std::shared_ptr<platform::Queue> queue_;
    const MonotonicTime now_;
    const LinkModel model_;
    bool isOpen_ = true;
    bool isHalted_ = false;
    /// The exchange of the current connection event has ended.
    bool isIdle_ = true;
    std::array<std::deque<Packet>, 2> waiting_;
    std::size_t turn_ = 0;
    std::optional<Packet> current_;
    bool isCurrentDone_ = false;

    platform::Duration eventStart_; ///< of the connection event in use
    platform::Duration free_;       ///< when the air is free again
    std::size_t packetsInEvent_ = 0;
};

} // namespace tarnel::glasses

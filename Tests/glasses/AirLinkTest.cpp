#include <TarnelGlasses/AirLink.hpp>
#include <TarnelGlasses/LinkModel.hpp>
#include <TarnelGlasses/Radio.hpp>
#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarnel::glasses {
namespace {

using namespace std::chrono_literals;
using Side = AirLink::Side;

constexpr std::size_t header = 3; ///< of a write without response

double seconds(platform::Duration duration) {
    return std::chrono::duration<double>(duration).count();
}

/// One link between nobody and nobody.
struct Air {
    explicit Air(const LinkModel& model = {}, std::uint64_t seed = 1) : scheduler(seed) {
        radio = Radio::make(
            scheduler, [this] { return scheduler.now(); }, model);
        link = AirLink::make(*radio);
    }

    void send(Side from, std::size_t attLength, const std::string& name) {
        link->send(from, attLength, [this, name] {
            arrivals.push_back(name);
            times.push_back(scheduler.now());
        });
    }

    /// Goodput, in kB/s, of values that are always ready.
    double goodput(std::size_t value, int count) {
        for (int i = 0; i < count; ++i) {
            send(Side::host, value + header, {});
        }
        scheduler.advance(10min);
        return static_cast<double>(value) * count / seconds(times.back()) / 1000;
    }

    SimulatedScheduler scheduler;
    std::shared_ptr<Radio> radio;
    std::shared_ptr<AirLink> link;
    std::vector<std::string> arrivals;
    std::vector<platform::Duration> times;
};

/// Goodput, in kB/s, of a link without pauses.
double ceiling(const LinkModel& model, std::size_t value) {
    platform::Duration time{};
    const auto packets = model.packets(value + header);
    for (std::size_t i = 0; i + 1 < packets; ++i) {
        time += model.packetTime(model.packetPayload);
    }
    time += model.packetTime(model.lastPacketPayload(value + header));
    return static_cast<double>(value) / seconds(time) / 1000;
}

TEST(LinkModel, hasTheCeilingOfTheRadio) {
    const LinkModel slow{.phy = Phy::le1M};
    const LinkModel fast{.phy = Phy::le2M};
    EXPECT_NEAR(ceiling(slow, 244), 98.9, 0.1);
    EXPECT_NEAR(ceiling(fast, 244), 175.3, 0.1);
    EXPECT_NEAR(ceiling(slow, 495), 100.3, 0.1);
    EXPECT_NEAR(ceiling(fast, 495), 177.8, 0.1);
    EXPECT_NEAR(ceiling(slow, 512), 92.6, 0.1);
    EXPECT_NEAR(ceiling(fast, 512), 158.0, 0.1);
    EXPECT_NEAR(ceiling({.packetPayload = 27, .phy = Phy::le1M}, 20), 29.6, 0.1);
    EXPECT_NEAR(ceiling({.packetPayload = 27, .phy = Phy::le2M}, 20), 40.4, 0.1);
}

TEST(LinkModel, cutsAnAttributePacketIntoRadioPackets) {
    const LinkModel model;
    EXPECT_EQ(model.packets(495 + header), 2U);
    EXPECT_EQ(model.lastPacketPayload(495 + header), 251U);
    EXPECT_EQ(model.packets(512 + header), 3U);
    EXPECT_EQ(model.lastPacketPayload(512 + header), 17U);
    EXPECT_EQ(model.packets(1), 1U);
    EXPECT_EQ(model.maximumValueLength(), 495U);
}

TEST(AirLink, carriesAtTheCeilingWithinTheRoundingOfConnectionEvents) {
    EXPECT_NEAR(Air({.phy = Phy::le1M}).goodput(495, 400), 100.3, 10.0);
    EXPECT_NEAR(Air({.phy = Phy::le2M}).goodput(495, 400), 177.8, 17.8);
    EXPECT_NEAR(Air({.phy = Phy::le2M}).goodput(244, 400), 175.3, 17.5);
    EXPECT_NEAR(Air({.packetPayload = 27, .phy = Phy::le2M}).goodput(20, 400), 40.4, 4.0);
    EXPECT_LT(Air({.mtu = 517}).goodput(512, 400), Air().goodput(495, 400));
}

TEST(AirLink, carriesNoMorePacketsInAnEventThanTheModelSays) {
    Air air({.connectionInterval = 20ms, .packetsPerEvent = 2});
    for (int i = 0; i < 4; ++i) {
        air.send(Side::host, 100, {});
    }
    air.scheduler.advance(1s);
    ASSERT_EQ(air.times.size(), 4U);
    EXPECT_LT(air.times[1], 40ms);
    EXPECT_GE(air.times[2], 40ms);
    EXPECT_LT(air.times[3], 60ms);
}

TEST(AirLink, beginsWithTheNextConnectionEventAfterASilence) {
    Air air;
    air.scheduler.advance(20ms);
    air.send(Side::host, 10, {});
    air.scheduler.advance(1s);
    ASSERT_EQ(air.times.size(), 1U);
    EXPECT_EQ(air.times[0], 30ms + air.link->model().packetTime(14));
}

TEST(AirLink, keepsTheOrderOfEachSideAndLetsTheSidesTakeTurns) {
    Air air;
    for (const auto* name : {"h1", "h2", "h3"}) {
        air.send(Side::host, 300, name);
    }
    for (const auto* name : {"g1", "g2", "g3"}) {
        air.send(Side::glasses, 300, name);
    }
    air.scheduler.advance(1s);
    EXPECT_EQ(air.arrivals, (std::vector<std::string>{"h1", "g1", "h2", "g2", "h3", "g3"}));
}

TEST(AirLink, carriesAPacketThatIsLongerThanAnInterval) {
    Air air({.phy = Phy::le1M, .connectionInterval = 1ms});
    air.send(Side::host, 498, "long");
    air.send(Side::host, 10, "short");
    air.scheduler.advance(1s);
    EXPECT_EQ(air.arrivals, (std::vector<std::string>{"long", "short"}));
}

TEST(AirLink, standsStillWhileHaltedAndLosesNothing) {
    Air air;
    air.send(Side::host, 10, "before");
    air.scheduler.advance(10ms);
    air.link->setHalted(true);
    air.send(Side::host, 10, "during");
    air.scheduler.advance(1h);
    EXPECT_TRUE(air.arrivals.empty());
    air.link->setHalted(false);
    air.scheduler.advance(1s);
    EXPECT_EQ(air.arrivals, (std::vector<std::string>{"before", "during"}));
    EXPECT_GE(air.times[0], 1h + 10ms);
}

TEST(AirLink, losesWhatIsUnderWayWhenItCloses) {
    Air air;
    air.send(Side::host, 10, "lost");
    air.scheduler.advance(10ms);
    air.link->close();
    air.send(Side::glasses, 10, "late");
    air.scheduler.advance(1s);
    EXPECT_TRUE(air.arrivals.empty());
    EXPECT_FALSE(air.link->isOpen());
}

TEST(RadioDeathTest, refusesAModelThatNoRadioHas) {
    SimulatedScheduler scheduler(1);
    const auto radio = Radio::make(scheduler, [] { return platform::Duration(0); });
    EXPECT_DEATH(radio->setModel({.mtu = 22}), "an MTU is at least 23 bytes");
    EXPECT_DEATH(radio->setModel({.packetPayload = 252}), "a packet's payload lies in 27...251 bytes");
    EXPECT_DEATH(radio->setModel({.bufferDepth = 0}), "a host buffers at least one write");
}

} // namespace
} // namespace tarnel::glasses

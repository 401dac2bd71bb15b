#include "Client.hpp"
#include "RadioTest.hpp"

#include <string>

namespace tarnel::radio {
namespace {

/// Glasses whose side of the bond the same service keeps, on hci1.
class Pairing : public RadioTest {
protected:
    void TearDown() override {
        client.reset();
        RadioTest::TearDown();
    }

    void startPaired(int attributeChannels = 1, const std::vector<std::string>& arguments = {"--pairing"}) {
        stack = std::make_unique<Stack>(Stack::Options{.attributeChannels = attributeChannels});
        stack->startDaemon();
        ASSERT_TRUE(stack->awaitAdapter("hci0"));
        ASSERT_TRUE(stack->awaitAdapter("hci1"));
        auto all = arguments;
        all.insert(all.end(), {"--adapter", "hci1"});
        glasses.push_back(std::make_unique<Glasses>(all));
        pair().tell("advertise normal");
        ASSERT_TRUE(eventually([&] { return pair().describe().isSettled; }));
    }

    /// Linux 6.1 frees a channel twice at the end of some encrypted connections (hci_chan_del), and Bluetooth with it.
    static void skipWithKernel() {
        if (hasKernelFailed()) {
            GTEST_SKIP() << "the kernel failed when the encrypted connection ended";
        }
    }

    std::optional<Client> client;
};

/// Of 600 short values, written as fast as the platform takes them, how many arrive after one with a higher number.
class Order : public Pairing {
protected:
    void expectOrder() {
        pair().tell("plain on");
        client.emplace();
        ASSERT_TRUE(client->find());
        ASSERT_TRUE(client->connect());
        ASSERT_TRUE(client->open());
        constexpr std::uint32_t count = 600;
        std::vector<Bytes> values(count, Bytes(20));
        for (std::uint32_t i = 0; i < count; ++i) {
            values[i][0] = static_cast<std::uint8_t>(i);
            values[i][1] = static_cast<std::uint8_t>(i >> 8);
        }
        ASSERT_TRUE(client->write(values));
        EXPECT_TRUE(eventually([&] { return pair().describe().values == count; }));
        EXPECT_EQ(pair().describe().misplaced, 0u);
    }
};

TEST_F(Order, isKeptOnOneChannel) {
    ASSERT_NO_FATAL_FAILURE(startPaired(1, {}));
    expectOrder();
}

/// The service would open three; what has one only, as glasses have, keeps it to one.
TEST_F(Order, isKeptByGlassesWithOneChannelWhateverTheServiceHas) {
    ASSERT_NO_FATAL_FAILURE(start({{}}, {.attributeChannels = 3}));
    expectOrder();
}

TEST_F(Pairing, isMadeWithoutAQuestion) {
    ASSERT_NO_FATAL_FAILURE(startPaired());
    host.emplace();
    ASSERT_TRUE(host->link());
    EXPECT_TRUE(stack->isBonded("hci0"));
    EXPECT_TRUE(stack->isBonded("hci1"));
    host->device()->setLayout(Layout::canvas, 0, true);
    EXPECT_TRUE(host->await([&] { return pair().describe().layout == 4; }));
    EXPECT_EQ(host->count(Bluetooth::peerRemovedPairingInfo), 0);
}

TEST_F(Pairing, outlivesTheProgram) {
    ASSERT_NO_FATAL_FAILURE(startPaired());
    host.emplace();
    ASSERT_TRUE(host->link());
    host.reset();
    ASSERT_TRUE(eventually([&] { return !pair().describe().isConnected; }));
    host.emplace();
    const bool isBack = host->awaitConnection();
    skipWithKernel();
    if (IsSkipped()) {
        return;
    }
    EXPECT_TRUE(isBack);
}

TEST_F(Pairing, thatTheGlassesHaveForgottenIsNamed) {
    ASSERT_NO_FATAL_FAILURE(startPaired());
    host.emplace();
    ASSERT_TRUE(host->link());
    host.reset();
    ASSERT_TRUE(eventually([&] { return !pair().describe().isConnected; }));
    stack->removeDevice("hci1", stack->addressOf("hci0"));
    host.emplace();
    const bool isNamed = host->await([&] { return host->count(Bluetooth::peerRemovedPairingInfo) == 1; });
    skipWithKernel();
    if (IsSkipped()) {
        return;
    }
    EXPECT_TRUE(isNamed);
    EXPECT_FALSE(host->manager().isLinked.value());
    EXPECT_TRUE(stack->isDaemonRunning());
    EXPECT_TRUE(host->link()) << "with a new bond";
    EXPECT_TRUE(stack->isBonded("hci1"));
}

} // namespace
} // namespace tarnel::radio

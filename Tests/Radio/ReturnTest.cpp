#include "Drawing.hpp"
#include "RadioTest.hpp"

#include <chrono>
#include <cstdio>
#include <fstream>

namespace tarnel::radio {
namespace {

class Return : public RadioTest {
protected:
    void SetUp() override {
        RadioTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        expected = drawInProcess(drawScene);
    }

    /// The connection is there by itself, and what is drawn arrives.
    void expectReturn(std::chrono::seconds patience = 60s) {
        const auto begin = std::chrono::steady_clock::now();
        ASSERT_TRUE(host->awaitConnection(patience)) << "the glasses are connected: " << pair().describe().isConnected;
        const std::chrono::duration<double> needed = std::chrono::steady_clock::now() - begin;
        std::printf("connected again after %.1f s\n", needed.count());
        // The connection from before may count for a moment yet; what is sent over it is lost.
        auto asked = std::chrono::steady_clock::time_point::min();
        ASSERT_TRUE(host->await([&] {
            if (std::chrono::steady_clock::now() > asked + 2s && host->isConnected()) {
                host->device()->setLayout(Layout::canvas, 0, true);
                asked = std::chrono::steady_clock::now();
            }
            return pair().describe().layout == 4;
        }));
        drawScene(*host->device());
        EXPECT_TRUE(host->await([&] { return pair().frame() == expected.frame; }));
    }

    /// A controller that is switched off says nothing to the other side, which finds out by its supervision time-out.
    void superviseLink() {
        if (!eventually([&] { return !pair().describe().isConnected; }, 3s)) {
            pair().tell("drop lost");
        }
    }

    Drawn expected;
};

TEST_F(Return, followsGlassesThatVanishInTheMiddleOfAMessage) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    host->device()->setLayout(Layout::canvas, 0, true);
    for (int round = 0; round < 3; ++round) {
        pair().tell("vanish-after " + std::to_string(10 + 15 * round));
        drawPhotograph(*host->device());
        ASSERT_TRUE(host->awaitDrop());
        EXPECT_TRUE(host->await([&] { return !host->device()->hasDataInOutgoingQueue(); }, 5s));
        host->run(1s);
        EXPECT_FALSE(host->isConnected());
        pair().tell("advertise normal");
        ASSERT_NO_FATAL_FAILURE(expectReturn());
    }
}

TEST_F(Return, followsTheEndOfTheService) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    stack->killDaemon();
    ASSERT_TRUE(host->awaitDrop());
    EXPECT_TRUE(host->await([&] { return !host->manager().isReady.value(); }));
    superviseLink();
    stack->startDaemon();
    EXPECT_TRUE(host->await([&] { return host->manager().isReady.value(); }));
    expectReturn();
}

TEST_F(Return, followsTheEndOfTheServiceInTheMiddleOfAMessage) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    host->device()->setLayout(Layout::canvas, 0, true);
    drawPhotograph(*host->device());
    ASSERT_TRUE(host->await([&] { return pair().describe().values > 10; }));
    stack->killDaemon();
    ASSERT_TRUE(host->awaitDrop());
    superviseLink();
    stack->startDaemon();
    expectReturn();
}

TEST_F(Return, followsTheEndOfTheBus) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    stack->stopBus();
    ASSERT_TRUE(host->awaitDrop());
    ASSERT_TRUE(eventually([&] { return !stack->isDaemonRunning(); })) << "the service does not outlive the bus";
    superviseLink();
    stack->startBus();
    stack->startDaemon();
    expectReturn();
}

TEST_F(Return, followsTheSwitchOfTheAdapter) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    stack->setPowered("hci0", false);
    ASSERT_TRUE(host->awaitDrop());
    EXPECT_TRUE(host->await([&] { return !host->manager().isReady.value(); }));
    stack->setPowered("hci0", true);
    expectReturn();
}

TEST_F(Return, followsTheSwitchOfAllRadios) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    stack->block(true);
    ASSERT_TRUE(host->awaitDrop());
    EXPECT_TRUE(host->await([&] { return !host->manager().isReady.value(); }));
    superviseLink();
    stack->block(false);
    expectReturn();
}

TEST_F(Return, followsAnAdapterThatIsPluggedInAgainUnderAnotherNumber) {
    ASSERT_NO_FATAL_FAILURE(start({{"--own-address"}}));
    host.emplace(std::nullopt);
    ASSERT_TRUE(host->link());
    glasses.clear();
    stack->stopControllers();
    ASSERT_TRUE(host->awaitDrop());
    EXPECT_TRUE(host->await([&] { return !host->manager().isReady.value(); }));
    // One that is not the application's comes first, and takes the number.
    stack->startControllers(1);
    ASSERT_TRUE(stack->awaitAdapter("hci0"));
    stack->setPowered("hci0", false);
    const Glasses stranger({"--controller", "0"});
    stack->startControllers(2);
    ASSERT_TRUE(stack->awaitAdapter("hci2"));
    stack->setPowered("hci2", false);
    glasses.push_back(std::make_unique<Glasses>(std::vector<std::string>{"--controller", "2", "--own-address"}));
    pair().tell("advertise normal");
    expectReturn();
    EXPECT_TRUE(stack->awaitAdapter("hci1"));
}

TEST_F(Return, followsASleepOfTheMachine) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    // Everything up to where the processor would stop.
    std::ofstream("/sys/power/pm_test") << "freezer";
    std::ofstream state("/sys/power/state");
    state << "freeze" << std::flush;
    ASSERT_TRUE(state) << "the kernel does not go to sleep";
    superviseLink();
    expectReturn();
}

} // namespace
} // namespace tarnel::radio

#include "Drawing.hpp"
#include "RadioTest.hpp"

#include <fstream>

namespace tarnel::radio {
namespace {

class Return : public RadioTest {
protected:
    void SetUp() override {
        RadioTest::SetUp();
        expected = drawInProcess(drawScene);
    }

    /// The connection is there by itself, and what is drawn arrives.
    void expectReturn(std::chrono::seconds patience = 30s) {
        ASSERT_TRUE(host->awaitConnection(patience));
        host->device()->setLayout(Layout::canvas, 0, true);
        ASSERT_TRUE(host->await([&] { return pair().describe().layout == 4; }));
        drawScene(*host->device());
        EXPECT_TRUE(host->await([&] { return pair().frame() == expected.frame; }));
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
        EXPECT_FALSE(host->device()->hasDataInOutgoingQueue());
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
    host->run(1s);
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
    stack->startDaemon();
    expectReturn();
}

TEST_F(Return, followsTheEndOfTheBus) {
    ASSERT_NO_FATAL_FAILURE(startLinked());
    stack->stopBus();
    ASSERT_TRUE(host->awaitDrop());
    ASSERT_TRUE(eventually([&] { return !stack->isDaemonRunning(); })) << "the service does not outlive the bus";
    host->run(1s);
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
    host->run(500ms);
    stack->block(false);
    // The service leaves it off: who switches it on is the user.
    stack->setPowered("hci0", true);
    expectReturn();
}

TEST_F(Return, followsAnAdapterThatIsPluggedInAgainUnderAnotherNumber) {
    ASSERT_NO_FATAL_FAILURE(start());
    host.emplace(std::nullopt);
    ASSERT_TRUE(host->link());
    glasses.clear();
    stack->stopControllers();
    ASSERT_TRUE(host->awaitDrop());
    EXPECT_TRUE(host->await([&] { return !host->manager().isReady.value(); }));
    // One that is not the application's comes first, and takes the number.
    stack->startControllers(1);
    const Glasses stranger({"--controller", "0"});
    stack->startControllers(2);
    glasses.push_back(std::make_unique<Glasses>(std::vector<std::string>{"--controller", "2"}));
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
    host->run(3s);
    expectReturn();
}

} // namespace
} // namespace tarnel::radio

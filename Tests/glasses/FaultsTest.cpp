#include "Phone.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel::glasses {
namespace {

using namespace std::chrono_literals;
using namespace test;
using platform::PeripheralState;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int canvasLayout = 4;

/// One chunk that is a whole message.
Bytes whole(const Bytes& message) {
    return chunk(0x01, message);
}

TEST(Faults, dropConnectionEndsItAndTheGlassesAdvertiseAgain) {
    Phone phone;
    phone.open();
    phone.write(whole(control("app", canvasLayout)));
    phone.await("written");
    EXPECT_EQ(phone.glasses->controlOwner(), "app");
    phone.glasses->dropConnection();
    phone.await("disconnected with error 7", 0s);
    EXPECT_EQ(phone.peripheral->state(), PeripheralState::disconnected);
    EXPECT_FALSE(phone.glasses->isConnected());
    EXPECT_TRUE(phone.glasses->isAdvertising());
    EXPECT_EQ(phone.glasses->controlOwner(), std::nullopt);
    EXPECT_FALSE(phone.glasses->isSubscribed(gatt::inCharacteristic()));
    EXPECT_FALSE(phone.peripheral->canSendWriteWithoutResponse());

    phone.application->events.clear();
    phone.central->connect(phone.peripheral);
    phone.await("connected");
    phone.discover();
    phone.subscribe();
    EXPECT_EQ(phone.glasses->counters().connections, 2U);
}

TEST(Faults, dropConnectionLosesWhatIsUnderWay) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        Phone phone({}, {.seed = seed});
        phone.open();
        phone.write(whole(message("led", 1)));
        phone.writeWithoutResponse(whole(message("led", 2)));
        phone.world.advance(1ms);
        phone.glasses->dropConnection();
        phone.settle();
        EXPECT_EQ(phone.glasses->receivedCount(), 0U);
        EXPECT_FALSE(phone.application->has("written")) << "seed " << seed;
    }
}

TEST(Faults, dropConnectionWithoutOneDoesNothing) {
    Phone phone;
    phone.glasses->dropConnection();
    phone.settle();
    EXPECT_THAT(phone.application->events, ElementsAre("state 5"));
}

TEST(Faults, refuseWriteRefusesTheNextWritesWithAnError) {
    Phone phone;
    phone.open();
    phone.glasses->refuseWrite(2);
    for (int i = 1; i <= 3; ++i) {
        phone.write(whole(message("led", i)));
    }
    phone.settle();
    EXPECT_THAT(phone.application->events, ElementsAre("written with error 14", "written with error 14", "written"));
    EXPECT_EQ(phone.glasses->property("led"), Value(3));
    EXPECT_EQ(phone.glasses->counters().refusedWrites, 2U);
}

TEST(Faults, refuseWriteLosesAWriteWithoutResponse) {
    Phone phone;
    phone.open();
    phone.glasses->refuseWrite();
    phone.writeWithoutResponse(whole(message("led", 1)));
    phone.settle();
    EXPECT_EQ(phone.glasses->property("led"), Value(50));
    phone.writeWithoutResponse(whole(message("led", 2)));
    phone.settle();
    EXPECT_EQ(phone.glasses->property("led"), Value(2));
    EXPECT_THAT(phone.application->events, IsEmpty());
}

TEST(Faults, loseBondEndsTheConnectionAndFailsTheNext) {
    Phone phone({.requiresPairing = true});
    phone.open();
    phone.glasses->loseBond();
    phone.await("disconnected with error 7");
    phone.central->connect(phone.peripheral);
    phone.await("failed with error 14");
    EXPECT_EQ(phone.peripheral->state(), PeripheralState::disconnected);
    phone.application->events.clear();
    phone.settle();
    EXPECT_THAT(phone.application->events, IsEmpty()) << "the request is over";

    phone.world.bluetooth().forgetBond(phone.glasses->identifier());
    phone.central->connect(phone.peripheral);
    phone.await("connected");
    phone.discover();
    phone.subscribe();
    EXPECT_TRUE(phone.glasses->isBonded());
}

TEST(Faults, stallLetsTheAirStandStillForItsTime) {
    Phone phone;
    phone.open();
    phone.glasses->stall(30s);
    phone.world.run();
    phone.write(whole(message("led", 1)));
    phone.glasses->tap(1);
    phone.world.advance(29s);
    EXPECT_THAT(phone.application->events, IsEmpty());
    EXPECT_EQ(phone.glasses->receivedCount(), 0U);
    EXPECT_TRUE(phone.glasses->isConnected());
    phone.world.advance(2s);
    EXPECT_THAT(phone.application->events, testing::UnorderedElementsAre("written", "value"));
}

TEST(Faults, stallLastsUntilResume) {
    Phone phone;
    phone.open();
    phone.glasses->stall(1s);
    phone.glasses->stall();
    for (std::size_t i = 0; i < phone.world.radio().model().bufferDepth; ++i) {
        phone.writeWithoutResponse(whole(message("led", 1)));
    }
    phone.world.advance(1h);
    EXPECT_FALSE(phone.peripheral->canSendWriteWithoutResponse());
    phone.glasses->resume();
    phone.await("ready");
    phone.settle();
    EXPECT_EQ(phone.glasses->receivedCount(), phone.world.radio().model().bufferDepth);
}

TEST(Faults, truncateChunkCutsTheNextWrittenValueShort) {
    Phone phone;
    phone.open();
    std::vector<std::size_t> sizes;
    phone.glasses->setTrace([&](const GattTraceEvent& event) { sizes.push_back(event.value.size()); });
    const auto value = whole(message("dev_name", "A long name"));
    phone.glasses->truncateChunk();
    phone.write(value);
    phone.settle();
    phone.write(value);
    phone.settle();
    EXPECT_THAT(sizes, testing::Contains(value.size() / 2));
    EXPECT_EQ(phone.application->count("written"), 2);
    EXPECT_EQ(phone.glasses->errors().at(0).code, CommandErrorCode::unknownCommand);
    EXPECT_EQ(phone.glasses->errorCount(), 1U);
    EXPECT_EQ(phone.glasses->property("dev_name"), Value("A long name"));
}

TEST(Faults, truncateChunkCutsTheNextNotifiedValueShort) {
    Phone phone;
    phone.open();
    phone.glasses->truncateChunk(SimulatedGlasses::Direction::toHost);
    phone.glasses->notifyValue({1, 2, 3, 4});
    phone.glasses->notifyValue({1, 2, 3, 4});
    phone.settle();
    EXPECT_THAT(phone.application->values, ElementsAre(Bytes{1, 2}, Bytes{1, 2, 3, 4}));
}

TEST(Faults, resetStartsTheFirmwareAgain) {
    Phone phone;
    phone.open();
    phone.write(whole(message("set_time", "20260101T000000")));
    phone.write(whole(message("led", 3)));
    phone.write(whole(control("app", canvasLayout)));
    phone.settle();
    phone.glasses->reset();
    phone.await("disconnected with error 7", 0s);
    EXPECT_FALSE(phone.glasses->isAdvertising());
    EXPECT_EQ(phone.glasses->time(), std::nullopt);
    EXPECT_EQ(phone.glasses->controlOwner(), std::nullopt);
    EXPECT_EQ(phone.glasses->property("led"), Value(3));
    phone.central->connect(phone.peripheral);
    phone.world.advance(phone.glasses->options().restartTime);
    EXPECT_TRUE(phone.glasses->isAdvertising());
    phone.await("connected");
}

TEST(Faults, leaveRangeEndsTheConnectionAfterTheSupervisionTimeout) {
    Phone phone;
    phone.open();
    phone.glasses->leaveRange();
    phone.world.advance(2s - 1ns);
    EXPECT_THAT(phone.application->events, IsEmpty());
    phone.world.advance(1ns);
    EXPECT_THAT(phone.application->events, ElementsAre("disconnected with error 6"));
    EXPECT_FALSE(phone.glasses->isConnected());
    EXPECT_FALSE(phone.glasses->isAdvertising());
    phone.central->connect(phone.peripheral);
    phone.settle();
    phone.glasses->enterRange();
    phone.await("connected");
}

TEST(Faults, aShortAbsenceOnlyDelays) {
    Phone phone;
    phone.open();
    phone.glasses->leaveRange();
    phone.world.run();
    phone.write(whole(message("led", 1)));
    phone.world.advance(1s);
    EXPECT_EQ(phone.glasses->receivedCount(), 0U);
    phone.glasses->enterRange();
    phone.world.advance(10s);
    EXPECT_THAT(phone.application->events, ElementsAre("written"));
}

TEST(Faults, updateModeIsEnteredThroughARestart) {
    Phone phone;
    phone.open();
    phone.glasses->setAdvertisingMode(AdvertisingMode::update);
    phone.await("disconnected with error 7");
    phone.central->connect(phone.peripheral);
    phone.await("connected");
    phone.discover();
    EXPECT_EQ(phone.application->services.at(0)->uuid, gatt::updateService());
    EXPECT_EQ(phone.out, nullptr);
}

TEST(Glasses, areGoneForGoodOnceRemoved) {
    Phone phone;
    phone.open();
    phone.glasses->remove();
    phone.await("disconnected with error 7");
    phone.central->connect(phone.peripheral);
    phone.settle();
    EXPECT_FALSE(phone.application->has("connected"));
}

TEST(Glasses, tellTheHostWhatTheWearerDoes) {
    Phone phone;
    phone.open();
    phone.glasses->tap(2);
    phone.glasses->powerButton(1);
    phone.glasses->requestTime();
    phone.glasses->takeControl("another");
    phone.glasses->displayTimeout();
    phone.glasses->send({1, 2, 3});
    phone.settle();
    std::vector<Bytes> expected;
    for (const auto& sent : {message("tap", 2), message("power_btn", 1), message("time_req", {}),
                             message("control", "another"), message("disp_timeout", {}), Bytes{1, 2, 3}}) {
        expected.push_back(chunk(static_cast<std::uint8_t>(expected.size()), sent));
    }
    EXPECT_EQ(phone.application->values, expected);
}

TEST(Glasses, sendNothingToAHostThatIsNotSubscribed) {
    Phone phone;
    phone.connect();
    phone.glasses->tap(1);
    phone.settle();
    EXPECT_THAT(phone.application->values, IsEmpty());
    phone.subscribe();
    phone.settle();
    EXPECT_THAT(phone.application->values, IsEmpty()) << "what was said before is not repeated";
}

TEST(Glasses, interleaveTheChunksOfSeveralMessages) {
    Phone phone({}, {.link = {.mtu = 23}});
    phone.open();
    phone.glasses->sendInterleaved({Bytes(30, 1), Bytes(25, 2)});
    phone.settle();
    ASSERT_EQ(phone.application->values.size(), 4U);
    EXPECT_EQ(phone.application->values[0], chunk(0x80, Bytes(19, 1)));
    EXPECT_EQ(phone.application->values[1], chunk(0x81, Bytes(19, 2)));
    EXPECT_EQ(phone.application->values[2], chunk(0x00, Bytes(11, 1)));
    EXPECT_EQ(phone.application->values[3], chunk(0x01, Bytes(6, 2)));
}

TEST(Glasses, showWhatWasDrawnAndSayWhenItChanges) {
    Phone phone;
    phone.open();
    int changes = 0;
    const auto observation = phone.glasses->observeFrame([&] { ++changes; });
    phone.write(whole(control("app", canvasLayout)));
    phone.write(whole(canvas("cnvs_clrblk", list(1, 2, 3, 4, 2))));
    phone.write(whole(canvas("flush", {})));
    phone.settle();
    Frame expected;
    expected.fill(1, 2, 3, 4, 2);
    EXPECT_EQ(phone.glasses->frame(), expected);
    EXPECT_EQ(changes, 2);
}

TEST(Glasses, tellEveryObserverOfTheFrameAsLongAsItsHandleLives) {
    Phone phone;
    phone.open();
    std::vector<std::string> told;
    const auto note = [&](const std::string& who) { return [&told, who] { told.push_back(who); }; };
    const auto draw = [&](std::int64_t at) {
        phone.write(whole(canvas("cnvs_clrblk", list(at, 2, 3, 4, 2))));
        phone.write(whole(canvas("flush", {})));
        phone.settle();
    };
    phone.write(whole(control("app", canvasLayout)));
    phone.settle();
    const auto window = phone.glasses->observeFrame(note("window"));
    auto file = std::make_optional(phone.glasses->observeFrame(note("file")));
    draw(1);
    EXPECT_EQ(told, (std::vector<std::string>{"window", "file"}));
    file.reset();
    draw(20);
    EXPECT_EQ(told, (std::vector<std::string>{"window", "file", "window"}));
    phone.glasses->setBattery(12, false);
    phone.settle();
    EXPECT_EQ(told.size(), 3U) << "the canvas has no status bar";
}

TEST(Glasses, aFrameObserverMayEndItselfAndBeginOthers) {
    Phone phone;
    phone.open();
    std::optional<platform::Observation> first;
    std::optional<platform::Observation> second;
    int calls = 0;
    first = phone.glasses->observeFrame([&] {
        second = phone.glasses->observeFrame([&] { ++calls; });
        first.reset();
    });
    phone.write(whole(control("app", canvasLayout)));
    phone.settle();
    EXPECT_EQ(calls, 0);
    EXPECT_FALSE(first);
    phone.glasses->reset();
    phone.settle();
    EXPECT_EQ(calls, 1);
}

TEST(Glasses, showWhatMovesAsItIsAtEachMoment) {
    Phone phone;
    phone.open();
    // Two pictures of 2 x 2 pixels, one transparent and one of level 3, in turn.
    const Bytes head = {8, 8, 0x40, 0, 0, 0, 0, 0, 0, 0x40, 0, 0xff, 0, 0x80, 0, 0xff, 0, 0xc0, 0, 0xff};
    const auto picture = [&](std::uint8_t row) {
        auto file = head;
        file.insert(file.end(), 2, row);
        return file;
    };
    const auto object = [](const std::string& key, Value value) {
        return whole(message("lvgl_obj", entry(key, std::move(value))));
    };
    phone.write(whole(control("app", canvasLayout)));
    phone.write(object("image", list(0, 1, 0, 0, false, picture(0x00))));
    phone.write(object("image", list(1, 1, 0, 0, false, picture(0xf0))));
    phone.write(object("animate", list(0, 600'000, 1, 0, 0, list(0, 1), true)));
    phone.write(object("flush", {}));
    phone.settle();
    EXPECT_TRUE(phone.glasses->frame().isDark());
    EXPECT_TRUE(phone.glasses->nextFrameChange().has_value());
    phone.world.advance(std::chrono::minutes(7));
    Frame expected;
    expected.fill(0, 0, 2, 2, 3);
    EXPECT_EQ(phone.glasses->frame(), expected);
    phone.world.advance(std::chrono::minutes(5));
    EXPECT_TRUE(phone.glasses->frame().isDark());
    EXPECT_EQ(phone.glasses->errorCount(), 0U);
}

TEST(Glasses, showTheirBatteryInTheStatusBar) {
    Phone phone({.batteryLevel = 0});
    phone.open();
    int changes = 0;
    phone.write(whole(control("app", 1)));
    phone.settle();
    const auto observation = phone.glasses->observeFrame([&] { ++changes; });
    const auto empty = phone.glasses->frame();
    EXPECT_FALSE(empty.isDark());
    phone.glasses->setBattery(100, false);
    phone.settle();
    EXPECT_NE(phone.glasses->frame(), empty);
    EXPECT_EQ(changes, 1);
    phone.write(whole(control("app", canvasLayout)));
    phone.settle();
    phone.glasses->setBattery(50, false);
    phone.settle();
    EXPECT_EQ(changes, 2) << "the canvas has no status bar";
}

TEST(Glasses, timeOutTheirDisplay) {
    Phone phone;
    phone.open();
    phone.write(whole(control("app", canvasLayout, 180)));
    phone.await("written");
    phone.world.advance(179s);
    EXPECT_EQ(phone.glasses->controlOwner(), "app");
    phone.world.advance(2s);
    EXPECT_EQ(phone.glasses->controlOwner(), std::nullopt);
    EXPECT_THAT(phone.application->values, ElementsAre(chunk(0, message("disp_timeout", {}))));
}

TEST(Glasses, traceTheValuesInTheOrderInWhichTheyCrossTheAir) {
    Phone phone;
    phone.open();
    std::vector<GattTraceEvent> events;
    phone.glasses->setTrace([&](const GattTraceEvent& event) { events.push_back(event); });
    phone.write(whole(message("req", list(list(1, "led")))));
    phone.settle();
    phone.writeWithoutResponse({0x80, 1});
    phone.settle();
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0].kind, GattTraceEvent::Kind::write);
    EXPECT_EQ(events[0].characteristic, gatt::outCharacteristic());
    EXPECT_EQ(events[0].value, whole(message("req", list(list(1, "led")))));
    EXPECT_EQ(events[1].kind, GattTraceEvent::Kind::notify);
    EXPECT_EQ(events[1].characteristic, gatt::inCharacteristic());
    EXPECT_EQ(events[1].value, chunk(0, message("led", 50)));
    EXPECT_EQ(events[2].kind, GattTraceEvent::Kind::writeWithoutResponse);
    EXPECT_LT(events[0].time, events[1].time);
    EXPECT_LT(events[1].time, events[2].time);
    phone.glasses->setTrace(nullptr);
    phone.write({0x80});
    phone.settle();
    EXPECT_EQ(events.size(), 3U);
}

} // namespace
} // namespace tarnel::glasses

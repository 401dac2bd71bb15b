#include "Broadcaster.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <set>
#include <thread>

namespace tarnel {
namespace {

using bluez::AnswerAttribute;
using bluez::ConnectedCentral;
using bluez::LocalService;
using bluez::PeripheralManager;
using bluez::PeripheralManagerState;
using platform::WriteType;
using test::advertisementData;
using test::batteryLevel;
using test::batteryService;
using test::Broadcaster;
using test::dataService;
using test::FakeBlueZ;
using test::inCharacteristic;
using test::outCharacteristic;
using test::phone;
using test::phoneAddress;
using test::services;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Radio = PeripheralManagerState::Radio;

TEST(BlueZPeripheralManager, publishesServicesAndAdvertisesThem) {
    Broadcaster machine;
    machine.open();
    EXPECT_THAT(machine.bluez.publishedServices(), UnorderedElementsAre(dataService, batteryService));
    EXPECT_THAT(machine.bluez.publishedFlags(outCharacteristic),
                UnorderedElementsAre("read", "write", "write-without-response"));
    EXPECT_THAT(machine.bluez.publishedFlags(inCharacteristic), UnorderedElementsAre("notify"));
    const auto advertisement = machine.bluez.advertisement();
    ASSERT_TRUE(advertisement);
    EXPECT_EQ(advertisement->type, "peripheral");
    EXPECT_TRUE(advertisement->isDiscoverable);
    EXPECT_THAT(advertisement->services, ElementsAre(dataService));
    EXPECT_EQ(advertisement->manufacturer, (std::map<std::uint16_t, Bytes>{{0xffff, {2}}}));
    EXPECT_EQ(advertisement->name, "Glasses");
}

TEST(BlueZPeripheralManager, asksForAnEncryptedLinkWhereOneIsNeeded) {
    Broadcaster machine;
    machine.open(services(true, true));
    EXPECT_THAT(machine.bluez.publishedFlags(outCharacteristic),
                UnorderedElementsAre("encrypt-read", "encrypt-write", "write-without-response"));
    EXPECT_THAT(machine.bluez.publishedFlags(inCharacteristic), UnorderedElementsAre("encrypt-notify"));
    EXPECT_TRUE(machine.eventually([&] { return machine.bluez.isDefaultAgent(); }));
}

TEST(BlueZPeripheralManager, leavesTheDesktopsAgentAloneWithoutPairing) {
    Broadcaster machine;
    machine.open();
    EXPECT_FALSE(machine.bluez.isDefaultAgent());
    EXPECT_EQ(machine.bluez.calls("RegisterAgent"), 1);
}

TEST(BlueZPeripheralManager, letsItsOwnCentralsPairAndNobodyElse) {
    Broadcaster machine;
    machine.open(services(true, true));
    machine.bluez.addDevice(phone());
    auto stranger = phone();
    stranger.address = "00:AA:01:00:00:78";
    machine.bluez.addDevice(stranger);
    machine.bluez.connectByAnother(phoneAddress);
    ASSERT_TRUE(machine.record->await("connected " + std::string(phoneAddress)));
    EXPECT_TRUE(machine.bluez.askAgent(phoneAddress));
    EXPECT_FALSE(machine.bluez.askAgent(stranger.address));
}

TEST(BlueZPeripheralManager, doesNotAdvertiseBeforeTheServicesCanBeFound) {
    Broadcaster machine;
    machine.bluez.start();
    machine.launch();
    machine.manager->setAdvertisement(advertisementData());
    ASSERT_TRUE(machine.record->awaitState({.radio = Radio::ready}));
    EXPECT_EQ(machine.bluez.calls("RegisterAdvertisement"), 0);
    machine.manager->setServices(services());
    EXPECT_TRUE(machine.record->awaitAdvertising());
}

TEST(BlueZPeripheralManager, cutsANameThatIsTooLongBetweenCharacters) {
    Broadcaster machine;
    machine.open();
    auto data = advertisementData();
    data.localName = std::string(28, 'a') + "ü is the 29th";
    machine.manager->setAdvertisement(data);
    EXPECT_TRUE(machine.eventually([&] {
        const auto advertisement = machine.bluez.advertisement();
        return advertisement && advertisement->name == std::string(28, 'a');
    }));
}

TEST(BlueZPeripheralManager, changesAndEndsTheAdvertisement) {
    Broadcaster machine;
    machine.open();
    machine.manager->setAdvertisement(platform::AdvertisementData{
        .isConnectable = true, .serviceUUIDs = {{UUID::bluetooth("FE59")}}, .manufacturerData = {}, .localName = {}});
    EXPECT_TRUE(machine.eventually([&] {
        const auto advertisement = machine.bluez.advertisement();
        return advertisement && advertisement->services.front() == "0000fe59-0000-1000-8000-00805f9b34fb" &&
               !advertisement->name && advertisement->manufacturer.empty();
    }));
    machine.manager->setAdvertisement(std::nullopt);
    ASSERT_TRUE(machine.record->awaitState({.radio = Radio::ready, .isPublished = true}));
    EXPECT_TRUE(machine.eventually([&] { return !machine.bluez.advertisement(); }));
}

TEST(BlueZPeripheralManager, publishesOtherServicesInPlaceOfThose) {
    Broadcaster machine;
    machine.open();
    machine.manager->setServices({{UUID::bluetooth("FE59"), {}}});
    EXPECT_TRUE(machine.eventually([&] {
        return machine.bluez.publishedServices() == std::vector<std::string>{"0000fe59-0000-1000-8000-00805f9b34fb"};
    }));
}

TEST(BlueZPeripheralManager, tellsOfCentralsThatComeAndGo) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    EXPECT_EQ(machine.record->last.name, "Phone");
    EXPECT_FALSE(machine.record->last.isBonded);
    machine.bluez.dropConnection(phoneAddress);
    EXPECT_TRUE(machine.record->await("disconnected"));
}

TEST(BlueZPeripheralManager, takesNoOtherConnectionForACentral) {
    Broadcaster machine;
    machine.open();
    machine.manager->setAdvertisement(std::nullopt);
    ASSERT_TRUE(machine.eventually([&] { return !machine.bluez.advertisement(); }));
    machine.bluez.addDevice(phone());
    machine.bluez.connectByAnother(phoneAddress);
    // What a device asks for shows that it is a central.
    machine.bluez.centralReads(phoneAddress, batteryLevel);
    ASSERT_TRUE(machine.record->await("read 23"));
    EXPECT_THAT(machine.record->events, ::testing::Contains("connected " + std::string(phoneAddress)));
    machine.bluez.dropConnection(phoneAddress);
    ASSERT_TRUE(machine.record->await("disconnected"));
    machine.bluez.connectByAnother(phoneAddress);
    machine.bluez.dropConnection(phoneAddress);
    machine.bluez.connectByAnother(phoneAddress);
    machine.bluez.centralReads(phoneAddress, batteryLevel);
    ASSERT_TRUE(machine.record->await("read 23", 2));
    EXPECT_EQ(machine.record->count("connected " + std::string(phoneAddress)), 2);
}

TEST(BlueZPeripheralManager, answersReads) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    machine.record->set([&] { machine.record->reply.value = {1, 2, 3}; });
    const auto answer = machine.bluez.centralReads(phoneAddress, batteryLevel, {{"mtu", std::uint16_t{247}}});
    EXPECT_EQ(answer.value, (Bytes{1, 2, 3}));
    EXPECT_EQ(machine.record->count("read 247"), 1);
    EXPECT_EQ(machine.record->asked, UUID::bluetooth(batteryLevel));
}

TEST(BlueZPeripheralManager, answersReadsOfTheRestOfAValue) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    machine.record->set([&] { machine.record->reply.value = {1, 2, 3}; });
    const auto from = [&](std::uint16_t offset) {
        return machine.bluez.centralReads(phoneAddress, batteryLevel, {{"offset", offset}});
    };
    EXPECT_EQ(from(2).value, Bytes{3});
    EXPECT_EQ(from(3).error, std::nullopt);
    EXPECT_THAT(from(3).value, IsEmpty());
    EXPECT_EQ(from(4).error, "org.bluez.Error.InvalidOffset");
    EXPECT_EQ(from(65535).error, "org.bluez.Error.InvalidOffset");
}

TEST(BlueZPeripheralManager, sendsAtMost512BytesOfAValue) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    machine.record->set([&] { machine.record->reply.value = Bytes(600, 7); });
    EXPECT_EQ(machine.bluez.centralReads(phoneAddress, batteryLevel).value.size(), 512U);
    EXPECT_EQ(machine.bluez.centralReads(phoneAddress, batteryLevel, {{"offset", std::uint16_t{500}}}).value.size(),
              12U);
    EXPECT_EQ(machine.bluez.centralReads(phoneAddress, batteryLevel, {{"offset", std::uint16_t{550}}}).value.size(),
              0U);
}

TEST(BlueZPeripheralManager, refusesWithTheErrorThatTheDaemonUnderstands) {
    const std::vector<std::pair<int, std::string>> errors{{0x02, "org.bluez.Error.NotPermitted"},
                                                          {0x05, "org.bluez.Error.NotAuthorized"},
                                                          {0x06, "org.bluez.Error.NotSupported"},
                                                          {0x07, "org.bluez.Error.InvalidOffset"},
                                                          {0x0d, "org.bluez.Error.InvalidValueLength"},
                                                          {0x80, "org.bluez.Error.Failed"},
                                                          {0x0e, "org.tarnel.Error.Refused"}};
    Broadcaster machine;
    machine.open(services(false));
    machine.connectPhone();
    for (const auto& [code, name] : errors) {
        machine.record->set([&, error = code] { machine.record->reply.error = error; });
        EXPECT_EQ(machine.bluez.centralReads(phoneAddress, batteryLevel).error, name);
        EXPECT_EQ(machine.bluez.centralWrites(phoneAddress, outCharacteristic, {1}).error, name);
    }
}

TEST(BlueZPeripheralManager, takesWritesInTheirOrder) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    std::vector<Bytes> sent;
    for (std::uint8_t i = 0; i < 200; ++i) {
        sent.push_back(Bytes(495, i));
        machine.bluez.centralWrites(phoneAddress, outCharacteristic, sent.back(), {{"mtu", std::uint16_t{517}}});
    }
    ASSERT_TRUE(machine.record->await("command 517", 200));
    EXPECT_EQ(machine.record->written, sent);
}

TEST(BlueZPeripheralManager, answersWritesWhereThereIsNoWritingWithoutResponse) {
    Broadcaster machine;
    machine.open(services(false));
    machine.connectPhone();
    EXPECT_EQ(machine.bluez.centralWrites(phoneAddress, outCharacteristic, {1, 2}).error, std::nullopt);
    EXPECT_EQ(machine.record->count("write 23"), 1);
    EXPECT_THAT(machine.record->written, ElementsAre(Bytes{1, 2}));
}

TEST(BlueZPeripheralManager, refusesNonsenseByItself) {
    Broadcaster machine;
    machine.open(services(false));
    machine.connectPhone();
    EXPECT_EQ(machine.bluez.centralWrites(phoneAddress, outCharacteristic, Bytes(513, 1)).error,
              "org.bluez.Error.InvalidValueLength");
    EXPECT_NE(machine.bluez.centralWrites(phoneAddress, outCharacteristic, {1}, {{"offset", std::uint16_t{1}}}).error,
              std::nullopt);
    EXPECT_EQ(machine.bluez.centralWrites(phoneAddress, batteryLevel, {1}).error, "org.bluez.Error.NotPermitted");
    EXPECT_EQ(machine.bluez.centralReads(phoneAddress, inCharacteristic).error, "org.bluez.Error.NotPermitted");
    EXPECT_EQ(
        machine.bluez.centralReads(phoneAddress, batteryLevel, {{"offset", std::string("no")}, {"mtu", -1}}).error,
        std::nullopt);
    EXPECT_THAT(machine.record->written, IsEmpty());
}

TEST(BlueZPeripheralManager, refusesMoreRequestsThanItKeeps) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    machine.record->set([&] { machine.record->holdsAnswers = true; });
    std::vector<std::future<test::FakeAnswer>> answers;
    for (std::size_t i = 0; i <= bluez::GattApplication::mostRequests; ++i) {
        answers.push_back(machine.bluez.centralBeginsToRead(phoneAddress, batteryLevel));
    }
    EXPECT_EQ(answers.back().get().error, "org.tarnel.Error.Refused");
    answers.pop_back();
    ASSERT_TRUE(machine.record->await("read 23", static_cast<int>(answers.size())));
    machine.record->set([&] {
        for (const auto& answer : machine.record->held) {
            answer({.value = {9}});
        }
    });
    for (auto& answer : answers) {
        EXPECT_EQ(answer.get().value, Bytes{9});
    }
}

TEST(BlueZPeripheralManager, refusesWhatACentralThatIsGoneStillWaitedFor) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    machine.record->set([&] { machine.record->holdsAnswers = true; });
    auto answer = machine.bluez.centralBeginsToRead(phoneAddress, batteryLevel);
    ASSERT_TRUE(machine.record->await("read 23"));
    machine.bluez.dropConnection(phoneAddress);
    EXPECT_EQ(answer.get().error, "org.tarnel.Error.Refused");
    machine.record->set([&] { machine.record->held.front()({.value = {9}}); });
}

TEST(BlueZPeripheralManager, notifiesThoseWhoAreSubscribed) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    machine.manager->notify(UUID::bluetooth(inCharacteristic), {0});
    machine.bluez.centralReads(phoneAddress, batteryLevel);
    machine.bluez.centralSubscribes(inCharacteristic);
    ASSERT_TRUE(machine.record->await("subscribed"));
    EXPECT_EQ(machine.record->asked, UUID::bluetooth(inCharacteristic));
    std::vector<Bytes> sent;
    for (std::uint8_t i = 1; i <= 100; ++i) {
        sent.insert(sent.end(), 2, {i});
        machine.manager->notify(UUID::bluetooth(inCharacteristic), {i});
        machine.manager->notify(UUID::bluetooth(inCharacteristic), {i});
    }
    EXPECT_TRUE(machine.eventually([&] { return machine.bluez.notified(inCharacteristic).size() == sent.size(); }));
    EXPECT_EQ(machine.bluez.notified(inCharacteristic), sent);
    machine.bluez.centralSubscribes(inCharacteristic, false);
    ASSERT_TRUE(machine.record->await("unsubscribed"));
    machine.manager->notify(UUID::bluetooth(inCharacteristic), {0});
    machine.bluez.centralReads(phoneAddress, batteryLevel);
    EXPECT_EQ(machine.bluez.notified(inCharacteristic), sent);
}

TEST(BlueZPeripheralManager, takesABondedCentralForSubscribedFromBefore) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone(true);
    machine.bluez.centralSubscribes(inCharacteristic);
    ASSERT_TRUE(machine.record->await("subscribed"));
    machine.bluez.dropConnection(phoneAddress);
    ASSERT_TRUE(machine.record->await("disconnected"));
    machine.bluez.connectByAnother(phoneAddress);
    EXPECT_TRUE(machine.record->await("subscribed", 2));
}

TEST(BlueZPeripheralManager, endsConnections) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    machine.manager->disconnect(machine.record->last.id);
    EXPECT_TRUE(machine.record->await("disconnected"));
    machine.manager->disconnect(machine.record->last.id);
    machine.manager->disconnect("/org/bluez/hci0/dev_of_nobody");
    machine.manager->setName("done");
    ASSERT_TRUE(machine.eventually([&] { return machine.bluez.alias() == "done"; }));
    EXPECT_EQ(machine.bluez.calls("Disconnect"), 1);
}

TEST(BlueZPeripheralManager, forgetsBonds) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone(true);
    EXPECT_TRUE(machine.record->last.isBonded);
    machine.manager->forget(machine.record->last.id);
    EXPECT_TRUE(machine.record->await("disconnected"));
    EXPECT_FALSE(machine.bluez.device(phoneAddress).isBonded);
}

TEST(BlueZPeripheralManager, givesTheAdapterItsNameAndPutsTheFormerBack) {
    Broadcaster machine;
    machine.open();
    machine.manager->setName("Glasses");
    EXPECT_TRUE(machine.eventually([&] { return machine.bluez.alias() == "Glasses"; }));
    machine.manager->setName("Other Glasses");
    EXPECT_TRUE(machine.eventually([&] { return machine.bluez.alias() == "Other Glasses"; }));
    machine.quit();
    EXPECT_TRUE(machine.eventually([&] { return machine.bluez.alias() == "machine"; }));
}

TEST(BlueZPeripheralManager, takesAllFromTheAirInTheEnd) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    machine.quit();
    EXPECT_TRUE(machine.eventually([&] { return !machine.bluez.device(phoneAddress).isConnected; }));
    EXPECT_TRUE(machine.eventually([&] { return machine.bluez.calls("UnregisterApplication") == 1; }));
    EXPECT_EQ(machine.bluez.calls("UnregisterAdvertisement"), 1);
}

TEST(BlueZPeripheralManager, asksAgainForWhatTheDaemonRefused) {
    Broadcaster machine;
    machine.bluez.start();
    machine.bluez.refuseAdvertisements(2);
    machine.launch();
    machine.manager->setServices(services());
    machine.manager->setAdvertisement(advertisementData());
    EXPECT_TRUE(
        machine.record->awaitState({.radio = Radio::ready,
                                    .isPublished = true,
                                    .failure = "org.bluez.Error.NotPermitted: Maximum advertisements reached"}));
    EXPECT_TRUE(machine.record->awaitAdvertising());
    EXPECT_EQ(machine.bluez.calls("RegisterAdvertisement"), 3);
}

TEST(BlueZPeripheralManager, advertisesAgainWhenTheDaemonGaveItUp) {
    Broadcaster machine;
    machine.open();
    machine.bluez.releaseAdvertisement();
    EXPECT_TRUE(machine.eventually([&] { return machine.bluez.calls("RegisterAdvertisement") == 2; }));
    EXPECT_TRUE(machine.eventually([&] { return machine.bluez.advertisement().has_value(); }));
}

TEST(BlueZPeripheralManager, advertisesWhenTheDaemonWasTooLateToSaySo) {
    Broadcaster machine;
    machine.bluez.start();
    machine.bluez.answerAdvertisementsLate(1);
    machine.launch();
    machine.manager->setServices(services());
    machine.manager->setAdvertisement(advertisementData());
    EXPECT_TRUE(machine.record->awaitAdvertising());
    EXPECT_EQ(machine.bluez.calls("RegisterAdvertisement"), 2);
}

TEST(BlueZPeripheralManager, keepsAnAdvertisementWhenTheDaemonGivesUpTheOneBeforeIt) {
    Broadcaster machine;
    machine.open();
    auto data = advertisementData();
    data.localName = "Others";
    machine.record->set([&] {
        machine.record->connecting = [&] {
            machine.manager->setAdvertisement(data);
            machine.bluez.releaseAdvertisement();
            std::this_thread::sleep_for(std::chrono::milliseconds(300)); // until the bus has brought it
        };
    });
    machine.connectPhone();
    EXPECT_TRUE(machine.eventually([&] {
        const auto advertised = machine.bluez.advertisement();
        return advertised && advertised->name == data.localName;
    }));
    machine.quit();
    EXPECT_TRUE(machine.eventually([&] { return machine.bluez.calls("UnregisterApplication") == 1; }));
    EXPECT_EQ(machine.bluez.calls("RegisterAdvertisement"), 2);
}

TEST(BlueZPeripheralManager, usesTheAdapterThatIsWantedByNameOrAddress) {
    for (const std::string wanted : {"hci0", "00:AA:01:00:00:00", "00:aa:01:00:00:00"}) {
        Broadcaster machine;
        machine.bluez.start();
        machine.launch(wanted);
        EXPECT_TRUE(machine.record->awaitRadio(Radio::ready)) << wanted;
    }
}

TEST(BlueZPeripheralManager, comesBackWithTheAdaptersPower) {
    Broadcaster machine(true, false);
    machine.bluez.start();
    machine.launch();
    machine.manager->setServices(services());
    machine.manager->setAdvertisement(advertisementData());
    EXPECT_TRUE(machine.record->awaitRadio(Radio::poweredOff));
    machine.bluez.setPowered("hci0", true);
    ASSERT_TRUE(machine.record->awaitAdvertising());
    machine.connectPhone();
    machine.bluez.setPowered("hci0", false);
    EXPECT_TRUE(machine.record->await("disconnected"));
    EXPECT_TRUE(machine.record->awaitState({.radio = Radio::poweredOff, .isPublished = true}));
    machine.bluez.setPowered("hci0", true);
    EXPECT_TRUE(machine.record->awaitAdvertising());
    EXPECT_EQ(machine.bluez.calls("RegisterApplication"), 1);
}

TEST(BlueZPeripheralManager, comesBackWhenTheDaemonWasGone) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    machine.bluez.crash();
    EXPECT_TRUE(machine.record->await("disconnected"));
    EXPECT_TRUE(machine.record->awaitRadio(Radio::noService));
    machine.bluez.start();
    EXPECT_TRUE(machine.record->awaitAdvertising());
    machine.bluez.connectByAnother(phoneAddress);
    EXPECT_TRUE(machine.record->await("connected " + std::string(phoneAddress), 2));
}

TEST(BlueZPeripheralManager, comesBackWhenTheBusWasGone) {
    Broadcaster machine;
    machine.open();
    machine.bluez.crash();
    machine.bus.stop();
    EXPECT_TRUE(machine.record->awaitRadio(Radio::noService));
    machine.bus.start();
    machine.bluez.start();
    EXPECT_TRUE(machine.record->awaitAdvertising());
}

TEST(BlueZPeripheralManager, comesBackOnAnAdapterThatWasPluggedInAgain) {
    Broadcaster machine;
    machine.open();
    machine.connectPhone();
    machine.bluez.removeAdapter("hci0");
    EXPECT_TRUE(machine.record->await("disconnected"));
    EXPECT_TRUE(machine.record->awaitRadio(Radio::noAdapter));
    machine.bluez.addAdapter("hci2");
    EXPECT_TRUE(machine.record->awaitAdvertising());
}

TEST(BlueZPeripheralManager, saysWhatIsMissing) {
    {
        Broadcaster machine;
        machine.launch();
        EXPECT_TRUE(machine.record->awaitRadio(Radio::noService));
        EXPECT_FALSE(machine.record->states.back().failure.empty());
    }
    {
        Broadcaster machine(false);
        machine.bluez.start();
        machine.launch();
        EXPECT_TRUE(machine.record->awaitRadio(Radio::noAdapter));
    }
    {
        Broadcaster machine;
        machine.bluez.start();
        machine.launch("hci7");
        EXPECT_TRUE(machine.record->awaitRadio(Radio::noAdapter));
    }
    {
        Broadcaster machine;
        machine.bluez.forbidPeripherals();
        machine.bluez.start();
        machine.launch();
        EXPECT_TRUE(machine.record->awaitRadio(Radio::unsupported));
    }
    {
        Broadcaster machine(true, true, true);
        machine.bluez.start();
        machine.launch();
        EXPECT_TRUE(machine.record->awaitRadio(Radio::forbidden));
    }
}

} // namespace
} // namespace tarnel

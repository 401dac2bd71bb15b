#include "../linux/FakeDesktop.hpp"
#include "../linux/OtherProgram.hpp"
#include "GlassesOnTheBus.hpp"
#include "Tarnel.hpp"

#include <TarnelLinux/SQLiteFile.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <utility>

namespace tarnel::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* otherAddress = "00:AA:01:01:00:02";
constexpr int patience = 30'000; ///< in milliseconds

/// The command on a machine with a bus, a Bluetooth daemon and settings of its own.
class AirCommand : public testing::Test {
protected:
    AirCommand() : bluez(bus.address()) {
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
        ::setenv("LC_ALL", "C", 1);
        bluez.addAdapter("hci0");
        bluez.start();
    }

    void link() {
        const auto result = runTarnel({"link", "--seconds", "1"});
        ASSERT_EQ(result.status, 0) << result.error;
    }

    static void expectFailure(const CommandResult& result, const std::string& text) {
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, AllOf(StartsWith("tarnel: "), HasSubstr(text)));
        EXPECT_THAT(lines(result.error), SizeIs(1));
    }

    std::string picture(const Pixels& pixels) const {
        writePNG(folder / "picture.png", pixels);
        return folder / "picture.png";
    }

    Bytes simulatedLevels(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--simulated", "--frame", folder / "frame.png"});
        EXPECT_EQ(runTarnel(std::move(arguments)).status, 0);
        return levelsOfFrame(folder / "frame.png");
    }

    const TemporaryFolder folder;
    PrivateBus bus;
    FakeBlueZ bluez;
};

TEST_F(AirCommand, ScansForGlasses) {
    GlassesOnTheBus pair(bluez);
    const auto result = runTarnel({"scan", "--seconds", "1"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(result.output, "Glasses  00:AA:01:01:00:01  -50 dBm\n");
}

TEST_F(AirCommand, TellsOfEachPairInJSON) {
    GlassesOnTheBus pair(bluez);
    auto updating = glasses(otherAddress);
    updating.services = {"0000fe59-0000-1000-8000-00805f9b34fb"};
    updating.manufacturer = {};
    GlassesOnTheBus other(bluez, updating);
    const auto result = runTarnel({"scan", "--seconds", "1", "--json"});
    ASSERT_THAT(lines(result.output), SizeIs(2)) << result.error;
    std::map<std::string, json> found;
    for (const auto& line : lines(result.output)) {
        const auto glasses = json::parse(line);
        found[glasses.at("address")] = glasses;
    }
    EXPECT_EQ(found[glassesAddress].at("identifier"), "5461726E-656C-8000-8000-00AA01010001");
    EXPECT_EQ(found[glassesAddress].at("rssi"), -50);
    EXPECT_EQ(found[glassesAddress].at("updateMode"), false);
    EXPECT_EQ(found[glassesAddress].at("linked"), false);
    EXPECT_EQ(found[otherAddress].at("updateMode"), true);
}

TEST_F(AirCommand, ScanningDisturbsNoConnection) {
    GlassesOnTheBus pair(bluez);
    link();
    bluez.connectByAnother(glassesAddress);
    const int connects = bluez.calls("Connect");
    const int disconnects = bluez.calls("Disconnect");
    const auto result = runTarnel({"scan", "--seconds", "1"});
    EXPECT_EQ(result.output, "Glasses  00:AA:01:01:00:01  linked  in use by another program\n") << result.error;
    EXPECT_EQ(bluez.calls("Connect"), connects);
    EXPECT_EQ(bluez.calls("Disconnect"), disconnects);
    EXPECT_TRUE(bluez.device(glassesAddress).isConnected);
}

TEST_F(AirCommand, ANameCannotChangeTheTerminal) {
    auto device = glasses();
    device.name = "Gl\x1b[2Jas\nses\xE2\x80\xAE";
    GlassesOnTheBus pair(bluez, device);
    EXPECT_THAT(runTarnel({"scan", "--seconds", "1"}).output, StartsWith("Gl?[2Jas?ses?  00:AA"));
}

TEST_F(AirCommand, ANameCannotChangeTheTerminalWhileItsGlassesAreWaitedFor) {
    auto device = glasses();
    device.name = "Gl\x1b[2Jasses\u009b";
    GlassesOnTheBus pair(bluez, device);
    link();
    bluez.leaveRange(glassesAddress);
    const auto result = runCommand(
        {"/usr/bin/script", "--quiet", "--return", "--command", TARNEL_COMMAND " text a --timeout 1", "/dev/null"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, AllOf(HasSubstr("connecting to Gl?[2Jasses?"), HasSubstr("tarnel: Gl?[2Jasses? did not"),
                                     Not(HasSubstr("\x1b[2J")), Not(HasSubstr("\u009b"))));
}

TEST_F(AirCommand, ScanningFailsWhereThereIsNothing) {
    expectFailure(runTarnel({"scan", "--seconds", "0.3"}), "no glasses were found");
    bluez.setPowered("hci0", false);
    expectFailure(runTarnel({"scan"}), "tarnel doctor");
}

TEST_F(AirCommand, WhatIsShownIsWhatSimulatedGlassesShow) {
    GlassesOnTheBus pair(bluez);
    link();
    const auto path = picture(photograph(320, 240));
    const auto result = runTarnel({"show", path, "--at", "10,20", "--for", "0", "--json"});
    ASSERT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(pair.lastFrame().levels(), simulatedLevels({"show", path, "--at", "10,20"}));
    EXPECT_THAT(pair.errors(), testing::IsEmpty());
    EXPECT_EQ(json::parse(result.output).at("protocolVersion"), 2);
    EXPECT_GT(json::parse(result.output).at("bytes"), 1000);
}

TEST_F(AirCommand, LinkedGlassesAreConnectedAgainRunAfterRun) {
    GlassesOnTheBus pair(bluez);
    link();
    for (const std::string text : {"one", "two", "three"}) {
        const auto result = runTarnel({"text", text, "--for", "0"});
        ASSERT_EQ(result.status, 0) << result.error;
        EXPECT_THAT(result.output, StartsWith("Shown: "));
        EXPECT_EQ(pair.lastFrame().levels(), simulatedLevels({"text", text}));
        EXPECT_TRUE(Machine::eventually([&] { return !bluez.device(glassesAddress).isConnected; }));
    }
}

TEST_F(AirCommand, StaysShownForAWhile) {
    GlassesOnTheBus pair(bluez);
    link();
    Process process({TARNEL_COMMAND, "text", "Hello", "--for", "1000"});
    EXPECT_THAT(process.readLine().value_or(""), StartsWith("Shown: "));
    EXPECT_TRUE(bluez.device(glassesAddress).isConnected);
    process.interrupt();
    EXPECT_EQ(process.wait(), 0);
    EXPECT_TRUE(Machine::eventually([&] { return !bluez.device(glassesAddress).isConnected; }));
}

TEST_F(AirCommand, IsShownAgainWhenTheGlassesWereAway) {
    GlassesOnTheBus pair(bluez);
    link();
    const auto expected = simulatedLevels({"text", "Hello"});
    Process process({TARNEL_COMMAND, "text", "Hello", "--for", "1000"});
    EXPECT_THAT(process.readLine().value_or(""), StartsWith("Shown: "));
    for (int times = 0; times < 2; ++times) {
        const auto received = pair.received();
        bluez.leaveRange(glassesAddress);
        EXPECT_TRUE(Machine::eventually([&] { return !bluez.device(glassesAddress).isConnected; }));
        bluez.enterRange(glassesAddress);
        EXPECT_TRUE(
            Machine::eventually([&] { return pair.received() > received && pair.lastFrame().levels() == expected; }));
    }
    process.interrupt();
    EXPECT_EQ(process.wait(), 0);
}

TEST_F(AirCommand, NothingLinkedIsSaidAtOnce) {
    const auto path = picture(checkerboard(8, 8));
    for (const auto& call : std::vector<std::vector<std::string>>{
             {"show", path}, {"text", "a"}, {"demo"}, {"play"}, {"monitor"}, {"status"}}) {
        expectFailure(runTarnel(call), "no glasses are linked; run tarnel link");
    }
}

TEST_F(AirCommand, GlassesThatAreAwayAreWaitedForAndThenAFailure) {
    GlassesOnTheBus pair(bluez);
    link();
    bluez.leaveRange(glassesAddress);
    expectFailure(runTarnel({"text", "a", "--timeout", "1"}), "did not connect within 1 s");
    Process process({TARNEL_COMMAND, "text", "a", "--for", "0"});
    EXPECT_TRUE(Machine::eventually([&] { return bluez.isDiscovering(); }));
    bluez.enterRange(glassesAddress);
    EXPECT_EQ(process.wait(), 0);
}

TEST_F(AirCommand, WhyTheLastAttemptFailedIsSaid) {
    auto device = glasses();
    GlassesOnTheBus pair(bluez, device);
    link();
    bluez.change(glassesAddress, [](FakeDevice& changed) {
        changed.connectFailures.assign(40, {"org.bluez.Error.Failed", "le-connection-abort-by-local"});
    });
    const auto result = runTarnel({"status", "--timeout", "2", "--json"});
    expectFailure(result, "le-connection-abort-by-local");
    const auto state = json::parse(result.output);
    EXPECT_EQ(state.at("linked"), true);
    EXPECT_EQ(state.at("connected"), false);
    EXPECT_GT(state.at("connectingForSeconds"), 1.0);
    EXPECT_THAT(state.at("lastFailure").get<std::string>(), HasSubstr("le-connection-abort-by-local"));
}

TEST_F(AirCommand, BluetoothThatIsOffIsSaid) {
    GlassesOnTheBus pair(bluez);
    link();
    bluez.setPowered("hci0", false);
    expectFailure(runTarnel({"text", "a"}), "switched off");
    expectFailure(runTarnel({"text", "a", "--adapter", "hci9"}), "there is no Bluetooth adapter hci9");
    bluez.crash();
    expectFailure(runTarnel({"text", "a"}), "its service does not run; tarnel doctor tells what to do");
}

TEST_F(AirCommand, LinksTheOneOfSeveralThatIsMeant) {
    GlassesOnTheBus first(bluez);
    auto second = glasses(otherAddress);
    second.name = "Other";
    GlassesOnTheBus other(bluez, second);
    const auto unclear = runTarnel({"link", "--seconds", "1"});
    EXPECT_EQ(unclear.status, 1);
    EXPECT_THAT(unclear.error, AllOf(HasSubstr("1  "), HasSubstr("2  "), HasSubstr(glassesAddress),
                                     HasSubstr(otherAddress), HasSubstr("2 pairs of glasses were found")));
    EXPECT_EQ(json::parse(runTarnel({"status", "--json"}).output).at("linked"), false);

    EXPECT_EQ(runTarnel({"link", otherAddress}).output, "Linked: Other  00:AA:01:01:00:02\n");
    EXPECT_EQ(runTarnel({"link", "glasses", "--seconds", "1"}).output, "Linked: Glasses  00:AA:01:01:00:01\n");
    EXPECT_EQ(runTarnel({"link", "5461726e-656c-8000-8000-00aa01010002"}).output, "Linked: Other  00:AA:01:01:00:02\n");
    EXPECT_EQ(runTarnel({"link", otherAddress}).output, "Linked already: Other  00:AA:01:01:00:02\n");
    EXPECT_EQ(json::parse(runTarnel({"status", "--json"}).output).at("address"), otherAddress);
    EXPECT_THAT(runTarnel({"link", "Nobody", "--seconds", "0.5"}).error,
                HasSubstr("no glasses called Nobody were found"));
}

TEST_F(AirCommand, AsksForANumberOnATerminalAndTakesNothingElse) {
    GlassesOnTheBus first(bluez);
    auto second = glasses(otherAddress);
    second.name = "Other";
    GlassesOnTheBus other(bluez, second);
    const auto answer = [](const std::string& line) {
        Process process(
            {"/usr/bin/script", "--quiet", "--return", "--command", TARNEL_COMMAND " link --seconds 1", "/dev/null"});
        std::string said;
        // The question ends no line: the list before it does.
        while (const auto told = process.readLine(patience)) {
            said += *told;
            if (said.find("  2  ") != std::string::npos) {
                break;
            }
        }
        process.writeLine(line);
        while (const auto told = process.readLine(patience)) {
            said += *told;
        }
        return std::pair(process.wait(), said);
    };
    for (const std::string wrong : {"1abc", "0", "3", "one", "-1", "", "1 2"}) {
        const auto [status, said] = answer(wrong);
        EXPECT_EQ(status, 1) << wrong;
        EXPECT_THAT(said, HasSubstr("that is none of them; nothing was linked"));
    }
    const auto [status, said] = answer(" 2 ");
    EXPECT_EQ(status, 0) << said;
    EXPECT_THAT(said, HasSubstr("Linked: "));
}

TEST_F(AirCommand, GlassesThatAreUnlinkedAreForgotten) {
    GlassesOnTheBus pair(bluez);
    link();
    EXPECT_EQ(runTarnel({"unlink"}).output, "Unlinked: Glasses\n");
    EXPECT_EQ(runTarnel({"unlink"}).output, "No glasses were linked\n");
    expectFailure(runTarnel({"text", "a"}), "no glasses are linked");
}

TEST_F(AirCommand, StatusTellsOfBatteryAndFirmware) {
    GlassesOnTheBus pair(bluez);
    link();
    const auto state = json::parse(runTarnel({"status", "--json"}).output);
    EXPECT_EQ(state.at("connected"), true);
    EXPECT_EQ(state.at("state"), "connected");
    EXPECT_EQ(state.at("battery"), 80);
    EXPECT_EQ(state.at("charging"), false);
    EXPECT_TRUE(state.at("firmware").is_string());
    EXPECT_EQ(state.at("bluetooth"), "poweredOn");
    const auto text = runTarnel({"status"}).output;
    EXPECT_THAT(text, AllOf(HasSubstr("Connected:          yes\n"), HasSubstr("Battery, %:         80\n")));
}

TEST_F(AirCommand, StatusHasTheSameMembersAlways) {
    const auto members = [](const CommandResult& result) {
        const auto state = json::parse(result.output);
        std::vector<std::string> names;
        for (const auto& [name, value] : state.items()) {
            names.push_back(name);
        }
        return names;
    };
    const auto unlinked = runTarnel({"status", "--json"});
    EXPECT_TRUE(json::parse(unlinked.output).at("battery").is_null());
    EXPECT_EQ(json::parse(unlinked.output).at("connected"), false);
    GlassesOnTheBus pair(bluez);
    link();
    const auto linked = runTarnel({"status", "--json"});
    EXPECT_EQ(members(linked), members(unlinked));
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1);
    EXPECT_EQ(members(runTarnel({"status", "--json", "--timeout", "1"})), members(linked));
}

TEST_F(AirCommand, StatusIsInWords) {
    GlassesOnTheBus pair(bluez);
    link();
    EXPECT_THAT(runTarnel({"status"}).output, HasSubstr("Bluetooth:          on\n"));
    bluez.setPowered("hci0", false);
    const auto off = runTarnel({"status"}).output;
    EXPECT_THAT(off, AllOf(HasSubstr("Bluetooth:          switched off, or its service does not run\n"),
                           HasSubstr("State:              "), Not(HasSubstr("powered")), Not(HasSubstr("bluetoothOff")),
                           Not(HasSubstr("notConnected"))));
}

TEST_F(AirCommand, StatusWaitsForAConnectionThatStays) {
    constexpr std::chrono::milliseconds longerThanAReportMayTake{3500};
    GlassesOnTheBus pair(bluez);
    link();
    const auto setHoldsBattery = [&](bool holds) {
        bluez.change(glassesAddress, [&](FakeDevice& device) { device.gatt[1].characteristics[0].holdsRead = holds; });
    };
    EXPECT_TRUE(Machine::eventually([&] { return !bluez.device(glassesAddress).isConnected; }));
    setHoldsBattery(true);
    bluez.connectByAnother(glassesAddress);
    const auto before = pair.received();
    Process process({TARNEL_COMMAND, "status", "--json", "--timeout", "30"});
    EXPECT_TRUE(Machine::eventually([&] { return pair.received() > before; }));
    bluez.leaveRange(glassesAddress);
    setHoldsBattery(false);
    std::this_thread::sleep_for(longerThanAReportMayTake);
    bluez.enterRange(glassesAddress);
    const auto state = json::parse(process.readLine().value_or("null"));
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(state.at("connected"), true);
    EXPECT_EQ(state.at("battery"), 80);
}

TEST_F(AirCommand, MonitorsMessagesAndConnections) {
    GlassesOnTheBus pair(bluez);
    link();
    Process process({TARNEL_COMMAND, "monitor"});
    const auto await = [&](const std::string& event, const std::string& part = "") {
        while (const auto line = process.readLine()) {
            const auto told = json::parse(*line);
            EXPECT_TRUE(told.at("time").is_number());
            if (told.at("event") == event && line->find(part) != std::string::npos) {
                return told;
            }
        }
        ADD_FAILURE() << "no " << event;
        return json();
    };
    await("connecting");
    await("connected");
    await("isConnected", "true");
    await("throughput");
    pair.tap(2);
    EXPECT_EQ(await("message", "tap").at("value"), json({{"tap", 2}}));
    bluez.dropConnection(glassesAddress);
    EXPECT_TRUE(await("disconnected").at("reason").is_string());
    await("isConnected", "true");
    process.interrupt();
    EXPECT_EQ(process.wait(), 0);
}

TEST_F(AirCommand, MonitorsInWordsOnATerminal) {
    GlassesOnTheBus pair(bluez);
    link();
    const auto result = runCommand(
        {"/usr/bin/script", "--quiet", "--return", "--command", TARNEL_COMMAND " monitor --seconds 2", "/dev/null"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.output, AllOf(HasSubstr("  connected\r\n"), Not(HasSubstr("\"event\""))));
}

TEST_F(AirCommand, AsksWithoutLeavingAnything) {
    for (const std::string command : {"doctor", "status", "unlink"}) {
        EXPECT_THAT(runTarnel({command}).status, testing::AnyOf(0, 1)) << command;
        EXPECT_TRUE(std::filesystem::is_empty(folder.path())) << command;
    }
}

constexpr const char* notificationService = "7905f431-b5ce-4e99-a40f-4b1e122d00d0";
constexpr const char* notificationSource = "9fbf120d-6301-42d9-8c58-25e699a21dbd";
constexpr const char* controlPoint = "69d1d8f3-45e1-49a8-9821-9bbdfdaad9d9";
constexpr const char* dataSource = "22eac6e9-24d6-4bb5-be44-b36ace7c7bfb";

/// The command's session is the test's bus.
struct Session {
    explicit Session(const std::string& address) { ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1); }
    ~Session() { ::unsetenv("DBUS_SESSION_BUS_ADDRESS"); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
};

TEST_F(AirCommand, SharesTheDesktopsNotificationsWithTheGlasses) {
    const Session session(bus.address());
    FakeDesktop desktop(bus.address());
    desktop.start();
    OtherProgram program(bus.address());
    GlassesOnTheBus pair(bluez);
    link();
    Process process({TARNEL_COMMAND, "monitor", "--share-notifications"});
    ASSERT_TRUE(Machine::eventually([&] {
        const auto services = bluez.publishedServices();
        return std::find(services.begin(), services.end(), notificationService) != services.end();
    }));
    bluez.centralSubscribes(dataSource);
    bluez.centralSubscribes(notificationSource);
    std::uint32_t id = 0;
    ASSERT_TRUE(Machine::eventually([&] {
        id = program.notify({.application = "Mail", .replaces = id, .summary = "Anna"});
        return !bluez.notified(notificationSource).empty();
    }));
    const Bytes event = bluez.notified(notificationSource).front();
    Bytes command{0};
    command.insert(command.end(), event.begin() + 4, event.end());
    command.insert(command.end(), {0, 1, 20, 0});
    bluez.centralWrites(glassesAddress, controlPoint, command);
    ASSERT_TRUE(Machine::eventually([&] { return !bluez.notified(dataSource).empty(); }));
    const Bytes data = bluez.notified(dataSource).front();
    const std::string text(data.begin() + 5, data.end());
    EXPECT_EQ(text, std::string("\0\x04\0Mail\x01\x04\0Anna", 14));
    process.interrupt();
    EXPECT_EQ(process.wait(), 0);
}

TEST_F(AirCommand, SharesNoNotificationsUnlessAskedFor) {
    GlassesOnTheBus pair(bluez);
    link();
    const auto result = runTarnel({"text", "Hi", "--for", "0.3"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(bluez.publishedServices(), testing::Not(testing::Contains(notificationService)));
    EXPECT_EQ(bluez.calls("RegisterApplication"), 0);
}

TEST_F(AirCommand, SaysThatTheDesktopCannotBeWatchedAndGoesOn) {
    const Session session("unix:path=/nonexistent/bus");
    GlassesOnTheBus pair(bluez);
    link();
    const auto result = runTarnel({"text", "Hi", "--for", "0", "--share-notifications"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, StartsWith("Shown: "));
    EXPECT_THAT(result.error,
                StartsWith("tarnel: The notifications of other programs are not shared: no session bus runs ("));
    EXPECT_EQ(runTarnel({"text", "Hi", "--simulated", "--share-notifications", "--frame", folder / "a.png"}).status, 2);
}

TEST_F(AirCommand, PlaysLinesAsTheyComeWithEventsBetween) {
    GlassesOnTheBus pair(bluez);
    link();
    Process process({TARNEL_COMMAND, "play"});
    const auto ask = [&](const json& line) {
        process.writeLine(line.dump());
        while (const auto said = process.readLine()) {
            if (const auto answer = json::parse(*said); answer.contains("line")) {
                return answer;
            }
        }
        return json();
    };
    EXPECT_EQ(ask({{"op", "isConnected"}}).at("result"), true);
    ask({{"op", "setLayout"}, {"layout", "canvas"}, {"timeout", 60}, {"hideStatusBar", false}});
    ask({{"op", "createText"}, {"text", "Hi"}});
    ask({{"op", "commit"}});
    EXPECT_EQ(ask({{"op", "idle"}}).at("result"), nullptr);
    EXPECT_FALSE(pair.lastFrame().isDark());
    EXPECT_THAT(ask({{"op", "glasses.tap"}, {"value", 1}}).at("error").get<std::string>(), HasSubstr("--simulated"));
    pair.tap(3);
    EXPECT_EQ(process.readLine().value_or(""), R"({"event":"tap","value":3})");
    const double before = ask({{"op", "now"}}).at("result");
    ask({{"op", "wait"}, {"seconds", 0.3}});
    EXPECT_GE(ask({{"op", "now"}}).at("result").get<double>() - before, 0.3);
    EXPECT_EQ(ask({{"op", "relaunch"}}).at("result"), nullptr);
    EXPECT_EQ(ask({{"op", "idle"}}).at("result"), nullptr);
    EXPECT_EQ(ask({{"op", "isConnected"}}).at("result"), true);
    process.input().closeWriting();
    EXPECT_EQ(process.wait(), 0);
}

TEST_F(AirCommand, AnInterruptedWaitEndsWithTheSignalsStatus) {
    GlassesOnTheBus pair(bluez);
    link();
    bluez.leaveRange(glassesAddress);
    Process process({TARNEL_COMMAND, "text", "a"});
    EXPECT_TRUE(Machine::eventually([&] { return bluez.isDiscovering(); }));
    process.interrupt();
    EXPECT_EQ(process.wait(), 128 + SIGINT);
}

TEST_F(AirCommand, AConnectionLostMeanwhileIsAFailure) {
    auto device = glasses();
    device.gatt[0].characteristics[0].holdsRead = true; // fences are not answered, so that the rest waits
    GlassesOnTheBus pair(bluez, device);
    link();
    Process process({TARNEL_COMMAND, "show", picture(photograph(640, 480)), "--for", "0"});
    EXPECT_TRUE(Machine::eventually([&] { return pair.received() > 4; }));
    bluez.dropConnection(glassesAddress);
    EXPECT_EQ(process.wait(), 1);
}

TEST_F(AirCommand, TracesWhatCrossesTheAir) {
    GlassesOnTheBus pair(bluez);
    link();
    const auto path = picture(photograph(200, 100));
    ASSERT_EQ(runTarnel({"show", path, "--for", "0", "--trace", folder / "trace"}).status, 0);
    EXPECT_EQ(levelsOfTrace(folder / "trace"), pair.lastFrame().levels());
    EXPECT_GT(summaryOfTrace(folder / "trace").notifications, 0U);
}

TEST_F(AirCommand, TheDoctorSaysWhatIsWrongAndHowItIsMended) {
    const auto well = runTarnel({"doctor"});
    EXPECT_THAT(well.output, AllOf(HasSubstr("ok: bus: "), HasSubstr("ok: power: the adapter is switched on\n"),
                                   HasSubstr("not checked: glasses, cache: no glasses are linked\n")));
    bluez.setPowered("hci0", false);
    const auto off = runTarnel({"doctor"});
    EXPECT_EQ(off.status, 1);
    EXPECT_THAT(off.output, HasSubstr("problem: power: the adapter is switched off\n    bluetoothctl power on\n"));
    bus.stop();
    const auto container = runTarnel({"doctor", "--json"});
    EXPECT_EQ(container.status, 1);
    const auto report = json::parse(container.output);
    EXPECT_EQ(report.at("ok"), false);
    EXPECT_EQ(report.at("checks").at(0).at("check"), "bus");
    EXPECT_EQ(report.at("checks").at(0).at("result"), "problem");
    EXPECT_TRUE(report.at("checks").at(0).at("remedy").is_string());
}

TEST_F(AirCommand, SettingsThatCannotBeReadDoNotPassForEmptyOnes) {
    GlassesOnTheBus pair(bluez);
    link();
    SQLiteFile(folder.path() / "com.brenlo.tarnel/settings.sqlite", std::chrono::seconds(5))
        .run("PRAGMA user_version = 99");
    for (const std::string command : {"status", "link", "unlink"}) {
        const auto result = runTarnel({command});
        EXPECT_EQ(result.status, 1) << command;
        EXPECT_EQ(result.output, "") << command;
        EXPECT_THAT(result.error, HasSubstr("tarnel: the settings cannot be read: it was written by a later version"));
    }
}

TEST_F(AirCommand, TheDoctorDoesNotTouchDamagedSettings) {
    std::filesystem::create_directories(folder.path() / "com.brenlo.tarnel");
    const std::string file = folder / "com.brenlo.tarnel/settings.sqlite";
    writeText(file, std::string(5000, 'x'));
    EXPECT_THAT(runTarnel({"doctor"}).output, HasSubstr("problem: settings: "));
    EXPECT_EQ(readText(file), std::string(5000, 'x'));
}

} // namespace
} // namespace tarnel::test

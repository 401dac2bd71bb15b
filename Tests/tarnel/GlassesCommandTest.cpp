#include "BluetoothMachine.hpp"
#include "Tarnel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <thread>

namespace tarnel::test {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr int usage = 2;
constexpr int failed = 1;
constexpr int patience = 30'000; ///< in milliseconds

/// `tarnel glasses --air --json` that runs.
class RunningGlasses {
public:
    explicit RunningGlasses(std::vector<std::string> arguments = {}) {
        machine.bluez.addAdapter("hci0");
        machine.bluez.start();
        std::vector<std::string> all{TARNEL_COMMAND, "glasses", "--air", "--json"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        process = std::make_unique<Process>(all);
        EXPECT_TRUE(await("state", [](const json& event) { return event["isAdvertising"] == true; }));
    }

    /// The next event of this kind that is so; none when the command ends before.
    std::optional<json> await(
        const std::string& kind, const std::function<bool(const json&)>& condition = [](const json&) { return true; }) {
        while (const auto line = process->readLine(patience)) {
            const auto event = json::parse(*line);
            if (event["event"] == kind && condition(event)) {
                return event;
            }
        }
        return std::nullopt;
    }
    void connect(std::vector<FakeService> services = {}) {
        const bool isBonded = !services.empty();
        machine.connectPhone(
            {.address = phoneAddress, .name = "Phone", .isBonded = isBonded, .gatt = std::move(services)});
        const auto event = await("connected");
        ASSERT_TRUE(event);
        EXPECT_EQ((*event)["address"], phoneAddress);
        EXPECT_EQ((*event)["name"], "Phone");
    }
    void write(const std::string& message) { machine.write(message); }

    static bool eventually(const std::function<bool()>& condition,
                           std::chrono::milliseconds limit = std::chrono::milliseconds(patience)) {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    BluetoothMachine machine;
    std::unique_ptr<Process> process;
};

/// What the command says up to a line of this beginning, and that line.
std::string saidUntil(Process& process, const std::string& start) {
    std::string said;
    while (const auto line = process.readLine(patience)) {
        said += *line + "\n";
        if (line->starts_with(start)) {
            break;
        }
    }
    return said;
}

TEST(GlassesCommand, wantsToKnowOnWhichAir) {
    const auto result = runTarnel({"glasses"});
    EXPECT_EQ(result.status, usage);
    EXPECT_THAT(result.error, HasSubstr("Give --air"));
}

TEST(GlassesCommand, refusesOutputsThatMeet) {
    const auto displayAndJSON = runTarnel({"glasses", "--air", "--show", "--json"});
    EXPECT_EQ(displayAndJSON.status, usage);
    EXPECT_THAT(displayAndJSON.error, HasSubstr("give --show or --json"));
    EXPECT_EQ(runTarnel({"glasses", "--air", "--frame", "-"}).status, usage);
    EXPECT_EQ(runTarnel({"glasses", "--air", "--trace", "-"}).status, usage);
    EXPECT_EQ(runTarnel({"glasses", "--air", "--frame", "same.png", "--trace", "same.png"}).status, usage);
    EXPECT_EQ(runTarnel({"glasses", "--air", "--protocol", "3"}).status, usage);
    EXPECT_EQ(runTarnel({"glasses", "--air", "--battery", "101"}).status, usage);
}

TEST(GlassesCommand, drawsInNothingButATerminal) {
    const BluetoothMachine withoutDaemon;
    const TemporaryFolder folder;
    const std::string intoFile = "exec \"$0\" glasses --air --show > '" + (folder / "out") + "'";
    for (const auto& result :
         {runTarnel({"glasses", "--air", "--show"}), runTarnel({"glasses", "--air", "--show", "--frame", folder / "f"}),
          runCommand({"/bin/sh", "-c", intoFile, TARNEL_COMMAND}),
          runCommand({"/bin/sh", "-c", "exec \"$0\" glasses --air --show >&-", TARNEL_COMMAND})}) {
        EXPECT_EQ(result.status, usage);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.error, AllOf(HasSubstr("--show"), HasSubstr("terminal"), HasSubstr("--frame")));
    }
    EXPECT_EQ(readText(folder / "out"), "");
}

TEST(GlassesCommand, saysWhatKeepsThemOffTheAirAndWhatToDo) {
    const auto said = [](const std::vector<std::string>& extra = {}) {
        std::vector<std::string> arguments{"glasses", "--air"};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        const auto result = runTarnel(arguments);
        EXPECT_EQ(result.status, failed);
        EXPECT_EQ(lines(result.error).size(), 1U) << result.error;
        EXPECT_THAT(result.error, EndsWith("; tarnel doctor tells what to do about it\n"));
        return result.error;
    };
    {
        BluetoothMachine machine;
        EXPECT_THAT(said(), StartsWith("tarnel: the Bluetooth service cannot be reached"));
        machine.bluez.start();
        EXPECT_THAT(said(), StartsWith("tarnel: there is no Bluetooth adapter;"));
        EXPECT_THAT(said({"--adapter", "hci7"}), StartsWith("tarnel: there is no Bluetooth adapter hci7;"));
        machine.bluez.addAdapter("hci0", false);
        EXPECT_THAT(said(), StartsWith("tarnel: the Bluetooth adapter is switched off;"));
        machine.bluez.setPowered("hci0", true);
        machine.bluez.refuseAdvertisements(1000);
        EXPECT_THAT(said(), HasSubstr("Maximum advertisements reached"));
    }
    {
        BluetoothMachine machine(true);
        machine.bluez.addAdapter("hci0");
        machine.bluez.start();
        EXPECT_THAT(said(), StartsWith("tarnel: this user may not use the Bluetooth service"));
    }
    {
        BluetoothMachine machine;
        machine.bluez.forbidPeripherals();
        machine.bluez.addAdapter("hci0");
        machine.bluez.start();
        EXPECT_THAT(said(), AllOf(HasSubstr("cannot be a peripheral"), HasSubstr("BlueZ")));
    }
    {
        BluetoothMachine machine;
        machine.bus.stop();
        EXPECT_THAT(said(), StartsWith("tarnel: the Bluetooth service cannot be reached"));
    }
}

TEST(GlassesCommand, advertisesWhatItsOptionsSay) {
    RunningGlasses glasses({"--name", "Test Glasses", "--protocol", "1", "--pairing", "--advertising", "other",
                            "--battery", "42", "--adapter", "hci0"});
    const auto advertisement = glasses.machine.bluez.advertisement();
    ASSERT_TRUE(advertisement);
    EXPECT_EQ(advertisement->name, "Test Glasses");
    EXPECT_EQ(advertisement->manufacturer, (std::map<std::uint16_t, Bytes>{{0xffff, {1}}}));
    EXPECT_THAT(glasses.machine.bluez.publishedFlags(outCharacteristic),
                ::testing::UnorderedElementsAre("encrypt-read", "encrypt-write"));
    glasses.connect();
    EXPECT_EQ(glasses.machine.bluez.centralReads(phoneAddress, batteryLevel).value, Bytes{42});
}

TEST(GlassesCommand, tellsWhatHappens) {
    RunningGlasses glasses;
    glasses.connect();
    glasses.machine.bluez.centralSubscribes(inCharacteristic);
    const auto subscribed = glasses.await("subscribed");
    ASSERT_TRUE(subscribed);
    EXPECT_EQ((*subscribed)["characteristic"], "39191402-BFC2-4BEE-A81A-28C23B6AC84A");
    EXPECT_EQ((*subscribed)["value"], true);
    glasses.write(std::string("\x81\xa3") + "led" + "\x05");
    const auto message = glasses.await("message");
    ASSERT_TRUE(message);
    EXPECT_EQ((*message)["bytes"], 6);
    EXPECT_EQ((*message)["value"], (json{{"led", 5}}));
    glasses.write(std::string("\x81\xa3") + "xyz" + "\x05");
    const auto error = glasses.await("error");
    ASSERT_TRUE(error);
    EXPECT_EQ((*error)["code"], 1);
    glasses.machine.bluez.dropConnection(phoneAddress);
    EXPECT_TRUE(glasses.await("disconnected"));
}

TEST(GlassesCommand, takesCommandsAsLines) {
    RunningGlasses glasses;
    glasses.connect();
    glasses.machine.bluez.centralSubscribes(inCharacteristic);
    glasses.machine.bluez.centralSubscribes(batteryLevel);
    ASSERT_TRUE(glasses.await("subscribed"));
    ASSERT_TRUE(glasses.await("subscribed"));
    for (const auto& [line, text] :
         std::vector<std::pair<std::string, std::string>>{{"tap 2", "tap 2"},
                                                          {"t", "tap 1"},
                                                          {"3", "tap 3"},
                                                          {"p", "power button 1"},
                                                          {"b", "battery 70 %"},
                                                          {"c", "battery 70 %, charging"},
                                                          {"battery 5", "battery 5 %, charging"},
                                                          {"charging off", "battery 5 %"},
                                                          {"s", "stalled"},
                                                          {"stall off", "goes on"},
                                                          {"name Other", "name Other"},
                                                          {"timeout", "timeout"}}) {
        glasses.process->writeLine(line);
        const auto done = glasses.await("command");
        ASSERT_TRUE(done) << line;
        EXPECT_EQ((*done)["text"], text);
    }
    EXPECT_TRUE(RunningGlasses::eventually([&] { return glasses.machine.bluez.alias() == "Other"; }));
    EXPECT_TRUE(RunningGlasses::eventually([&] {
        const auto levels = glasses.machine.bluez.notified(batteryLevel);
        return !levels.empty() && levels.back() == Bytes{5};
    }));
    EXPECT_TRUE(RunningGlasses::eventually([&] {
        const auto values = glasses.machine.bluez.notified(inCharacteristic);
        return !values.empty() && std::string(values.front().begin(), values.front().end()).find("tap") == 3;
    }));
    glasses.process->writeLine("d");
    EXPECT_TRUE(glasses.await("disconnected"));
    glasses.process->writeLine("update on");
    EXPECT_TRUE(RunningGlasses::eventually([&] {
        const auto advertisement = glasses.machine.bluez.advertisement();
        return advertisement && advertisement->services.front() == "0000fe59-0000-1000-8000-00805f9b34fb";
    }));
    glasses.process->writeLine("range off");
    EXPECT_TRUE(RunningGlasses::eventually([&] { return !glasses.machine.bluez.advertisement(); }));
    glasses.process->writeLine("r");
    EXPECT_TRUE(RunningGlasses::eventually([&] { return glasses.machine.bluez.advertisement().has_value(); }));
}

TEST(GlassesCommand, refusesLinesThatMeanNothingAndGoesOn) {
    RunningGlasses glasses;
    for (const std::string line : {"nonsense", "tap", "tap 0", "tap x", "tap 99999999999999999999", "battery 101",
                                   "charging perhaps", "name", "\xff\xfe", "T"}) {
        glasses.process->writeLine(line);
        const auto refused = glasses.await("refused");
        ASSERT_TRUE(refused) << line;
        EXPECT_FALSE((*refused)["text"].get<std::string>().empty());
    }
    glasses.process->writeLine("?");
    EXPECT_TRUE(glasses.await("help"));
    glasses.process->writeLine("");
    glasses.process->writeLine("q");
    EXPECT_EQ(glasses.process->wait(), 0);
}

TEST(GlassesCommand, goesOnWithoutInput) {
    RunningGlasses glasses;
    glasses.process->input().closeWriting();
    glasses.connect();
    EXPECT_EQ(glasses.machine.bluez.centralReads(phoneAddress, batteryLevel).value, Bytes{80});
}

TEST(GlassesCommand, endsCleanlyOnASignal) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        RunningGlasses glasses({"--name", "Signalled"});
        EXPECT_TRUE(RunningGlasses::eventually([&] { return glasses.machine.bluez.alias() == "Signalled"; }));
        glasses.connect();
        glasses.process->signal(signal);
        EXPECT_EQ(glasses.process->wait(), 0);
        EXPECT_TRUE(RunningGlasses::eventually([&] { return glasses.machine.bluez.alias() == "machine"; }));
        EXPECT_TRUE(
            RunningGlasses::eventually([&] { return !glasses.machine.bluez.device(phoneAddress).isConnected; }));
        EXPECT_EQ(glasses.machine.bluez.calls("UnregisterApplication"), 1);
    }
}

TEST(GlassesCommand, leavesTheAdapterAsItWasWhenNobodyReadsAnyMore) {
    RunningGlasses glasses({"--name", "Unread"});
    EXPECT_TRUE(RunningGlasses::eventually([&] { return glasses.machine.bluez.alias() == "Unread"; }));
    glasses.process->output().closeReading();
    glasses.process->writeLine("tap 1");
    EXPECT_EQ(glasses.process->wait(), failed);
    EXPECT_TRUE(RunningGlasses::eventually([&] { return glasses.machine.bluez.alias() == "machine"; }));
}

TEST(GlassesCommand, comesBackWithTheDaemon) {
    RunningGlasses glasses;
    glasses.machine.bluez.crash();
    EXPECT_TRUE(glasses.await("state", [](const json& event) { return event["radio"] == "noService"; }));
    glasses.machine.bluez.start();
    EXPECT_TRUE(glasses.await("state", [](const json& event) { return event["isAdvertising"] == true; }));
}

TEST(GlassesCommand, tellsAReaderOnceThatTheDaemonIsGoneAndBack) {
    BluetoothMachine machine;
    machine.bluez.addAdapter("hci0");
    machine.bluez.start();
    Process process({TARNEL_COMMAND, "glasses", "--air"});
    EXPECT_THAT(saidUntil(process, "on the air"), EndsWith("on the air as Brenlo Glasses\n"));
    machine.bluez.crash();
    EXPECT_THAT(saidUntil(process, "the Bluetooth service cannot be reached"), HasSubstr("; tarnel doctor"));
    machine.bluez.start();
    EXPECT_THAT(saidUntil(process, "on the air"),
                AllOf(Not(HasSubstr("cannot be reached")), EndsWith("on the air as Brenlo Glasses\n")));
}

TEST(GlassesCommand, keepsAPictureOfTheDisplay) {
    const TemporaryFolder folder;
    RunningGlasses glasses({"--frame", folder / "frame.png", "--trace", folder / "trace.jsonl"});
    EXPECT_EQ(levelsOfFrame(folder / "frame.png"), Bytes(640 * 480, 0));
    glasses.connect();
    glasses.write(takesDisplay);
    glasses.write(fillsSquare);
    glasses.write(flushes);
    const auto event = glasses.await("frame", [](const json& frame) { return frame["isDark"] == false; });
    ASSERT_TRUE(event);
    EXPECT_EQ((*event)["file"], folder / "frame.png");
    Bytes expected(640 * 480, 0);
    for (const std::size_t pixel : {6U * 640 + 4, 6U * 640 + 5, 7U * 640 + 4, 7U * 640 + 5}) {
        expected[pixel] = 3;
    }
    EXPECT_EQ(levelsOfFrame(folder / "frame.png"), expected);
    EXPECT_EQ(summaryOfTrace(folder / "trace.jsonl").writesWithoutResponse, 3U);
}

constexpr const char* notificationSource = "9fbf120d-6301-42d9-8c58-25e699a21dbd";
constexpr const char* controlPoint = "69d1d8f3-45e1-49a8-9821-9bbdfdaad9d9";
constexpr const char* dataSource = "22eac6e9-24d6-4bb5-be44-b36ace7c7bfb";

/// Of a phone that shares its notifications.
std::vector<FakeService> notificationServices() {
    return {{"7905f431-b5ce-4e99-a40f-4b1e122d00d0",
             {{.uuid = notificationSource, .flags = {"notify"}},
              {.uuid = controlPoint, .flags = {"write"}},
              {.uuid = dataSource, .flags = {"notify"}}}}};
}

TEST(GlassesCommand, readsTheNotificationsOfTheHostAndAnswersThem) {
    RunningGlasses glasses({"--notifications"});
    auto& bluez = glasses.machine.bluez;
    const auto written = [&](std::size_t count) {
        EXPECT_TRUE(RunningGlasses::eventually(
            [&] { return bluez.characteristic(phoneAddress, controlPoint).written.size() >= count; }));
        return bluez.characteristic(phoneAddress, controlPoint).written.at(count - 1);
    };
    glasses.connect(notificationServices());
    ASSERT_TRUE(RunningGlasses::eventually([&] {
        return bluez.characteristic(phoneAddress, notificationSource).isNotifying &&
               bluez.characteristic(phoneAddress, dataSource).isNotifying;
    }));
    // Added, and can be opened and cleared; its application, title and message.
    bluez.notify(phoneAddress, notificationSource, {0, 24, 0, 1, 7, 0, 0, 0});
    EXPECT_EQ(written(1), (Bytes{0, 7, 0, 0, 0, 0, 1, 128, 0, 3, 0, 4}));
    bluez.notify(phoneAddress, dataSource,
                 {0, 7, 0, 0, 0, 0, 3, 0, 'a', '.', 'b', 1, 4, 0, 'A', 'n', 'n', 'a', 3, 2, 0, 'H', 'i'});
    const auto told = glasses.await("notification");
    ASSERT_TRUE(told);
    EXPECT_EQ(*told, (json{{"event", "notification"},
                           {"uid", 7},
                           {"application", "a.b"},
                           {"title", "Anna"},
                           {"message", "Hi"},
                           {"isSilent", false}}));
    glasses.process->writeLine("open 7");
    EXPECT_TRUE(glasses.await("command"));
    EXPECT_EQ(written(2), (Bytes{2, 7, 0, 0, 0, 0}));
    glasses.process->writeLine("clear 7");
    EXPECT_EQ(written(3), (Bytes{2, 7, 0, 0, 0, 1}));
    bluez.notify(phoneAddress, notificationSource, {2, 24, 0, 0, 7, 0, 0, 0});
    const auto gone = glasses.await("notificationGone");
    ASSERT_TRUE(gone);
    EXPECT_EQ((*gone)["uid"], 7);
    for (const std::string line : {"open", "clear x", "open 4294967296", "clear -1"}) {
        glasses.process->writeLine(line);
        EXPECT_TRUE(glasses.await("refused")) << line;
    }
    glasses.process->interrupt();
    EXPECT_EQ(glasses.process->wait(), 0);
}

TEST(GlassesCommand, leavesTheNotificationsOfTheHostAloneUnlessAskedFor) {
    RunningGlasses glasses;
    glasses.connect(notificationServices());
    constexpr std::chrono::milliseconds muchLongerThanItTakes{500};
    EXPECT_FALSE(RunningGlasses::eventually([&] { return glasses.machine.bluez.calls("StartNotify") > 0; },
                                            muchLongerThanItTakes));
    EXPECT_EQ(glasses.machine.bluez.centralReads(phoneAddress, batteryLevel).value, Bytes{80});
}

TEST(GlassesCommand, aNotificationCannotChangeTheTerminal) {
    BluetoothMachine machine;
    machine.bluez.addAdapter("hci0");
    machine.bluez.start();
    Process process({TARNEL_COMMAND, "glasses", "--air", "--notifications"});
    ASSERT_TRUE(RunningGlasses::eventually([&] { return machine.bluez.advertisement().has_value(); }));
    machine.connectPhone(
        {.address = phoneAddress, .name = "Ph\x1b[2Jone", .isBonded = true, .gatt = notificationServices()});
    ASSERT_TRUE(RunningGlasses::eventually(
        [&] { return machine.bluez.characteristic(phoneAddress, notificationSource).isNotifying; }));
    machine.bluez.notify(phoneAddress, notificationSource, {0, 0, 0, 1, 1, 0, 0, 0});
    ASSERT_TRUE(RunningGlasses::eventually(
        [&] { return !machine.bluez.characteristic(phoneAddress, controlPoint).written.empty(); }));
    machine.bluez.notify(phoneAddress, dataSource,
                         {0, 1, 0, 0, 0, 0, 1, 0, 27, 1, 3, 0, 27, '[', '2', 3, 3, 0, 'a', '\n', 'b'});
    EXPECT_THAT(saidUntil(process, "notification"), AllOf(HasSubstr("connected: 00:AA:01:00:00:77 (Ph?[2Jone)\n"),
                                                          HasSubstr("notification 1 of ?: ?[2: a b\n")));
}

TEST(GlassesCommand, nothingFromTheAirCanChangeTheTerminal) {
    BluetoothMachine machine;
    machine.bluez.addAdapter("hci0");
    machine.bluez.start();
    Process process({TARNEL_COMMAND, "glasses", "--air"});
    const auto await = [&](const std::string& start) {
        const auto said = lines(saidUntil(process, start));
        return said.empty() ? "nothing" : said.back();
    };
    EXPECT_EQ(await("on the air"), "on the air as Brenlo Glasses");
    machine.connectPhone({.address = phoneAddress, .name = "\x1b]0;owned\a\x1b[2J\u009b2J\u202e"});
    EXPECT_EQ(await("connected"), "connected: 00:AA:01:00:00:77 (?]0;owned??[2J?2J?)");
    machine.write(std::string("\x81\xa4") + "name" + "\xa4\u009b2J");
    EXPECT_EQ(await("message"), "message of 11 bytes: {\"name\":\"\\u009b2J\"}");
    process.writeLine("fly\x1b[2J");
    EXPECT_EQ(await("there"), "there is no command \"fly?[2J\"; ? lists them");
    process.writeLine("name A\x1b[2J");
    EXPECT_EQ(await("name"), "name A?[2J");
    process.writeLine("?");
    EXPECT_THAT(await("t or 1"), HasSubstr("tap: once"));
    EXPECT_THAT(await("q "), HasSubstr("switch off"));
}

/// Of glasses that are shown on a terminal: what their status line says of a phone with a long name.
std::string statusLineOn(const TerminalSize& terminal) {
    BluetoothMachine machine;
    machine.bluez.addAdapter("hci0");
    machine.bluez.start();
    Process process({TARNEL_COMMAND, "glasses", "--air", "--show"}, terminal);
    EXPECT_TRUE(RunningGlasses::eventually([&] { return machine.bluez.advertisement().has_value(); }));
    machine.connectPhone({.address = phoneAddress, .name = "äöü眼鏡眼鏡眼鏡眼鏡"});
    while (const auto line = process.readLine(patience)) {
        if (const auto at = line->find("connected: "); at != std::string::npos) {
            return line->substr(at, line->find("\x1b[K", at) - at);
        }
        process.writeLine("t");
    }
    return "(nothing)";
}

TEST(GlassesCommand, theStatusLineIsCutBetweenCharactersAndFitsTheTerminal) {
    // 30 columns before the name, 3 for its first letters; 3 of the wide characters fit into the rest.
    EXPECT_EQ(statusLineOn({.columns = 40}), "connected: 00:AA:01:00:00:77 (äöü眼鏡眼");
    ::setenv("COLUMNS", "38", 1);
    EXPECT_EQ(statusLineOn({.columns = 40}), "connected: 00:AA:01:00:00:77 (äöü眼鏡眼");
    EXPECT_EQ(statusLineOn({.columns = 0, .rows = 0}), "connected: 00:AA:01:00:00:77 (äöü眼鏡");
    ::unsetenv("COLUMNS");
}

TEST(GlassesCommand, leavesTheAdapterAsItWasWhenItsFirstOutputFails) {
    BluetoothMachine machine;
    machine.bluez.addAdapter("hci0");
    machine.bluez.start();
    const TemporaryFolder folder;
    const auto result = runCommand({"/bin/sh", "-c", "exec \"$0\" glasses --air --json --frame \"$1\" > /dev/full",
                                    TARNEL_COMMAND, folder / "frame.png"});
    EXPECT_EQ(result.status, failed);
    EXPECT_THAT(result.error, AllOf(StartsWith("tarnel: "), HasSubstr("output")));
    EXPECT_EQ(machine.bluez.alias(), "machine");
    EXPECT_FALSE(machine.bluez.advertisement().has_value());
}

TEST(GlassesCommand, openAWindowOrSayWhyNot) {
    const auto result = runCommand({"/usr/bin/env", "-u", "DISPLAY", "-u", "WAYLAND_DISPLAY", "-u", "QT_QPA_PLATFORM",
                                    TARNEL_COMMAND, "glasses", "--air", "--window"});
    EXPECT_EQ(result.status, failed);
    EXPECT_THAT(result.error, AllOf(HasSubstr("window"), HasSubstr("--frame writes what")));
    EXPECT_EQ(runTarnel({"glasses", "--window"}).status, usage);
}

#ifdef TARNEL_HAS_WINDOWS
/// Qt without a display, for the commands that are run.
struct NoDisplay {
    NoDisplay() { ::setenv("QT_QPA_PLATFORM", "offscreen", 1); }
    ~NoDisplay() { ::unsetenv("QT_QPA_PLATFORM"); }
};

TEST(GlassesCommand, showTheDisplayInAWindowAndInAFileAtOnce) {
    const NoDisplay offscreen;
    const TemporaryFolder folder;
    RunningGlasses glasses({"--window", "--frame", folder / "frame.png"});
    glasses.connect();
    for (const auto& message : {takesDisplay, fillsSquare, flushes}) {
        glasses.write(message);
    }
    EXPECT_TRUE(glasses.await("frame", [](const json& frame) { return frame["isDark"] == false; }));
    EXPECT_EQ(levelsOfFrame(folder / "frame.png").at(6 * 640 + 4), 3);
    glasses.process->writeLine("q");
    EXPECT_EQ(glasses.process->wait(), 0);
    EXPECT_EQ(glasses.machine.bluez.calls("UnregisterApplication"), 1);
}

TEST(GlassesCommand, endsInAWindowToo) {
    const NoDisplay offscreen;
    RunningGlasses glasses({"--window", "--name", "Seen"});
    EXPECT_TRUE(RunningGlasses::eventually([&] { return glasses.machine.bluez.alias() == "Seen"; }));
    glasses.process->interrupt();
    EXPECT_EQ(glasses.process->wait(), 0);
    EXPECT_TRUE(RunningGlasses::eventually([&] { return glasses.machine.bluez.alias() == "machine"; }));
}

TEST(GlassesCommand, saysWhatKeepsThemOffTheAirInAWindowToo) {
    const NoDisplay offscreen;
    BluetoothMachine machine;
    machine.bluez.start();
    const auto result = runTarnel({"glasses", "--air", "--window"});
    EXPECT_EQ(result.status, failed);
    EXPECT_THAT(result.error, HasSubstr("tarnel: there is no Bluetooth adapter;"));
}

TEST(GlassesCommand, leavesTheAdapterAloneWhenTheDisplayCannotBeReached) {
    BluetoothMachine machine;
    machine.bluez.addAdapter("hci0");
    machine.bluez.start();
    const auto result = runCommand({"/usr/bin/env", "-u", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM=xcb", "DISPLAY=:7654",
                                    TARNEL_COMMAND, "glasses", "--air", "--window"});
    EXPECT_NE(result.status, 0);
    EXPECT_EQ(machine.bluez.calls("RegisterApplication"), 0);
    EXPECT_EQ(machine.bluez.alias(), "machine");
}
#endif

TEST(GlassesCommand, refusesAFileThatCannotBeWritten) {
    const auto result = runTarnel({"glasses", "--air", "--frame", "/no/such/folder/frame.png"});
    EXPECT_EQ(result.status, failed);
    EXPECT_THAT(result.error, HasSubstr("/no/such/folder/frame.png"));
}

} // namespace
} // namespace tarnel::test

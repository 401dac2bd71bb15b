#include "PlayFixture.hpp"

#include <algorithm>

namespace tarnel::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::SizeIs;

using PlayCommand = PlayFixture;

TEST_F(PlayCommand, LinksAndDrawsAndShowsWhatTheTraceDecodesTo) {
    const auto answers = play({canvas, draw(photo()), commit});
    for (const auto& answer : answers) {
        EXPECT_EQ(answer.at("result"), nullptr);
    }
    EXPECT_EQ(levelsOfFrame(frame), levelsOfTrace(trace));
    EXPECT_THAT(events("scanned"), testing::IsEmpty());
    EXPECT_EQ(events("isConnected").back().at("value"), true);
    EXPECT_EQ(events("deviceStateChanged").back().at("state"), "connected");
}

TEST_F(PlayCommand, TellsTapsOnlyWhileTheApplicationHasControl) {
    const json tap{{"op", "glasses.tap"}, {"value", 2}};
    play({tap, wait(1), canvas, idle, tap, {{"op", "glasses.powerButton"}, {"value", 1}}, wait(1)});
    EXPECT_THAT(events("tap", 0, 4), SizeIs(0));
    EXPECT_THAT(events("tap", 4), ElementsAre(json{{"event", "tap"}, {"value", 2}}));
    EXPECT_THAT(events("power_btn", 4), ElementsAre(json{{"event", "power_btn"}, {"value", 1}}));
}

TEST_F(PlayCommand, TellsWhatTheGlassesReport) {
    play({{{"op", "glasses.setBattery"}, {"level", 17}, {"charging", true}},
          {{"op", "glasses.send"}, {"message", {{"mood", {1, "good"}}}}},
          {{"op", "glasses.send"}, {"message", {{"deviceStateChanged", 7}}}},
          {{"op", "glasses.displayTimeout"}},
          wait(1),
          {{"op", "data"}}});
    EXPECT_EQ(events("batteryLevel").back().at("value"), 17);
    EXPECT_EQ(events("batteryChargeStatus").back().at("value"), true);
    EXPECT_THAT(events("property", 4),
                IsSupersetOf({json{{"event", "property"}, {"key", "mood"}, {"value", {1, "good"}}},
                              json{{"event", "property"}, {"key", "deviceStateChanged"}, {"value", 7}}}));
    EXPECT_EQ(said.back().at("result").at("mood"), (json{1, "good"}));
    EXPECT_THAT(events("disp_timeout"), SizeIs(1));
}

TEST_F(PlayCommand, SettingsAreReadAndChanged) {
    const auto answers = play({idle,
                               {{"op", "getIntProperty"}, {"property", "brightness"}},
                               {{"op", "getStringProperty"}, {"property", "deviceName"}},
                               {{"op", "getStringProperty"}, {"property", "brightness"}},
                               {{"op", "setIntProperty"}, {"property", "brightness"}, {"value", 75}},
                               {{"op", "setStringProperty"}, {"property", "deviceName"}, {"value", "Grüße"}},
                               {{"op", "getIntProperty"}, {"property", "brightness"}},
                               {{"op", "getName"}},
                               idle,
                               {{"op", "relaunch"}},
                               idle,
                               {{"op", "getIntProperty"}, {"property", "brightness"}},
                               {{"op", "getName"}}},
                              {"--name", "Brille"});
    EXPECT_EQ(answers[1].at("result"), 50);
    EXPECT_EQ(answers[2].at("result"), "Brille");
    EXPECT_EQ(answers[3].at("result"), nullptr);
    EXPECT_EQ(answers[6].at("result"), 75);
    EXPECT_EQ(answers[7].at("result"), "Grüße");
    EXPECT_EQ(answers[11].at("result"), 75) << "the glasses themselves were told";
    EXPECT_EQ(answers[12].at("result"), "Grüße");
}

TEST_F(PlayCommand, AnotherApplicationTakesControl) {
    const auto answers = play({canvas,
                               idle,
                               {{"op", "hasControl"}},
                               {{"op", "glasses.takeControl"}, {"application", "other.app"}},
                               wait(1),
                               {{"op", "hasControl"}},
                               {{"op", "glasses.state"}}});
    EXPECT_EQ(answers[2].at("result"), true);
    EXPECT_EQ(answers[5].at("result"), false);
    EXPECT_EQ(answers[6].at("result").at("controlOwner"), "other.app");
    const auto seen = events("isConnected", 3);
    ASSERT_THAT(seen, SizeIs(2));
    EXPECT_EQ(seen[0].at("value"), false);
    EXPECT_EQ(seen[1].at("value"), true);
}

TEST_F(PlayCommand, ADropInMidPictureComesBackByItselfAndARedrawIsWhole) {
    const json drop{{"op", "glasses.dropConnection"}};
    const json now{{"op", "now"}};
    const std::string path = photo();
    for (const std::string protocol : {"1", "2"}) {
        const auto answers = play({canvas,
                                   draw(path),
                                   commit,
                                   wait(0.1),
                                   {{"op", "pendingByteCount"}},
                                   drop,
                                   wait(1),
                                   {{"op", "isConnected"}},
                                   wait(9),
                                   {{"op", "isConnected"}},
                                   now,
                                   canvas,
                                   draw(path),
                                   commit},
                                  {"--protocol", protocol});
        EXPECT_GT(answers[4].at("result"), 0);
        EXPECT_EQ(answers[7].at("result"), false);
        EXPECT_EQ(answers[9].at("result"), true);
        const Bytes levels = levelsOfFrame(frame);
        EXPECT_EQ(levels, levelsOfTrace(trace, answers[10].at("result").get<double>()));
        play({canvas, draw(path), commit}, {"--protocol", protocol});
        EXPECT_EQ(levels, levelsOfFrame(frame));
    }
}

TEST_F(PlayCommand, IdleWaitsForALostConnectionAndForNoneThatDoesNotComeBack) {
    const json isConnected{{"op", "isConnected"}};
    const auto answers = play({{{"op", "glasses.dropConnection"}},
                               idle,
                               isConnected,
                               {{"op", "glasses.leaveRange"}},
                               wait(5),
                               idle,
                               isConnected,
                               {{"op", "glasses.enterRange"}},
                               idle,
                               isConnected});
    EXPECT_EQ(answers[2].at("result"), true);
    EXPECT_EQ(answers[5].at("result"), nullptr);
    EXPECT_EQ(answers[6].at("result"), false);
    EXPECT_EQ(answers[9].at("result"), true);
}

TEST_F(PlayCommand, IdleSaysWhyNothingMoves) {
    const auto answers = play({canvas,
                               {{"op", "glasses.stall"}},
                               draw(photo()),
                               commit,
                               idle,
                               {{"op", "glasses.resume"}},
                               idle,
                               {{"op", "glasses.stall"}, {"seconds", 1.5}},
                               commit,
                               idle,
                               {{"op", "glasses.state"}}});
    EXPECT_THAT(answers[4].at("error").get<std::string>(), HasSubstr("stalled"));
    EXPECT_EQ(answers[9].at("result"), nullptr);
    EXPECT_EQ(answers[10].at("result").at("errors"), json::array());
}

TEST_F(PlayCommand, IdleFailsWhenARefusedWriteKeepsTheQueueFromMovingUntilItIsConnectedAnew) {
    const auto answers = play({canvas,
                               idle,
                               {{"op", "glasses.refuseWrite"}},
                               draw(photo()),
                               commit,
                               idle,
                               {{"op", "disconnect"}},
                               wait(1),
                               {{"op", "connect"}},
                               idle,
                               canvas,
                               draw(photo()),
                               commit},
                              {"--protocol", "1"});
    EXPECT_THAT(answers[5].at("error").get<std::string>(), HasSubstr("bytes are queued"));
    EXPECT_EQ(answers[9].at("result"), nullptr);
    EXPECT_GT(levelsOfFrame(frame), Bytes(std::size_t{640} * 480, 0));
}

TEST_F(PlayCommand, WhatAnOperationLeadsToAtOnceComesBeforeItsAnswer) {
    play({{{"op", "stopScan"}}, {{"op", "glasses.dropConnection"}}, {{"op", "isConnected"}}});
    EXPECT_THAT(events("isScanning", 0, 1).back(), (json{{"event", "isScanning"}, {"value", false}}));
    const auto answered =
        std::find_if(said.begin(), said.end(), [](const json& each) { return each.contains("line"); });
    EXPECT_EQ((answered - 1)->value("event", ""), "isScanning");
}

TEST_F(PlayCommand, TheLimitsOfArgumentsAreTakenThemselves) {
    const auto answers =
        play({{{"op", "glasses.setBattery"}, {"level", 100}, {"charging", false}},
              {{"op", "glasses.setBattery"}, {"level", 0}, {"charging", false}},
              {{"op", "wait"}, {"seconds", 86'400}},
              {{"op", "wait"}, {"seconds", 0}},
              {{"op", "setLayout"}, {"layout", "canvas"}, {"timeout", UINT32_MAX}, {"hideStatusBar", true}},
              {{"op", "clearBackgroundRect"}, {"x", 65'535}, {"y", 65'535}, {"width", 65'535}, {"height", 65'535}},
              {{"op", "clearBackgroundRect"}, {"x", 0}, {"y", 0}, {"width", 0}, {"height", 0}},
              {{"op", "setIntProperty"}, {"property", "fontSize"}, {"value", INT64_MIN}}});
    for (const auto& answer : answers) {
        EXPECT_TRUE(answer.contains("result")) << answer;
    }
}

TEST_F(PlayCommand, RelaunchRestoresTheLinkFromStoredSettings) {
    const auto answers = play({{{"op", "uuidString"}},
                               {{"op", "relaunch"}},
                               {{"op", "isConnected"}},
                               wait(5),
                               {{"op", "uuidString"}},
                               {{"op", "isConnected"}},
                               canvas,
                               draw(photo()),
                               commit});
    EXPECT_EQ(answers[4].at("result"), answers[0].at("result"));
    EXPECT_EQ(answers[2].at("result"), false);
    EXPECT_EQ(answers[5].at("result"), true);
    EXPECT_GT(levelsOfFrame(frame), Bytes(std::size_t{640} * 480, 0));
}

TEST_F(PlayCommand, UnlinkedGlassesStayUnlinkedAfterARelaunch) {
    const auto answers = play({{{"op", "unlinkDevice"}},
                               {{"op", "currentDevice"}},
                               {{"op", "relaunch"}},
                               wait(5),
                               {{"op", "currentDevice"}},
                               {{"op", "setLayout"}, {"layout", "default"}, {"timeout", 0}, {"hideStatusBar", true}}});
    EXPECT_EQ(answers[1].at("result"), nullptr);
    EXPECT_EQ(answers[4].at("result"), nullptr);
    EXPECT_THAT(answers[5].at("error").get<std::string>(), HasSubstr("startScan"));
}

TEST_F(PlayCommand, ASceneCanScanAndLinkItself) {
    const auto answers = play({{{"op", "currentDevice"}},
                               {{"op", "link"}},
                               {{"op", "startScan"}},
                               wait(1),
                               {{"op", "link"}, {"device", "5A1E0001-0000-4000-8000-000000000001"}},
                               idle,
                               {{"op", "isConnected"}},
                               {{"op", "isScanning"}}},
                              {"--no-link"});
    EXPECT_EQ(answers[0].at("result"), nullptr);
    EXPECT_THAT(answers[1].at("error").get<std::string>(), HasSubstr("startScan"));
    EXPECT_EQ(answers[2].at("result"), "SUCCESS");
    EXPECT_THAT(events("scanned", 3, 4), ElementsAre(json{{"event", "scanned"},
                                                          {"device", "5A1E0001-0000-4000-8000-000000000001"},
                                                          {"name", "Brenlo Glasses"}}));
    EXPECT_THAT(events("linked"), SizeIs(1));
    EXPECT_EQ(answers[6].at("result"), true);
    EXPECT_EQ(answers[7].at("result"), false);
}

TEST_F(PlayCommand, ScanningWithoutBluetoothTellsTheReason) {
    const auto answers = play({{{"op", "bluetooth.setState"}, {"state", "poweredOff"}}, {{"op", "startScan"}}});
    EXPECT_EQ(answers[1].at("result"), "BLUETOOTH_PERMISSION_NEEDED");
    EXPECT_EQ(events("isBluetoothEnabled").back().at("value"), false);
}

TEST_F(PlayCommand, FilesOfTheDisplayAndOfTheMirrorAgree) {
    const auto answers = play({canvas,
                               draw(photo()),
                               commit,
                               idle,
                               {{"op", "glasses.frame"}, {"to", folder / "a.png"}},
                               {{"op", "mirror"}, {"to", folder / "m.png"}}});
    EXPECT_EQ(answers[5].at("result"), nullptr);
    const Bytes levels = levelsOfFrame(folder / "a.png");
    const Pixels mirror = readPNG(folder / "m.png");
    ASSERT_EQ(mirror.rgb.size(), levels.size() * 3);
    for (std::size_t i = 0; i < levels.size(); ++i) {
        ASSERT_EQ(mirror.rgb[i * 3], levels[i] * 0x40) << i;
    }
    EXPECT_EQ(levelsOfTrace(trace), levels);
}

TEST_F(PlayCommand, ClearsRectanglesAndTheWholeBackground) {
    play({canvas,
          draw(photo()),
          {{"op", "clearBackgroundRect"}, {"x", 10}, {"y", 20}, {"width", 300}, {"height", 40}},
          commit});
    const Bytes levels = levelsOfFrame(frame);
    EXPECT_EQ(levels, levelsOfTrace(trace));
    const auto row = levels.begin() + 20 * 640;
    EXPECT_TRUE(std::all_of(row + 10, row + 310, [](std::uint8_t level) { return level == 0; }));
    EXPECT_TRUE(std::any_of(row + 310, row + 640, [](std::uint8_t level) { return level != 0; }));

    play({canvas, draw(photo()), {{"op", "flush"}}, {{"op", "clearBackground"}}, commit});
    EXPECT_EQ(levelsOfFrame(frame), Bytes(std::size_t{640} * 480, 0));
}

TEST_F(PlayCommand, AnErrorOfTheFirmwareIsAnEvent) {
    play({canvas, idle, {{"op", "sendData"}, {"data", "81a57768617421c0"}}, idle});
    const auto seen = events("firmwareError");
    ASSERT_THAT(seen, SizeIs(1));
    EXPECT_EQ(seen[0].at("value").at("code"), "CODE_UNKNOWN_COMMAND");
}

TEST_F(PlayCommand, LogLinesAreEventsWhenAskedFor) {
    play({canvas}, {});
    EXPECT_THAT(events("log"), SizeIs(0));
    play({canvas}, {"--log"});
    const auto all = events("log");
    EXPECT_TRUE(std::any_of(all.begin(), all.end(), [](const json& event) {
        return event.at("message").get<std::string>().find("Discovering services on Device") != std::string::npos;
    }));
}

TEST_F(PlayCommand, TheSameSeedSaysTheSame) {
    const std::vector<json> scene{canvas, draw(photo()), commit, wait(0.3), {{"op", "glasses.dropConnection"}}, idle};
    play(scene, {"--seed", "9", "--log"});
    const auto first = said;
    play(scene, {"--seed", "9", "--log"});
    EXPECT_EQ(said, first);
}

TEST_F(PlayCommand, HelpListsEveryOperationWithItsArguments) {
    const auto answers = play({{{"op", "help"}}, {{"op", "help"}, {"about", "drawBackground"}}});
    const std::string help = runTarnel({"play", "--help"}).output;
    EXPECT_GT(answers[0].at("result").size(), 50U);
    for (const auto& operation : answers[0].at("result")) {
        EXPECT_THAT(help, HasSubstr("\n  " + operation.at("op").get<std::string>()));
    }
    const auto& about = answers[1].at("result").at(0);
    EXPECT_EQ(about.at("arguments").at(0).at("name"), "image");
    EXPECT_EQ(about.at("arguments").at(4).at("required"), false);
}

TEST_F(PlayCommand, ASceneMayBeAFile) {
    writeText(folder / "scene.jsonl", canvas.dump() + "\r\n" + json{{"op", "layout"}}.dump());
    const auto result = runTarnel({"play", folder / "scene.jsonl", "--simulated"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr(R"({"line":2,"result":"canvas"})"));
    EXPECT_EQ(runTarnel({"play", folder / "none.jsonl", "--simulated"}).status, 1);
}

TEST_F(PlayCommand, AnswersEachLineBeforeTheNextIsWritten) {
    Process process({TARNEL_COMMAND, "play", "--simulated"});
    const auto answer = [&](const json& operation) {
        process.writeLine(operation.dump());
        while (const auto line = process.readLine()) {
            auto parsed = json::parse(*line);
            if (parsed.contains("line")) {
                return parsed;
            }
        }
        return json();
    };
    EXPECT_EQ(answer({{"op", "protocolVersion"}}).at("result"), 2);
    EXPECT_EQ(answer(canvas).at("result"), nullptr);
    EXPECT_EQ(answer({{"op", "layout"}}).at("result"), "canvas");
    process.input().closeWriting();
    EXPECT_EQ(process.wait(), 0);
}

} // namespace
} // namespace tarnel::test

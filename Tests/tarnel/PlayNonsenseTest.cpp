#include "Tarnel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <random>

namespace tarnel::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::SizeIs;

/// Plays raw lines and gives the answers, one for each.
std::vector<json> answersTo(const std::string& scene) {
    const auto result = runTarnel({"play", "--simulated"}, scene);
    EXPECT_EQ(result.status, 0) << result.error;
    std::vector<json> answers;
    for (const auto& line : lines(result.output)) {
        auto said = json::parse(line);
        if (said.contains("line")) {
            answers.push_back(std::move(said));
        }
    }
    return answers;
}

TEST(PlayNonsense, EveryLineThatMakesNoSenseIsAnErrorAndTheBridgeGoesOn) {
    const std::vector<std::string> nonsense{
        "",
        "   \t",
        "\r",
        "nonsense",
        "{",
        "null",
        "5",
        "[]",
        "{}",
        R"({"op": null})",
        R"({"op": 5})",
        R"({"op": "fly"})",
        R"({"op": ")" + std::string(5'000, 'x') + R"("})",
        R"({"op": "idle", "op": "idle"})",
        R"({"op": "idle", "for": 5})",
        R"({"op": "idle"} {"op": "idle"})",
        R"({"op": "wait"})",
        R"({"op": "wait", "seconds": -1})",
        R"({"op": "wait", "seconds": 1e300})",
        R"({"op": "wait", "seconds": 1e999})",
        R"({"op": "wait", "seconds": NaN})",
        R"({"op": "wait", "seconds": "2"})",
        R"({"op": "wait", "seconds": null})",
        R"({"op": "wait", "seconds": 18446744073709551615})",
        R"({"op": "wait", "seconds": 99999999999999999999999999})",
        R"({"op": "setLayout"})",
        R"({"op": "setLayout", "layout": "canvas", "timeout": -1, "hideStatusBar": false})",
        R"({"op": "setLayout", "layout": "canvas", "timeout": 4294967296, "hideStatusBar": false})",
        R"({"op": "setLayout", "layout": "canvas", "timeout": 1.5, "hideStatusBar": false})",
        R"({"op": "setLayout", "layout": 4, "timeout": 180, "hideStatusBar": false})",
        R"({"op": "setLayout", "layout": "Canvas", "timeout": 180, "hideStatusBar": false})",
        R"({"op": "setLayout", "layout": "canvas", "timeout": 180, "hideStatusBar": 0})",
        R"({"op": "drawBackground", "image": "/nowhere.png", "x": 0, "y": 0, "shouldCommitImmediately": true})",
        R"({"op": "drawBackground", "image": "-", "x": 0, "y": 0, "shouldCommitImmediately": true})",
        R"({"op": "drawBackground", "image": "", "x": 0, "y": 0, "shouldCommitImmediately": true})",
        R"({"op": "drawBackground", "image": "a\u0000b", "x": 0, "y": 0, "shouldCommitImmediately": true})",
        R"({"op": "drawBackground", "image": "/", "x": 0, "y": 0, "shouldCommitImmediately": true})",
        R"({"op": "drawBackground", "image": {}, "x": 0, "y": 0, "shouldCommitImmediately": true})",
        R"({"op": "clearBackgroundRect", "x": -1, "y": 0, "width": 1, "height": 1})",
        R"({"op": "clearBackgroundRect", "x": 0, "y": -9223372036854775808, "width": 1, "height": 1})",
        R"({"op": "clearBackgroundRect", "x": 9223372036854775807, "y": 0, "width": 1, "height": 1})",
        R"({"op": "clearBackgroundRect", "x": 2147483647, "y": 0, "width": 2147483647, "height": 1})",
        R"({"op": "clearBackgroundRect", "x": 0, "y": 0, "width": 1})",
        R"({"op": "createText"})",
        R"({"op": "createText", "text": 5})",
        R"({"op": "createText", "text": "a", "xOffset": 32768})",
        R"({"op": "createText", "text": "a", "yOffset": 1.5})",
        R"({"op": "createText", "text": "a", "width": -2})",
        R"({"op": "createText", "text": "a", "anchor": "middle"})",
        R"({"op": "createText", "text": "a", "wrapMode": -1})",
        R"({"op": "updateText", "text": "a", "id": 7})",
        R"({"op": "updateText", "text": "a", "id": -1})",
        R"({"op": "moveText", "id": 0, "x": -1, "y": 0})",
        R"({"op": "removeText"})",
        R"({"op": "createImage", "image": "/nowhere.png"})",
        R"({"op": "updateImage", "image": "/nowhere.png", "id": 3})",
        R"({"op": "moveImage", "id": 3, "x": 0, "y": 0})",
        R"({"op": "createAnimation", "images": []})",
        R"({"op": "createAnimation", "images": "/nowhere.png"})",
        R"({"op": "createAnimation", "images": [5]})",
        R"({"op": "createAnimation", "images": ["/nowhere.png"]})",
        R"({"op": "createAnimation", "images": ["-"]})",
        R"({"op": "createAnimation", "images": ["/nowhere.png"], "duration": -1})",
        R"({"op": "moveTo", "type": "image", "id": 3, "x": 0, "y": 0})",
        R"({"op": "setVisible", "type": "animation", "id": 1, "visible": true})",
        R"({"op": "remove", "type": "label", "id": 1})",
        R"({"op": "clear"})",
        R"({"op": "drawRect", "x": 0, "y": 0, "width": -1, "height": 1})",
        R"({"op": "drawRect", "x": 0, "y": 0, "width": 1, "height": 1, "cornerRadius": -0.5})",
        R"({"op": "drawRect", "x": 0, "y": 0, "width": 1, "height": 1, "corners": "topLeft"})",
        R"({"op": "drawRect", "x": 0, "y": 0, "width": 1, "height": 1, "corners": ["top"]})",
        R"({"op": "drawLine", "x1": 0, "y1": 0, "x2": 1e300, "y2": 0})",
        R"({"op": "drawStaticText", "text": "a", "x": 0, "y": 0, "font": "No such family"})",
        R"({"op": "drawStaticText", "text": "a", "x": 0, "y": 0, "font": "/nowhere.ttf"})",
        R"({"op": "drawStaticText", "text": "a", "x": 0, "y": 0, "font": "/dev/null"})",
        R"({"op": "drawStaticText", "text": "a", "x": 0, "y": 0, "size": 0})",
        R"({"op": "drawAttributedText", "runs": {}, "x": 0, "y": 0})",
        R"({"op": "drawAttributedText", "runs": [5], "x": 0, "y": 0})",
        R"({"op": "drawAttributedText", "runs": [{}], "x": 0, "y": 0})",
        R"({"op": "drawAttributedText", "runs": [{"text": "a", "colour": "dim"}], "x": 0, "y": 0})",
        R"({"op": "sendText"})",
        R"({"op": "sendTextAndImage", "text": "a", "image": "/nowhere.png"})",
        R"({"op": "setCustomFontForAllText", "font": ""})",
        R"({"op": "glypher.setFontSize", "size": 7})",
        R"({"op": "getIntProperty", "property": "led"})",
        R"({"op": "setIntProperty", "property": "brightness", "value": 9223372036854775808})",
        R"({"op": "sendData", "data": "0"})",
        R"({"op": "sendData", "data": ""})",
        R"({"op": "link", "device": "nobody"})",
        R"({"op": "setCurrentDevice", "device": "nobody"})",
        R"({"op": "help", "about": "flying"})",
        R"({"op": "mirror", "to": "/nowhere/m.png"})",
        R"({"op": "glasses.frame", "to": "-"})",
        R"({"op": "glasses.setBattery", "level": 101, "charging": false})",
        R"({"op": "glasses.setBattery", "level": -1, "charging": false})",
        R"({"op": "glasses.refuseWrite", "count": 0})",
        R"({"op": "glasses.stall", "seconds": -1})",
        R"({"op": "glasses.send"})",
        R"({"op": "glasses.send", "message": {"$map": 1}})",
        R"({"op": "glasses.truncateChunk", "direction": "up"})",
        "{\"op\": \"\xff\xfe\"}",
        "\xff\xfe\x00",
        std::string("{\"op\": \"idle\0\"}", 15),
        "\xef\xbb\xbf[]",
        std::string(100'000, '['),
        R"({"op": "glasses.send", "message": )" + std::string(200'000, '[') + "}",
        R"({"op": "glasses.send", "message": )" + std::string(65, '[') + std::string(65, ']') + "}",
    };
    std::string scene;
    for (const auto& line : nonsense) {
        scene += line + "\n";
    }
    const auto answers = answersTo(scene + R"({"op": "protocolVersion"})");
    ASSERT_THAT(answers, SizeIs(nonsense.size() + 1));
    for (std::size_t i = 0; i < nonsense.size(); ++i) {
        EXPECT_EQ(answers[i].at("line"), i + 1);
        ASSERT_TRUE(answers[i].contains("error")) << nonsense[i].substr(0, 100) << answers[i];
        const auto error = answers[i].at("error").get<std::string>();
        EXPECT_LT(error.size(), 600U) << error;
        EXPECT_GT(error.size(), 10U) << error;
    }
    EXPECT_EQ(answers.back().at("result"), 2);
}

TEST(PlayNonsense, ErrorsNameWhatIsTaken) {
    const auto answers = answersTo(R"({"op": "drawBackground", "picture": "a.png"}
{"op": "setLayout", "layout": "map", "timeout": 1, "hideStatusBar": true}
{"op": "clearBackgroundRect", "x": -5, "y": 0, "width": 1, "height": 1}
{"op": "fly"})");
    EXPECT_THAT(answers.at(0).at("error").get<std::string>(), HasSubstr("image: a file, x: an integer 0...65535"));
    EXPECT_THAT(answers.at(1).at("error").get<std::string>(), HasSubstr("\"canvas\""));
    EXPECT_EQ(answers.at(2).at("error"), "\"x\" is an integer 0...65535, not -5");
    EXPECT_THAT(answers.at(3).at("error").get<std::string>(), HasSubstr("\"fly\""));
}

TEST(PlayNonsense, ALineOf100MegabytesIsOneError) {
    std::string scene = R"({"op": ")";
    scene.append(100'000'000, 'x');
    const auto answers = answersTo(scene + "\"}\n{\"op\": \"protocolVersion\"}\n");
    ASSERT_THAT(answers, SizeIs(2));
    EXPECT_THAT(answers[0].at("error").get<std::string>(), HasSubstr("longer than"));
    EXPECT_EQ(answers[1].at("result"), 2);
}

TEST(PlayNonsense, BytesOfEveryKindAreSurvived) {
    std::mt19937 random(7);
    std::string scene;
    for (int i = 0; i < 200'000; ++i) {
        scene += static_cast<char>(random() % 256);
    }
    const auto expected = lines(scene).size();
    EXPECT_THAT(answersTo(scene), SizeIs(expected));
}

/// An argument for a parameter as the help describes it: mostly a good one.
json argumentFor(const json& parameter, std::mt19937& random, const TemporaryFolder& folder) {
    const std::string is = parameter.at("is");
    const auto below = [&](std::uint32_t bound) { return static_cast<int>(random() % bound); };
    if (below(20) == 0) {
        const json odd[]{nullptr,        -1,   1e30,         "",         json::array(),
                         json::object(), true, "/nowhere/x", UINT64_MAX, INT64_MIN};
        return odd[below(10)];
    }
    if (is == "a list of files") {
        return json(std::size_t{random() % 5}, folder / "picture.png");
    }
    if (parameter.contains("choices")) {
        const bool isList = is.starts_with("a list");
        if (isList) {
            return json::array({parameter.at("choices").at(0)});
        }
        return parameter.at("choices").at(random() % parameter.at("choices").size());
    }
    if (is == "true or false") {
        return below(2) == 0;
    }
    if (is == "a file") {
        return parameter.at("name") == "image" ? folder / "picture.png" : folder / "out.png";
    }
    if (is == "hexadecimal digits") {
        return below(2) == 0 ? "81a46d6f6f6405" : "00ff";
    }
    if (is == "text") {
        return "some text";
    }
    if (is.starts_with("an integer")) {
        return below(101);
    }
    if (is.starts_with("a number")) {
        return below(300) / 100.0;
    }
    return json{{"mood", below(10)}};
}

TEST(PlayNonsense, OperationsInAnyOrderAreAnsweredOneByOne) {
    const TemporaryFolder folder;
    writePNG(folder / "picture.png", photograph(200, 120));
    const auto all = answersTo("{\"op\": \"help\"}\n").at(0).at("result");
    ASSERT_GT(all.size(), 50U);
    for (const std::uint32_t seed : {1U, 2U, 3U}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        std::string scene;
        constexpr std::size_t count = 3'000;
        for (std::size_t i = 0; i < count; ++i) {
            const auto& operation = all.at(random() % all.size());
            json line{{"op", operation.at("op")}};
            if (line["op"] == "help") {
                line["about"] = "idle";
            }
            for (const auto& parameter : operation.at("arguments")) {
                const auto left = random() % 20;
                if (parameter.at("required").get<bool>() ? left != 0 : left < 10) {
                    line[parameter.at("name").get<std::string>()] = argumentFor(parameter, random, folder);
                }
            }
            scene += line.dump() + "\n";
        }
        const auto result = runTarnel({"play", "--simulated", "--seed", std::to_string(seed)}, scene);
        EXPECT_LE(result.status, 1) << result.error;
        std::size_t answered = 0;
        for (const auto& line : lines(result.output)) {
            const auto said = json::parse(line);
            answered += said.contains("line") ? 1 : 0;
        }
        EXPECT_EQ(answered, count) << result.error;
    }
}

} // namespace
} // namespace tarnel::test

#pragma once

#include "Tarnel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace tarnel::test {

/// Plays scenes on simulated glasses.
class PlayFixture : public testing::Test {
protected:
    const TemporaryFolder folder;
    const std::string frame = folder / "frame.png";
    const std::string trace = folder / "trace.jsonl";

    std::vector<nlohmann::json> said;

    std::string photo() const {
        writePNG(folder / "photo.png", photograph(640, 480));
        return folder / "photo.png";
    }

    static nlohmann::json draw(const std::string& path) {
        return {{"op", "drawBackground"},           {"image", path}, {"x", 0}, {"y", 0},
                {"shouldCommitImmediately", false}, {"dither", true}};
    }

    /// Plays the operations and keeps what was said; gives the answers.
    std::vector<nlohmann::json> play(const std::vector<nlohmann::json>& operations,
                                     std::vector<std::string> options = {}) {
        std::string scene;
        for (const auto& operation : operations) {
            scene += operation.dump() + "\n";
        }
        options.insert(options.begin(), {"play", "-", "--simulated", "--frame", frame, "--trace", trace});
        const auto result = runTarnel(options, scene);
        EXPECT_EQ(result.status, 0) << result.error;
        said.clear();
        std::vector<nlohmann::json> answers;
        for (const auto& line : lines(result.output)) {
            said.push_back(nlohmann::json::parse(line));
            if (said.back().contains("line")) {
                EXPECT_EQ(said.back()["line"], answers.size() + 1);
                answers.push_back(said.back());
            }
        }
        EXPECT_THAT(answers, testing::SizeIs(operations.size()));
        return answers;
    }

    /// The events of this name, between the answers to two lines; line 0 is the beginning.
    std::vector<nlohmann::json> events(const std::string& name, std::size_t after = 0,
                                       std::size_t until = SIZE_MAX) const {
        std::vector<nlohmann::json> found;
        std::size_t answered = 0;
        for (const auto& each : said) {
            answered = each.contains("line") ? each["line"].get<std::size_t>() : answered;
            if (each.value("event", "") == name && answered >= after && answered < until) {
                found.push_back(each);
            }
        }
        return found;
    }
};

inline const nlohmann::json canvas{
    {"op", "setLayout"}, {"layout", "canvas"}, {"timeout", 180}, {"hideStatusBar", false}};
inline const nlohmann::json commit{{"op", "commit"}};
inline const nlohmann::json idle{{"op", "idle"}};

inline nlohmann::json wait(double seconds) {
    return {{"op", "wait"}, {"seconds", seconds}};
}

} // namespace tarnel::test

#include "Tarnel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace tarnel::test {
namespace {

using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

constexpr std::size_t longestAttributeValue = 512;

class ShowCommand : public testing::Test {
protected:
    const TemporaryFolder folder;
    const std::string frame = folder / "frame.png";
    const std::string trace = folder / "trace.jsonl";

    std::string picture(const Pixels& pixels) const {
        writePNG(folder / "picture.png", pixels);
        return folder / "picture.png";
    }

    CommandResult show(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "show");
        arguments.insert(arguments.end(), {"--simulated", "--frame", frame, "--trace", trace});
        return runTarnel(arguments);
    }

    std::uint8_t level(int x, int y) const {
        return levelsOfFrame(frame).at(static_cast<std::size_t>(y) * 640 + static_cast<std::size_t>(x));
    }
};

TEST_F(ShowCommand, TheFrameOfAPhotographIsWhatItsTraceDecodesTo) {
    writeJPEG(folder / "photo.jpg", photograph(1000, 700));
    const auto result = show({folder / "photo.jpg", "--fit"});
    ASSERT_EQ(result.status, 0) << result.error;
    const Bytes levels = levelsOfFrame(frame);
    EXPECT_EQ(levels, levelsOfTrace(trace));
    for (std::uint8_t each = 0; each < 4; ++each) {
        EXPECT_GT(std::count(levels.begin(), levels.end(), each), 10'000);
    }
    const TraceSummary summary = summaryOfTrace(trace);
    EXPECT_GT(summary.writesWithoutResponse, 100U);
    EXPECT_EQ(summary.writes, 0U);
    EXPECT_GT(summary.notifications, 0U);
    EXPECT_TRUE(summary.isInOrder);
}

TEST_F(ShowCommand, BothProtocolsAndEveryMTUShowTheSame) {
    const auto path = picture(photograph(300, 200));
    ASSERT_EQ(show({path}).status, 0);
    const Bytes levels = levelsOfFrame(frame);
    for (const std::string mtu : {"23", "185", "517"}) {
        for (const std::string protocol : {"1", "2"}) {
            const auto result = show({path, "--protocol", protocol, "--mtu", mtu});
            ASSERT_EQ(result.status, 0) << result.error;
            EXPECT_EQ(levelsOfFrame(frame), levels);
            EXPECT_EQ(levelsOfTrace(trace), levels);
            const TraceSummary summary = summaryOfTrace(trace);
            EXPECT_EQ(summary.longestWrite, std::min(std::stoul(mtu) - 3, longestAttributeValue));
            EXPECT_EQ(protocol == "1" ? summary.writesWithoutResponse : summary.writes, 0U);
        }
    }
}

TEST_F(ShowCommand, ASlowLinkHasTheTimeItNeeds) {
    const auto result =
        show({picture(photograph(200, 150)), "--protocol", "1", "--mtu", "23", "--interval", "1000", "--json"});
    ASSERT_EQ(result.status, 0) << result.error;
    EXPECT_GT(nlohmann::json::parse(result.output).at("seconds"), 200);
    EXPECT_EQ(levelsOfFrame(frame), levelsOfTrace(trace));
}

TEST_F(ShowCommand, EverySeedShowsTheSameAndOneSeedGivesOneTrace) {
    const auto path = picture(photograph(200, 150));
    ASSERT_EQ(show({path}).status, 0);
    const Bytes levels = levelsOfFrame(frame);
    for (const std::string seed : {"2", "3", "18446744073709551615"}) {
        ASSERT_EQ(show({path, "--seed", seed}).status, 0);
        EXPECT_EQ(levelsOfFrame(frame), levels) << "seed " << seed;
        const std::string first = readText(trace);
        ASSERT_EQ(show({path, "--seed", seed}).status, 0);
        EXPECT_EQ(readText(trace), first) << "seed " << seed;
    }
}

TEST_F(ShowCommand, PlacesAPictureAndCutsWhatLiesOffTheDisplay) {
    const Pixels white{100, 100, Bytes(100 * 100 * 3, 255)};
    ASSERT_EQ(show({picture(white), "--at", "600,20"}).status, 0);
    EXPECT_EQ(level(600, 20), 3);
    EXPECT_EQ(level(639, 119), 3);
    EXPECT_EQ(level(599, 20), 0);
    EXPECT_EQ(level(639, 120), 0);
    EXPECT_EQ(levelsOfFrame(frame), levelsOfTrace(trace));
    EXPECT_THAT(show({picture(white), "--at", "600,20"}).error, HasSubstr("--fit"));
    EXPECT_EQ(show({picture(white), "--at", "540,380"}).error, "");
}

TEST_F(ShowCommand, FitsAPictureToTheRoomThatThereIs) {
    const Pixels white{2000, 1000, Bytes(2000 * 1000 * 3, 255)};
    ASSERT_EQ(show({picture(white), "--fit"}).status, 0);
    EXPECT_EQ(level(0, 80), 3);
    EXPECT_EQ(level(639, 399), 3);
    EXPECT_EQ(level(320, 79), 0);
    EXPECT_EQ(level(320, 400), 0);
    ASSERT_EQ(show({picture(white), "--fit", "--at", "440,380"}).status, 0);
    EXPECT_EQ(level(440, 380), 3);
    EXPECT_EQ(level(639, 479), 3);
    EXPECT_EQ(level(439, 380), 0);
}

TEST_F(ShowCommand, MixesLevelsInPhotographsUnlessToldNotTo) {
    const Pixels gray{200, 200, Bytes(200 * 200 * 3, 128)};
    const auto path = picture(gray);
    const auto dimPixels = [&] {
        const Bytes levels = levelsOfFrame(frame);
        return std::count_if(levels.begin(), levels.end(), [](std::uint8_t each) { return each == 1; });
    };
    ASSERT_EQ(show({path, "--dither", "on"}).status, 0);
    EXPECT_GT(dimPixels(), 10'000);
    EXPECT_LT(dimPixels(), 30'000);
    ASSERT_EQ(show({path, "--dither", "off"}).status, 0);
    EXPECT_EQ(dimPixels(), 0);
    ASSERT_EQ(show({path}).status, 0);
    EXPECT_EQ(dimPixels(), 0);

    const auto photo = picture(photograph(200, 200));
    ASSERT_EQ(show({photo}).status, 0);
    const Bytes automatic = levelsOfFrame(frame);
    ASSERT_EQ(show({photo, "--dither", "on"}).status, 0);
    EXPECT_EQ(levelsOfFrame(frame), automatic);
    ASSERT_EQ(show({photo, "--dither", "off"}).status, 0);
    EXPECT_NE(levelsOfFrame(frame), automatic);
}

TEST_F(ShowCommand, DescribesTheTransferInJSON) {
    const auto result = show({picture(checkerboard(64, 64)), "--at", "8,16", "--json"});
    const auto report = nlohmann::json::parse(result.output);
    EXPECT_EQ(report.at("x"), 8);
    EXPECT_EQ(report.at("y"), 16);
    EXPECT_EQ(report.at("width"), 64);
    EXPECT_EQ(report.at("protocolVersion"), 2);
    EXPECT_EQ(report.at("frame"), frame);
    EXPECT_GT(report.at("bytes"), 0);
    EXPECT_GT(report.at("chunks"), 0);
    EXPECT_GT(report.at("seconds"), 0.0);
    EXPECT_EQ(result.error, "");
}

TEST_F(ShowCommand, StandardInputAndOutputStandForFiles) {
    const std::string png = readText(picture(checkerboard(64, 64)));
    const auto result = runTarnel({"show", "-", "--simulated", "--frame", "-"}, png);
    ASSERT_EQ(result.status, 0);
    writeText(frame, result.output);
    EXPECT_EQ(level(0, 0), 3);
    EXPECT_EQ(level(16, 0), 0);
}

TEST_F(ShowCommand, BadInputSendsNothing) {
    writeText(folder / "text.png", "no picture");
    for (const std::string name : {"text.png", "none.png"}) {
        const auto result = show({folder / name});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, StartsWith("tarnel: "));
        EXPECT_THAT(lines(result.error), SizeIs(1));
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(readText(trace), "");
        EXPECT_FALSE(std::filesystem::exists(frame));
    }
}

TEST_F(ShowCommand, AFrameThatCannotBeWrittenIsToldBeforeAnythingIsSent) {
    const auto result = runTarnel(
        {"show", picture(checkerboard(9, 9)), "--simulated", "--frame", "/nowhere/frame.png", "--trace", trace});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(readText(trace), "");
}

TEST_F(ShowCommand, GlassesThatCannotBeFoundAreAFailure) {
    for (const std::string mode : {"other", "update"}) {
        const auto result = show({picture(checkerboard(9, 9)), "--advertising", mode});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, HasSubstr("no glasses were found"));
        EXPECT_FALSE(std::filesystem::exists(frame));
    }
    EXPECT_EQ(show({picture(checkerboard(9, 9)), "--advertising", "none"}).status, 0);
    EXPECT_EQ(show({picture(checkerboard(9, 9)), "--pairing"}).status, 0);
}

} // namespace
} // namespace tarnel::test

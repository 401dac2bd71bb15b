#include "support/RLEDecoder.hpp"
#include "support/TestPlatform.hpp"

#include <TarnelSDK/foundation/Data+Extensions.hpp>
#include <TarnelSDK/foundation/Log.hpp>

#include <gmock/gmock.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <any>
#include <string>
#include <vector>

namespace tarnel {
namespace {

using ::testing::ElementsAre;

/// Bytes of which no three in a row are equal.
Bytes literals(std::size_t count) {
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(i % 7 + 1));
    }
    return bytes;
}

Bytes front(const Bytes& bytes, std::size_t count) {
    return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
}

TEST(RLE, TenEqualBytesAreOneShortRun) {
    EXPECT_THAT(compressWithRLE(Bytes(10, 0x05)), ElementsAre(0x8A, 0x05));
}

TEST(RLE, TwoHundredEqualBytesAreOneLongRun) {
    EXPECT_THAT(compressWithRLE(Bytes(200, 0)), ElementsAre(0x80, 0xC8, 0x00, 0x00));
}

TEST(RLE, ARunAmongLiteralsSplitsThem) {
    EXPECT_THAT(compressWithRLE(Bytes{1, 2, 3, 3, 3, 3, 4, 5}), ElementsAre(2, 1, 2, 0x84, 3, 2, 4, 5));
}

TEST(RLE, TwoEqualBytesAreLiteralAndThreeAreARun) {
    EXPECT_THAT(compressWithRLE(Bytes{7, 7}), ElementsAre(2, 7, 7));
    EXPECT_THAT(compressWithRLE(Bytes{7, 7, 7}), ElementsAre(0x83, 7));
}

TEST(RLE, OneByteIsALiteral) {
    EXPECT_THAT(compressWithRLE(Bytes{9}), ElementsAre(1, 9));
}

TEST(RLE, ARunAtTheEndIsARun) {
    EXPECT_THAT(compressWithRLE(Bytes{1, 2, 2, 2}), ElementsAre(1, 1, 0x83, 2));
}

TEST(RLE, RunsFollowOneAnotherDirectly) {
    EXPECT_THAT(compressWithRLE(Bytes{1, 1, 1, 2, 2, 2}), ElementsAre(0x83, 1, 0x83, 2));
}

struct Threshold {
    std::size_t count;
    Bytes literalHeader;
    Bytes runHeader;
};

class RLEThresholds : public ::testing::TestWithParam<Threshold> {};

TEST_P(RLEThresholds, GiveAStretchOfLiteralsItsHeader) {
    const Bytes input = literals(GetParam().count);
    const Bytes packed = compressWithRLE(input);
    EXPECT_EQ(front(packed, GetParam().literalHeader.size()), GetParam().literalHeader);
    EXPECT_EQ(packed.size(), GetParam().literalHeader.size() + input.size());
    EXPECT_EQ(test::decodeRLE(packed), input);
}

TEST_P(RLEThresholds, GiveARunItsHeader) {
    const Bytes input(GetParam().count, 0x42);
    Bytes expected = GetParam().runHeader;
    expected.push_back(0x42);
    EXPECT_EQ(compressWithRLE(input), expected);
    EXPECT_EQ(test::decodeRLE(expected), input);
}

INSTANTIATE_TEST_SUITE_P(Counts, RLEThresholds,
                         ::testing::Values(Threshold{126, {0x7E}, {0xFE}},
                                           Threshold{127, {0x00, 0x7F, 0x00}, {0x80, 0x7F, 0x00}},
                                           Threshold{128, {0x00, 0x80, 0x00}, {0x80, 0x80, 0x00}},
                                           Threshold{65535, {0x00, 0xFF, 0xFF}, {0x80, 0xFF, 0xFF}},
                                           Threshold{65536, {0x7F, 0, 0, 1, 0}, {0xFF, 0, 0, 1, 0}},
                                           Threshold{65537, {0x7F, 1, 0, 1, 0}, {0xFF, 1, 0, 1, 0}}),
                         [](const auto& threshold) { return std::to_string(threshold.param.count); });

RC_GTEST_PROP(RLEOfGeneratedBytes, DecodesToTheSameBytes, ()) {
    const Bytes input = *rc::gen::nonEmpty(rc::gen::container<Bytes>(rc::gen::inRange<std::uint8_t>(0, 3)));
    const Bytes packed = compressWithRLE(input);
    RC_ASSERT(test::decodeRLE(packed) == input);
    RC_ASSERT(packed.size() <= input.size() + input.size() / 4 + 5);
}

RC_GTEST_PROP(RLEOfGeneratedStretches, DecodesToTheSameBytes, ()) {
    const auto length =
        rc::gen::oneOf(rc::gen::inRange<std::size_t>(1, 6), rc::gen::inRange<std::size_t>(124, 131),
                       rc::gen::weightedElement<std::size_t>({{4, 1}, {1, 65534}, {1, 65535}, {1, 65536}, {1, 65537}}));
    const auto stretches = *rc::gen::nonEmpty(rc::gen::container<std::vector<std::pair<std::size_t, std::uint8_t>>>(
        rc::gen::pair(length, rc::gen::inRange<std::uint8_t>(0, 4))));
    Bytes input;
    for (const auto& [count, byte] : stretches) {
        const Bytes stretch = byte == 0 ? literals(count) : Bytes(count, byte);
        input.insert(input.end(), stretch.begin(), stretch.end());
    }
    RC_ASSERT(test::decodeRLE(compressWithRLE(input)) == input);
}

TEST(RLELogging, TellsTheLengthsAndTheTruncatedPercentage) {
    test::TestPlatform platform;
    std::vector<std::string> lines;
    const auto observation =
        platform.notificationCenter().observe("log", [&](const platform::Notification& notification) {
            lines.push_back(std::any_cast<std::string>(notification.userInfo.at("msg")));
        });
    compressWithRLE(Bytes(7, 1));
    setLogEnabled(true);
    compressWithRLE(Bytes(7, 1));
    compressWithRLE(Bytes{1});
    EXPECT_THAT(lines,
                ElementsAre(::testing::MatchesRegex(
                                ".*: COMPRESS_RLE: 7 -> 2 = 28% \\| Data\\+Extensions:[0-9]+ compressWithRLE\\(\\)"),
                            ::testing::HasSubstr("COMPRESS_RLE: 1 -> 2 = 200% |")));
}

TEST(RLEDeathTest, OfNothingStopsTheProgram) {
    EXPECT_DEATH(compressWithRLE({}), "there is something to compress");
}

} // namespace
} // namespace tarnel

#include <TarnelSDK/ancs/Protocol.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel::ancs {
namespace {

using ::testing::ElementsAre;
using ::testing::VariantWith;

auto isRefusedWith(ErrorCode code) {
    return VariantWith<ErrorCode>(code);
}

TEST(AncsEvent, IsEightBytesWithTheNumberInLittleEndian) {
    EXPECT_THAT(encode({.id = EventID::removed,
                        .flags = silent | preExisting | negativeAction,
                        .category = Category::entertainment,
                        .categoryCount = 255,
                        .uid = 0x12345678}),
                ElementsAre(2, 0b10101, 11, 255, 0x78, 0x56, 0x34, 0x12));
}

TEST(AncsCommand, AsksForAttributesOfANotificationTheTextsWithAGreatestLength) {
    const Bytes bytes{0, 4, 3, 2, 1, 0, 1, 0x40, 0, 2, 1, 0, 3, 0xFF, 0xFF, 4, 5, 6, 7};
    const GetNotificationAttributes expected{0x01020304,
                                             {{NotificationAttribute::appIdentifier, 0xFFFF},
                                              {NotificationAttribute::title, 0x40},
                                              {NotificationAttribute::subtitle, 1},
                                              {NotificationAttribute::message, 0xFFFF},
                                              {NotificationAttribute::messageSize, 0xFFFF},
                                              {NotificationAttribute::date, 0xFFFF},
                                              {NotificationAttribute::positiveActionLabel, 0xFFFF},
                                              {NotificationAttribute::negativeActionLabel, 0xFFFF}}};
    EXPECT_THAT(parseCommand(bytes), VariantWith<Command>(Command(expected)));
}

TEST(AncsCommand, AsksForTheNameOfAnApplication) {
    const Bytes bytes{1, 'o', 'r', 'g', 0, 0};
    EXPECT_THAT(parseCommand(bytes),
                VariantWith<Command>(Command(GetAppAttributes{"org", {AppAttribute::displayName}})));
}

TEST(AncsCommand, PerformsOneOfTwoActions) {
    EXPECT_THAT(parseCommand(Bytes{2, 1, 0, 0, 0, 0}),
                VariantWith<Command>(Command(PerformNotificationAction{1, Action::positive})));
    EXPECT_THAT(parseCommand(Bytes{2, 0, 0, 0, 0x80, 1}),
                VariantWith<Command>(Command(PerformNotificationAction{0x80000000, Action::negative})));
    EXPECT_THAT(parseCommand(Bytes{2, 1, 0, 0, 0, 2}), isRefusedWith(ErrorCode::invalidParameter));
}

TEST(AncsCommand, ThatIsUnknownIsRefusedAsSuch) {
    EXPECT_THAT(parseCommand(Bytes{3}), isRefusedWith(ErrorCode::unknownCommand));
    EXPECT_THAT(parseCommand(Bytes{255, 0, 0, 0, 0, 0}), isRefusedWith(ErrorCode::unknownCommand));
    EXPECT_THAT(parseCommand(Bytes{}), isRefusedWith(ErrorCode::invalidCommand));
}

TEST(AncsCommand, ThatIsCutShortAtAnyByteIsRefused) {
    const Bytes notification{0, 1, 0, 0, 0, 1, 16, 0};
    const Bytes application{1, 'o', 'r', 'g', 0, 0};
    const Bytes action{2, 1, 0, 0, 0, 0};
    for (const auto& whole : {notification, application, action}) {
        EXPECT_THAT(parseCommand(whole), VariantWith<Command>(::testing::_));
        for (std::size_t length = 0; length < whole.size(); ++length) {
            EXPECT_THAT(parseCommand(ByteView(whole).first(length)), isRefusedWith(ErrorCode::invalidCommand))
                << length;
        }
    }
}

TEST(AncsCommand, WithBytesAfterItsEndIsRefused) {
    EXPECT_THAT(parseCommand(Bytes{2, 1, 0, 0, 0, 0, 0}), isRefusedWith(ErrorCode::invalidCommand));
}

TEST(AncsCommand, WithAnAttributeThatDoesNotExistIsRefused) {
    EXPECT_THAT(parseCommand(Bytes{0, 1, 0, 0, 0, 8}), isRefusedWith(ErrorCode::invalidParameter));
    EXPECT_THAT(parseCommand(Bytes{1, 'a', 0, 1}), isRefusedWith(ErrorCode::invalidParameter));
}

TEST(AncsCommand, ThatAsksTwiceForTheSameIsRefused) {
    EXPECT_THAT(parseCommand(Bytes{0, 1, 0, 0, 0, 5, 5}), isRefusedWith(ErrorCode::invalidCommand));
    EXPECT_THAT(parseCommand(Bytes{1, 'a', 0, 0, 0}), isRefusedWith(ErrorCode::invalidCommand));
}

TEST(AncsResponse, RepeatsTheCommandAndGivesEachAttributeItsLength) {
    const std::vector<AttributeText> attributes{{1, "Hi"}, {2, ""}};
    EXPECT_THAT(encodeNotificationAttributes(0x0201, attributes),
                ElementsAre(0, 1, 2, 0, 0, 1, 2, 0, 'H', 'i', 2, 0, 0));
    EXPECT_THAT(encodeAppAttributes("org", std::vector<AttributeText>{{0, "R"}}),
                ElementsAre(1, 'o', 'r', 'g', 0, 0, 1, 0, 'R'));
    const auto longest = encodeNotificationAttributes(1, std::vector<AttributeText>{{3, std::string(65'535, 'x')}});
    EXPECT_EQ(longest.size(), 5U + 3U + 65'535U);
    EXPECT_EQ(longest[6], 0xFF);
    EXPECT_EQ(longest[7], 0xFF);
}

TEST(AncsText, IsCutBetweenTwoCharacters) {
    EXPECT_EQ(truncatedUTF8("aä€", 6), "aä€");
    EXPECT_EQ(truncatedUTF8("aä€", 5), "aä");
    EXPECT_EQ(truncatedUTF8("aä€", 3), "aä");
    EXPECT_EQ(truncatedUTF8("aä€", 2), "a");
    EXPECT_EQ(truncatedUTF8("aä€", 0), "");
}

} // namespace
} // namespace tarnel::ancs

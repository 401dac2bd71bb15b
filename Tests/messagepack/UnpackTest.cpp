#include <TarnelSDK/messagepack/Unpack.hpp>

#include <gmock/gmock.h>

#include <cmath>
#include <optional>
#include <string>

namespace tarnel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Value = MessagePackValue;

template <typename Operation>
std::optional<MessagePackError::Case> errorOf(Operation operation) {
    try {
        operation();
    } catch (const MessagePackError& error) {
        return error.code();
    }
    return std::nullopt;
}

std::optional<MessagePackError::Case> errorOf(const Bytes& bytes) {
    return errorOf([&] { unpackFirst(bytes); });
}

/// The bytes hold exactly this value: of the same case too, which `==` does not tell of numbers.
void expectValue(const Bytes& bytes, const Value& value) {
    const auto [read, remainder] = unpack(bytes);
    EXPECT_EQ(read, value) << read.description();
    EXPECT_EQ(read.type(), value.type()) << read.description();
    EXPECT_TRUE(remainder.isEmpty());
}

Bytes joined(Bytes front, std::size_t count, std::uint8_t byte) {
    front.insert(front.end(), count, byte);
    return front;
}

constexpr auto insufficientData = MessagePackError::insufficientData;
constexpr auto invalidData = MessagePackError::invalidData;

TEST(Unpack, FixedIntegers) {
    expectValue({0x00}, 0U);
    expectValue({0x05}, 5U);
    expectValue({0x7F}, 127U);
    expectValue({0xE0}, -32);
    expectValue({0xFE}, -2);
    expectValue({0xFF}, -1);
}

TEST(Unpack, UnsignedIntegersOfEveryWidth) {
    expectValue({0xCC, 0xFF}, 255U);
    expectValue({0xCD, 0x12, 0x34}, 0x1234U);
    expectValue({0xCE, 0x80, 0, 0, 1}, 0x80000001U);
    expectValue({0xCF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, UINT64_MAX);
    expectValue({0xCF, 0, 0, 0, 0, 0, 0, 0, 1}, 1U);
}

TEST(Unpack, SignedIntegersOfEveryWidthWithTheirSign) {
    expectValue({0xD0, 0x80}, -128);
    expectValue({0xD0, 0x7F}, 127);
    expectValue({0xD1, 0xFF, 0x80}, -128);
    expectValue({0xD1, 0x80, 0x00}, -32768);
    expectValue({0xD2, 0x80, 0, 0, 0}, INT32_MIN);
    expectValue({0xD2, 0x00, 0, 0, 5}, 5);
    expectValue({0xD3, 0x80, 0, 0, 0, 0, 0, 0, 0}, INT64_MIN);
}

TEST(Unpack, NilBooleansAndFloats) {
    expectValue({0xC0}, nullptr);
    expectValue({0xC2}, false);
    expectValue({0xC3}, true);
    expectValue({0xCA, 0x3F, 0xC0, 0, 0}, 1.5F);
    expectValue({0xCB, 0xC0, 0, 0, 0, 0, 0, 0, 0}, -2.0);
    EXPECT_TRUE(std::isnan(*unpackFirst(Bytes{0xCA, 0x7F, 0xC0, 0, 0}).floatValue()));
}

TEST(Unpack, StringsOfEveryFormat) {
    expectValue({0xA0}, "");
    expectValue({0xA3, 'a', 'b', 'c'}, "abc");
    expectValue(joined({0xBF}, 31, 'x'), std::string(31, 'x'));
    expectValue({0xD9, 0x02, 0xC3, 0xBC}, "ü");
    expectValue({0xD9, 0x00}, "");
    expectValue(joined({0xDA, 0x01, 0x00}, 256, 'x'), std::string(256, 'x'));
    expectValue(joined({0xDB, 0x00, 0x01, 0x00, 0x00}, 65536, 'x'), std::string(65536, 'x'));
}

TEST(Unpack, BinariesOfEveryFormat) {
    expectValue({0xC4, 0x00}, Bytes());
    expectValue({0xC4, 0x02, 0xFF, 0x00}, Bytes{0xFF, 0x00});
    expectValue(joined({0xC5, 0x01, 0x00}, 256, 7), Bytes(256, 7));
    expectValue(joined({0xC6, 0x00, 0x01, 0x00, 0x00}, 65536, 7), Bytes(65536, 7));
}

TEST(Unpack, ExtensionsOfEveryFormat) {
    expectValue({0xD4, 0xFE, 9}, Value(-2, Bytes{9}));
    expectValue({0xD5, 5, 1, 2}, Value(5, Bytes{1, 2}));
    expectValue(joined({0xD6, 5}, 4, 7), Value(5, Bytes(4, 7)));
    expectValue(joined({0xD7, 5}, 8, 7), Value(5, Bytes(8, 7)));
    expectValue(joined({0xD8, 5}, 16, 7), Value(5, Bytes(16, 7)));
    expectValue({0xC7, 0x00, 5}, Value(5, Bytes()));
    expectValue({0xC7, 0x03, 5, 1, 2, 3}, Value(5, Bytes{1, 2, 3}));
    expectValue(joined({0xC8, 0x01, 0x00, 0x80}, 256, 7), Value(-128, Bytes(256, 7)));
    expectValue(joined({0xC9, 0x00, 0x01, 0x00, 0x00, 5}, 65536, 7), Value(5, Bytes(65536, 7)));
}

TEST(Unpack, ArraysOfEveryFormat) {
    expectValue({0x90}, Value::array({}));
    expectValue({0x92, 0x01, 0xC0}, Value::array({1, nullptr}));
    expectValue(joined({0x9F}, 15, 0xC0), Value::Array(15));
    expectValue({0xDC, 0x00, 0x01, 0x91, 0x02}, Value::array({Value::array({2})}));
    expectValue(joined({0xDC, 0xFF, 0xFF}, 65535, 0xC0), Value::Array(65535));
    expectValue(joined({0xDD, 0x00, 0x01, 0x00, 0x00}, 65536, 0xC0), Value::Array(65536));
}

TEST(Unpack, MapsOfEveryFormat) {
    const auto expected = Value::map({{"k", 1}});
    expectValue({0x80}, Value::map({}));
    expectValue({0x81, 0xA1, 'k', 0x01}, expected);
    expectValue({0xDE, 0x00, 0x01, 0xA1, 'k', 0x01}, expected);
    expectValue({0xDF, 0x00, 0x00, 0x00, 0x01, 0xA1, 'k', 0x01}, expected);
    EXPECT_EQ((*unpackFirst(Bytes{0x81, 0xA1, 'k', 0x01})["k"]).type(), Value::Type::uint);
}

TEST(Unpack, TheLaterValueOfAKeyThatOccursTwiceCounts) {
    const auto value = unpackFirst(Bytes{0x82, 0xA1, 'k', 1, 0xA1, 'k', 2});
    EXPECT_EQ(value.count(), 1U);
    EXPECT_EQ(value, Value::map({{"k", 2U}}));
}

TEST(Unpack, CompatibilityReadsEveryStringFormatAsBinaryAlsoInside) {
    EXPECT_EQ(unpackFirst(Bytes{0xA3, 'a', 'b', 'c'}, true), Value(Bytes{'a', 'b', 'c'}));
    EXPECT_EQ(unpackFirst(Bytes{0xA1, 0xFF}, true), Value(Bytes{0xFF}));
    EXPECT_EQ(unpackFirst(Bytes{0xA0}, true), Value(Bytes()));
    EXPECT_EQ(unpackFirst(Bytes{0xD9, 1, 0xFF}, true), Value(Bytes{0xFF}));
    EXPECT_EQ(unpackFirst(Bytes{0xDA, 0, 1, 0xFF}, true), Value(Bytes{0xFF}));
    EXPECT_EQ(unpackFirst(Bytes{0xDB, 0, 0, 0, 1, 0xFF}, true), Value(Bytes{0xFF}));
    EXPECT_EQ(unpackFirst(Bytes{0x91, 0x81, 0xA1, 'k', 0xA1, 'v'}, true),
              Value::array({Value::map({{Bytes{'k'}, Bytes{'v'}}})}));
    EXPECT_THAT(unpackAll(Bytes{0xA1, 'a', 0x01}, true), ElementsAre(Value(Bytes{'a'}), Value(1)));
}

TEST(Unpack, GivesTheRemainderAsAViewOnTheSameBuffer) {
    const Bytes bytes{0x91, 0x01, 0x02};
    const auto [value, remainder] = unpack(bytes);
    EXPECT_EQ(value, Value::array({1}));
    EXPECT_THAT(remainder.data(), ElementsAre(0x02));
    EXPECT_EQ(remainder.view().data(), bytes.data() + 2);
}

TEST(Unpack, StartsWhereTheViewDoesAndStopsWhereItEnds) {
    const Bytes bytes{0xC1, 0xA2, 'a', 'b'};
    EXPECT_EQ(unpack(Subdata(bytes, 1)).value, Value("ab"));
    EXPECT_EQ(errorOf([&] { unpack(Subdata(bytes, 1, 3)); }), insufficientData);
}

TEST(Unpack, AllGivesEveryValueAndFirstTheFirst) {
    const Bytes bytes{0x01, 0x02, 0xC0};
    EXPECT_THAT(unpackAll(bytes), ElementsAre(Value(1U), Value(2U), Value()));
    EXPECT_EQ(unpackFirst(bytes), Value(1U));
}

TEST(Unpack, AnEmptyBufferHoldsNoValue) {
    EXPECT_THAT(unpackAll({}), IsEmpty());
    EXPECT_EQ(errorOf(Bytes()), insufficientData);
}

TEST(Unpack, AllGivesNothingWhenALaterValueIsCutShort) {
    EXPECT_EQ(errorOf([] { unpackAll(Bytes{0x01, 0xD9}); }), insufficientData);
}

TEST(Unpack, EveryPrefixOfAValueIsInsufficientData) {
    const Bytes examples[] = {{0xD9, 1, 'a'},
                              {0xDA, 0, 1, 'a'},
                              {0xDB, 0, 0, 0, 1, 'a'},
                              {0xA2, 'a', 'b'},
                              {0xC4, 1, 9},
                              {0xC5, 0, 1, 9},
                              {0xC6, 0, 0, 0, 1, 9},
                              {0xC7, 1, 5, 9},
                              {0xC8, 0, 1, 5, 9},
                              {0xC9, 0, 0, 0, 1, 5, 9},
                              {0xCA, 0, 0, 0, 0},
                              {0xCB, 0, 0, 0, 0, 0, 0, 0, 0},
                              {0xCC, 0},
                              {0xCD, 0, 0},
                              {0xCE, 0, 0, 0, 0},
                              {0xCF, 0, 0, 0, 0, 0, 0, 0, 0},
                              {0xD0, 0},
                              {0xD1, 0, 0},
                              {0xD2, 0, 0, 0, 0},
                              {0xD3, 0, 0, 0, 0, 0, 0, 0, 0},
                              {0xD4, 5, 9},
                              {0xD5, 5, 9, 9},
                              {0xDC, 0, 2, 1, 1},
                              {0xDD, 0, 0, 0, 2, 1, 1},
                              {0xDE, 0, 1, 1, 1},
                              {0xDF, 0, 0, 0, 1, 1, 1},
                              {0x92, 1, 1},
                              {0x81, 1, 1}};
    for (const auto& example : examples) {
        EXPECT_EQ(errorOf(example), std::nullopt);
        for (std::size_t length = 0; length < example.size(); ++length) {
            EXPECT_EQ(errorOf([&] { unpackFirst(ByteView(example).first(length)); }), insufficientData)
                << "format " << int{example[0]} << " cut to " << length;
        }
    }
}

TEST(Unpack, TheUnusedByteIsInvalidDataAlsoInside) {
    EXPECT_EQ(errorOf({0xC1}), invalidData);
    EXPECT_EQ(errorOf({0x92, 0x01, 0xC1}), invalidData);
    EXPECT_EQ(errorOf({0x81, 0x01, 0xC1}), invalidData);
}

TEST(Unpack, TheFirstErrorOfAnArrayCountsAlsoWhenElementsAreMissing) {
    EXPECT_EQ(errorOf({0x95, 0xC1}), invalidData);
    EXPECT_EQ(errorOf({0x95, 0x01}), insufficientData);
}

TEST(Unpack, StringsThatAreNotUTF8AreInvalidData) {
    EXPECT_EQ(errorOf({0xA1, 0xFF}), invalidData);
    EXPECT_EQ(errorOf({0xD9, 0x02, 0xC0, 0xAF}), invalidData);
    EXPECT_EQ(errorOf({0xA3, 0xED, 0xA0, 0x80}), invalidData);
    EXPECT_EQ(errorOf({0x81, 0xA1, 0xC3, 0x01}), invalidData);
}

TEST(Unpack, NestingIsBounded) {
    const auto nested = [](std::uint8_t container, std::size_t depth) {
        Bytes bytes;
        for (std::size_t i = 0; i < depth; ++i) {
            bytes.push_back(container);
            if (container == 0x81) {
                bytes.push_back(0x00);
            }
        }
        bytes.push_back(0xC0);
        return bytes;
    };
    for (const std::uint8_t container : {std::uint8_t{0x91}, std::uint8_t{0x81}}) {
        EXPECT_EQ(errorOf(nested(container, deepestNesting)), std::nullopt);
        EXPECT_EQ(errorOf(nested(container, deepestNesting + 1)), invalidData);
        EXPECT_EQ(errorOf(nested(container, 1'000'000)), invalidData);
    }
}

TEST(UnpackReaders, ReadIntegersOfAnyWidth) {
    const Bytes bytes{1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(unpackInteger(Subdata(bytes), 1).value, 1U);
    EXPECT_EQ(unpackInteger(Subdata(bytes), 3).value, 0x010203U);
    EXPECT_EQ(unpackInteger(Subdata(bytes), 8).value, 0x0102030405060708U);
    EXPECT_EQ(unpackInteger(Subdata(bytes), 8).remainder.count(), 1U);
}

TEST(UnpackReaders, RefuseAnIntegerOfNoBytes) {
    const Bytes bytes{1};
    EXPECT_EQ(errorOf([&] { unpackInteger(Subdata(bytes), 0); }), MessagePackError::invalidArgument);
    EXPECT_EQ(errorOf([&] { unpackInteger(Subdata({}), 0); }), MessagePackError::invalidArgument);
    EXPECT_EQ(errorOf([&] { unpackInteger(Subdata(bytes), 2); }), insufficientData);
}

TEST(UnpackReaders, AnEmptyStringConsumesNothing) {
    const Bytes bytes{'a'};
    const auto [text, rest] = unpackString(Subdata(bytes), 0);
    EXPECT_EQ(text, "");
    EXPECT_EQ(rest.count(), 1U);
}

TEST(UnpackReaders, DataIsAViewAndItsRest) {
    const Bytes bytes{1, 2, 3};
    const auto [view, rest] = unpackData(Subdata(bytes), 2);
    EXPECT_THAT(view.data(), ElementsAre(1, 2));
    EXPECT_THAT(rest.data(), ElementsAre(3));
    EXPECT_EQ(errorOf([&] { unpackData(Subdata(bytes), 4); }), insufficientData);
}

TEST(UnpackReaders, ArraysAndMapsAreReadWithoutTheirHeaders) {
    const Bytes bytes{1, 2, 3, 4};
    EXPECT_EQ(unpackArray(Subdata(bytes), 3, false).value, (Value::Array{1, 2, 3}));
    EXPECT_EQ(unpackMap(Subdata(bytes), 2, false).value, (Value::Map{{1, 2}, {3, 4}}));
}

TEST(UnpackErrors, TellTheirCases) {
    EXPECT_STREQ(MessagePackError(MessagePackError::invalidArgument).what(), "invalidArgument");
    EXPECT_STREQ(MessagePackError(MessagePackError::insufficientData).what(), "insufficientData");
    EXPECT_STREQ(MessagePackError(MessagePackError::invalidData).what(), "invalidData");
    EXPECT_TRUE(MessagePackError(MessagePackError::invalidData) == MessagePackError::invalidData);
    EXPECT_FALSE(MessagePackError(MessagePackError::invalidData) == MessagePackError::insufficientData);
}

} // namespace
} // namespace tarnel

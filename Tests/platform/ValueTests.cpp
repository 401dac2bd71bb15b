#include <TarnelSDK/platform/Value.hpp>

#include <gtest/gtest.h>

#include <cstdint>

namespace tarnel {
namespace {

TEST(Value, AnUnsignedNumberThatFitsIsHeldSigned) {
    EXPECT_EQ(Value(std::uint64_t{5}), Value(5));
    EXPECT_EQ(Value(std::uint64_t{INT64_MAX}).integer(), INT64_MAX);
    const Value large(std::uint64_t{INT64_MAX} + 1);
    EXPECT_FALSE(large.integer());
    EXPECT_EQ(std::get<std::uint64_t>(large.storage()), std::uint64_t{1} << 63);
    EXPECT_EQ(large.description(), "9223372036854775808");
}

TEST(Value, GivesWhatItHoldsAndNothingElse) {
    EXPECT_TRUE(Value().isNull());
    EXPECT_FALSE(Value(false).isNull());
    EXPECT_EQ(Value(true).boolean(), true);
    EXPECT_FALSE(Value(true).integer());
    EXPECT_FALSE(Value(1).boolean());
    EXPECT_FALSE(Value(1.0).integer());
    EXPECT_EQ(Value("text").string(), "text");
    EXPECT_FALSE(Value("text").bytes());
    EXPECT_EQ(Value(Bytes{1, 2}).bytes(), (Bytes{1, 2}));
    EXPECT_EQ(Value("text").array(), nullptr);
    ASSERT_NE(Value(Value::Array{1}).array(), nullptr);
    EXPECT_EQ(Value(Value::Array{}).dictionary(), nullptr);
    ASSERT_NE(Value(Value::Dictionary{}).dictionary(), nullptr);
}

TEST(Value, IsEqualOnlyToTheSameValueOfTheSameType) {
    EXPECT_EQ(Value(Value::Array{1, "two"}), Value(Value::Array{1, "two"}));
    EXPECT_NE(Value(Value::Array{1, "two"}), Value(Value::Array{"two", 1}));
    EXPECT_NE(Value(1), Value(1.0));
    EXPECT_NE(Value(0), Value(false));
    EXPECT_NE(Value(0), Value());
    EXPECT_NE(Value(""), Value(Bytes{}));
}

TEST(Value, DescribesEachTypeInOneLine) {
    EXPECT_EQ(Value().description(), "null");
    EXPECT_EQ(Value(true).description(), "true");
    EXPECT_EQ(Value(false).description(), "false");
    EXPECT_EQ(Value(0).description(), "0");
    EXPECT_EQ(Value(INT64_MIN).description(), "-9223372036854775808");
    EXPECT_EQ(Value(UINT64_MAX).description(), "18446744073709551615");
    EXPECT_EQ(Value(1.5).description(), "1.5");
    EXPECT_EQ(Value(0.1).description(), "0.1");
    EXPECT_EQ(Value(16777217.25).description(), "16777217.25");
    EXPECT_EQ(Value("Grüße").description(), "\"Grüße\"");
    EXPECT_EQ(Value(Bytes{}).description(), "<>");
    EXPECT_EQ(Value(Bytes{0x00, 0x0F, 0xA5, 0xFF}).description(), "<000fa5ff>");
    EXPECT_EQ(Value(Value::Array{}).description(), "[]");
    EXPECT_EQ(Value(Value::Dictionary{}).description(), "{}");
}

TEST(Value, DescribesWhatIsNestedWithSortedKeys) {
    const Value value(Value::Dictionary{
        {"b", Value::Array{1, Value(), Value::Array{"x"}}},
        {"a", Value::Dictionary{{"key", Bytes{0xAB}}}},
    });
    EXPECT_EQ(value.description(), R"({"a": {"key": <ab>}, "b": [1, null, ["x"]]})");
}

TEST(Value, TextThatWouldBreakTheLineIsEscaped) {
    EXPECT_EQ(Value("a\nb\r\t\"\\\x01\x7F").description(), R"("a\nb\r\t\"\\\x01\x7f")");
    EXPECT_EQ(Value(Value::Dictionary{{"k\n", 1}}).description(), R"({"k\n": 1})");
}

} // namespace
} // namespace tarnel

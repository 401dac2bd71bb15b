#include <TarnelLinux/StoredValue.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace tarnel {
namespace {

Value sample() {
    return Value::Dictionary{
        {"", Value()},
        {"truth", true},
        {"lie", false},
        {"least", std::numeric_limits<std::int64_t>::min()},
        {"greatest", std::numeric_limits<std::uint64_t>::max()},
        {"half", 0.5},
        {"minus zero", -0.0},
        {"text", "Grüße"},
        {"no text", std::string("\xff\0\xc3", 3)},
        {"bytes", Bytes{0, 1, 255}},
        {"nothing", Bytes{}},
        {"list", Value::Array{1, "two", Value::Array{}, Value::Dictionary{}}},
    };
}

Bytes encoded(const Value& value) {
    return encodeStoredValue(value).value_or(Bytes{});
}

Value nested(int depth) {
    Value value = 1;
    for (int i = 0; i < depth; ++i) {
        value = Value::Array{std::move(value)};
    }
    return value;
}

TEST(StoredValue, comesBackAsItWent) {
    EXPECT_EQ(decodeStoredValue(encoded(sample())), sample());
    const auto zero = std::get<double>(decodeStoredValue(encoded(-0.0))->storage());
    EXPECT_TRUE(std::signbit(zero));
    const auto number = decodeStoredValue(encoded(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_TRUE(std::isnan(std::get<double>(number->storage())));
}

TEST(StoredValue, isWrittenAsDocumented) {
    EXPECT_EQ(encoded(Value()), (Bytes{0}));
    EXPECT_EQ(encoded(false), (Bytes{1}));
    EXPECT_EQ(encoded(true), (Bytes{2}));
    EXPECT_EQ(encoded(-2), (Bytes{3, 0xfe, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}));
    EXPECT_EQ(encoded(std::uint64_t{1} << 63), (Bytes{4, 0, 0, 0, 0, 0, 0, 0, 0x80}));
    EXPECT_EQ(encoded(1.0), (Bytes{5, 0, 0, 0, 0, 0, 0, 0xf0, 0x3f}));
    EXPECT_EQ(encoded("ab"), (Bytes{6, 2, 0, 0, 0, 'a', 'b'}));
    EXPECT_EQ(encoded(Bytes{9}), (Bytes{7, 1, 0, 0, 0, 9}));
    EXPECT_EQ(encoded(Value::Array{true}), (Bytes{8, 1, 0, 0, 0, 2}));
    EXPECT_EQ(encoded(Value::Dictionary{{"k", true}}), (Bytes{9, 1, 0, 0, 0, 1, 0, 0, 0, 'k', 2}));
}

TEST(StoredValue, isRefusedWhenItIsCutOrFollowed) {
    Bytes whole = encoded(sample());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(decodeStoredValue(ByteView(whole).first(length))) << length;
    }
    whole.push_back(0);
    EXPECT_FALSE(decodeStoredValue(whole));
    EXPECT_FALSE(decodeStoredValue(Bytes{10}));
}

TEST(StoredValue, isRefusedWhenItDeclaresMoreThanThereIs) {
    for (const std::uint8_t tag : Bytes{6, 7, 8, 9}) {
        EXPECT_FALSE(decodeStoredValue(Bytes{tag, 0xff, 0xff, 0xff, 0xff, 0})) << int{tag};
    }
}

TEST(StoredValue, goesDownToADepthAndNoFurther) {
    EXPECT_EQ(decodeStoredValue(encoded(nested(deepestStoredValue))), nested(deepestStoredValue));
    EXPECT_FALSE(encodeStoredValue(nested(deepestStoredValue + 1)));
    Bytes deep;
    for (int i = 0; i < 100'000; ++i) {
        deep.insert(deep.end(), {8, 1, 0, 0, 0});
    }
    EXPECT_FALSE(decodeStoredValue(deep));
}

TEST(StoredValue, survivesEveryFlippedBit) {
    const Bytes whole = encoded(sample());
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        Bytes broken = whole;
        broken[bit / 8] = static_cast<std::uint8_t>(broken[bit / 8] ^ (1U << (bit % 8)));
        if (const auto value = decodeStoredValue(broken)) {
            EXPECT_NE(encoded(*value), whole);
        }
    }
}

} // namespace
} // namespace tarnel

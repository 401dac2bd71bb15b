#include <TarnelSDK/display/Anchor.hpp>
#include <TarnelSDK/display/Color.hpp>
#include <TarnelSDK/display/LVGLSlotManager.hpp>
#include <TarnelSDK/display/TextProperties.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <utility>
#include <vector>

/// The enumerations of the display.
namespace tarnel {
namespace {

/// From its raw value comes each of the cases and from no other number.
template <typename T>
void expectRawValues(std::optional<T> (*make)(int), const std::vector<std::pair<T, int>>& cases) {
    for (int raw = -10; raw <= 20; ++raw) {
        std::optional<T> expected;
        for (const auto& [value, number] : cases) {
            if (number == raw) {
                expected = value;
            }
        }
        EXPECT_EQ(make(raw), expected) << raw;
    }
    EXPECT_EQ(make(INT_MIN), std::nullopt);
    EXPECT_EQ(make(INT_MAX), std::nullopt);
    EXPECT_EQ(make(256 + cases.front().second), std::nullopt);
}

TEST(Color, IsMadeFromItsWireValuesAlone) {
    expectRawValues<Color>(colorFromRawValue, {{Color::black, 0}, {Color::dim, 1}, {Color::mid, 2}, {Color::white, 3}});
}

TEST(TextAlignment, IsMadeFromItsWireValuesAlone) {
    expectRawValues<TextAlignment>(
        textAlignmentFromRawValue,
        {{TextAlignment::auto_, 0}, {TextAlignment::left, 1}, {TextAlignment::center, 2}, {TextAlignment::right, 3}});
}

TEST(TextWrapMode, IsMadeFromItsWireValuesAloneWhichBeginAtMinusOne) {
    expectRawValues<TextWrapMode>(textWrapModeFromRawValue, {{TextWrapMode::default_, -1},
                                                             {TextWrapMode::wrap, 0},
                                                             {TextWrapMode::truncate, 1},
                                                             {TextWrapMode::scrollBackAndForth, 2},
                                                             {TextWrapMode::scrollCircular, 3},
                                                             {TextWrapMode::clip, 4}});
}

TEST(Anchor, IsMadeFromItsWireValuesAloneWhichBeginAtOne) {
    expectRawValues<Anchor>(anchorFromRawValue, {{Anchor::topLeft, 1},
                                                 {Anchor::topCenter, 2},
                                                 {Anchor::topRight, 3},
                                                 {Anchor::bottomLeft, 4},
                                                 {Anchor::bottomCenter, 5},
                                                 {Anchor::bottomRight, 6},
                                                 {Anchor::midLeft, 7},
                                                 {Anchor::midRight, 8},
                                                 {Anchor::center, 9}});
}

TEST(LVGLType, IsMadeFromItsWireValuesAlone) {
    expectRawValues<LVGLType>(lvglTypeFromRawValue,
                              {{LVGLType::text, 0}, {LVGLType::image, 1}, {LVGLType::animation, 2}});
}

TEST(Color, OfAGreyIsBlackAtNoneDimBelow26MidBelow51PerCentAndElseWhite) {
    EXPECT_EQ(colorFromUIColor(UIColor::gray(0)), Color::black);
    EXPECT_EQ(colorFromUIColor(UIColor::gray(0.001)), Color::dim);
    EXPECT_EQ(colorFromUIColor(UIColor::gray(0.2599)), Color::dim);
    EXPECT_EQ(colorFromUIColor(UIColor::gray(0.26)), Color::mid);
    EXPECT_EQ(colorFromUIColor(UIColor::gray(0.5099)), Color::mid);
    EXPECT_EQ(colorFromUIColor(UIColor::gray(0.51)), Color::white);
    EXPECT_EQ(colorFromUIColor(UIColor::gray(1, 0)), Color::white) << "alpha does not count";
}

TEST(Color, OfAnRGBColourGoesByItsLuminance) {
    EXPECT_EQ(colorFromUIColor(UIColor::rgb(0, 0, 0)), Color::black);
    EXPECT_EQ(colorFromUIColor(UIColor::rgb(0, 0, 1)), Color::dim);
    EXPECT_EQ(colorFromUIColor(UIColor::rgb(1, 0, 0)), Color::mid);
    EXPECT_EQ(colorFromUIColor(UIColor::rgb(0, 1, 0)), Color::white);
    EXPECT_EQ(colorFromUIColor(UIColor::rgb(1, 1, 1, 0)), Color::white);
}

TEST(Color, OfAnotherModelIsBlack) {
    EXPECT_EQ(colorFromUIColor(UIColor({})), Color::black);
    EXPECT_EQ(colorFromUIColor(UIColor({1})), Color::black);
    EXPECT_EQ(colorFromUIColor(UIColor({1, 1, 1})), Color::black);
    EXPECT_EQ(colorFromUIColor(UIColor({1, 1, 1, 1, 1})), Color::black);
}

TEST(Color, HasAGreyThatIsReducedToItsOwnLevel) {
    for (int raw = 0; raw < 4; ++raw) {
        const Color color = *colorFromRawValue(raw);
        EXPECT_EQ(colorFromUIColor(UIColor::gray(grayOf(color) / 255.0)), color);
        EXPECT_EQ(levelOf(color), raw * 0x40);
    }
}

TEST(Anchor, PlacesAnObjectOfTheMirrorByItsTable) {
    // Odd sizes: halves are rounded toward zero.
    constexpr int x = 7;
    constexpr int y = -3;
    constexpr Size size{101, 51};
    EXPECT_EQ(toPoint(Anchor::topLeft, x, y, size), (Point{7, 48}));
    EXPECT_EQ(toPoint(Anchor::topCenter, x, y, size), (Point{277, 48}));
    EXPECT_EQ(toPoint(Anchor::topRight, x, y, size), (Point{546, 48}));
    EXPECT_EQ(toPoint(Anchor::bottomLeft, x, y, size), (Point{7, 483}));
    EXPECT_EQ(toPoint(Anchor::bottomCenter, x, y, size), (Point{277, 483}));
    EXPECT_EQ(toPoint(Anchor::bottomRight, x, y, size), (Point{546, 483}));
    EXPECT_EQ(toPoint(Anchor::midLeft, x, y, size), (Point{7, 212}));
    EXPECT_EQ(toPoint(Anchor::midRight, x, y, size), (Point{546, 212}));
    EXPECT_EQ(toPoint(Anchor::center, x, y, size), (Point{277, 212}));
    EXPECT_EQ(toPoint(Anchor::center, 0, 0, {-5, -5}), (Point{322, 242})) << "rounded toward zero";
}

TEST(AnchorDeathTest, StopsAtOverflow) {
    EXPECT_DEATH((void)toPoint(Anchor::topLeft, 0, INT_MAX, {0, 1}), "overflow");
    EXPECT_DEATH((void)toPoint(Anchor::bottomRight, INT_MAX, 0, {}), "overflow");
    EXPECT_DEATH((void)toPoint(Anchor::bottomRight, 0, INT_MIN, {}), "overflow");
    EXPECT_EQ(toPoint(Anchor::topLeft, INT_MIN, INT_MAX, {}), (Point{INT_MIN, INT_MAX}));
}

} // namespace
} // namespace tarnel

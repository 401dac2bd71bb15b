#include "support/Fonts.hpp"
#include "support/TestPlatform.hpp"

#include <TarnelSDK/glyphs/CharacterSet.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>
#include <TarnelSDK/glyphs/SystemFonts.hpp>
#include <TarnelSDK/glyphs/TextLine.hpp>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace tarnel::test {
namespace {

TEST(GlyphsThreads, OneFontIsUsedByMany) {
    const auto font = Font::withFile(notoSansCJK, 28, 2);
    ASSERT_TRUE(font);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            EXPECT_TRUE(font->isGlyphSupported(U'\u76F4'));
            EXPECT_GT(font->characterSet()->count(), 40'000U);
            EXPECT_TRUE(replacementFont(U'\u0E01', {}, 28));
            EXPECT_GT(Font::withFile(notoSans, 28)->ascent(), 29);
        });
    }
}

TEST(GlyphsThreads, ManyMakeFontsWhileTheChainIsFilledAnew) {
    const TestPlatform platform;
    Glypher glypher;
    const auto expected = glypher.toBinFont("Grüße 日本", "ja");
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 5; ++round) {
                EXPECT_EQ(glypher.toBinFont("Grüße 日本", "ja"), expected);
                if (i == 0) {
                    glypher.updateFonts();
                }
            }
        });
    }
}

TEST(GlyphsThreads, ManyDrawLinesOfOneFont) {
    const TextAttributes attributes{Font::withFile(notoSans, 28), UIColor::gray(1)};
    const auto bytesOf = [](const Image& image) { return Bytes(image.data().begin(), image.data().end()); };
    const Bytes expected = bytesOf(TextLine(AttributedString("Grüße 漢字", attributes)).draw().image);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 5; ++round) {
                EXPECT_EQ(bytesOf(TextLine(AttributedString("Grüße 漢字", attributes)).draw().image), expected);
            }
        });
    }
}

} // namespace
} // namespace tarnel::test

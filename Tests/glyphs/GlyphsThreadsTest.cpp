#include "FontFolder.hpp"

#include <TarnelSDK/glyphs/CharacterSet.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>
#include <TarnelSDK/glyphs/SystemFonts.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

namespace tarnel::test {
namespace {

void onThreads(int count, const std::function<void(int)>& work) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&work, i] { work(i); });
    }
}

TEST(GlyphsThreads, AskOneFontAtOnce) {
    const auto font = Font::withFile(notoSansCJK, 28, 2);
    ASSERT_TRUE(font);
    onThreads(4, [&](int) {
        EXPECT_TRUE(font->isGlyphSupported(U'\u76F4'));
        EXPECT_GT(font->characterSet()->count(), 40'000U);
        EXPECT_TRUE(replacementFont(U'\u0E01', {}, 28));
        EXPECT_GT(Font::withFile(notoSans, 28)->ascent(), 29);
    });
}

TEST(GlyphsThreads, MakeFontsWhileTheChainIsFilledAnew) {
    const FontFolder folder;
    folder.addAll();
    Glypher glypher;
    constexpr const char* text = "Grüße 日本 שלום";
    const auto expected = glypher.toBinFont(text, "ja");
    ASSERT_TRUE(expected);
    onThreads(4, [&](int thread) {
        for (int round = 0; round < 5; ++round) {
            EXPECT_EQ(glypher.toBinFont(text, "ja"), expected);
            if (thread == 0) {
                glypher.updateFonts();
            }
            EXPECT_TRUE(glypher.lastCharacterSet()->contains(U'ü'));
        }
    });
}

} // namespace
} // namespace tarnel::test

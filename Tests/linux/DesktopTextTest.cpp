#include <TarnelLinux/desktop/Text.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace tarnel::desktop {
namespace {

TEST(DesktopText, losesTheElementsOfTheMarkup) {
    EXPECT_EQ(withoutMarkup("<b>Anna</b>: <i>see</i> <u>you</u>"), "Anna: see you");
    EXPECT_EQ(withoutMarkup("<a href=\"https://example.org/?a=1&amp;b=2\">link</a>"), "link");
    EXPECT_EQ(withoutMarkup("<img src=\"file:///a.png\" alt=\"a\"/>after"), "after");
    EXPECT_EQ(withoutMarkup("one<br>two<br/>three"), "one\ntwo\nthree");
}

TEST(DesktopText, resolvesReferencesToCharacters) {
    EXPECT_EQ(withoutMarkup("&lt;b&gt; &amp;amp; &quot;&apos;"), "<b> &amp; \"'");
    EXPECT_EQ(withoutMarkup("&#65;&#x42;&#x1F600;"), "AB\xF0\x9F\x98\x80");
}

TEST(DesktopText, leavesWhatIsNoMarkup) {
    for (const std::string text : {"a < b > c", "<bold>", "<", "<>", "</>", "1 &lt 2", "&nothing;", "&#0;", "&#xD800;",
                                   "&#x110000;", "&#99999999;", "&#;", "&;", "&", "if (a<b && c)", "<b", "<3", "<ä>"}) {
        EXPECT_EQ(withoutMarkup(text), text);
    }
    const std::string far = "<b" + std::string(5'000, ' ') + ">";
    EXPECT_EQ(withoutMarkup(far), far);
}

TEST(DesktopText, ofTheDesktopIsWhatItWasBefore) {
    std::mt19937 random(1);
    const std::string letters = "<>&;/#xbaimg \"'l1t";
    std::uniform_int_distribution<std::size_t> letter(0, letters.size() - 1);
    for (int round = 0; round < 2'000; ++round) {
        std::string text;
        for (int i = 0; i < 30; ++i) {
            text += letters[letter(random)];
        }
        EXPECT_EQ(withoutMarkup(escaped(text)), text);
        EXPECT_LE(withoutMarkup(text).size(), text.size());
    }
}

TEST(DesktopText, isCutBetweenCharactersAndWithoutControls) {
    std::string text;
    while (text.size() <= longestText) {
        text += "\xE2\x82\xAC";
    }
    const auto cut = displayable(text);
    EXPECT_LE(cut.size(), longestText);
    EXPECT_GT(cut.size(), longestText - 3);
    EXPECT_TRUE(isValidUTF8(cut));
    EXPECT_EQ(displayable("a\x1b[2J\tb\nc\x7f"), "a [2J\tb\nc ");
}

} // namespace
} // namespace tarnel::desktop

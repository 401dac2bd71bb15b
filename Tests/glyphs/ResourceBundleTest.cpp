#include "FontFolder.hpp"

#include <TarnelSDK/glyphs/ResourceBundle.hpp>

#include <gtest/gtest.h>

namespace tarnel::test {
namespace {

TEST(ResourceBundle, IsTheApplicationsBeforeTheSDKs) {
    const FontFolder fonts;
    fonts.add("NotoSans-Regular.ttf", notoSans);
    EXPECT_EQ(findResourceBundle(), fonts.folder.path() / "TarnelSDK_TarnelFonts.bundle");
}

TEST(ResourceBundle, OfTheSDKIsFoundByItself) {
    const TestPlatform platform;
    const auto bundle = findResourceBundle();
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->filename(), "TarnelSDK_TarnelFonts.bundle");
    EXPECT_TRUE(std::filesystem::exists(*bundle / "NotoSans-Regular.ttf"));
}

TEST(ResourceBundle, OfFontsGoesBeforeTheGeneralOneWhereverItLies) {
    const FontFolder fonts;
    fonts.add("NotoSans-Regular.ttf", notoSans, "TarnelSDK_TarnelSDK.bundle");
    ASSERT_TRUE(findResourceBundle());
    EXPECT_EQ(findResourceBundle()->filename(), "TarnelSDK_TarnelFonts.bundle");
    EXPECT_NE(findResourceBundle()->parent_path(), fonts.folder.path());
}

TEST(ResourceBundle, IsAFolder) {
    const FontFolder fonts;
    writeText(fonts.folder / "TarnelSDK_TarnelFonts.bundle", "a file");
    EXPECT_NE(findResourceBundle(), fonts.folder.path() / "TarnelSDK_TarnelFonts.bundle");
}

} // namespace
} // namespace tarnel::test

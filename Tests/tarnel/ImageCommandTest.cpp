#include "Tarnel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel::test {
namespace {

using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

Pixels ramp() {
    return {4, 1, {0, 0, 0, 0x50, 0x50, 0x50, 0x90, 0x90, 0x90, 255, 255, 255}};
}

TEST(ImageCommand, MakesTheDeviceFormatAndAPictureOfItAgain) {
    const TemporaryFolder folder;
    writePNG(folder / "ramp.png", ramp());
    const auto made = runTarnel({"image", folder / "ramp.png", "--bpp", "2", "-o", folder / "ramp.bin"});
    EXPECT_EQ(made.status, 0) << made.error;
    const std::string bytes = readText(folder / "ramp.bin");
    ASSERT_THAT(bytes, SizeIs(4 + 16 + 1));
    EXPECT_EQ(bytes.substr(0, 4), std::string("\x08\x10\x20\x00", 4));
    EXPECT_EQ(static_cast<unsigned char>(bytes.back()), 0b00'01'10'11);

    EXPECT_EQ(runTarnel({"image", folder / "ramp.bin", "-o", folder / "back.png"}).status, 0);
    const Pixels back = readPNG(folder / "back.png");
    EXPECT_EQ(back.width, 4);
    EXPECT_EQ(back.rgb, (Bytes{0, 0, 0, 85, 85, 85, 170, 170, 170, 255, 255, 255}));
}

TEST(ImageCommand, OneBitKeepsTheBrighterHalf) {
    const TemporaryFolder folder;
    writePNG(folder / "ramp.png", ramp());
    EXPECT_EQ(runTarnel({"image", folder / "ramp.png", "--bpp", "1", "-o", folder / "ramp.bin"}).status, 0);
    const std::string bytes = readText(folder / "ramp.bin");
    ASSERT_THAT(bytes, SizeIs(4 + 8 + 1));
    EXPECT_EQ(bytes[0], 7);
    EXPECT_EQ(static_cast<unsigned char>(bytes.back()), 0b0011'0000);
}

TEST(ImageCommand, ReadsJPEGAndPipesAndDithersWhenAsked) {
    const TemporaryFolder folder;
    writeJPEG(folder / "photo.jpg", photograph(64, 48));
    const std::string jpeg = readText(folder / "photo.jpg");
    const std::string nearest = runTarnel({"image", "-", "-o", "-"}, jpeg).output;
    const std::string dithered = runTarnel({"image", "-", "--dither", "on", "-o", "-"}, jpeg).output;
    EXPECT_THAT(nearest, SizeIs(4 + 16 + 16 * 48));
    EXPECT_THAT(dithered, SizeIs(nearest.size()));
    EXPECT_NE(dithered, nearest);
}

TEST(ImageCommand, DescribesItsResultInJSON) {
    const TemporaryFolder folder;
    writePNG(folder / "ramp.png", ramp());
    EXPECT_EQ(runTarnel({"image", folder / "ramp.png", "-o", folder / "ramp.bin", "--json"}).output,
              R"({"format":"device image","width":4,"height":1,"bytes":21,"output":")" + (folder / "ramp.bin") +
                  "\"}\n");
}

TEST(ImageCommand, BadInputIsAFailureOfOneLineAndLeavesNoFile) {
    const TemporaryFolder folder;
    writeText(folder / "text.png", "no picture");
    writeText(folder / "empty.png", "");
    writePNG(folder / "ramp.png", ramp());
    writeText(folder / "short.png", readText(folder / "ramp.png").substr(0, 60));
    writeText(folder / "short.bin", std::string("\x08\x10\x20\x00", 4));
    writePNG(folder / "wide.png", checkerboard(2048, 1));
    for (const std::string name : {"text.png", "empty.png", "short.png", "short.bin", "wide.png", "none.png"}) {
        const auto result = runTarnel({"image", folder / name, "-o", folder / "out.bin"});
        EXPECT_EQ(result.status, 1) << name;
        EXPECT_THAT(result.error, StartsWith("tarnel: "));
        EXPECT_THAT(lines(result.error), SizeIs(1));
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "out.bin"));
}

TEST(ImageCommand, TheWrongOptionsForADirectionAreAWrongCall) {
    const TemporaryFolder folder;
    writePNG(folder / "ramp.png", ramp());
    ASSERT_EQ(runTarnel({"image", folder / "ramp.png", "-o", folder / "ramp.bin"}).status, 0);
    EXPECT_EQ(runTarnel({"image", folder / "ramp.png", "-o", folder / "other.png"}).status, 2);
    EXPECT_EQ(runTarnel({"image", folder / "ramp.bin", "--bpp", "2", "-o", folder / "other.png"}).status, 2);
    EXPECT_EQ(runTarnel({"image", folder / "ramp.png", "--bpp", "1", "--dither", "on", "-o", folder / "o.bin"}).status,
              2);
}

TEST(ImageCommand, WritesNoPNGUnderTheNameOfAJPEG) {
    const TemporaryFolder folder;
    writePNG(folder / "ramp.png", ramp());
    ASSERT_EQ(runTarnel({"image", folder / "ramp.png", "-o", folder / "ramp.bin"}).status, 0);
    for (const std::string name : {"back.jpg", "back.JPEG"}) {
        const auto result = runTarnel({"image", folder / "ramp.bin", "-o", folder / name});
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.error, HasSubstr("becomes a PNG file"));
        EXPECT_FALSE(std::filesystem::exists(folder / name));
    }
}

TEST(ImageCommand, StandardOutputTakesTheImageOrItsDescription) {
    const TemporaryFolder folder;
    writePNG(folder / "ramp.png", ramp());
    const auto result = runTarnel({"image", folder / "ramp.png", "-o", "-", "--json"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.error, HasSubstr("-o - and --json"));
}

TEST(ImageCommand, AFileIsReplacedWholeOrNotAtAll) {
    const TemporaryFolder folder;
    writePNG(folder / "ramp.png", ramp());
    writeText(folder / "out.bin", "older");
    std::filesystem::create_symlink("out.bin", folder / "link.bin");
    EXPECT_EQ(runTarnel({"image", folder / "ramp.png", "-o", folder / "link.bin"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.bin"));
    EXPECT_THAT(readText(folder / "out.bin"), SizeIs(21));
    EXPECT_THAT(runTarnel({"image", folder / "ramp.png", "-o", folder / "none/out.bin"}).error,
                HasSubstr("No such file or directory"));
    EXPECT_THAT(runTarnel({"image", folder / "ramp.png", "-o", folder.path().string()}).error,
                HasSubstr("Is a directory"));
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        EXPECT_THAT(entry.path().filename().string(), testing::Not(HasSubstr(".bin.")));
    }
}

} // namespace
} // namespace tarnel::test

#include <TarnelSDK/images/ImageFile.hpp>

#include <gmock/gmock.h>
#include <support/Command.hpp>

#include <variant>

/// The application of README.md.
namespace tarnel {
namespace {

using ::testing::HasSubstr;

constexpr const char* application = TARNEL_APPLICATION;

TEST(TheApplicationOfTheReadme, LeavesThePictureWithItsCaptionThatTheGlassesShow) {
    const test::TemporaryFolder folder;
    const std::string frame = folder / "frame.png";
    const auto run = test::runCommand({application, TARNEL_EXAMPLE_PICTURES "/photograph.jpg", frame});
    ASSERT_EQ(run.status, 0) << run.error;
    const auto read = readImage(frame);
    const auto* const shown = std::get_if<Image>(&read);
    ASSERT_TRUE(shown);
    ASSERT_EQ(shown->format(), PixelFormat::gray8);
    ASSERT_EQ(shown->width(), 640);
    ASSERT_EQ(shown->height(), 480);
    const auto lit = [&](int top, int bottom) {
        int count = 0;
        for (int y = top; y < bottom; ++y) {
            for (int x = 220; x < 420; ++x) {
                count += shown->row(y)[static_cast<std::size_t>(x)] == 255 ? 1 : 0;
            }
        }
        return count;
    };
    EXPECT_GT(lit(100, 130), 500) << "the picture";
    EXPECT_GT(lit(430, 465), 300) << "the caption";
    EXPECT_EQ(lit(470, 480), 0) << "the black below it";
}

TEST(TheApplicationOfTheReadme, SaysWhatStandsInItsWay) {
    const test::TemporaryFolder folder;
    const auto withoutPicture = test::runCommand({application, folder / "nothing.jpg", folder / "frame.png"});
    EXPECT_EQ(withoutPicture.status, 1);
    EXPECT_THAT(withoutPicture.error, HasSubstr("nothing.jpg"));
    const auto withoutPlace =
        test::runCommand({application, TARNEL_EXAMPLE_PICTURES "/photograph.jpg", folder / "none/frame.png"});
    EXPECT_EQ(withoutPlace.status, 1);
    EXPECT_THAT(withoutPlace.error, HasSubstr("frame.png"));
    const auto withoutArguments = test::runCommand({application});
    EXPECT_EQ(withoutArguments.status, 2);
    EXPECT_THAT(withoutArguments.error, HasSubstr("usage:"));
}

} // namespace
} // namespace tarnel

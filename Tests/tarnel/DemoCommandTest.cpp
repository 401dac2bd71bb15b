#include "Tarnel.hpp"

#include <gif_lib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace tarnel::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct AnimatedPicture {
    std::vector<Bytes> frames; ///< levels, 640 x 480 of them
    int hundredths = 0;        ///< of a second, all frames together
};

AnimatedPicture readGIF(const std::string& path) {
    struct Close {
        void operator()(GifFileType* file) const { DGifCloseFile(file, nullptr); }
    };
    const std::unique_ptr<GifFileType, Close> file(DGifOpenFileName(path.c_str(), nullptr));
    AnimatedPicture picture;
    if (!file || DGifSlurp(file.get()) != GIF_OK || file->SWidth != 640 || file->SHeight != 480) {
        ADD_FAILURE() << path << " is no picture of the display";
        return picture;
    }
    Bytes levels(640 * 480);
    for (int i = 0; i < file->ImageCount; ++i) {
        const SavedImage& image = file->SavedImages[i];
        for (int y = 0; y < image.ImageDesc.Height; ++y) {
            for (int x = 0; x < image.ImageDesc.Width; ++x) {
                levels.at(static_cast<std::size_t>((image.ImageDesc.Top + y) * 640 + image.ImageDesc.Left + x)) =
                    image.RasterBits[y * image.ImageDesc.Width + x];
            }
        }
        GraphicsControlBlock control;
        EXPECT_EQ(DGifSavedExtensionToGCB(file.get(), i, &control), GIF_OK);
        picture.frames.push_back(levels);
        picture.hundredths += control.DelayTime;
    }
    for (int level = 0; level < 4; ++level) {
        EXPECT_EQ(file->SColorMap->Colors[level].Green, level * 85);
        EXPECT_EQ(file->SColorMap->Colors[level].Red, 0);
    }
    return picture;
}

class DemoCommand : public testing::Test {
protected:
    const TemporaryFolder folder;
    const std::string frame = folder / "scene.png";
    const std::string animation = folder / "scene.gif";
    const std::string trace = folder / "trace.jsonl";
};

TEST_F(DemoCommand, ShowsAllKindsOfThingsAtOnce) {
    const auto result = runTarnel({"demo", "--simulated", "--frame", frame, "--trace", trace});
    ASSERT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.output, HasSubstr("Shown: "));
    const Bytes levels = levelsOfFrame(frame);
    const auto lit = [&](int left, int top, int right, int bottom) {
        int count = 0;
        for (int y = top; y < bottom; ++y) {
            for (int x = left; x < right; ++x) {
                count += levels.at(static_cast<std::size_t>(y * 640 + x)) > 0 ? 1 : 0;
            }
        }
        return count;
    };
    EXPECT_GT(lit(236, 16, 620, 240), 20'000) << "the photograph";
    EXPECT_GT(lit(262, 250, 520, 295), 1'000) << "the static text on it";
    for (int label = 0; label < 6; ++label) {
        EXPECT_GT(lit(16, 12 + 63 * label, 220, 62 + 63 * label), 250) << "label " << label;
    }
    EXPECT_GT(lit(526, 328, 628, 404), 2'000) << "the image";
    EXPECT_GT(lit(446, 334, 510, 398), 500) << "the animation";
    EXPECT_GT(lit(20, 425, 620, 470), 1'500) << "the moving text";
    const TraceSummary summary = summaryOfTrace(trace);
    EXPECT_TRUE(summary.isInOrder);
}

TEST_F(DemoCommand, TheAnimatedPictureBeginsWithTheFrameAndMoves) {
    const auto result =
        runTarnel({"demo", "--simulated", "--frame", frame, "--animation", animation, "--seconds", "1.5", "--json"});
    ASSERT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(nlohmann::json::parse(result.output)["animation"], animation);
    const AnimatedPicture picture = readGIF(animation);
    ASSERT_GT(picture.frames.size(), 10U);
    EXPECT_EQ(picture.frames.front(), levelsOfFrame(frame));
    EXPECT_EQ(picture.hundredths, 150);
    for (std::size_t i = 1; i < picture.frames.size(); ++i) {
        EXPECT_NE(picture.frames[i], picture.frames[i - 1]);
        // The photograph stands still.
        EXPECT_TRUE(
            std::equal(picture.frames[i].begin(), picture.frames[i].begin() + 640 * 240, picture.frames[0].begin()));
    }
}

TEST_F(DemoCommand, TakesAnotherPicture) {
    writePNG(folder / "checks.png", checkerboard(400, 300));
    ASSERT_EQ(runTarnel({"demo", folder / "checks.png", "--simulated", "--frame", frame}).status, 0);
    const Bytes levels = levelsOfFrame(frame);
    EXPECT_EQ(levels.at(20 * 640 + 238), levels.at(20 * 640 + 240));
    ASSERT_EQ(runTarnel({"demo", "--simulated", "--frame", folder / "other.png"}).status, 0);
    EXPECT_NE(levelsOfFrame(folder / "other.png"), levels);
}

TEST_F(DemoCommand, OpensAWindowOrSaysWhyNot) {
    const auto real = runTarnel({"demo", "--window"});
    EXPECT_EQ(real.status, 2);
    EXPECT_THAT(real.error, HasSubstr("--window is for --simulated"));
    const std::vector<std::string> nowhere{
        "/usr/bin/env",    "-u",           "DISPLAY", "-u",          "WAYLAND_DISPLAY", "-u",
        "QT_QPA_PLATFORM", TARNEL_COMMAND, "demo",    "--simulated", "--window"};
    const auto none = runCommand(nowhere);
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.error, HasSubstr("--frame writes what"));
}

#ifdef TARNEL_HAS_WINDOWS
TEST_F(DemoCommand, ShowsTheSceneInAWindowUntilItIsClosed) {
    Process process({"/usr/bin/env", "QT_QPA_PLATFORM=offscreen", TARNEL_COMMAND, "demo", "--simulated", "--window"});
    const auto line = process.readLine();
    ASSERT_TRUE(line);
    EXPECT_THAT(*line, HasSubstr("Shown:"));
}

TEST_F(DemoCommand, SaysThatADisplayCannotBeOpenedBeforeItBegins) {
    const auto result =
        runCommand({"/usr/bin/env", "QT_QPA_PLATFORM=nonsense", TARNEL_COMMAND, "demo", "--simulated", "--window"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.error, StartsWith("tarnel: the window cannot be opened: "));
    EXPECT_EQ(lines(result.error).size(), 1u);
}
#endif

TEST_F(DemoCommand, SaysWhatIsWrongWithItsArguments) {
    const auto nothing = runTarnel({"demo", "--simulated"});
    EXPECT_EQ(nothing.status, 2);
    EXPECT_THAT(nothing.error, HasSubstr("--animation FILE"));
    const auto both = runTarnel({"demo", "--simulated", "--frame", "-", "--animation", "-"});
    EXPECT_EQ(both.status, 2);
    EXPECT_THAT(both.error, HasSubstr("standard output takes one"));
    const auto same = runTarnel({"demo", "--simulated", "--frame", frame, "--animation", frame});
    EXPECT_EQ(same.status, 2);
    const auto alias = runTarnel({"demo", "--simulated", "--frame", frame, "--animation", folder / "./scene.png"});
    EXPECT_EQ(alias.status, 2);
    EXPECT_EQ(runTarnel({"demo", "--simulated", "--animation", animation, "--seconds", "nan"}).status, 2);
    const auto missing = runTarnel({"demo", folder / "none.png", "--simulated", "--frame", frame});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.error, HasSubstr("none.png"));
}

} // namespace
} // namespace tarnel::test

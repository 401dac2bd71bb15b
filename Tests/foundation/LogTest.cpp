#include "support/TestPlatform.hpp"

#include <TarnelSDK/foundation/Log.hpp>

#include <gmock/gmock.h>

#include <any>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Logging : public ::testing::Test {
protected:
    test::TestPlatform platform;
    std::vector<std::string> lines;
    platform::Observation observation =
        platform.notificationCenter().observe("log", [this](const platform::Notification& notification) {
            EXPECT_EQ(notification.object, nullptr);
            lines.push_back(std::any_cast<std::string>(notification.userInfo.at("msg")));
        });
};

TEST_F(Logging, IsOffAtFirstAndThenPostsNothing) {
    EXPECT_FALSE(logEnabled());
    log("lost", {"operation()"});
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(Logging, PostsALineWithTheTimeTheItemAndItsSource) {
    setLogEnabled(true);
    platform.advance(2h + 3min + 7s + 123456789ns);
    log("connected", {"connect(device:)", "/src/Main", 212});
    EXPECT_THAT(lines, ElementsAre("📲(14:03:07.1234): connected | Main:212 connect(device:)"));
}

TEST_F(Logging, PadsEveryPartOfTheTime) {
    setLogEnabled(true);
    platform.advance(13h + 4min + 5s + 600us);
    log("x", {"f()", "F", 1});
    EXPECT_THAT(lines, ElementsAre("📲(01:04:05.0006): x | F:1 f()"));
}

TEST_F(Logging, PostsOneLineAnItem) {
    setLogEnabled(true);
    log({"a", "b"}, {"f()", "F", 1});
    EXPECT_THAT(lines, ElementsAre("📲(12:00:00.0000): a | F:1 f()", "📲(12:00:00.0000): b | F:1 f()"));
}

TEST_F(Logging, StampsEachItemWhenItIsPosted) {
    setLogEnabled(true);
    const auto slow =
        platform.notificationCenter().observe("log", [this](const platform::Notification&) { platform.advance(1s); });
    log({"a", "b"}, {"f()", "F", 1});
    EXPECT_THAT(lines, ElementsAre(HasSubstr("12:00:00.0000"), HasSubstr("12:00:01.0000")));
}

TEST_F(Logging, ShowsTheLastPartOfThePathWithoutItsExtension) {
    setLogEnabled(true);
    log("1", {"f()", "/x/y/Canvas", 1});
    log("2", {"f()", "/x.y/UIImage+Extension.cpp", 1});
    log("3", {"f()", "Tarnel", 1});
    EXPECT_THAT(lines,
                ElementsAre(HasSubstr("| Canvas:1 "), HasSubstr("| UIImage+Extension:1 "), HasSubstr("| Tarnel:1 ")));
}

TEST_F(Logging, TakesFileAndLineOfTheCaller) {
    setLogEnabled(true);
    const int line = __LINE__ + 1;
    log("here", {"operation(label:)"});
    EXPECT_THAT(lines, ElementsAre(HasSubstr("here | LogTest:" + std::to_string(line) + " operation(label:)")));
}

TEST_F(Logging, CanBeSwitchedOffAgain) {
    setLogEnabled(true);
    setLogEnabled(false);
    EXPECT_FALSE(logEnabled());
    log("lost", {"operation()"});
    EXPECT_THAT(lines, IsEmpty());
}

TEST(LoggingWithoutAPlatform, IsHarmless) {
    setLogEnabled(true);
    EXPECT_FALSE(logEnabled());
    log("lost", {"operation()"});
    EXPECT_EQ(logFile(), std::nullopt);
    logtoFile("lost");
}

TEST(LoggingOnANewPlatform, IsOffAgain) {
    {
        const test::TestPlatform platform;
        setLogEnabled(true);
    }
    EXPECT_FALSE(logEnabled());
    const test::TestPlatform platform;
    EXPECT_FALSE(logEnabled());
}

class LogFiles : public ::testing::Test {
protected:
    LogFiles() {
        std::filesystem::remove_all(directory);
        std::filesystem::create_directories(directory);
        platform.application->setDocumentDirectory(directory);
    }
    ~LogFiles() override { std::filesystem::remove_all(directory); }

    static std::string contents(const std::filesystem::path& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::size_t fileCount() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory), {}));
    }

    /// Of this test alone: tests may run at the same time.
    const std::filesystem::path directory =
        std::filesystem::path(::testing::TempDir()) /
        (std::string("tarnel-log-") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    test::TestPlatform platform;
};

TEST_F(LogFiles, AreNamedAfterTheDay) {
    EXPECT_EQ(logFile(), directory / "01-01-2026.log");
}

TEST_F(LogFiles, AreCreatedWithTheFirstLineAndAppendedToAfterwards) {
    logtoFile("first");
    EXPECT_EQ(contents(directory / "01-01-2026.log"), "first\n");
    logtoFile("zweite Zeile: Grüße");
    EXPECT_EQ(contents(directory / "01-01-2026.log"), "first\nzweite Zeile: Grüße\n");
    EXPECT_EQ(fileCount(), 1U);
}

TEST_F(LogFiles, ChangeAtMidnight) {
    logtoFile("today");
    platform.advance(12h);
    logtoFile("tomorrow");
    EXPECT_EQ(contents(directory / "01-01-2026.log"), "today\n");
    EXPECT_EQ(contents(directory / "02-01-2026.log"), "tomorrow\n");
}

TEST_F(LogFiles, AreWrittenAlsoWhileLoggingIsOff) {
    EXPECT_FALSE(logEnabled());
    logtoFile("line");
    EXPECT_EQ(fileCount(), 1U);
}

TEST_F(LogFiles, LoseTheLineWhenThereIsNoDocumentDirectory) {
    platform.application->setDocumentDirectory(std::nullopt);
    EXPECT_EQ(logFile(), std::nullopt);
    logtoFile("lost");
    EXPECT_EQ(fileCount(), 0U);
}

TEST_F(LogFiles, LoseTheLineWhenTheDirectoryDoesNotExist) {
    platform.application->setDocumentDirectory(directory / "nowhere");
    logtoFile("lost");
    EXPECT_EQ(fileCount(), 0U);
}

TEST_F(LogFiles, LoseTheLineWhenTheFileCannotBeOpened) {
    std::filesystem::create_directory(directory / "01-01-2026.log");
    logtoFile("lost");
    EXPECT_EQ(fileCount(), 1U);
    EXPECT_TRUE(std::filesystem::is_directory(directory / "01-01-2026.log"));
}

TEST_F(LogFiles, LoseALineThatIsNotUTF8) {
    logtoFile("\xFF");
    EXPECT_EQ(fileCount(), 0U);
}

} // namespace
} // namespace tarnel

#include "QtDesk.hpp"

#include <ReadingWindow.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <support/Command.hpp>

#include <QAction>
#include <QDir>
#include <QLineEdit>
#include <QMessageBox>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using State = ReadingScreen::State;
using test::QtDesk;
using test::settle;
using ::testing::HasSubstr;

/// The reading glass on simulated glasses, which the desk's picker has not linked yet.
class ReadingGlass : public ::testing::Test {
protected:
    ReadingGlass() : glasses(desk.addGlasses("Mine")), window(std::make_unique<ReadingWindow>(screen)) {}
    ~ReadingGlass() override {
        window.reset();
        screen.reset();
        settle();
    }

    void show() {
        window->show();
        test::activate(*window);
        desk.advance(5s);
    }
    /// Through the picker that a reader without glasses opens.
    void link() {
        const auto picker = screen->presentedViewController();
        ASSERT_TRUE(picker);
        auto* const table = desk.tableOf(*picker);
        const auto found = table->findItems("Mine", Qt::MatchExactly);
        ASSERT_EQ(found.size(), 1);
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, table->visualItemRect(found.front()).center());
        desk.advance(10s);
        ASSERT_TRUE(desk.isConnected());
    }
    QString file(const std::string& name, const std::string& content) {
        test::writeText(folder / name, content);
        return QString::fromStdString(folder / name);
    }
    QString longText() {
        std::string text;
        for (int line = 1; line <= 60; ++line) {
            text += "Line " + std::to_string(line) + " of a book in which much is said.\n";
        }
        return file("book.txt", text);
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window->windowHandle(), key, modifiers);
        settle();
    }
    /// Whether the glasses show exactly the page, in its nearest levels.
    bool showsPage() const {
        const QImage page = screen->book()->page(screen->page());
        const auto frame = glasses->frame();
        for (int y = 0; y < page.height(); ++y) {
            const auto* const row = page.constScanLine(y);
            for (int x = 0; x < page.width(); ++x) {
                const int level = row[x] >= 0xA0 ? 3 : row[x] >= 0x60 ? 2 : row[x] >= 0x20 ? 1 : 0;
                if (frame.at(x, y) != level) {
                    return false;
                }
            }
        }
        return !frame.isDark();
    }
    QAction* action(const QString& text) const {
        for (auto* const each : window->findChildren<QAction*>()) {
            if (each->text().remove(QLatin1Char('&')) == text) {
                return each;
            }
        }
        return nullptr;
    }

    const test::TemporaryFolder folder;
    QtDesk desk;
    std::shared_ptr<glasses::SimulatedGlasses> glasses;
    std::shared_ptr<ReadingScreen> screen = std::make_shared<ReadingScreen>();
    std::unique_ptr<ReadingWindow> window;
};

TEST_F(ReadingGlass, AsksForGlassesThenShowsThePageOnThem) {
    show();
    EXPECT_EQ(screen->state(), State::noGlasses);
    ASSERT_TRUE(window->openFile(longText()));
    link();
    EXPECT_EQ(screen->state(), State::reading);
    EXPECT_TRUE(showsPage());
    QDir().mkpath(QStringLiteral(TARNEL_PICTURES));
    EXPECT_TRUE(window->grab().save(QStringLiteral(TARNEL_PICTURES "/reading-glass.png")));
}

TEST_F(ReadingGlass, TurnsPagesByTapsAndByKeys) {
    show();
    link();
    ASSERT_TRUE(window->openFile(longText()));
    ASSERT_GT(screen->book()->pageCount(), 3);
    desk.advance(5s);
    glasses->tap(1);
    desk.advance(5s);
    EXPECT_EQ(screen->page(), 1);
    EXPECT_TRUE(showsPage());
    press(Qt::Key_PageDown);
    glasses->tap(2);
    desk.advance(5s);
    EXPECT_EQ(screen->page(), 1);
    EXPECT_TRUE(showsPage());
    press(Qt::Key_PageUp);
    press(Qt::Key_PageUp);
    glasses->tap(2);
    desk.advance(5s);
    EXPECT_EQ(screen->page(), 0) << "before the first there is none";
    EXPECT_FALSE(action("Back")->isEnabled());
    for (int i = 0; i < screen->book()->pageCount() + 3; ++i) {
        glasses->tap(1);
    }
    desk.advance(30s);
    EXPECT_EQ(screen->page(), screen->book()->pageCount() - 1);
    EXPECT_TRUE(showsPage());
    EXPECT_FALSE(action("Next")->isEnabled());
}

TEST_F(ReadingGlass, GivesTheDisplayBackByThePowerButtonAndTakesItAgain) {
    show();
    link();
    ASSERT_TRUE(window->openFile(longText()));
    desk.advance(5s);
    glasses->powerButton(1);
    desk.advance(2s);
    EXPECT_EQ(screen->state(), State::paused);
    EXPECT_EQ(glasses->controlOwner(), std::nullopt);
    press(Qt::Key_R, Qt::ControlModifier);
    desk.advance(5s);
    EXPECT_EQ(screen->state(), State::reading);
    EXPECT_TRUE(showsPage());
    press(Qt::Key_R, Qt::ControlModifier);
    desk.advance(2s);
    EXPECT_EQ(glasses->controlOwner(), std::nullopt);
}

TEST_F(ReadingGlass, GivesTheDisplayBackWhenItIsLeft) {
    show();
    link();
    ASSERT_TRUE(window->openFile(longText()));
    desk.advance(5s);
    ASSERT_TRUE(glasses->controlOwner());
    desk.world.application().setState(platform::ApplicationState::background);
    desk.advance(2s);
    EXPECT_EQ(glasses->controlOwner(), std::nullopt);
    desk.world.application().setState(platform::ApplicationState::active);
    desk.advance(5s);
    ASSERT_TRUE(glasses->controlOwner());
    window->close();
    desk.advance(2s);
    EXPECT_EQ(glasses->controlOwner(), std::nullopt);
}

TEST_F(ReadingGlass, LeavesTheDisplayToAnotherApplicationThatTakesIt) {
    show();
    link();
    ASSERT_TRUE(window->openFile(longText()));
    desk.advance(5s);
    glasses->takeControl("org.example.other");
    desk.advance(5s);
    EXPECT_EQ(glasses->controlOwner(), "org.example.other");
    EXPECT_EQ(screen->state(), State::paused);
    press(Qt::Key_R, Qt::ControlModifier);
    desk.advance(5s);
    EXPECT_EQ(glasses->controlOwner(), "org.example.application");
    EXPECT_TRUE(showsPage());
}

TEST_F(ReadingGlass, ShowsThePageAgainWhenTheGlassesComeBack) {
    show();
    link();
    ASSERT_TRUE(window->openFile(longText()));
    desk.advance(5s);
    glasses->reset();
    desk.world.run();
    settle();
    EXPECT_EQ(screen->state(), State::noGlasses);
    EXPECT_FALSE(action("Pause") != nullptr && action("Pause")->isEnabled());
    screen->next();
    desk.advance(20s);
    EXPECT_EQ(screen->state(), State::reading);
    EXPECT_EQ(screen->page(), 1);
    EXPECT_TRUE(showsPage());
}

TEST_F(ReadingGlass, FollowsTheGlassesThatAreChosenLater) {
    ASSERT_TRUE(desk.link());
    show();
    ASSERT_TRUE(window->openFile(longText()));
    desk.advance(5s);
    const auto former = desk.device();
    const auto other = desk.addGlasses("Other", 2);
    desk.manager().startScan([&](const auto& peripheral) {
        if (peripheral->name() == "Other") {
            desk.manager().link(peripheral, nullptr);
        }
    });
    desk.advance(30s);
    ASSERT_TRUE(other->isConnected());
    ASSERT_NE(desk.device(), former);
    EXPECT_EQ(screen->state(), State::reading);
    other->tap(1);
    desk.advance(5s);
    EXPECT_EQ(screen->page(), 1);
    other->powerButton(1);
    desk.advance(5s);
    EXPECT_EQ(screen->state(), State::paused);
    EXPECT_EQ(former->isConnected.listenerCount(), 0u);
}

TEST_F(ReadingGlass, EnlargesAPictureQuarterByQuarter) {
    show();
    link();
    ASSERT_TRUE(window->openFile(QStringLiteral(TARNEL_EXAMPLE_PICTURES "/photograph.jpg")));
    EXPECT_EQ(screen->book()->pageCount(), 5);
    desk.advance(10s);
    EXPECT_TRUE(showsPage());
    glasses->tap(1);
    desk.advance(10s);
    EXPECT_TRUE(showsPage());
    EXPECT_NE(screen->book()->page(0), screen->book()->page(1));
}

TEST_F(ReadingGlass, SaysWhatItCannotOpenAndKeepsTheBook) {
    show();
    ASSERT_TRUE(window->openFile(longText()));
    const std::string tooLong(static_cast<std::size_t>(Book::longestText) + 1, 'a');
    const std::vector<std::pair<QString, std::string>> files{
        {QString::fromStdString(folder / "nothing"), "is no file"},
        {QString::fromStdString(folder.path().string()), "is no file"},
        {QStringLiteral("/dev/zero"), "is no file"},
        {file("latin.txt", "Gr\xFC\xDF"), "neither a text in UTF-8 nor"},
        {file("zero.txt", std::string("a\0b", 3)), "neither a text in UTF-8 nor"},
        {file("broken.png", "\x89PNG\r\n\x1a\n and then nothing"), "broken.png is "},
        {file("long.txt", tooLong), "is longer than 512 kB"},
    };
    for (const auto& [name, text] : files) {
        EXPECT_FALSE(window->openFile(name));
        auto* const box = window->findChild<QMessageBox*>();
        ASSERT_TRUE(box);
        EXPECT_THAT(box->text().toStdString(), HasSubstr(text));
        box->close();
        settle();
        EXPECT_EQ(screen->book()->title(), "book.txt");
    }
}

TEST_F(ReadingGlass, MarkupInANameThatCannotBeOpenedStaysText) {
    show();
    const QString name = QStringLiteral("<h1>Loud</h1>");
    EXPECT_FALSE(window->openFile(name));
    test::expectPlainMessage(*window, name);
}

TEST(Book, HasEveryLineOnExactlyOnePageInEveryScript) {
    const test::TemporaryFolder folder;
    const auto inkOf = [](const QImage& page) {
        long ink = 0;
        for (int y = 0; y < page.height(); ++y) {
            ink += std::count_if(page.constScanLine(y), page.constScanLine(y) + page.width(),
                                 [](auto value) { return value > 0; });
        }
        return ink;
    };
    for (const char* line : {"abc\n", "漢字かな\n", "مرحبا\n"}) {
        std::string text;
        for (int i = 0; i < 30; ++i) {
            text += line;
        }
        test::writeText(folder / "one", line);
        test::writeText(folder / "thirty", text);
        const auto one = std::get<Book>(Book::open(QString::fromStdString(folder / "one")));
        const auto thirty = std::get<Book>(Book::open(QString::fromStdString(folder / "thirty")));
        EXPECT_EQ(one.pageCount(), 1);
        ASSERT_GT(thirty.pageCount(), 1);
        long ink = 0;
        for (int page = 0; page < thirty.pageCount(); ++page) {
            ink += inkOf(thirty.page(page));
        }
        EXPECT_GT(inkOf(one.page(0)), 0);
        EXPECT_EQ(ink, 30 * inkOf(one.page(0))) << line;
    }
}

TEST(Book, WithoutTextHasOneEmptyPage) {
    const test::TemporaryFolder folder;
    test::writeText(folder / "empty", "");
    const auto empty = std::get<Book>(Book::open(QString::fromStdString(folder / "empty")));
    EXPECT_EQ(empty.pageCount(), 1);
    EXPECT_FALSE(empty.page(0).isNull());
}

} // namespace
} // namespace tarnel

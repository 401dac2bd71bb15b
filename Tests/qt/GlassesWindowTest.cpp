#include "QtDesk.hpp"

#include <TarnelQt/QtLanguage.hpp>
#include <TarnelQt/glasses/DisplayWidget.hpp>
#include <TarnelQt/glasses/MessageList.hpp>
#include <TarnelQt/glasses/MessageText.hpp>
#include <TarnelQt/glasses/QtGlassesWindow.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <support/Command.hpp>

#include <QAction>
#include <QCheckBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QSpinBox>
#include <QTextBlock>
#include <QToolButton>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using glasses::Frame;
using test::QtDesk;
using test::settle;
using ::testing::HasSubstr;
using ::testing::Not;

/// Notes what the glasses tell.
struct Wearer {
    Wearer() {
        auto& center = platform::Platform::current().notificationCenter();
        for (const char* name : {NotificationName::tap, NotificationName::power_button}) {
            observations.push_back(center.observe(name, [this, name](const auto& note) {
                const auto& value = std::any_cast<const Value&>(note.userInfo.at(name));
                told.push_back(name + std::string(" ") + value.description());
            }));
        }
    }
    std::vector<std::string> told;
    std::vector<platform::Observation> observations;
};

class GlassesWindowTest : public ::testing::Test {
protected:
    GlassesWindowTest() : glasses(desk.addGlasses("Mine")), window(std::make_unique<QtGlassesWindow>(glasses)) {
        window->resize(1000, 640);
    }
    ~GlassesWindowTest() override {
        window.reset();
        settle();
    }

    void show() {
        window->show();
        test::activate(*window);
    }
    bool link() { return desk.link(); }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window->windowHandle(), key, modifiers);
        settle();
    }
    void trigger(const QString& text) {
        for (auto* const menu : window->menuBar()->findChildren<QMenu*>()) {
            for (auto* const action : menu->actions()) {
                if (action->text().remove(QLatin1Char('&')) == text) {
                    menu->popup(window->mapToGlobal(QPoint(10, 30)));
                    QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
                    settle();
                    return;
                }
            }
        }
        FAIL() << "there is no " << text.toStdString();
    }
    std::string text(const QString& accessibleName) const {
        for (const auto* const label : window->findChildren<QLabel*>()) {
            if (label->accessibleName() == accessibleName) {
                return label->text().toStdString();
            }
        }
        return "(no such label)";
    }
    bool becomes(const QString& label, const std::string& value) {
        return QTest::qWaitFor([&] { return text(label) == value; }, 2000);
    }
    void drawBars() {
        desk.device()->setLayout(Layout::canvas, 180, false);
        desk.device()->canvas.drawRect({.x = 0, .y = 0, .width = 320, .height = 480, .fillColor = Color::white});
        desk.device()->canvas.commit();
        desk.advance(5s);
    }

    QtDesk desk;
    std::shared_ptr<glasses::SimulatedGlasses> glasses;
    std::unique_ptr<QtGlassesWindow> window;
};

TEST_F(GlassesWindowTest, ShowsTheDisplayInItsGreen) {
    show();
    ASSERT_TRUE(link());
    drawBars();
    const QImage& image = window->display().image();
    EXPECT_EQ(image.size(), QSize(640, 480));
    EXPECT_EQ(image.pixelColor(100, 100), QColor(0, 255, 0));
    EXPECT_EQ(image.pixelColor(400, 100), QColor(0, 0, 0));
    const auto& display = window->display();
    QImage seen = const_cast<DisplayWidget&>(display).grab().toImage();
    const QPoint middle = seen.rect().center();
    EXPECT_EQ(seen.pixelColor(middle - QPoint(20, 0)), QColor(0, 255, 0));
    EXPECT_EQ(seen.pixelColor(middle + QPoint(20, 0)), QColor(0, 0, 0));
}

TEST_F(GlassesWindowTest, ShowsAnExactMultiplePixelByPixelAndOthersSmoothly) {
    DisplayWidget display(glasses);
    ASSERT_TRUE(link());
    drawBars();
    const auto levels = [&display](const QSize& size) {
        display.resize(size);
        const QImage seen = display.grab().toImage();
        std::set<int> greens;
        for (int x = 0; x < seen.width(); ++x) {
            greens.insert(seen.pixelColor(x, seen.height() / 2).green());
        }
        return greens.size();
    };
    EXPECT_EQ(levels({640, 480}), 2u);
    EXPECT_EQ(levels({1280, 960}), 2u);
    EXPECT_GT(levels({999, 749}), 2u);
    EXPECT_GT(levels({301, 226}), 2u);
}

TEST_F(GlassesWindowTest, FollowsWhatMovesWithoutBeingTold) {
    show();
    ASSERT_TRUE(link());
    desk.device()->setLayout(Layout::canvas, 180, false);
    desk.device()->canvas.createText("A text that is far too long for its label and runs through it without an end",
                                     {.width = 200, .wrapMode = TextWrapMode::scrollCircular});
    desk.device()->canvas.commit();
    desk.advance(5s);
    const QImage before = window->display().image();
    desk.advance(1s);
    EXPECT_TRUE(QTest::qWaitFor([&] { return window->display().image() != before; }, 2000));
}

TEST_F(GlassesWindowTest, TellsConnectionControlAndDisplay) {
    show();
    EXPECT_TRUE(becomes("Connection", "advertising"));
    EXPECT_TRUE(becomes("Control", "nobody"));
    ASSERT_TRUE(link());
    drawBars();
    EXPECT_TRUE(becomes("Connection", "connected"));
    EXPECT_TRUE(becomes("Control", "org.example.application (canvas)"));
    EXPECT_TRUE(becomes("Display", "on"));
    desk.device()->setLayout(Layout::default_, 10, false);
    desk.advance(1s);
    EXPECT_TRUE(becomes("Control", "nobody"));
    desk.advance(15s);
    EXPECT_TRUE(becomes("Display", "dark"));
}

TEST_F(GlassesWindowTest, ButtonsAndKeysAreTheWearersTapsAndPowerButton) {
    show();
    ASSERT_TRUE(link());
    drawBars();
    Wearer wearer;
    press(Qt::Key_T);
    press(Qt::Key_T);
    press(Qt::Key_D);
    press(Qt::Key_P);
    for (auto* const button : window->findChildren<QToolButton*>()) {
        if (button->text() == "Power button") {
            QTest::mouseClick(button, Qt::LeftButton);
        }
    }
    trigger("Tap");
    desk.advance(2s);
    EXPECT_THAT(wearer.told, ::testing::ElementsAre("tap 1", "tap 1", "tap 2", "power_btn 1", "power_btn 1", "tap 1"));
}

TEST_F(GlassesWindowTest, TheBatteryIsSetAndFollowed) {
    show();
    ASSERT_TRUE(link());
    auto* const level = window->findChild<QSpinBox*>();
    auto* const charging = window->findChild<QCheckBox*>();
    EXPECT_EQ(level->value(), 80);
    level->setFocus();
    press(Qt::Key_Up);
    QTest::mouseClick(charging, Qt::LeftButton, {}, QPoint(8, charging->height() / 2));
    desk.advance(1s);
    EXPECT_EQ(desk.device()->batteryLevel.value(), 81);
    EXPECT_TRUE(desk.device()->batteryChargeStatus.value());
    window->setFocus();
    glasses->setBattery(12, false);
    desk.advance(1s);
    EXPECT_TRUE(QTest::qWaitFor([&] { return level->value() == 12 && !charging->isChecked(); }, 2000));
    EXPECT_EQ(glasses->batteryLevel(), 12) << "looking changes nothing";
}

TEST_F(GlassesWindowTest, TheFaultsThatLastFollowTheGlasses) {
    show();
    const auto isChecked = [&](const QString& text) {
        for (const auto* const action : window->findChildren<QAction*>()) {
            if (action->text().remove(QLatin1Char('&')) == text) {
                return action->isChecked();
            }
        }
        return false;
    };
    const auto becomesChecked = [&](const QString& text, bool value) {
        return QTest::qWaitFor([&] { return isChecked(text) == value; }, 2000);
    };
    glasses->stall();
    glasses->leaveRange();
    desk.world.run();
    EXPECT_TRUE(becomesChecked("Stalled", true));
    EXPECT_TRUE(becomesChecked("Out of range", true));
    trigger("Stalled");
    desk.world.run();
    EXPECT_FALSE(glasses->isStalled()) << "the first click ends what something else began";
    EXPECT_FALSE(glasses->isInRange()) << "looking changes nothing";
    glasses->enterRange();
    glasses->stall(1s);
    desk.world.run();
    EXPECT_TRUE(becomesChecked("Stalled", true));
    EXPECT_TRUE(becomesChecked("Out of range", false));
    desk.advance(2s);
    EXPECT_TRUE(becomesChecked("Stalled", false));
}

TEST_F(GlassesWindowTest, EveryFaultOfTheMenuHappens) {
    show();
    ASSERT_TRUE(link());
    trigger("Drop the connection");
    desk.world.run();
    EXPECT_FALSE(glasses->isConnected());
    desk.advance(20s);
    ASSERT_TRUE(glasses->isConnected()) << "it comes back";
    trigger("Stalled");
    const auto before = glasses->receivedCount();
    desk.device()->getSettings();
    desk.advance(5s);
    EXPECT_EQ(glasses->receivedCount(), before);
    trigger("Stalled");
    desk.advance(5s);
    EXPECT_GT(glasses->receivedCount(), before);
    trigger("Out of range");
    desk.advance(20s);
    EXPECT_FALSE(glasses->isConnected());
    EXPECT_TRUE(becomes("Connection", "silent"));
    trigger("Out of range");
    desk.advance(20s);
    EXPECT_TRUE(glasses->isConnected());
    const auto connections = glasses->counters().connections;
    trigger("Reset");
    desk.advance(20s);
    EXPECT_EQ(glasses->counters().connections, connections + 1);
    trigger("Refuse the next write");
    desk.device()->getSettings();
    desk.advance(5s);
    EXPECT_EQ(glasses->counters().refusedWrites, 1u);
    const auto errors = glasses->errorCount();
    trigger("Truncate the next value to the glasses");
    desk.device()->getSettings();
    desk.advance(5s);
    EXPECT_GT(glasses->errorCount(), errors);
}

TEST_F(GlassesWindowTest, ListsTheMessagesAsTheyAreReceived) {
    show();
    ASSERT_TRUE(link());
    drawBars();
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return window->messages().toPlainText().contains(
                "control [false, 180, 4, \"org.example.application\", false]");
        },
        2000));
    EXPECT_THAT(window->messages().toPlainText().toStdString(), HasSubstr("set_time"));
    const int lines = window->messages().blockCount();
    desk.device()->sendData(Bytes{0xC1});
    desk.advance(1s);
    EXPECT_TRUE(QTest::qWaitFor([&] { return window->messages().blockCount() == lines + 2; }, 2000));
    EXPECT_THAT(window->messages().toPlainText().toStdString(), HasSubstr("(no message)\n  error 1: "));
}

TEST_F(GlassesWindowTest, TheListHoldsTheNewestMessagesAndNoMore) {
    ASSERT_TRUE(link());
    for (int i = 0; i < 1200; ++i) {
        desk.device()->setIntProperty(Property::brightness, i % 90);
        desk.world.advance(20ms);
    }
    desk.advance(10s);
    ASSERT_GT(glasses->receivedCount(), 1100u);
    MessageList list(glasses);
    list.follow();
    EXPECT_EQ(list.blockCount(), MessageList::mostLines);
    list.follow();
    EXPECT_EQ(list.blockCount(), MessageList::mostLines);
    const auto last = list.toPlainText().section(QLatin1Char('\n'), -1);
    EXPECT_THAT(last.toStdString(), HasSubstr("led"));
}

/// From left to right again, however the test ends.
struct RightToLeft {
    RightToLeft() { setLayoutDirection("ar-EG"); }
    ~RightToLeft() { setLayoutDirection("en-US"); }
};

TEST_F(GlassesWindowTest, TheListShowsTheBeginningsOfTheMessagesInEveryDirection) {
    const RightToLeft direction;
    window = std::make_unique<QtGlassesWindow>(glasses);
    window->resize(1000, 640);
    show();
    ASSERT_TRUE(link());
    drawBars();
    const auto& list = window->messages();
    ASSERT_TRUE(QTest::qWaitFor([&] { return list.toPlainText().contains("org.example.application"); }, 2000));
    settle();
    QDir().mkpath(QStringLiteral(TARNEL_PICTURES));
    EXPECT_TRUE(window->grab().save(QStringLiteral(TARNEL_PICTURES "/glasses-window-right-to-left.png")));
    EXPECT_TRUE(window->isRightToLeft());
    for (auto line = list.document()->begin(); line.isValid(); line = line.next()) {
        EXPECT_TRUE(list.viewport()->rect().contains(list.cursorRect(QTextCursor(line)))) << line.text().toStdString();
    }
}

TEST_F(GlassesWindowTest, SavesTheFrameOrSaysWhyNot) {
    show();
    ASSERT_TRUE(link());
    drawBars();
    const test::TemporaryFolder folder;
    const auto file = QString::fromStdString(folder / "frame.png");
    EXPECT_EQ(window->saveFrame(file), QString());
    EXPECT_EQ(QImage(file).convertToFormat(QImage::Format_RGB888), window->display().image());
    EXPECT_NE(window->saveFrame(QString::fromStdString(folder / "no folder/frame.png")), QString());
    EXPECT_NE(window->saveFrame(QString::fromStdString(folder / "frame.unknown")), QString());
}

TEST_F(GlassesWindowTest, AsksWhereToSaveTheFrameWithoutHoldingAnythingUp) {
    QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    show();
    const test::TemporaryFolder folder;
    press(Qt::Key_S, Qt::ControlModifier);
    auto* dialog = window->findChild<QFileDialog*>();
    ASSERT_TRUE(dialog);
    dialog->findChild<QLineEdit*>()->setText(QString::fromStdString(folder / "asked.png"));
    static_cast<QDialog*>(dialog)->accept();
    settle();
    EXPECT_EQ(QImage(QString::fromStdString(folder / "asked.png")).size(), QSize(640, 480));
    test::activate(*window);
    press(Qt::Key_S, Qt::ControlModifier);
    dialog = window->findChild<QFileDialog*>();
    ASSERT_TRUE(dialog);
    Q_EMIT dialog->fileSelected(QString::fromStdString(folder / "no folder/frame.png"));
    settle();
    const auto* const box = window->findChild<QMessageBox*>();
    ASSERT_TRUE(box);
    EXPECT_THAT(box->text().toStdString(), HasSubstr("could not be saved"));
}

TEST_F(GlassesWindowTest, MarkupInANameThatCannotBeSavedStaysText) {
    QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    show();
    press(Qt::Key_S, Qt::ControlModifier);
    auto* const dialog = window->findChild<QFileDialog*>();
    ASSERT_TRUE(dialog);
    const QString name = QStringLiteral("no folder/<h1>Loud</h1>.png");
    Q_EMIT dialog->fileSelected(name);
    settle();
    test::expectPlainMessage(*window, name);
}

TEST_F(GlassesWindowTest, HasASizeForTheDisplayAsItIsAndTwiceAsLarge) {
    show();
    const double ratio = window->devicePixelRatioF();
    press(Qt::Key_1, Qt::ControlModifier);
    settle();
    EXPECT_EQ(window->display().size() * ratio, QSize(640, 480));
    press(Qt::Key_2, Qt::ControlModifier);
    settle();
    if (window->screen()->availableSize().width() >= 1800) {
        EXPECT_EQ(window->display().size() * ratio, QSize(1280, 960));
    } else {
        EXPECT_GE(window->display().width() * ratio, 640);
    }
}

TEST_F(GlassesWindowTest, MayCloseAndEndAtAnyMoment) {
    show();
    ASSERT_TRUE(link());
    drawBars();
    window->close();
    desk.device()->canvas.clearBackground();
    desk.device()->canvas.commit();
    desk.advance(1s);
    window.reset();
    desk.device()->canvas.drawRect({.x = 0, .y = 0, .width = 320, .height = 480, .fillColor = Color::white});
    desk.device()->canvas.commit();
    desk.advance(5s);
    EXPECT_EQ(glasses->frame().at(10, 10), 3);
}

TEST_F(GlassesWindowTest, Picture) {
    glasses->setBattery(64, true);
    show();
    ASSERT_TRUE(link());
    auto& canvas = desk.device()->canvas;
    desk.device()->setLayout(Layout::canvas, 180, false);
    canvas.drawRect({.x = 20,
                     .y = 20,
                     .width = 600,
                     .height = 120,
                     .cornerRadius = 20,
                     .borderWidth = 4,
                     .borderColor = Color::mid});
    canvas.createText("Grüße, 世界", {.anchor = Anchor::center});
    canvas.commit();
    desk.advance(5s);
    desk.device()->sendData(Bytes{0xC1});
    desk.advance(1s);
    ASSERT_TRUE(becomes("Connection", "connected"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return window->messages().toPlainText().contains("error"); }, 2000));
    QDir().mkpath(QStringLiteral(TARNEL_PICTURES));
    QImage image(window->size() * 2, QImage::Format_RGB32);
    image.setDevicePixelRatio(2);
    window->render(&image);
    EXPECT_TRUE(image.save(QStringLiteral(TARNEL_PICTURES "/glasses-window.png")));
}

TEST(GlassesWindowOnThreads, FollowsGlassesOnAnotherThread) {
    ThreadScheduler scheduler(2);
    const auto start = std::chrono::steady_clock::now();
    {
        const auto radio =
            glasses::Radio::make(scheduler, [start] { return std::chrono::steady_clock::now() - start; });
        const auto glasses = glasses::SimulatedGlasses::make(radio);
        QtGlassesWindow window(glasses);
        window.show();
        test::activate(window);
        for (int i = 0; i < 20; ++i) {
            QTest::keyClick(window.windowHandle(), Qt::Key_T);
            glasses->takeControl("org.example." + std::to_string(i));
            glasses->setBattery(i, false);
            settle();
        }
        EXPECT_TRUE(QTest::qWaitFor(
            [&] {
                const auto labels = window.findChildren<QLabel*>();
                return std::any_of(labels.begin(), labels.end(),
                                   [](const auto* label) { return label->text().startsWith("org.example.19"); });
            },
            5000));
    }
    scheduler.shutDown();
}

TEST(MessageText, IsShortWhateverTheMessage) {
    EXPECT_EQ(messageText(Value(Value::Array{Value("a \"b\"\n"), Value(3), Value(true), Value(), Value(1.5)})),
              R"(["a \"b\" ", 3, true, null, 1.5])");
    EXPECT_EQ(messageText(Value(Bytes(9000))), "<9000 bytes>");
    EXPECT_EQ(messageText(Value(Value::Dictionary{{"key", Value(Bytes(1))}})), R"({"key": <1 byte>})");
    EXPECT_EQ(messageText(Value(std::string(59, 'a') + "ä and more")), "\"" + std::string(59, 'a') + "…\"");
    Value deep;
    for (int i = 0; i < 100; ++i) {
        deep = Value(Value::Array{deep});
    }
    EXPECT_LT(messageText(deep).size(), 100u);
    const std::string many = messageText(Value(Value::Array(10'000, Value("0123456789"))));
    EXPECT_LT(many.size(), 300u);
    EXPECT_THAT(many, HasSubstr("…"));
}

} // namespace
} // namespace tarnel

#include "BluetoothMachine.hpp"

#include <TarnelQt/glasses/DisplayWidget.hpp>
#include <TarnelQt/glasses/QtGlassesWindow.hpp>

#include <CommandLine.hpp>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <QApplication>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QTest>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tarnel::test {
namespace {

using ::testing::HasSubstr;

constexpr int patience = 30'000; ///< in milliseconds

/// Becomes true, while Qt does what is due.
bool eventually(const std::function<bool()>& condition) {
    return QTest::qWaitFor(condition, patience);
}

using User = std::function<void(QtGlassesWindow&)>;

/// Who uses the window of the command that is run next.
User& nextUser() {
    static User user;
    return user;
}

/// As soon as the command's application runs.
void bringUser() {
    QTimer::singleShot(0, qApp, [] {
        QtGlassesWindow* window = nullptr;
        EXPECT_TRUE(eventually([&] {
            for (auto* const widget : QApplication::topLevelWidgets()) {
                window = window ? window : dynamic_cast<QtGlassesWindow*>(widget);
            }
            return window && window->isVisible();
        }));
        if (window) {
            nextUser()(*window);
        }
        QApplication::closeAllWindows();
    });
}

class GlassesWindowOnAir : public ::testing::Test {
protected:
    GlassesWindowOnAir() {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
        ::setenv("QT_QPA_PLATFORMTHEME", "none", 1);
        // What is at the test's own input is no command.
        const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::dup2(nothing, STDIN_FILENO);
        ::close(nothing);
        machine.bluez.addAdapter("hci0");
        machine.bluez.start();
        static const bool isUserBrought = [] {
            qAddPreRoutine(bringUser);
            return true;
        }();
        EXPECT_TRUE(isUserBrought);
    }

    /// `tarnel glasses --air --window` with a user, until the window is closed; the exit status.
    int run(User user, std::vector<const char*> more = {}) {
        nextUser() = std::move(user);
        if (qApp) {
            // Made by an earlier run, and kept.
            bringUser();
        }
        std::vector<const char*> arguments{"tarnel", "glasses", "--air", "--window", "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ::testing::internal::CaptureStdout();
        const int status = command::run(static_cast<int>(arguments.size()), arguments.data());
        told = ::testing::internal::GetCapturedStdout();
        return status;
    }

    void connect() {
        ASSERT_TRUE(eventually([&] { return machine.bluez.advertisement().has_value(); }));
        machine.connectPhone();
        machine.bluez.centralSubscribes(inCharacteristic);
        // Answered when the subscription before it has been seen.
        EXPECT_EQ(machine.bluez.centralReads(phoneAddress, batteryLevel).value, Bytes{80});
    }
    bool isNotified(const std::string& message) {
        return eventually([&] {
            for (const auto& value : machine.bluez.notified(inCharacteristic)) {
                if (std::string(value.begin() + 1, value.end()) == message) {
                    return true;
                }
            }
            return false;
        });
    }
    static std::string text(const QtGlassesWindow& window, const QString& accessibleName) {
        for (const auto* const label : window.findChildren<QLabel*>()) {
            if (label->accessibleName() == accessibleName) {
                return label->text().toStdString();
            }
        }
        return "(no such label)";
    }
    static bool becomes(const QtGlassesWindow& window, const QString& label, const std::string& value) {
        return eventually([&] { return text(window, label) == value; });
    }
    static void choose(const QtGlassesWindow& window, const QString& title) {
        for (auto* const menu : window.menuBar()->findChildren<QMenu*>()) {
            for (auto* const action : menu->actions()) {
                if (action->text().remove(QLatin1Char('&')) == title) {
                    return action->trigger();
                }
            }
        }
        FAIL() << "there is no " << title.toStdString();
    }

    BluetoothMachine machine;
    std::string told;
};

const std::string tapped = std::string("\x81\xa3") + "tap" + "\x01";
const std::string tappedTwice = std::string("\x81\xa3") + "tap" + "\x02";
const std::string pressed = std::string("\x81\xa9") + "power_btn" + "\x01";
/// From (16, 16) to (127, 127), in level 2.
const std::string fillsLargeSquare =
    std::string("\x81\xa6") + "canvas" + "\x81\xab" + "cnvs_clrblk" + "\x95\x10\x10\x7f\x7f\x02";

TEST_F(GlassesWindowOnAir, AHostAcrossTheAirDrawsIntoTheWindow) {
    const int status = run(
        [&](QtGlassesWindow& window) {
            EXPECT_EQ(window.windowTitle(), QStringLiteral("Desk (simulated)"));
            EXPECT_TRUE(becomes(window, QStringLiteral("Connection"), "advertising"));
            ASSERT_NO_FATAL_FAILURE(connect());
            EXPECT_TRUE(becomes(window, QStringLiteral("Connection"), "connected"));
            for (const auto& message : {takesDisplay, fillsLargeSquare, flushes}) {
                machine.write(message);
            }
            EXPECT_TRUE(becomes(window, QStringLiteral("Control"), "app (canvas)"));
            EXPECT_TRUE(becomes(window, QStringLiteral("Traffic"), "3 messages, 0.1 kB"));
            EXPECT_TRUE(eventually([&] { return window.display().image().pixelColor(50, 50) == QColor(0, 170, 0); }));
            EXPECT_EQ(window.display().image().pixelColor(130, 130), QColor(0, 0, 0));
            window.resize(1000, 640);
            std::filesystem::create_directories(TARNEL_PICTURES);
            const QImage seen = window.grab().toImage();
            EXPECT_TRUE(seen.save(QStringLiteral(TARNEL_PICTURES "/glasses-window-on-air.png")));
            const QPoint corner = window.display().mapTo(&window, QPoint(0, 0));
            const auto& display = window.display();
            const double scale = std::min(display.width() / 640.0, display.height() / 480.0);
            const QPoint inFrame(static_cast<int>(display.width() / 2.0 - (320 - 70) * scale),
                                 static_cast<int>(display.height() / 2.0 - (240 - 70) * scale));
            EXPECT_EQ(seen.pixelColor((corner + inFrame) * seen.devicePixelRatio()), QColor(0, 170, 0));
        },
        {"--name", "Desk"});
    EXPECT_EQ(status, 0);
    EXPECT_THAT(told, HasSubstr(R"({"event":"message","bytes":16,"value":{"canvas":{"flush":null}}})"));
}

TEST_F(GlassesWindowOnAir, TheWearersKeysAndButtonsReachTheHost) {
    EXPECT_EQ(run([&](QtGlassesWindow& window) {
                  ASSERT_NO_FATAL_FAILURE(connect());
                  EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
                  window.activateWindow();
                  EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
                  QTest::keyClick(window.windowHandle(), Qt::Key_T);
                  EXPECT_TRUE(isNotified(tapped));
                  QTest::keyClick(window.windowHandle(), Qt::Key_P);
                  EXPECT_TRUE(isNotified(pressed));
                  for (auto* const button : window.findChildren<QToolButton*>()) {
                      if (button->text() == QStringLiteral("Double tap")) {
                          QTest::mouseClick(button, Qt::LeftButton);
                      }
                  }
                  EXPECT_TRUE(isNotified(tappedTwice));
              }),
              0);
}

TEST_F(GlassesWindowOnAir, TheFaultsOfTheMenuAreSeenByTheHost) {
    EXPECT_EQ(run([&](QtGlassesWindow& window) {
                  ASSERT_NO_FATAL_FAILURE(connect());
                  choose(window, QStringLiteral("Drop the connection"));
                  EXPECT_TRUE(eventually([&] { return !machine.bluez.device(phoneAddress).isConnected; }));
                  EXPECT_TRUE(becomes(window, QStringLiteral("Connection"), "advertising"));
                  choose(window, QStringLiteral("Out of range"));
                  EXPECT_TRUE(eventually([&] { return !machine.bluez.advertisement().has_value(); }));
                  choose(window, QStringLiteral("Out of range"));
                  EXPECT_TRUE(eventually([&] { return machine.bluez.advertisement().has_value(); }));
              }),
              0);
    EXPECT_THAT(told, HasSubstr(R"({"event":"disconnected"})"));
}

TEST_F(GlassesWindowOnAir, ClosingTheWindowTakesThemFromTheAir) {
    EXPECT_EQ(run(
                  [&](QtGlassesWindow& window) {
                      ASSERT_NO_FATAL_FAILURE(connect());
                      EXPECT_EQ(machine.bluez.alias(), "Closing");
                      EXPECT_TRUE(window.close());
                  },
                  {"--name", "Closing"}),
              0);
    EXPECT_EQ(machine.bluez.alias(), "machine");
    EXPECT_FALSE(machine.bluez.device(phoneAddress).isConnected);
    EXPECT_EQ(machine.bluez.calls("UnregisterApplication"), 1);
}

TEST_F(GlassesWindowOnAir, AWindowThatIsClosedAtOnceLeavesNothingBehind) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(run([](QtGlassesWindow& window) { window.close(); }), 0);
    }
    EXPECT_EQ(machine.bluez.alias(), "machine");
    EXPECT_FALSE(machine.bluez.advertisement().has_value());
}

TEST_F(GlassesWindowOnAir, TheWindowShowsThatTheDaemonTookThemFromTheAir) {
    EXPECT_EQ(run([&](QtGlassesWindow& window) {
                  ASSERT_NO_FATAL_FAILURE(connect());
                  EXPECT_TRUE(becomes(window, QStringLiteral("Connection"), "connected"));
                  machine.bluez.crash();
                  EXPECT_TRUE(becomes(window, QStringLiteral("Connection"), "advertising"));
                  machine.bluez.start();
                  EXPECT_TRUE(eventually([&] { return machine.bluez.advertisement().has_value(); }));
              }),
              0);
    EXPECT_THAT(told, HasSubstr(R"("radio":"noService")"));
}

} // namespace
} // namespace tarnel::test

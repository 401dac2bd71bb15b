#pragma once

#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelQt/QtScreenToolkit.hpp>
#include <TarnelQt/QtScreenView.hpp>
#include <TarnelQt/QtScreenWidget.hpp>
#include <TarnelQt/screens/TableView.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>
#include <TarnelSDK/ui/TarnelBaseViewController.hpp>
#include <TarnelSDK/ui/TarnelPickerController.hpp>

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>
#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::test {

/// Lets Qt do what is due, deletions included.
inline void settle() {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// Waits until the window has the keyboard, also where no window manager gives it.
inline void activate(QWidget& window) {
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
}

/// Expects a message over the window that has the name in it, letter by letter, whatever markup that looks like.
inline void expectPlainMessage(const QWidget& window, const QString& name) {
    const auto* const box = window.findChild<QMessageBox*>();
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->text().contains(name));
    const auto* const label = box->findChild<QLabel*>("qt_msgbox_label");
    ASSERT_TRUE(label);
    EXPECT_EQ(label->text(), box->text());
    EXPECT_EQ(label->textFormat(), Qt::PlainText);
}

/// A screen of an application, with or without a picker at its beginning.
struct ReadingScreen : TarnelBaseViewController {
    void onDisconnected() override { ++disconnections; }
    void onAppLeave() override { ++departures; }
    void viewDidAppear(bool animated) override {
        if (opensPicker) {
            TarnelBaseViewController::viewDidAppear(animated);
        }
    }
    bool opensPicker = false;
    int disconnections = 0;
    int departures = 0;
};

/// A simulated host with the Qt toolkit, glasses around it, and the window of an application. Time is virtual, and Qt's
/// events are worked off in between.
class QtDesk {
public:
    explicit QtDesk(std::uint64_t seed = 1, platform::CentralState bluetooth = platform::CentralState::poweredOn)
        : trace_(__FILE__, __LINE__, "seed " + std::to_string(seed)), world({.seed = seed, .bluetooth = bluetooth}) {
        toolkit = QtScreenToolkit::provide();
        toolkit->setAnimation(std::chrono::milliseconds(0));
        manager();
        world.advance(std::chrono::seconds(1));
        window = std::make_unique<QtScreenWidget>(screen);
        auto* const column = new QVBoxLayout(window.get());
        button = new QPushButton(QStringLiteral("&Read"), window.get());
        column->addWidget(button);
        column->addWidget(new QLabel(QStringLiteral("A page of the book"), window.get()), 1);
        QObject::connect(button, &QPushButton::clicked, button, [this] { ++clicks; });
        window->resize(640, 480);
    }
    ~QtDesk() {
        window.reset();
        screen.reset();
        toolkit.reset();
        settle();
    }

    static TarnelManager& manager() { return TarnelManager::shared(); }
    static std::shared_ptr<Tarnel> device() { return manager().currentDevice(); }
    static bool isConnected() { return device() && device()->isConnected.value(); }

    std::shared_ptr<glasses::SimulatedGlasses> addGlasses(const std::string& name, std::uint8_t number = 1) {
        std::array<std::uint8_t, 16> bytes{};
        bytes.back() = number;
        return world.addGlasses({.identifier = UUID(bytes), .name = name});
    }

    bool link() {
        manager().startScan([](const auto& peripheral) { manager().link(peripheral, nullptr); });
        const bool linked = world.runUntil(isConnected);
        advance(std::chrono::seconds(1));
        return linked;
    }

    void advance(platform::Duration duration) {
        constexpr platform::Duration step = std::chrono::milliseconds(100);
        settle();
        for (auto left = duration; left > platform::Duration(); left -= step) {
            world.advance(std::min(left, step));
            settle();
        }
    }

    void show() {
        window->show();
        activate(*window);
        advance(std::chrono::milliseconds(10));
    }

    /// A picker over the window, whoever is linked.
    std::shared_ptr<TarnelPickerController> present() {
        show();
        auto picker = std::make_shared<TarnelPickerController>();
        screen->present(picker, true);
        advance(std::chrono::seconds(1));
        return picker;
    }

    static QWidget* cardOf(const ViewController& shown) {
        const auto view = std::dynamic_pointer_cast<QtScreenView>(shown.view());
        return view ? view->widget() : nullptr;
    }
    static bool isSeen(const ViewController& shown) {
        const auto* const card = cardOf(shown);
        return card && card->isVisible();
    }
    static TableView* tableOf(const ViewController& shown) {
        for (auto* const child : cardOf(shown)->findChildren<QListWidget*>()) {
            if (auto* const table = dynamic_cast<TableView*>(child)) {
                return table;
            }
        }
        return nullptr;
    }
    static QPushButton* buttonOf(const ViewController& shown, const QString& text) {
        for (auto* const child : cardOf(shown)->findChildren<QPushButton*>()) {
            if (child->text() == text && child->isVisible()) {
                return child;
            }
        }
        return nullptr;
    }
    static std::vector<std::string> rows(const ViewController& shown) {
        std::vector<std::string> texts;
        const auto* const table = tableOf(shown);
        for (int at = 0; at < table->count(); ++at) {
            if (table->item(at)->flags().testFlag(Qt::ItemIsEnabled)) {
                texts.push_back(table->item(at)->data(Qt::AccessibleTextRole).toString().toStdString());
            }
        }
        return texts;
    }
    /// The labels that are seen, from top to bottom.
    static std::vector<std::string> texts(const ViewController& shown) {
        std::vector<std::string> seen;
        for (const auto* const label : cardOf(shown)->findChildren<QLabel*>()) {
            if (label->isVisible()) {
                seen.push_back(label->text().toStdString());
            }
        }
        return seen;
    }

    /// A click at a place of the widget, as the window system reports it: whatever stands there gets it.
    void click(QWidget* widget, const QPoint& at) {
        QTest::mouseClick(window->windowHandle(), Qt::LeftButton, {}, widget->mapTo(window.get(), at));
        settle();
    }
    void click(QWidget* widget) { click(widget, widget->rect().center()); }
    void clickRow(const ViewController& shown, const QString& text) {
        auto* const table = tableOf(shown);
        const auto found = table->findItems(text, Qt::MatchExactly);
        ASSERT_EQ(found.size(), 1);
        click(table->viewport(), table->visualItemRect(found.front()).center());
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window->windowHandle(), key, modifiers);
        settle();
    }

private:
    const ::testing::ScopedTrace trace_;

public:
    glasses::SimulatedWorld world;
    std::shared_ptr<QtScreenToolkit> toolkit;
    std::shared_ptr<ReadingScreen> screen = std::make_shared<ReadingScreen>();
    std::unique_ptr<QtScreenWidget> window;
    QPushButton* button = nullptr; ///< of the window
    int clicks = 0;                ///< of that button
};

} // namespace tarnel::test

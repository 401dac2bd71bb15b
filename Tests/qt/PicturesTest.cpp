#include "QtDesk.hpp"

#include <TarnelQt/QtLanguage.hpp>
#include <TarnelSDK/ui/AlertController.hpp>

#include <gtest/gtest.h>

#include <QDir>
#include <QImage>

namespace tarnel {
namespace {

using namespace std::chrono_literals;
using test::QtDesk;

QPalette darkPalette() {
    QPalette dark(QColor(45, 45, 48));
    dark.setColor(QPalette::Window, QColor(36, 36, 38));
    dark.setColor(QPalette::Base, QColor(28, 28, 30));
    dark.setColor(QPalette::WindowText, QColor(236, 236, 238));
    dark.setColor(QPalette::Text, QColor(236, 236, 238));
    dark.setColor(QPalette::ButtonText, QColor(236, 236, 238));
    dark.setColor(QPalette::Highlight, QColor(64, 140, 255));
    return dark;
}

class Pictures : public ::testing::Test {
protected:
    Pictures() : palette_(QApplication::palette()) {}
    ~Pictures() override {
        QApplication::setPalette(palette_);
        setLayoutDirection("en-US");
    }

    /// What the window shows, also as a file for people.
    QImage picture(const QString& name) {
        desk.advance(10ms);
        QImage image(desk.window->size() * 2, QImage::Format_RGB32);
        image.setDevicePixelRatio(2);
        desk.window->render(&image);
        QDir().mkpath(QStringLiteral(TARNEL_PICTURES));
        EXPECT_TRUE(image.save(QStringLiteral(TARNEL_PICTURES "/%1.png").arg(name)));
        return image;
    }

    void speak(const std::string& locale) {
        desk.world.application().setLocale(locale);
        setLayoutDirection(locale);
    }

    /// The colour a few points into the card, from its upper left corner.
    static QColor atCard(const QImage& image, const QWidget& card, const QPoint& offset) {
        return image.pixelColor((card.geometry().topLeft() + offset) * 2);
    }

    QtDesk desk;

private:
    const QPalette palette_;
};

TEST_F(Pictures, TheWindowIsDarkenedAndTheCardHasRoundCorners) {
    desk.show();
    const QImage before = picture("window");
    const auto picker = desk.present();
    const QImage after = picture("picker-searching");
    const auto plain = before.pixelColor(4, 4);
    const auto dimmed = after.pixelColor(4, 4);
    EXPECT_NEAR(dimmed.red(), plain.red() * 0.6, 2);
    EXPECT_NEAR(dimmed.blue(), plain.blue() * 0.6, 2);
    const auto& card = *desk.cardOf(*picker);
    EXPECT_EQ(atCard(after, card, {1, 1}), dimmed) << "outside of the round corner";
    EXPECT_EQ(atCard(after, card, {card.width() - 2, card.height() - 2}), dimmed);
    const auto ground = atCard(after, card, {12, 12});
    EXPECT_NE(ground, dimmed);
    EXPECT_EQ(atCard(after, card, {13, 1}), ground) << "the corner ends after its radius";
}

TEST_F(Pictures, RowsInLight) {
    desk.addGlasses("Brenlo Glasses", 1);
    desk.addGlasses("Anna's glasses with a name that is much too long for a row of any window of this width", 2);
    desk.addGlasses("", 3);
    const auto picker = desk.present();
    desk.advance(5s);
    desk.press(Qt::Key_Home);
    desk.press(Qt::Key_Down);
    const QImage image = picture("picker-light");
    EXPECT_GT(atCard(image, *desk.cardOf(*picker), {40, 4}).lightness(), 200);
}

TEST_F(Pictures, RowsInDark) {
    QApplication::setPalette(darkPalette());
    desk.addGlasses("Brenlo Glasses", 1);
    desk.addGlasses("Anna's glasses", 2);
    const auto picker = desk.present();
    desk.advance(5s);
    const QImage image = picture("picker-dark");
    EXPECT_LT(atCard(image, *desk.cardOf(*picker), {40, 4}).lightness(), 60);
    QApplication::setPalette(QPalette(QColor(239, 239, 239)));
    const QImage light = picture("picker-dark-to-light");
    EXPECT_GT(atCard(light, *desk.cardOf(*picker), {40, 4}).lightness(), 200) << "follows while it is shown";
}

TEST_F(Pictures, LinkedGlassesInDark) {
    QApplication::setPalette(darkPalette());
    desk.addGlasses("Brenlo Glasses", 1);
    ASSERT_TRUE(desk.link());
    desk.present();
    picture("picker-linked-dark");
}

TEST_F(Pictures, InGerman) {
    speak("de-DE");
    const auto picker = desk.present();
    picture("picker-german");
    EXPECT_EQ(desk.texts(*picker).front(), "Brille auswählen");
}

TEST_F(Pictures, InJapanese) {
    speak("ja-JP");
    desk.addGlasses("グラス 12", 1);
    const auto picker = desk.present();
    desk.advance(5s);
    picture("picker-japanese");
    EXPECT_EQ(desk.texts(*picker).front(), "グラスを選択");
}

TEST_F(Pictures, ArabicIsMirrored) {
    const auto inkAtLeft = [](const QImage& image, QWidget& table) {
        // Ink of the first row in the left and right half of the table.
        const QRect row = QRect(table.mapTo(table.window(), QPoint(0, 32)), QSize(table.width(), 44));
        int left = 0;
        int right = 0;
        const QColor ground = image.pixelColor(row.center() * 2);
        for (int y = row.top() + 4; y < row.bottom() - 4; ++y) {
            for (int x = row.left(); x < row.right(); ++x) {
                if (image.pixelColor(QPoint(x, y) * 2) != ground) {
                    ++(x < row.center().x() ? left : right);
                }
            }
        }
        return left - right;
    };
    desk.addGlasses("Brenlo", 1);
    const auto english = desk.present();
    desk.advance(5s);
    EXPECT_GT(inkAtLeft(picture("picker-english"), *desk.tableOf(*english)), 0);
    english->close();
    desk.advance(1s);
    speak("ar-EG");
    const auto arabic = desk.present();
    desk.advance(5s);
    EXPECT_LT(inkAtLeft(picture("picker-arabic"), *desk.tableOf(*arabic)), 0);
}

TEST_F(Pictures, ArabicLinkedGlasses) {
    speak("ar-EG");
    desk.addGlasses("Brenlo", 1);
    ASSERT_TRUE(desk.link());
    desk.present();
    picture("picker-linked-arabic");
}

TEST_F(Pictures, ThePairingIsLost) {
    const auto mine = desk.world.addGlasses({.name = "Brenlo Glasses", .requiresPairing = true});
    ASSERT_TRUE(desk.link());
    desk.present();
    mine->loseBond();
    desk.advance(20s);
    picture("alert-light");
    QApplication::setPalette(darkPalette());
    picture("alert-dark");
}

TEST_F(Pictures, BluetoothIsOff) {
    desk.world.bluetooth().setState(platform::CentralState::poweredOff);
    desk.present();
    picture("picker-bluetooth-off");
}

TEST_F(Pictures, InASmallWindow) {
    desk.addGlasses("Brenlo Glasses", 1);
    desk.window->setMinimumSize(1, 1);
    desk.window->resize(260, 240);
    const auto picker = desk.present();
    desk.advance(5s);
    picture("picker-small");
    auto* const close = desk.buttonOf(*picker, "Close");
    ASSERT_TRUE(close);
    EXPECT_TRUE(desk.window->rect().contains(QRect(close->mapTo(desk.window.get(), QPoint()), close->size())));
}

} // namespace
} // namespace tarnel

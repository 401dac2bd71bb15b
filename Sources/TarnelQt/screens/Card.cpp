#include <TarnelQt/screens/Card.hpp>
#include <TarnelQt/screens/Colors.hpp>

#include <QAccessibleWidget>
#include <QPainter>
#include <cmath>

namespace tarnel {
namespace {

class CardInterface : public QAccessibleWidget {
public:
    explicit CardInterface(Card* card) : QAccessibleWidget(card, card->role()) {}

    QAccessible::State state() const override {
        auto state = QAccessibleWidget::state();
        state.modal = true;
        return state;
    }
};

QAccessibleInterface* interfaceOf(const QString&, QObject* object) {
    auto* const card = dynamic_cast<Card*>(object);
    return card ? new CardInterface(card) : nullptr; // Qt's cache owns it
}

} // namespace

Card::Card(const BackgroundView& look, QAccessible::Role role) : look_(look), role_(role) {
    static const bool isFactoryInstalled = [] {
        QAccessible::installFactory(interfaceOf);
        return true;
    }();
    static_cast<void>(isFactoryInstalled);
}

int Card::cornerRadius() const {
    return static_cast<int>(std::ceil(look_.cornerRadius));
}

void Card::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor ground = colorOf(look_.background, palette());
    // In dark a card is told from one below it by its edge.
    painter.setPen(QPen(mixed(ground, palette().color(QPalette::WindowText), 0.12), 1));
    painter.setBrush(ground);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), look_.cornerRadius, look_.cornerRadius);
}

QString buttonText(const std::string& title) {
    return QString::fromStdString(title).replace(QLatin1Char('&'), QLatin1String("&&"));
}

Ground::Ground(SystemColor color, QWidget* parent) : QWidget(parent), color_(color) {}

void Ground::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), colorOf(color_, palette()));
}

SeparatorLine::SeparatorLine(const Separator& look, QWidget* parent) : Ground(look.color, parent) {
    setFixedHeight(static_cast<int>(std::ceil(look.height)));
}

} // namespace tarnel

#include <TarnelQt/screens/BusyIndicator.hpp>
#include <TarnelQt/screens/Colors.hpp>

#include <QPainter>
#include <QStyle>
#include <QTimerEvent>
#include <algorithm>

namespace tarnel {

void BusyIndicator::draw(QPainter& painter, const QRectF& area, const QColor& color, int step) {
    const double radius = std::min(area.width(), area.height()) / 2;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(area.center());
    for (int spoke = 0; spoke < steps; ++spoke) {
        const int age = ((step - spoke) % steps + steps) % steps;
        QColor faded = color;
        faded.setAlphaF(static_cast<float>(1 - 0.85 * age / steps));
        painter.save();
        painter.rotate(360.0 / steps * spoke);
        painter.setPen(QPen(faded, radius * 0.18, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(0, -radius * 0.5), QPointF(0, -radius * 0.88));
        painter.restore();
    }
    painter.restore();
}

bool BusyIndicator::mayMove(const QWidget& widget) {
    return widget.style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, &widget) > 0;
}

BusyIndicator::BusyIndicator(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void BusyIndicator::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    draw(painter, rect(), colorOf(SystemColor::secondaryLabel, palette()), step_);
}

void BusyIndicator::showEvent(QShowEvent* event) {
    if (mayMove(*this)) {
        timer_.start(stepTime, this);
    }
    QWidget::showEvent(event);
}

void BusyIndicator::hideEvent(QHideEvent* event) {
    timer_.stop();
    QWidget::hideEvent(event);
}

void BusyIndicator::timerEvent(QTimerEvent* event) {
    if (event->timerId() == timer_.timerId()) {
        step_ = (step_ + 1) % steps;
        update();
    } else {
        QWidget::timerEvent(event);
    }
}

} // namespace tarnel

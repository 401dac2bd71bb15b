#pragma once

#include <QBasicTimer>
#include <QWidget>

namespace tarnel {

/// Spokes that turn.
class BusyIndicator : public QWidget {
public:
    static constexpr int steps = 12;
    static constexpr int stepTime = 80; ///< in milliseconds

    /// Draws one state of it, `step` from 0.
    static void draw(QPainter& painter, const QRectF& area, const QColor& color, int step);
    /// Whether the user wants to see things move.
    static bool mayMove(const QWidget& widget);

    explicit BusyIndicator(QWidget* parent = nullptr);

    QSize sizeHint() const override { return {28, 28}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    QBasicTimer timer_;
    int step_ = 0;
};

} // namespace tarnel

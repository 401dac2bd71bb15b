#pragma once

#include <TarnelGlasses/SimulatedGlasses.hpp>
#include <TarnelQt/QtWake.hpp>

#include <QImage>
#include <QTimer>
#include <QWidget>
#include <memory>

namespace tarnel {

/// The display of simulated glasses in its green, as large as fits: pixel by pixel where it fits a whole number of
/// times, else smoothed.
///
/// GUI thread; the glasses may be on another.
class DisplayWidget : public QWidget {
public:
    explicit DisplayWidget(std::shared_ptr<glasses::SimulatedGlasses> glasses, QWidget* parent = nullptr);
    ~DisplayWidget() override;

    /// What is shown, 640 x 480.
    const QImage& image() const { return image_; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void refresh();
    QRectF frameArea() const;

    const std::shared_ptr<glasses::SimulatedGlasses> glasses_;
    const QtWake wake_;
    platform::Observation observation_;
    QTimer next_; ///< when what moves has moved
    QImage image_;
};

} // namespace tarnel

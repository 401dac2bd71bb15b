#include <TarnelQt/glasses/DisplayWidget.hpp>

#include <QPainter>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace tarnel {
namespace {

using glasses::Frame;

/// What moves is drawn no faster than this.
constexpr std::chrono::milliseconds shortestStep{16};

QImage greenOf(const Frame& frame) {
    const Bytes pixels = frame.toGreen();
    return QImage(pixels.data(), Frame::width, Frame::height, Frame::width * 3, QImage::Format_RGB888).copy();
}

} // namespace

DisplayWidget::DisplayWidget(std::shared_ptr<glasses::SimulatedGlasses> glasses, QWidget* parent)
    : QWidget(parent), glasses_(std::move(glasses)), wake_([this] { refresh(); }) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(QStringLiteral("Display"));
    next_.setSingleShot(true);
    connect(&next_, &QTimer::timeout, this, [this] { refresh(); });
    observation_ = glasses_->observeFrame(wake_.caller());
    refresh();
}

DisplayWidget::~DisplayWidget() = default;

QSize DisplayWidget::sizeHint() const {
    return {Frame::width, Frame::height};
}

QSize DisplayWidget::minimumSizeHint() const {
    return {Frame::width / 4, Frame::height / 4};
}

void DisplayWidget::refresh() {
    image_ = greenOf(glasses_->frame());
    update();
    const auto change = glasses_->nextFrameChange();
    if (change && isVisible()) {
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*change);
        next_.start(std::clamp<std::chrono::milliseconds>(wait, shortestStep, std::chrono::hours(1)));
    } else {
        next_.stop();
    }
}

void DisplayWidget::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refresh();
}

void DisplayWidget::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    next_.stop();
}

/// On whole pixels of the screen.
QRectF DisplayWidget::frameArea() const {
    const double ratio = devicePixelRatioF();
    double scale = std::min(width() * ratio / Frame::width, height() * ratio / Frame::height);
    if (std::abs(scale - std::round(scale)) < 0.005) {
        scale = std::max(1.0, std::round(scale));
    }
    const double wide = std::round(Frame::width * scale);
    const double high = std::round(Frame::height * scale);
    return {std::floor((width() * ratio - wide) / 2) / ratio, std::floor((height() * ratio - high) / 2) / ratio,
            wide / ratio, high / ratio};
}

void DisplayWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), QColor(14, 18, 14));
    const QRectF area = frameArea();
    const double scale = area.width() * devicePixelRatioF() / Frame::width;
    painter.setRenderHint(QPainter::SmoothPixmapTransform, std::abs(scale - std::round(scale)) > 1e-6);
    painter.drawImage(area, image_);
}

} // namespace tarnel

#include <TarnelQt/QtScreenView.hpp>

#include <QMetaObject>
#include <algorithm>
#include <utility>

namespace tarnel {

QtScreenView::QtScreenView(std::unique_ptr<QWidget> widget, std::function<void()> reload)
    : widget_(widget.release()), reload_(std::move(reload)) {}

QtScreenView::~QtScreenView() {
    if (widget_) {
        widget_->hide();
        widget_->setParent(nullptr);
        widget_->deleteLater();
    }
}

void QtScreenView::reload() {
    if (!widget_ || !reload_ || std::exchange(isReloadPosted_, true)) {
        return;
    }
    // The widget outlives the view by the events that are under way.
    QMetaObject::invokeMethod(
        widget_,
        [this, live = std::weak_ptr<const bool>(isLive_)] {
            if (!live.expired()) {
                isReloadPosted_ = false;
                reload_();
            }
        },
        Qt::QueuedConnection);
}

QRect QtScreenView::place(const QSize& window) const {
    if (!widget_) {
        return {};
    }
    const int width = std::min(widget_->sizeHint().width(), window.width());
    const int wanted = widget_->hasHeightForWidth() ? widget_->heightForWidth(width) : widget_->sizeHint().height();
    const int height = std::min(wanted, window.height());
    return {(window.width() - width) / 2, (window.height() - height) / 2, width, height};
}

} // namespace tarnel

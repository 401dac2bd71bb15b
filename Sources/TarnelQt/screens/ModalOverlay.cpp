#include <TarnelQt/QtScreenView.hpp>
#include <TarnelQt/screens/Colors.hpp>
#include <TarnelQt/screens/ModalOverlay.hpp>

#include <QAccessible>
#include <QApplication>
#include <QGraphicsOpacityEffect>
#include <QKeyEvent>
#include <QPainter>
#include <cmath>
#include <utility>

namespace tarnel {
namespace {

/// How far below its place the content starts, in pixels.
constexpr double rise = 24;

bool isKey(QEvent::Type type) {
    return type == QEvent::KeyPress || type == QEvent::KeyRelease || type == QEvent::ShortcutOverride ||
           type == QEvent::InputMethod;
}

bool isInput(QEvent::Type type) {
    switch (type) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::TouchBegin:
    case QEvent::ContextMenu:
    case QEvent::Shortcut:
        return true;
    default:
        return isKey(type);
    }
}

bool isPress(QEvent::Type type) {
    return type == QEvent::KeyPress || type == QEvent::MouseButtonPress || type == QEvent::TouchBegin;
}

void tellAccessibility(QWidget* content, QAccessible::Event what) {
    if (content && QAccessible::isActive()) {
        QAccessibleEvent event(content, what);
        QAccessible::updateAccessibility(&event);
    }
}

} // namespace

ModalOverlay::ModalOverlay(QWidget* window, const std::shared_ptr<QtScreenView>& view)
    : QWidget(window), window_(window), view_(view), content_(view->widget()), focusBefore_(window->focusWidget()) {
    setFocusPolicy(Qt::NoFocus);
    setGeometry(window->rect());
    if (content_) {
        content_->setParent(this);
        content_->show();
    }
    animation_.setEasingCurve(QEasingCurve::OutCubic);
    connect(&animation_, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { setProgress(value.toDouble()); });
    connect(&animation_, &QVariantAnimation::finished, this, [this] { finish(); });
    qApp->installEventFilter(this);
}

ModalOverlay::~ModalOverlay() {
    qApp->removeEventFilter(this);
    if (content_ && content_->parentWidget() == this) {
        content_->hide();
        content_->setParent(nullptr);
    }
    if (const auto gone = std::exchange(onWindowGone, nullptr); gone && !isLeaving_) {
        gone();
    }
}

void ModalOverlay::appear(int duration, Done done) {
    if (auto* const popup = QApplication::activePopupWidget()) {
        popup->close();
    }
    show();
    raise();
    place();
    if (content_) {
        content_->setFocus(Qt::OtherFocusReason);
    }
    tellAccessibility(content_, QAccessible::DialogStart);
    animate(1, duration, std::move(done));
}

void ModalOverlay::leave(int duration, Done done) {
    isLeaving_ = true;
    tellAccessibility(content_, QAccessible::DialogEnd);
    animate(0, duration, std::move(done));
}

void ModalOverlay::animate(double target, int duration, Done done) {
    animation_.stop();
    done_ = std::move(done);
    animation_.setStartValue(progress_);
    animation_.setEndValue(target);
    animation_.setDuration(duration);
    if (duration > 0 && isVisible()) {
        animation_.start();
    } else {
        setProgress(target);
        finish();
    }
}

void ModalOverlay::setProgress(double progress) {
    progress_ = progress;
    if (content_ && progress >= 1) {
        content_->setGraphicsEffect(nullptr);
    } else if (content_) {
        auto* effect = dynamic_cast<QGraphicsOpacityEffect*>(content_->graphicsEffect());
        if (!effect) {
            effect = new QGraphicsOpacityEffect(content_); // owned by the content
            content_->setGraphicsEffect(effect);
        }
        effect->setOpacity(progress);
    }
    place();
    update();
}

void ModalOverlay::finish() {
    if (isLeaving_) {
        const bool hadFocus = isAncestorOf(QApplication::focusWidget());
        hide();
        if (hadFocus && focusBefore_) {
            focusBefore_->setFocus(Qt::OtherFocusReason);
        }
    }
    if (const auto done = std::exchange(done_, nullptr)) {
        done();
    }
}

void ModalOverlay::place() {
    const auto view = view_.lock();
    if (view && content_ && content_->parentWidget() == this) {
        const auto offset = static_cast<int>(std::lround((1 - progress_) * rise));
        content_->setGeometry(view->place(size()).translated(0, offset));
    }
}

bool ModalOverlay::isOnTop() const {
    const auto& siblings = window_->children();
    for (auto sibling = siblings.rbegin(); sibling != siblings.rend(); ++sibling) {
        if (const auto* overlay = dynamic_cast<const ModalOverlay*>(*sibling); overlay && !overlay->isHidden()) {
            return overlay == this;
        }
    }
    return false;
}

bool ModalOverlay::isInside(const QObject* object) const {
    while (object && object != this) {
        object = object->parent();
    }
    return object == this;
}

bool ModalOverlay::isInputElsewhere(QObject* object, const QEvent& event) const {
    if (!isInput(event.type()) || isInside(object)) {
        return false;
    }
    if (event.type() == QEvent::Shortcut) {
        return QApplication::activeWindow() == window_;
    }
    const auto* const widget = qobject_cast<QWidget*>(object);
    return widget && widget->window() == window_;
}

bool ModalOverlay::eventFilter(QObject* object, QEvent* event) {
    if (isHidden() || !isOnTop()) {
        return false;
    }
    if (object == window_ && event->type() == QEvent::Resize) {
        setGeometry(window_->rect());
    } else if (object == window_ && event->type() == QEvent::ChildPolished) {
        raise();
    }
    if (isInputElsewhere(object, *event)) {
        if (event->type() == QEvent::KeyPress && content_) {
            content_->setFocus(Qt::OtherFocusReason);
        }
        return true;
    }
    if (animation_.state() == QAbstractAnimation::Running && isPress(event->type()) && isInside(object)) {
        // Who acts has seen enough; what leaves takes no more input.
        const bool wasLeaving = isLeaving_;
        animation_.stop();
        setProgress(animation_.endValue().toDouble());
        finish();
        return wasLeaving;
    }
    return isLeaving_ && isInput(event->type()) && isInside(object);
}

bool ModalOverlay::event(QEvent* event) {
    if (event->type() == QEvent::LayoutRequest) {
        place();
    }
    return QWidget::event(event);
}

void ModalOverlay::paintEvent(QPaintEvent*) {
    if (const auto view = view_.lock()) {
        const Overlay look = view->overlay();
        QColor color = colorOf(look.background, palette());
        color.setAlphaF(static_cast<float>(look.alpha * progress_));
        QPainter(this).fillRect(rect(), color);
    }
}

void ModalOverlay::resizeEvent(QResizeEvent*) {
    place();
}

void ModalOverlay::keyPressEvent(QKeyEvent* event) {
    // Other keys end here: they are not for the window below.
    if (event->matches(QKeySequence::Cancel)) {
        if (const auto view = view_.lock(); view && !isLeaving_) {
            view->cancel();
        }
    }
}

void ModalOverlay::mousePressEvent(QMouseEvent* event) {
    event->accept();
}

void ModalOverlay::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    // A window that is minimised hides it of the window system's own accord.
    if (!event->spontaneous() && !isLeaving_) {
        if (const auto gone = std::exchange(onWindowGone, nullptr)) {
            gone();
        }
    }
}

bool ModalOverlay::focusNextPrevChild(bool next) {
    auto* const start = window_->focusWidget() ? window_->focusWidget() : this;
    const auto step = [next](QWidget* from) { return next ? from->nextInFocusChain() : from->previousInFocusChain(); };
    for (auto* widget = step(start); widget != start; widget = step(widget)) {
        if (isAncestorOf(widget) && widget->isVisible() && widget->isEnabled() && !widget->focusProxy() &&
            (widget->focusPolicy() & Qt::TabFocus) != 0) {
            widget->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
            return true;
        }
    }
    return true;
}

} // namespace tarnel

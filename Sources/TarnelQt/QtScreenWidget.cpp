#include <TarnelQt/QtScreenToolkit.hpp>
#include <TarnelQt/QtScreenView.hpp>
#include <TarnelQt/QtScreenWidget.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <QHideEvent>
#include <QShowEvent>
#include <QVBoxLayout>
#include <utility>

namespace tarnel {

QtScreenWidget::QtScreenWidget(std::shared_ptr<ViewController> screen, QWidget* parent)
    : QWidget(parent), screen_(std::move(screen)) {
    const auto toolkit = QtScreenToolkit::provided();
    precondition(screen_ && toolkit, "a screen is shown by the toolkit that is provided");
    toolkit->attach(screen_, this);
    setWindowTitle(QString::fromStdString(screen_->title()));
}

QtScreenWidget::~QtScreenWidget() {
    disappear();
}

void QtScreenWidget::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (event->spontaneous()) {
        return;
    }
    screen_->beginAppearance(false);
    fill();
    // It is there once the event is over: what the screen presents then finds the window.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (isVisible()) {
                screen_->endAppearance();
            }
        },
        Qt::QueuedConnection);
}

void QtScreenWidget::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (!event->spontaneous()) {
        disappear();
    }
}

void QtScreenWidget::fill() {
    const auto view = std::dynamic_pointer_cast<QtScreenView>(screen_->view());
    if (!view || !view->widget() || view->widget()->parentWidget() == this) {
        return;
    }
    if (!layout()) {
        auto* const column = new QVBoxLayout(this); // owned by this widget
        column->setContentsMargins(0, 0, 0, 0);
    }
    layout()->addWidget(view->widget());
}

void QtScreenWidget::disappear() {
    screen_->beginDisappearance(false);
    screen_->endDisappearance();
}

} // namespace tarnel

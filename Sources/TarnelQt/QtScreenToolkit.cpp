#include <TarnelQt/QtScreenToolkit.hpp>
#include <TarnelQt/QtScreenView.hpp>
#include <TarnelQt/screens/AlertView.hpp>
#include <TarnelQt/screens/BusyIndicator.hpp>
#include <TarnelQt/screens/ModalOverlay.hpp>
#include <TarnelQt/screens/PickerView.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <QApplication>
#include <utility>

namespace tarnel {
namespace {

constexpr QSize standInSize(480, 560);

} // namespace

/// One screen that is shown over another. The overlay belongs to the window.
struct QtScreenToolkit::Presentation {
    std::shared_ptr<ViewController> screen;
    QPointer<ModalOverlay> overlay;
    std::unique_ptr<QWidget> standIn; ///< the window, where there was none
    bool isLeaving = false;
    std::function<void()> completion; ///< of what is under way

    void complete() {
        if (const auto done = std::exchange(completion, nullptr)) {
            done();
        }
    }

    void removeWidgets() {
        if (overlay) {
            overlay->onWindowGone = nullptr;
            overlay->hide();
            overlay->deleteLater();
            overlay.clear();
        }
        if (standIn) {
            standIn->hide();
            standIn.release()->deleteLater();
        }
    }
};

std::shared_ptr<QtScreenToolkit> QtScreenToolkit::provide() {
    auto toolkit = std::make_shared<QtScreenToolkit>();
    platform::Provided<ScreenToolkit>::provide(toolkit);
    return toolkit;
}

std::shared_ptr<QtScreenToolkit> QtScreenToolkit::provided() {
    return platform::Platform::isInstalled()
               ? std::dynamic_pointer_cast<QtScreenToolkit>(platform::Provided<ScreenToolkit>::get())
               : nullptr;
}

QtScreenToolkit::~QtScreenToolkit() {
    while (!presentations_.empty()) {
        const auto presentation = presentations_.back();
        presentations_.pop_back();
        presentation->completion = nullptr;
        presentation->removeWidgets();
        if (platform::Platform::isInstalled()) {
            presentation->screen->beginDisappearance(false);
            presentation->screen->endDisappearance();
        }
    }
}

void QtScreenToolkit::attach(const std::shared_ptr<ViewController>& screen, QWidget* widget) {
    std::erase_if(widgets_, [](const auto& entry) { return entry.first.expired() || !entry.second; });
    widgets_[screen] = widget;
}

std::shared_ptr<ScreenView> QtScreenToolkit::makePickerView(const std::shared_ptr<TarnelPickerController>& picker) {
    return PickerView::make(picker);
}

std::shared_ptr<ScreenView> QtScreenToolkit::makeAlertView(const std::shared_ptr<AlertController>& alert) {
    return AlertView::make(alert);
}

std::shared_ptr<QtScreenToolkit::Presentation>
QtScreenToolkit::find(const std::shared_ptr<ViewController>& screen) const {
    for (const auto& presentation : presentations_) {
        if (presentation->screen == screen) {
            return presentation;
        }
    }
    return nullptr;
}

/// The visible window that a screen stands in; the active one for a screen that is not known.
QWidget* QtScreenToolkit::windowOf(const std::shared_ptr<ViewController>& screen) const {
    QWidget* widget = nullptr;
    if (const auto presented = find(screen)) {
        widget = presented->overlay;
    } else if (const auto attached = widgets_.find(screen); attached != widgets_.end()) {
        widget = attached->second;
    } else {
        widget = QApplication::activeWindow();
    }
    return widget && widget->window()->isVisible() ? widget->window() : nullptr;
}

int QtScreenToolkit::duration(const QWidget* window, bool animated) const {
    return animated && window && BusyIndicator::mayMove(*window) ? static_cast<int>(animation_.count()) : 0;
}

void QtScreenToolkit::cover(const std::shared_ptr<Presentation>& presentation,
                            const std::shared_ptr<ViewController>& below) {
    const auto view = std::dynamic_pointer_cast<QtScreenView>(presentation->screen->view());
    if (!view || !view->widget()) {
        return;
    }
    auto* window = windowOf(below);
    if (!window) {
        presentation->standIn = std::make_unique<QWidget>();
        window = presentation->standIn.get();
        window->setWindowTitle(QString::fromStdString(presentation->screen->title()));
        window->resize(standInSize);
        window->show();
    }
    auto* const overlay = new ModalOverlay(window, view); // owned by the window
    overlay->onWindowGone = [weak = std::weak_ptr(presentation)] {
        if (const auto gone = weak.lock()) {
            if (gone->overlay) {
                gone->overlay->deleteLater();
                gone->overlay.clear();
            }
            gone->screen->dismiss(false);
        }
    };
    presentation->overlay = overlay;
}

void QtScreenToolkit::present(const std::shared_ptr<ViewController>& screen,
                              const std::shared_ptr<ViewController>& below, bool animated,
                              std::function<void()> completion) {
    if (const auto before = find(screen)) {
        end(before); // it was still going
    }
    const auto presentation = std::make_shared<Presentation>();
    presentation->screen = screen;
    presentation->completion = std::move(completion);
    presentations_.push_back(presentation);
    screen->beginAppearance(animated);
    if (presentation->isLeaving || find(screen) != presentation) {
        return; // it left before it was seen
    }
    cover(presentation, below);
    const auto appeared = [weak = std::weak_ptr(presentation)] {
        if (const auto there = weak.lock(); there && !there->isLeaving) {
            auto done = std::exchange(there->completion, nullptr);
            there->screen->endAppearance();
            if (done) {
                done();
            }
        }
    };
    if (const QPointer<ModalOverlay> overlay = presentation->overlay) {
        overlay->appear(duration(overlay->parentWidget(), animated), appeared);
    } else {
        appeared();
    }
}

void QtScreenToolkit::dismiss(const std::shared_ptr<ViewController>& screen, bool animated,
                              std::function<void()> completion) {
    const auto presentation = find(screen);
    if (!presentation || presentation->isLeaving) {
        return;
    }
    presentation->isLeaving = true;
    presentation->completion = std::move(completion);
    screen->beginDisappearance(animated);
    if (find(screen) != presentation) {
        return;
    }
    const QPointer<ModalOverlay> overlay = presentation->overlay;
    if (!overlay) {
        end(presentation);
        return;
    }
    // A toolkit that goes away ends what it shows first.
    overlay->leave(duration(overlay->parentWidget(), animated), [this, weak = std::weak_ptr(presentation)] {
        if (const auto gone = weak.lock()) {
            end(gone);
        }
    });
}

void QtScreenToolkit::end(const std::shared_ptr<Presentation>& presentation) {
    std::erase(presentations_, presentation);
    presentation->removeWidgets();
    presentation->screen->endDisappearance();
    presentation->complete();
}

} // namespace tarnel

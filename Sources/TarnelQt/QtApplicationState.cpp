#include <TarnelQt/QtApplicationState.hpp>

#include <QEvent>
#include <QGuiApplication>
#include <QWindow>
#include <algorithm>
#include <utility>

namespace tarnel {
namespace {

using platform::ApplicationState;

bool isAnyWindowSeen() {
    const auto windows = QGuiApplication::topLevelWindows();
    return std::any_of(windows.begin(), windows.end(), [](const QWindow* window) {
        return window->isVisible() && !window->windowStates().testFlag(Qt::WindowMinimized);
    });
}

ApplicationState stateOfNow() {
    const auto state = QGuiApplication::applicationState();
    if (!isAnyWindowSeen() || state == Qt::ApplicationHidden || state == Qt::ApplicationSuspended) {
        return ApplicationState::background;
    }
    return state == Qt::ApplicationActive ? ApplicationState::active : ApplicationState::inactive;
}

} // namespace

QtApplicationState::QtApplicationState(Change changed) : changed_(std::move(changed)) {
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, [this] { update(); });
    qGuiApp->installEventFilter(this);
    // Before its first window an application is about to come to the front.
    if (!QGuiApplication::topLevelWindows().isEmpty()) {
        state_ = stateOfNow();
    }
    changed_(state_);
}

QtApplicationState::~QtApplicationState() {
    if (qGuiApp) {
        qGuiApp->removeEventFilter(this);
    }
}

bool QtApplicationState::eventFilter(QObject* object, QEvent* event) {
    const auto type = event->type();
    if ((type == QEvent::WindowStateChange || type == QEvent::Hide || type == QEvent::Show) && object->isWindowType()) {
        // The window has changed once the event is over.
        QMetaObject::invokeMethod(
            this, [this] { update(); }, Qt::QueuedConnection);
    }
    return QObject::eventFilter(object, event);
}

void QtApplicationState::update() {
    const auto state = stateOfNow();
    if (std::exchange(state_, state) != state) {
        changed_(state);
    }
}

} // namespace tarnel

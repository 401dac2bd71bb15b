#include <TarnelSDK/manager/TarnelManager.hpp>
#include <TarnelSDK/ui/GlassesScreen.hpp>

#include <utility>

namespace tarnel {

GlassesScreen::~GlassesScreen() {
    if (const auto device = device_.lock()) {
        device->isConnected.unbind(connectionListener_);
    }
}

void GlassesScreen::viewDidLoad() {
    const auto weak = std::weak_ptr(std::static_pointer_cast<GlassesScreen>(shared_from_this()));
    connectionListener_ = std::make_shared<BondListener<bool>>([weak](bool isConnected) {
        if (const auto self = weak.lock()) {
            self->connectionChanged(isConnected);
        }
    });
    // Before the base's, so that the display has been given back when `onAppLeave` is called.
    observations_.push_back(observe(platform::Application::willResignActive, &GlassesScreen::applicationLeaves));
    observations_.push_back(observe(platform::Application::didBecomeActive, &GlassesScreen::applicationReturns));
    TarnelBaseViewController::viewDidLoad();
    observations_.push_back(observe(TarnelManager::currentDeviceChange, &GlassesScreen::deviceChanged));
    deviceChanged();
}

platform::Observation GlassesScreen::observe(const char* name, Handler handler, const std::shared_ptr<Tarnel>& sender) {
    return TarnelBaseViewController::observe(name, sender, [handler](TarnelBaseViewController& self, const auto&) {
        (static_cast<GlassesScreen&>(self).*handler)();
    });
}

void GlassesScreen::viewDidAppear(bool animated) {
    TarnelBaseViewController::viewDidAppear(animated);
    startControl();
}

void GlassesScreen::viewWillDisappear(bool animated) {
    stopControl();
    TarnelBaseViewController::viewWillDisappear(animated);
}

void GlassesScreen::startControl() {
    isWanted_ = true;
    isTakenByAnother_ = false;
    takeControl();
}

void GlassesScreen::stopControl() {
    isWanted_ = false;
    if (isActive()) {
        TarnelBaseViewController::stopControl();
        onControlLost();
    }
}

void GlassesScreen::takeControl() {
    const auto device = device_.lock();
    if (!isWanted_ || isTakenByAnother_ || isActive() || !device || !device->isConnected.value() ||
        device != TarnelManager::shared().currentDevice()) {
        return;
    }
    const auto state = platform::Platform::current().services().application->state();
    if (hasLeft_ && state != platform::ApplicationState::active) {
        return;
    }
    hasLeft_ = false;
    TarnelBaseViewController::startControl();
    if (isActive()) {
        onControlTaken();
    }
}

void GlassesScreen::loseControl() {
    if (isActive()) {
        forgetControl();
        onControlLost();
    }
}

void GlassesScreen::deviceChanged() {
    const auto device = TarnelManager::shared().currentDevice();
    const auto before = device_.lock();
    if (before && before == device) {
        return;
    }
    if (before) {
        before->isConnected.unbind(connectionListener_);
        if (before->hasControl()) {
            releaseDisplay(*before);
        }
    }
    device_ = device;
    isTakenByAnother_ = false;
    isConnected_ = false;
    // Before the base's, so that `onDisplayTimeout` finds the display lost.
    timeout_ = observe(NotificationName::displayTimeout, &GlassesScreen::loseControl, device);
    listenTo(device);
    loseControl();
    if (device && device == device_.lock()) {
        device->isConnected.bind(connectionListener_, true);
    }
}

void GlassesScreen::connectionChanged(bool isConnected) {
    const auto device = device_.lock();
    if (!device) {
        return;
    }
    if (isActive() && !(device->isAuthenticated() && device->hasControl())) {
        isTakenByAnother_ = !isConnected && device->isAuthenticated();
        loseControl();
    }
    if (isConnected && !std::exchange(isConnected_, isConnected)) {
        onConnected();
    }
    isConnected_ = isConnected;
    if (isConnected) {
        takeControl();
    }
}

void GlassesScreen::applicationLeaves() {
    hasLeft_ = true;
    if (isActive()) {
        TarnelBaseViewController::stopControl();
        onControlLost();
    }
}

void GlassesScreen::applicationReturns() {
    isTakenByAnother_ = false;
    takeControl();
}

} // namespace tarnel

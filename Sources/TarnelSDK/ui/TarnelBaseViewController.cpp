#include <TarnelSDK/manager/TarnelManager.hpp>
#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/ui/MainQueue.hpp>
#include <TarnelSDK/ui/TarnelBaseViewController.hpp>
#include <TarnelSDK/ui/TarnelPickerController.hpp>

#include <functional>
#include <utility>

namespace tarnel {
namespace {

/// Seconds for which the display stays on when it is given back.
constexpr unsigned timeoutOnRelease = 10;

} // namespace

TarnelBaseViewController::~TarnelBaseViewController() {
    if (const auto device = watched_.lock(); device && isConnectedListener_) {
        device->isConnected.unbind(isConnectedListener_);
    }
    if (isLinkedListener_ && platform::Platform::isInstalled()) {
        TarnelManager::shared().isLinked.unbind(isLinkedListener_);
    }
}

std::weak_ptr<TarnelBaseViewController> TarnelBaseViewController::weakSelf() {
    return std::static_pointer_cast<TarnelBaseViewController>(shared_from_this());
}

void TarnelBaseViewController::startControl() {
    const auto& application = platform::Platform::current().services().application;
    if (application->state() == platform::ApplicationState::background || isActive_) {
        return;
    }
    isActive_ = true;
    if (const auto device = TarnelManager::shared().currentDevice()) {
        const int timeout = displayTimeout();
        precondition(timeout >= 0, "a display time-out is not negative");
        device->setLayout(layout(), static_cast<unsigned>(timeout), hideStatusBar());
    }
}

void TarnelBaseViewController::stopControl() {
    if (!isActive_) {
        return;
    }
    isActive_ = false;
    if (const auto device = TarnelManager::shared().currentDevice()) {
        releaseDisplay(*device);
    }
}

void TarnelBaseViewController::releaseDisplay(Tarnel& device) {
    device.setLayout(Layout::default_, timeoutOnRelease, false);
}

void TarnelBaseViewController::showPairingPicker() {
    present(std::make_shared<TarnelPickerController>(), true);
}

void TarnelBaseViewController::viewDidAppear(bool animated) {
    ViewController::viewDidAppear(animated);
    if (!TarnelManager::shared().currentDevice()) {
        showPairingPicker();
    }
}

void TarnelBaseViewController::viewDidLoad() {
    ViewController::viewDidLoad();
    listenTo(TarnelManager::shared().currentDevice());
    leaving_ =
        observe(platform::Application::willResignActive, nullptr, [](auto& self, const auto&) { self.onAppLeave(); });
    const auto weak = weakSelf();
    isConnectedListener_ = std::make_shared<BondListener<bool>>([weak](bool isConnected) {
        if (const auto self = weak.lock(); self && !isConnected) {
            self->onDisconnected();
        }
    });
    watchCurrentDevice();
    isLinkedListener_ = std::make_shared<BondListener<bool>>([weak](bool isLinked) {
        if (const auto self = weak.lock()) {
            self->linkChanged(isLinked);
        }
    });
    TarnelManager::shared().isLinked.bind(isLinkedListener_, true);
}

void TarnelBaseViewController::listenTo(const std::shared_ptr<Tarnel>& device) {
    observations_.clear();
    observations_.push_back(
        observe(NotificationName::tap, device, [](auto& self, const auto& notification) { self.onTap(notification); }));
    observations_.push_back(
        observe(NotificationName::displayTimeout, device, [](auto& self, const auto&) { self.onDisplayTimeout(); }));
    observations_.push_back(observe(NotificationName::power_button, device,
                                    [](auto& self, const auto& notification) { self.onPowerButtonTap(notification); }));
}

platform::Observation TarnelBaseViewController::observe(const char* name, const std::shared_ptr<Tarnel>& sender,
                                                        Hook hook) {
    return platform::Platform::current().notificationCenter().observe(
        name,
        [weak = weakSelf(), hook = std::move(hook)](const platform::Notification& notification) {
            onMainQueue(weak, [hook, notification](TarnelBaseViewController& self) { hook(self, notification); });
        },
        sender);
}

/// The listener is bound once, to the device that is current.
void TarnelBaseViewController::watchCurrentDevice() {
    if (const auto before = watched_.lock()) {
        before->isConnected.unbind(isConnectedListener_);
    }
    const auto device = TarnelManager::shared().currentDevice();
    watched_ = device;
    if (device) {
        device->isConnected.bind(isConnectedListener_, true);
    }
}

void TarnelBaseViewController::linkChanged(bool isLinked) {
    if (isLinked) {
        watchCurrentDevice();
    } else {
        onDisconnected();
    }
}

} // namespace tarnel

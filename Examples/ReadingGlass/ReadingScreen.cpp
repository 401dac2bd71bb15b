#include "ReadingScreen.hpp"

#include <TarnelSDK/images/Image.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>

#include <any>
#include <utility>

using namespace tarnel;

namespace {

Image imageOf(const QImage& page) {
    Bytes pixels;
    for (int y = 0; y < page.height(); ++y) {
        pixels.insert(pixels.end(), page.constScanLine(y), page.constScanLine(y) + page.width());
    }
    return Image(page.width(), page.height(), PixelFormat::gray8, std::move(pixels));
}

std::shared_ptr<Tarnel> connectedDevice() {
    const auto device = TarnelManager::shared().currentDevice();
    return device && device->isConnected.value() ? device : nullptr;
}

} // namespace

void ReadingScreen::viewDidLoad() {
    heard_ = TarnelManager::shared().currentDevice();
    hearsAll_ = heard_.expired();
    TarnelBaseViewController::viewDidLoad();
    const auto weak = std::weak_ptr(std::static_pointer_cast<ReadingScreen>(shared_from_this()));
    connectionListener_ = std::make_shared<BondListener<bool>>([weak](bool isConnected) {
        if (const auto self = weak.lock(); self && isConnected) {
            self->connected();
        }
    });
    observation_ = platform::Platform::current().notificationCenter().observe(TarnelManager::currentDeviceChange,
                                                                              [weak](const auto&) {
                                                                                  if (const auto self = weak.lock()) {
                                                                                      self->watchDevice();
                                                                                  }
                                                                              });
    watchDevice();
}

void ReadingScreen::watchDevice() {
    if (const auto before = watched_.lock()) {
        before->isConnected.unbind(connectionListener_);
    }
    const auto device = TarnelManager::shared().currentDevice();
    watched_ = device;
    hear(device);
    if (device) {
        device->isConnected.bind(connectionListener_, true);
    }
    changed();
}

/// The base class hears the glasses that were current when the view was loaded; others that are chosen later are heard
/// here.
void ReadingScreen::hear(const std::shared_ptr<Tarnel>& device) {
    otherGlasses_.clear();
    if (!device || hearsAll_ || heard_.lock() == device) {
        return;
    }
    using Hook = void (*)(ReadingScreen&, const platform::Notification&);
    const auto on = [&](const char* name, Hook hook) {
        const auto weak = std::weak_ptr(std::static_pointer_cast<ReadingScreen>(shared_from_this()));
        const auto& services = platform::Platform::current().services();
        otherGlasses_.push_back(platform::Platform::current().notificationCenter().observe(
            name,
            [weak, hook, queue = services.scheduler->mainQueue()](const platform::Notification& notification) {
                queue->async([weak, hook, notification] {
                    if (const auto self = weak.lock()) {
                        hook(*self, notification);
                    }
                });
            },
            device));
    };
    on(NotificationName::tap, [](auto& self, const auto& notification) { self.onTap(notification); });
    on(NotificationName::power_button,
       [](auto& self, const auto& notification) { self.onPowerButtonTap(notification); });
    on(NotificationName::displayTimeout, [](auto& self, const auto&) { self.onDisplayTimeout(); });
}

void ReadingScreen::viewDidAppear(bool animated) {
    TarnelBaseViewController::viewDidAppear(animated);
    read();
}

void ReadingScreen::viewWillDisappear(bool animated) {
    pause();
    TarnelBaseViewController::viewWillDisappear(animated);
}

ReadingScreen::State ReadingScreen::state() const {
    const auto device = connectedDevice();
    if (!device) {
        return State::noGlasses;
    }
    return wantsDisplay_ && device->hasControl() ? State::reading : State::paused;
}

void ReadingScreen::open(Book book) {
    book_ = std::move(book);
    turnTo(0);
}

void ReadingScreen::next() {
    turnTo(page_ + 1);
}

void ReadingScreen::back() {
    turnTo(page_ - 1);
}

void ReadingScreen::turnTo(int page) {
    if (book_ && page >= 0 && page < book_->pageCount()) {
        page_ = page;
        pageImage_ = book_->page(page);
        show();
        changed();
    }
}

void ReadingScreen::read() {
    wantsDisplay_ = true;
    startControl();
    const auto device = connectedDevice();
    if (device && isActive() && !device->hasControl()) {
        // The glasses have come, or come back, since control was taken.
        device->setLayout(layout(), static_cast<unsigned>(displayTimeout()), hideStatusBar());
    }
    show();
    changed();
}

void ReadingScreen::pause() {
    wantsDisplay_ = false;
    stopControl();
    changed();
}

void ReadingScreen::connected() {
    if (wantsDisplay_) {
        read();
    } else {
        changed();
    }
}

/// Also when another application has taken the display, over a connection that stands: then it is theirs.
void ReadingScreen::onDisconnected() {
    const auto device = TarnelManager::shared().currentDevice();
    if (device && device->isAuthenticated()) {
        wantsDisplay_ = false;
    }
    changed();
}

void ReadingScreen::onTap(const platform::Notification& notification) {
    const auto found = notification.userInfo.find(NotificationName::tap);
    const auto* const count = found == notification.userInfo.end() ? nullptr : std::any_cast<Value>(&found->second);
    if (count && *count == Value(2)) {
        back();
    } else {
        next();
    }
}

void ReadingScreen::onPowerButtonTap(const platform::Notification&) {
    pause();
}

void ReadingScreen::show() {
    const auto device = connectedDevice();
    if (book_ && device && state() == State::reading) {
        device->canvas.drawBackground(imageOf(pageImage_), 0, 0, false);
        device->canvas.commit();
    }
}

void ReadingScreen::changed() const {
    if (onChange) {
        onChange();
    }
}

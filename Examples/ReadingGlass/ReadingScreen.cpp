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

} // namespace

ReadingScreen::State ReadingScreen::state() const {
    const auto device = TarnelManager::shared().currentDevice();
    if (!device || !device->isConnected.value()) {
        return State::noGlasses;
    }
    return isActive() ? State::reading : State::paused;
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

void ReadingScreen::onControlTaken() {
    show();
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

void ReadingScreen::show() {
    const auto device = TarnelManager::shared().currentDevice();
    if (book_ && device && isActive()) {
        device->canvas.drawBackground(imageOf(pageImage_), 0, 0, false);
        device->canvas.commit();
    }
}

void ReadingScreen::changed() const {
    if (onChange) {
        onChange();
    }
}

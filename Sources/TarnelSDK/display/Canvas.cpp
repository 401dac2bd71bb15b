#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/display/DisplayDevice.hpp>
#include <TarnelSDK/foundation/Data+Extensions.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>
#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

namespace tarnel {
namespace {

/// Images of fewer pixels travel as one band.
constexpr std::int64_t smallestSplitImage = 39604;
/// The bitmap of a band of a larger image, in bytes.
constexpr int bandBytes = 9900;
/// The largest message that the glasses take, in bytes.
constexpr std::size_t largestMessage = 10000;

MessagePackValue unsignedValue(int number) {
    precondition(number >= 0, "coordinates and sizes on the display are not negative");
    return MessagePackValue(static_cast<std::uint64_t>(number));
}

int sum(int a, int b) {
    const std::int64_t result = std::int64_t{a} + b;
    precondition(result >= std::numeric_limits<int>::min() && result <= std::numeric_limits<int>::max(),
                 "coordinates on the display do not overflow");
    return static_cast<int>(result);
}

Bytes packedCommand(const char* key, MessagePackValue argument) {
    auto command = MessagePackValue::map({{key, std::move(argument)}});
    return pack(MessagePackValue::map({{"canvas", std::move(command)}}));
}

void send(Bytes message) {
    const auto source = platform::Provided<DisplayDeviceSource>::get();
    if (const auto device = source ? source->currentDisplayDevice() : nullptr) {
        device->sendData(std::move(message), ItemType::longwrite);
    }
}

} // namespace

std::vector<Rect> splitImage(Size image, int bpp) {
    precondition(bpp == 1 || bpp == 2 || bpp == 4 || bpp == 8, "a pixel has 1, 2, 4 or 8 bits");
    if (image.isEmpty()) {
        return {};
    }
    if (std::int64_t{image.width} * image.height < smallestSplitImage) {
        return {{0, 0, image.width, image.height}};
    }
    const int rowsPerBand = 8 / bpp * bandBytes / image.width;
    if (rowsPerBand == 0) {
        return {};
    }
    std::vector<Rect> bands;
    for (int y = 0; y < image.height; y += rowsPerBand) {
        bands.push_back({0, y, image.width, std::min(rowsPerBand, image.height - y)});
    }
    return bands;
}

Canvas::Canvas() : canvas_(WIDTH, HEIGHT) {}

void Canvas::drawBackground(const Image& image, int x, int y, bool shouldCommitImmediately) {
    const std::lock_guard lock(mutex_);
    isBackgroundDirty_ = true;
    const auto gray = convertToGrayScale(image);
    if (!gray) {
        return;
    }
    for (const Rect& band : splitImage({gray->width(), gray->height()}, 2)) {
        sendBand(*gray, band, x, y);
        if (shouldCommitImmediately) {
            flush();
        }
    }
}

void Canvas::sendBand(const Image& gray, const Rect& band, int x, int y) {
    const Image pixels = crop(gray, band);
    const auto bitmap = convertToLvglImg(pixels, 2, false);
    if (!bitmap) {
        return;
    }
    const int left = sum(x, band.x);
    const int top = sum(y, band.y);
    Bytes message =
        packedCommand("cnvs_img", MessagePackValue::array({
                                      MessagePackValue::array({unsignedValue(left), unsignedValue(top)}),
                                      MessagePackValue::array({unsignedValue(band.width), unsignedValue(band.height)}),
                                      unsignedValue(1),
                                      compressWithRLE(*bitmap),
                                  }));
    if (message.size() > largestMessage && band.height > 1) {
        // Rare: pixels that the run-length encoding makes longer. The glasses would refuse the message.
        const int upper = band.height / 2;
        sendBand(gray, {band.x, band.y, band.width, upper}, x, y);
        sendBand(gray, {band.x, band.y + upper, band.width, band.height - upper}, x, y);
        return;
    }
    send(std::move(message));
    canvas_.draw(pixels, left, sum(HEIGHT - band.height, -top));
}

void Canvas::clearBackground() {
    const std::lock_guard lock(mutex_);
    send(packedCommand("cnvs_clr", nullptr));
    clearMirror();
    isBackgroundDirty_ = true;
}

void Canvas::clearBackgroundRect(int x, int y, int width, int height) {
    const std::lock_guard lock(mutex_);
    precondition(width >= 0 && height >= 0, "coordinates and sizes on the display are not negative");
    send(packedCommand("cnvs_clrblk", MessagePackValue::array({
                                          unsignedValue(x),
                                          unsignedValue(y),
                                          unsignedValue(sum(x, width)),
                                          unsignedValue(sum(y, height)),
                                      })));
    canvas_.clear({x, HEIGHT - y, width, height});
    isBackgroundDirty_ = true;
}

void Canvas::flush() {
    const std::lock_guard lock(mutex_);
    send(packedCommand("flush", nullptr));
    isBackgroundDirty_ = false;
}

void Canvas::commit() {
    const std::lock_guard lock(mutex_);
    if (isBackgroundDirty_) {
        flush();
    }
}

void Canvas::reset() {
    const std::lock_guard lock(mutex_);
    clearMirror();
    previousDrawingRects_.clear();
    isBackgroundDirty_ = false;
}

void Canvas::clearMirror() {
    canvas_.clear({0, 0, WIDTH, HEIGHT});
}

Image Canvas::mirror() const {
    const std::lock_guard lock(mutex_);
    return canvas_.image();
}

} // namespace tarnel

#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/display/CanvasMessages.hpp>
#include <TarnelSDK/display/Coordinates.hpp>
#include <TarnelSDK/display/DisplayDevice.hpp>
#include <TarnelSDK/foundation/Data+Extensions.hpp>
#include <TarnelSDK/glyphs/GlyphRun.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace tarnel {
namespace {

constexpr int textSlotCount = 7;
constexpr int imageSlotCount = 3;
constexpr int animationSlotCount = 1;

/// Images of fewer pixels travel as one band.
constexpr std::int64_t smallestSplitImage = 39604;
/// The bitmap of a band of a larger image, in bytes.
constexpr int bandBytes = 9900;

LVGLSlotManager emptySlotManager() {
    return {textSlotCount, imageSlotCount, animationSlotCount};
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

Canvas::Canvas() : canvas_(WIDTH, HEIGHT), slotManager_(emptySlotManager()) {}

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
    const int left = coordinate(std::int64_t{x} + band.x);
    const int top = coordinate(std::int64_t{y} + band.y);
    Bytes message = packedCommand(backgroundLayer, "cnvs_img",
                                  MessagePackValue::array({
                                      MessagePackValue::array({unsignedValue(left), unsignedValue(top)}),
                                      MessagePackValue::array({unsignedValue(band.width), unsignedValue(band.height)}),
                                      unsignedValue(1),
                                      compressWithRLE(*bitmap),
                                  }));
    if (message.size() > DisplayDevice::MAX_PAYLOAD_SIZE && band.height > 1) {
        // Rare: pixels that the run-length encoding makes longer. The glasses would refuse the message.
        const int upper = band.height / 2;
        sendBand(gray, {band.x, band.y, band.width, upper}, x, y);
        sendBand(gray, {band.x, band.y + upper, band.width, band.height - upper}, x, y);
        return;
    }
    sendToDisplay(std::move(message));
    canvas_.draw(pixels, left, coordinate(std::int64_t{HEIGHT} - band.height - top));
}

void Canvas::clearBackground() {
    const std::lock_guard lock(mutex_);
    sendCommand(backgroundLayer, "cnvs_clr", nullptr);
    clearMirror();
    isBackgroundDirty_ = true;
}

void Canvas::clearBackgroundRect(int x, int y, int width, int height) {
    const std::lock_guard lock(mutex_);
    precondition(width >= 0 && height >= 0, "coordinates and sizes on the display are not negative");
    sendCommand(backgroundLayer, "cnvs_clrblk",
                MessagePackValue::array({
                    unsignedValue(x),
                    unsignedValue(y),
                    unsignedValue(coordinate(std::int64_t{x} + width)),
                    unsignedValue(coordinate(std::int64_t{y} + height)),
                }));
    canvas_.clear({x, HEIGHT - y, width, height});
    isBackgroundDirty_ = true;
}

void Canvas::flush() {
    const std::lock_guard lock(mutex_);
    sendCommand(backgroundLayer, "flush", nullptr);
    isBackgroundDirty_ = false;
}

void Canvas::clear(bool shouldClearBackground) {
    const std::lock_guard lock(mutex_);
    clear_all();
    if (shouldClearBackground) {
        clearBackground();
    }
}

void Canvas::clear_all() {
    const std::lock_guard lock(mutex_);
    sendCommand(objectLayer, "clr_all", nullptr);
    slotManager_ = emptySlotManager();
}

void Canvas::commit() {
    const HeldGlyphImages images; // whoever is shown them may use the canvas, on other threads too
    const std::lock_guard lock(mutex_);
    if (isTextDirty_) {
        commitText();
    }
    if (isLVGLObjectDirty_) {
        sendCommand(objectLayer, "flush", nullptr);
        isLVGLObjectDirty_ = false;
    }
    if (isBackgroundDirty_) {
        flush();
    }
}

void Canvas::reset() {
    const std::lock_guard lock(mutex_);
    clearMirror();
    previousDrawingRects_.clear();
    slotManager_ = emptySlotManager();
    isBackgroundDirty_ = false;
    isTextDirty_ = false;
    isLVGLObjectDirty_ = false;
}

void Canvas::clearMirror() {
    canvas_.clear({0, 0, WIDTH, HEIGHT});
}

Image Canvas::mirror() const {
    const std::lock_guard lock(mutex_);
    return canvas_.image();
}

} // namespace tarnel

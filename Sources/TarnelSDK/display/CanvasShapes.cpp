#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/display/CanvasMessages.hpp>
#include <TarnelSDK/glyphs/TextImage.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>
#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <cmath>

/// Shapes and texts of the background.
namespace tarnel {
namespace {

constexpr Rect display{0, 0, Canvas::WIDTH, Canvas::HEIGHT};

void requireLength(double length) {
    precondition(std::isfinite(length) && length >= 0, "lengths on the display are finite and not negative");
}

} // namespace

void Canvas::drawRect(const RectArguments& arguments) {
    const std::lock_guard lock(mutex_);
    const Rect rect{arguments.x, arguments.y, arguments.width, arguments.height};
    requireLength(rect.width);
    requireLength(rect.height);
    requireLength(arguments.cornerRadius);
    requireLength(arguments.borderWidth);
    const bool hasBorder = arguments.borderWidth > 0;
    const bool isRound = arguments.cornerRadius > 0 && arguments.corners != Corners{false, false, false, false};
    if (!hasBorder && !arguments.fillColor) {
        return;
    }
    if (!hasBorder && !isRound) {
        fillRect(intersection(rect, display), *arguments.fillColor);
        return;
    }
    RoundedRectangle shape{
        rect, arguments.cornerRadius, arguments.corners, arguments.borderWidth, grayOf(arguments.borderColor), {}};
    if (arguments.fillColor) {
        shape.fillGray = grayOf(*arguments.fillColor);
    }
    if (const auto drawn = drawShape(shape, display)) {
        drawVisible(drawn->image, drawn->origin);
    }
}

void Canvas::fillRect(const Rect& rect, Color color) {
    if (rect.isEmpty()) {
        return;
    }
    sendCommand(backgroundLayer, "cnvs_clrblk",
                MessagePackValue::array({
                    unsignedValue(rect.x),
                    unsignedValue(rect.y),
                    unsignedValue(rect.x + rect.width),
                    unsignedValue(rect.y + rect.height),
                    static_cast<unsigned>(color),
                }));
    canvas_.fill({rect.x, HEIGHT - rect.y - rect.height, rect.width, rect.height}, levelOf(color));
    isBackgroundDirty_ = true;
}

void Canvas::drawLine(const LineArguments& arguments) {
    const std::lock_guard lock(mutex_);
    precondition(std::isfinite(arguments.x1) && std::isfinite(arguments.y1) && std::isfinite(arguments.x2) &&
                     std::isfinite(arguments.y2),
                 "coordinates on the display are finite");
    requireLength(arguments.lineWidth);
    const StraightLine line{arguments.x1, arguments.y1,        arguments.x2,
                            arguments.y2, arguments.lineWidth, grayOf(arguments.color)};
    if (const auto drawn = drawShape(line, display)) {
        drawVisible(drawn->image, drawn->origin);
    }
}

void Canvas::drawStaticText(std::string_view text, const Font& font, Color color, int x, int y) {
    drawStaticText(AttributedString(std::string(text), {font, UIColor::gray(grayOf(color) / 255.0)}), x, y);
}

void Canvas::drawStaticText(const AttributedString& attributedString, int x, int y) {
    drawVisible(text(attributedString, platform::Platform::current().services().application->locale()), {x, y});
}

void Canvas::drawVisible(const Image& image, Point origin) {
    const Rect visible = intersection({origin.x, origin.y, image.width(), image.height()}, display);
    if (visible.isEmpty()) {
        return;
    }
    drawBackground(crop(image, {visible.x - origin.x, visible.y - origin.y, visible.width, visible.height}), visible.x,
                   visible.y, false);
}

} // namespace tarnel

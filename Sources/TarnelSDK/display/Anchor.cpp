#include <TarnelSDK/display/Anchor.hpp>
#include <TarnelSDK/display/Coordinates.hpp>

namespace tarnel {
namespace {

constexpr int displayWidth = 640;
constexpr int displayHeight = 480;

int x(Anchor anchor, int offset, int width) {
    switch (anchor) {
    case Anchor::topLeft:
    case Anchor::bottomLeft:
    case Anchor::midLeft:
        return offset;
    case Anchor::topCenter:
    case Anchor::bottomCenter:
    case Anchor::center:
        return coordinate(std::int64_t{displayWidth / 2} + offset - width / 2);
    case Anchor::topRight:
    case Anchor::bottomRight:
    case Anchor::midRight:
        break;
    }
    return coordinate(std::int64_t{displayWidth} + offset - width);
}

int y(Anchor anchor, int offset, int height) {
    switch (anchor) {
    case Anchor::topLeft:
    case Anchor::topCenter:
    case Anchor::topRight:
        return coordinate(std::int64_t{offset} + height);
    case Anchor::bottomLeft:
    case Anchor::bottomCenter:
    case Anchor::bottomRight:
        return coordinate(std::int64_t{displayHeight} - offset);
    case Anchor::midLeft:
    case Anchor::midRight:
    case Anchor::center:
        break;
    }
    return coordinate(std::int64_t{displayHeight / 2} + offset - height / 2);
}

} // namespace

std::optional<Anchor> anchorFromRawValue(int rawValue) {
    if (rawValue < static_cast<int>(Anchor::topLeft) || rawValue > static_cast<int>(Anchor::center)) {
        return std::nullopt;
    }
    return static_cast<Anchor>(rawValue);
}

Point toPoint(Anchor anchor, int offsetX, int offsetY, Size size) {
    return {x(anchor, offsetX, size.width), y(anchor, offsetY, size.height)};
}

} // namespace tarnel

#include "Placement.hpp"

#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <algorithm>

namespace tarnel::command {

PlacedPicture place(const Image& picture, std::optional<Point> at, bool fit) {
    const Point origin = at.value_or(Point{});
    const Size room{Canvas::WIDTH - origin.x, Canvas::HEIGHT - origin.y};
    if (!fit) {
        const Size shown{std::min(picture.width(), room.width), std::min(picture.height(), room.height)};
        const bool isCut = shown != Size{picture.width(), picture.height()};
        return {isCut ? crop(picture, {0, 0, shown.width, shown.height}) : picture, origin, isCut};
    }
    const Image scaled = resize(picture, room, true);
    if (at) {
        return {scaled, origin};
    }
    return {scaled, {(Canvas::WIDTH - scaled.width()) / 2, (Canvas::HEIGHT - scaled.height()) / 2}};
}

} // namespace tarnel::command

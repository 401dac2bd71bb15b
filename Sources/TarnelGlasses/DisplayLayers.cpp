#include <TarnelGlasses/DisplayLayers.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

void DisplayLayers::drawBackground(const Area& area, ByteView pixels) {
    const auto right = std::min<std::int64_t>(area.x + area.width, Frame::width);
    const auto bottom = std::min<std::int64_t>(area.y + area.height, Frame::height);
    for (auto y = std::max<std::int64_t>(area.y, 0); y < bottom; ++y) {
        for (auto x = std::max<std::int64_t>(area.x, 0); x < right; ++x) {
            const auto pixel = static_cast<std::size_t>((y - area.y) * area.width + (x - area.x));
            const auto shift = 6 - 2 * (pixel % 4);
            const auto level = static_cast<std::uint8_t>((pixels[pixel / 4] >> shift) & 3);
            background_.set(static_cast<int>(x), static_cast<int>(y), level);
        }
    }
}

void DisplayLayers::fillBackground(const Area& area, std::uint8_t level) {
    background_.fill(area.x, area.y, area.x + area.width, area.y + area.height, level);
}

void DisplayLayers::clearBackground() {
    background_ = Frame();
}

void DisplayLayers::flushBackground() {
    visibleBackground_ = background_;
    composed_.reset();
}

void DisplayLayers::changeObjects(const ObjectCommands& commands, platform::Duration now) {
    for (const auto& change : commands.changes) {
        change(objects_, now);
    }
    composed_.reset();
}

void DisplayLayers::reset() {
    background_ = Frame();
    visibleBackground_ = Frame();
    objects_.reset();
    composed_.reset();
}

const Frame& DisplayLayers::visible(platform::Duration now) const {
    auto moment = objects_.moment(now);
    if (!composed_ || composed_->moment != moment) {
        composed_ = {std::move(moment), visibleBackground_};
        objects_.draw(composed_->frame, now);
    }
    return composed_->frame;
}

} // namespace tarnel::glasses

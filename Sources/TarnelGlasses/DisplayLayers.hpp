#pragma once

#include <TarnelGlasses/Frame.hpp>

#include <cstdint>

namespace tarnel::glasses {

/// The layers of the display. They are drawn on out of sight; `flush` makes what was drawn visible.
class DisplayLayers {
public:
    /// An area of the display, in pixels; parts outside of the display are clipped.
    struct Area {
        std::int64_t x = 0;
        std::int64_t y = 0;
        std::int64_t width = 0;
        std::int64_t height = 0;
    };

    /// Draws pixels of two bits on the background, most significant bits first, rows without padding.
    /// REQUIRES: `pixels` holds the whole area.
    void drawBackground(const Area& area, ByteView pixels);
    void fillBackground(const Area& area, std::uint8_t level);
    void clearBackground();

    void flush();
    /// Empties the layers and what is visible.
    void reset();

    const Frame& visible() const { return visible_; }

private:
    Frame background_;
    Frame visible_;
};

} // namespace tarnel::glasses

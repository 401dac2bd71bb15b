#pragma once

#include <TarnelGlasses/Frame.hpp>
#include <TarnelGlasses/ObjectCommands.hpp>
#include <TarnelGlasses/ObjectLayer.hpp>

#include <cstdint>
#include <optional>
#include <vector>

namespace tarnel::glasses {

/// The layers of the display: a background bitmap, and the retained objects in front of it. Each is drawn on out of
/// sight, and has a flush of its own that makes what was drawn visible.
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
    void flushBackground();

    void changeObjects(const ObjectCommands& commands, platform::Duration now);

    /// Empties the layers and what is visible.
    void reset();

    /// What is visible at this moment.
    const Frame& visible(platform::Duration now) const;
    /// The time until something that moves may look otherwise; nothing when nothing moves.
    std::optional<platform::Duration> nextChange(platform::Duration now) const { return objects_.nextChange(now); }

private:
    struct Composed {
        std::vector<int> moment; ///< of the objects
        Frame frame;
    };

    Frame background_;
    Frame visibleBackground_;
    ObjectLayer objects_;
    mutable std::optional<Composed> composed_; ///< what was handed out last, while it holds
};

} // namespace tarnel::glasses

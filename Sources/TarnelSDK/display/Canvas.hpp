#pragma once

#include <TarnelSDK/display/Mirror.hpp>
#include <TarnelSDK/images/Geometry.hpp>
#include <TarnelSDK/images/Image.hpp>
#include <TarnelSDK/messagepack/MessagePackValue.hpp>

#include <map>
#include <mutex>
#include <vector>

namespace tarnel {

/// The drawing operations of a display.
class CanvasProtocol {
public:
    virtual ~CanvasProtocol() = default;
    virtual void drawBackground(const Image& image, int x, int y, bool shouldCommitImmediately) = 0;
    virtual void clearBackground() = 0;
    virtual void clearBackgroundRect(int x, int y, int width, int height) = 0;
    virtual void flush() = 0;
    virtual void commit() = 0;
    virtual void reset() = 0;
};

/// The horizontal bands in which an image of this size travels, top down; each holds at most 9,900 bytes of bitmap (or
/// the image is small enough for one). No bands where one row alone is larger. REQUIRES: bpp is 1, 2, 4 or 8.
std::vector<Rect> splitImage(Size image, int bpp);

/// The drawing surface of the glasses' display, 640 x 480 pixels, y downward. Owned by its device.
///
/// Drawing goes to the device that is current and is dropped when there is none or it is not connected. Nothing is
/// visible before `commit` (or `flush`). Coordinates and sizes are in pixels; negative ones are programming errors.
/// Called on any thread.
class Canvas : public CanvasProtocol {
public:
    static constexpr int WIDTH = 640;
    static constexpr int HEIGHT = 480;

    Canvas();

    /// Draws the image, in the nearest of four grey levels, with its top left corner at (x, y). What lies past the
    /// right and the bottom edge is sent, but not shown. An image that is empty or wider than 39,600 pixels draws
    /// nothing.
    void drawBackground(const Image& image, int x, int y, bool shouldCommitImmediately) override;
    void clearBackground() override;
    void clearBackgroundRect(int x, int y, int width, int height) override;

    /// Shows the background as drawn so far.
    void flush() override;

    /// Shows everything drawn since the last commit.
    void commit() override;

    /// Forgets what was drawn, here and not on the glasses: sends nothing.
    void reset() override;

    /// What has been drawn, for the application's own display: `gray8`, 640 x 480.
    Image mirror() const;

private:
    void sendBand(const Image& gray, const Rect& band, int x, int y);
    void clearMirror();

    mutable std::recursive_mutex mutex_;
    Mirror canvas_;
    std::map<int, Rect> previousDrawingRects_;
    bool isBackgroundDirty_ = false;
};

} // namespace tarnel

#pragma once

#include <TarnelSDK/display/CanvasProtocol.hpp>
#include <TarnelSDK/display/Mirror.hpp>
#include <TarnelSDK/images/Geometry.hpp>

#include <map>
#include <mutex>
#include <vector>

namespace tarnel {

/// The horizontal bands in which an image of this size travels, top down; each holds at most 9,900 bytes of bitmap (or
/// the image is small enough for one). No bands where one row alone is larger. REQUIRES: bpp is 1, 2, 4 or 8.
std::vector<Rect> splitImage(Size image, int bpp);

/// The drawing surface of the glasses' display, 640 x 480 pixels, y downward. Owned by its device.
///
/// A background of pixels lies below the objects that the glasses keep: up to 7 labels, 3 images and 1 animation, each
/// known by its kind and its id, the number of its slot.
///
/// Drawing goes to the device that is current and is dropped when there is none or it is not connected. What was drawn
/// is shown by `commit`; what moves, hides or removes an object goes out at once. Coordinates and sizes are in pixels;
/// negative ones are programming errors where nothing else is said, and so are ids that no slot has. Called on any
/// thread.
class Canvas : public CanvasProtocol {
public:
    static constexpr int WIDTH = 640;
    static constexpr int HEIGHT = 480;

    Canvas();

    // The background

    /// Draws the image, in the nearest of four grey levels, with its top left corner at (x, y). What lies past the
    /// right and the bottom edge is sent, but not shown. An image that is empty or wider than 39,600 pixels draws
    /// nothing.
    void drawBackground(const Image& image, int x, int y, bool shouldCommitImmediately) override;
    void clearBackground() override;
    void clearBackgroundRect(int x, int y, int width, int height) override;

    /// Draws text on black, its upper left corner at (x, y), of any sign: what lies off the display is left out. Line
    /// feeds make lines.
    void drawStaticText(std::string_view text, const Font& font, Color color, int x, int y) override;
    void drawStaticText(const AttributedString& attributedString, int x, int y) override;

    /// Draw shapes on the black of their bounding boxes, at coordinates of any sign: what lies off the display is left
    /// out. REQUIRES: finite numbers, no negative size, radius or width.
    ///
    /// A rectangle without border and filling draws nothing.
    void drawRect(const RectArguments& arguments) override;
    void drawLine(const LineArguments& arguments) override;

    /// Shows the background as drawn so far.
    void flush() override;

    // Images and the animation

    /// Makes an image object, which takes the place of the oldest when there are three. Nothing when the glasses are
    /// not connected, the image is empty, or its message is longer than 10,000 bytes (some 39,600 pixels); then nothing
    /// has changed. REQUIRES: fewer than 2,048 pixels each way.
    std::optional<int> createImage(const Image& image, const ImageArguments& arguments) override;

    /// Replaces the picture of an image object, which stays where it was made or moved to. Gives whether it could, as
    /// for `createImage`, and there is such an object.
    bool updateImage(const Image& image, int id) override;

    /// Offsets from the object's anchor; negative ones cannot be sent and are programming errors.
    void moveImage(int id, int x, int y) override;
    void setImageVisible(int id, bool visible) override;
    void removeImage(int id) override;

    /// Makes the animation. Each frame takes an image slot, so of more than three the earliest are lost. Gives whether
    /// the glasses are connected and took a frame. REQUIRES: at least one frame.
    bool createAnimation(std::span<const Image> images, const AnimationArguments& arguments) override;
    void moveAnimation(int x, int y) override;
    void setAnimationVisible(bool visible) override;
    void removeAninimation() override;

    // Labels

    /// Makes a label, which takes the place of the oldest when there are seven. Nothing when the glasses are not
    /// connected. The text is UTF-8.
    std::optional<int> createText(const std::string& text, const TextArguments& arguments) override;

    /// Replaces the text of a label; its wrap mode becomes `default_`.
    void updateText(const std::string& text, int id) override;

    /// Offsets from the label's anchor. The next commit of texts places and shows each label again as it was when it
    /// was created or its text replaced: to keep a move or a visibility beyond that, replace its text after it.
    void moveText(int id, int x, int y) override;
    void setTextVisible(int id, bool visible) override;
    void removeText(int id) override;

    // All objects; the animation's id is 0

    void moveTo(LVGLType type, int id, int x, int y) override;
    void setVisible(LVGLType type, int id, bool visible) override;
    void remove(LVGLType type, int id) override;

    /// Removes all objects.
    void clear_all() override;
    void clear(bool shouldClearBackground) override;

    /// Shows everything drawn since the last commit. When a label is new or changed, all labels go out again, with a
    /// font for all their characters, as one message of at most 10,000 bytes: some 110 different Han characters at the
    /// usual size. A font that does not fit is left out, which is logged, and the glasses then draw what the one before
    /// has. A change of font or size does not reach labels that are shown before one of them changes.
    void commit() override;

    /// Forgets what was drawn, here and not on the glasses: sends nothing.
    void reset() override;

    /// What has been drawn, for the application's own display: `gray8`, 640 x 480. Labels are drawn as one line, in a
    /// font of the system.
    Image mirror() const;

private:
    void sendBand(const Image& gray, const Rect& band, int x, int y);
    void fillRect(const Rect& rect, Color color);
    /// Draws the part that lies on the display.
    void drawVisible(const Image& image, Point origin);

    /// Sends a picture, given as itself and in the device image format, and draws it in the mirror.
    void sendImage(int id, const Image& image, const Bytes& deviceImage, const LVGLMetrics& metrics);
    void commitText();

    void clearMirror();
    void clearInMirror(const LVGLMetrics& metrics);
    void clearLabelInMirror(int id);
    void drawInMirror(const Image& image, const LVGLMetrics& metrics);
    void drawLabelInMirror(const LVGLSlotManager::LVGLObject& object, int id);
    void drawLabelsInMirror();

    mutable std::recursive_mutex mutex_;
    Mirror canvas_;
    std::map<int, Rect> previousDrawingRects_; ///< of the labels' ink in the mirror, by id
    LVGLSlotManager slotManager_;
    bool isBackgroundDirty_ = false;
    bool isTextDirty_ = false;
    bool isLVGLObjectDirty_ = false;
};

} // namespace tarnel

#pragma once

#include <TarnelSDK/display/LVGLSlotManager.hpp>
#include <TarnelSDK/display/Shapes.hpp>
#include <TarnelSDK/glyphs/AttributedString.hpp>
#include <TarnelSDK/images/Image.hpp>

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tarnel {

/// The arguments of a new image object.
struct ImageArguments {
    Anchor anchor = Anchor::topLeft;
    int xOffset = 0;
    int yOffset = 0;
    bool isVisible = true;
};

/// The arguments of the animation.
struct AnimationArguments {
    Anchor anchor = Anchor::topLeft;
    int xOffset = 0;
    int yOffset = 0;
    unsigned duration = 1000; ///< of one round of all frames, in milliseconds
    bool visible = true;
};

/// The arguments of a rectangle.
struct RectArguments {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    double cornerRadius = 0; ///< pixels, at most half the shorter side
    double borderWidth = 0;  ///< pixels, inside the rectangle; 0 is none
    Color borderColor = Color::white;
    std::optional<Color> fillColor = std::nullopt; ///< nothing: black within the border
    Corners corners = {};                          ///< those that are round
};

/// The arguments of a line; coordinates and width in pixels.
struct LineArguments {
    double x1 = 0;
    double y1 = 0;
    double x2 = 0;
    double y2 = 0;
    double lineWidth = 1;
    Color color = Color::white;
};

/// The drawing operations of a display.
class CanvasProtocol {
public:
    virtual ~CanvasProtocol() = default;

    virtual void drawBackground(const Image& image, int x, int y, bool shouldCommitImmediately) = 0;
    virtual void clearBackground() = 0;
    virtual void clearBackgroundRect(int x, int y, int width, int height) = 0;
    virtual void drawStaticText(std::string_view text, const Font& font, Color color, int x, int y) = 0;
    virtual void drawStaticText(const AttributedString& attributedString, int x, int y) = 0;
    virtual void drawRect(const RectArguments& arguments) = 0;
    virtual void drawLine(const LineArguments& arguments) = 0;
    virtual void flush() = 0;

    virtual std::optional<int> createImage(const Image& image, const ImageArguments& arguments) = 0;
    virtual bool updateImage(const Image& image, int id) = 0;
    virtual void moveImage(int id, int x, int y) = 0;
    virtual void setImageVisible(int id, bool visible) = 0;
    virtual void removeImage(int id) = 0;

    virtual bool createAnimation(std::span<const Image> images, const AnimationArguments& arguments) = 0;
    virtual void moveAnimation(int x, int y) = 0;
    virtual void setAnimationVisible(bool visible) = 0;
    virtual void removeAninimation() = 0;

    virtual std::optional<int> createText(const std::string& text, const TextArguments& arguments) = 0;
    virtual void updateText(const std::string& text, int id) = 0;
    virtual void moveText(int id, int x, int y) = 0;
    virtual void setTextVisible(int id, bool visible) = 0;
    virtual void removeText(int id) = 0;

    virtual void moveTo(LVGLType type, int id, int x, int y) = 0;
    virtual void setVisible(LVGLType type, int id, bool visible) = 0;
    virtual void remove(LVGLType type, int id) = 0;

    virtual void clear_all() = 0;
    virtual void clear(bool shouldClearBackground) = 0;
    virtual void commit() = 0;
    virtual void reset() = 0;
};

} // namespace tarnel

#pragma once

#include <TarnelGlasses/Frame.hpp>
#include <TarnelGlasses/LvglImage.hpp>
#include <TarnelGlasses/LvglLabel.hpp>
#include <TarnelSDK/platform/Queue.hpp>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace tarnel::glasses {

/// The kind of a retained object; the number is the wire value.
enum class ObjectType { label = 0, image = 1, animation = 2 };

struct LabelObject {
    LvglLabelOptions options;
    bool isVisible = true;
};

struct ImageObject {
    std::shared_ptr<const LvglImage> image;
    LvglAnchor anchor = LvglAnchor::topLeft;
    int xOffset = 0;
    int yOffset = 0;
    bool isVisible = true;
};

/// Images shown in turn. A frame is the picture that its image object has when it is drawn, whether that is visible or
/// not.
struct AnimationObject {
    std::chrono::milliseconds duration{}; ///< of all frames; 0 stays at the last one
    LvglAnchor anchor = LvglAnchor::topLeft;
    int xOffset = 0;
    int yOffset = 0;
    std::vector<std::size_t> frames; ///< ids of image objects
    bool isVisible = true;
};

/// The retained objects in front of the background. Above one another they stand so: images by id, the animation,
/// labels by id. Ids beyond the last one are programming errors.
///
/// What is set is drawn out of sight; `flush` makes it visible. `move`, `setVisible`, `remove` and `clear` act at once,
/// on what is visible as well, and do nothing where there is no object.
class ObjectLayer {
public:
    static constexpr std::size_t labelCount = 7;
    static constexpr std::size_t imageCount = 3;
    static constexpr std::size_t animationCount = 1;
    static constexpr std::size_t count(ObjectType type) {
        return type == ObjectType::label ? labelCount : type == ObjectType::image ? imageCount : animationCount;
    }

    void setLabel(std::size_t id, LabelObject label);
    void setImage(std::size_t id, ImageObject image);
    void setAnimation(AnimationObject animation);
    /// The font of all labels. Without one no label is drawn.
    void setFont(std::shared_ptr<const LvglFont> font);

    void move(ObjectType type, std::size_t id, int xOffset, int yOffset);
    void setVisible(ObjectType type, std::size_t id, bool isVisible);
    void remove(ObjectType type, std::size_t id);
    /// Removes all objects; the font stays.
    void clear();

    /// Labels and the animation move from the flush that first shows them. A label that was set again with the same
    /// options goes on moving, if its font is the same too.
    void flush(platform::Duration now);
    /// As new: without objects and font.
    void reset();

    void draw(Frame& frame, platform::Duration now) const;
    /// What moves, as it is drawn at this moment: two equal moments make equal pictures.
    std::vector<int> moment(platform::Duration now) const;
    /// The time until something that moves may be drawn otherwise; nothing when nothing moves.
    std::optional<platform::Duration> nextChange(platform::Duration now) const;

private:
    struct Label {
        LvglLabelOptions received;
        int xOffset = 0;
        int yOffset = 0;
        bool isVisible = true;
    };
    struct Animation {
        AnimationObject object;
        std::size_t serial = 0; ///< tells it from earlier ones
    };
    struct Scene {
        std::shared_ptr<const LvglFont> font;
        std::array<std::optional<Label>, labelCount> labels;
        std::array<std::optional<ImageObject>, imageCount> images;
        std::optional<Animation> animation;
    };
    /// A label of the visible scene that is laid out.
    struct Moving {
        std::optional<LvglLabel> label;
        platform::Duration since{};
    };

    template <typename Change>
    void changeObject(ObjectType type, std::size_t id, const Change& change);
    void show(std::size_t id, const std::optional<Label>& before, bool isSameFont, platform::Duration now);
    std::optional<std::size_t> animationFrame(platform::Duration now) const;

    Scene pending_;
    Scene visible_;
    std::array<Moving, labelCount> labels_;
    platform::Duration animationSince_{};
    std::size_t animations_ = 0;
};

} // namespace tarnel::glasses

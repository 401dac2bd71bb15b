#pragma once

#include <TarnelSDK/display/Anchor.hpp>
#include <TarnelSDK/display/TextProperties.hpp>
#include <TarnelSDK/images/Image.hpp>
#include <TarnelSDK/messagepack/MessagePackValue.hpp>
#include <TarnelSDK/platform/Clock.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// The kinds of objects that the glasses keep; the number is the wire value.
enum class LVGLType : std::uint8_t { text = 0, image = 1, animation = 2 };

std::optional<LVGLType> lvglTypeFromRawValue(int rawValue);

/// Where an object stands on the display; offsets and sizes in pixels.
struct LVGLMetrics {
    Anchor anchor = Anchor::topLeft;
    int xOffset = 0;
    int yOffset = 0;
    int width = 0;
    int height = 0;
    bool isVisible = true;

    friend bool operator==(const LVGLMetrics&, const LVGLMetrics&) = default;
};

/// The arguments of a new label.
struct TextArguments {
    TextAlignment textAlignment = TextAlignment::auto_;
    Color textColor = Color::white;
    Anchor anchor = Anchor::topLeft;
    int xOffset = 0;
    int yOffset = 0;
    bool isVisible = true;
    /// Of the label, in pixels; -1: as the text needs. The glasses are told of both only together with a wrap mode:
    /// with `default_` a label is always as large as its text.
    int width = -1;
    int height = -1;
    TextWrapMode wrapMode = TextWrapMode::default_;
};

/// Keeps account of the objects that the glasses hold in their few slots: labels, images and one animation. The number
/// of a slot is the object's id on the wire. An object that finds all slots taken gets that of the oldest one.
///
/// Belongs to a canvas, under whose lock it is called. An id outside the table is a programming error.
class LVGLSlotManager {
public:
    struct LVGLObject {
        platform::TimePoint creationDate;
        /// The "label" map that shows a label; nil in other objects.
        std::optional<MessagePackValue> messagePack;
        std::optional<TextProperties> textProperties; ///< of a label
        std::optional<Image> imageValue;              ///< of an image; of an animation its first frame
        LVGLMetrics metrics;
    };
    /// Never resized.
    using Slots = std::vector<std::optional<LVGLObject>>;

    LVGLSlotManager(int textCount, int imageCount, int animationCount);

    Slots textSlots;
    Slots imageSlots;
    Slots animationSlots;

    /// Puts a new object into the first empty slot, else that of the oldest object, of equally old ones the first.
    /// Gives its index; -1 when no device is current and connected, or there are no slots.
    static int getSlotIn(Slots& slots, const LVGLMetrics& metrics);

    /// A slot for a label, as wide as given or else as measured, and as high as measured; -1 as above.
    int getTextSlot(const std::string& text, const TextArguments& arguments);

    void removeSlot(LVGLType type, int id);

    /// Nothing for an empty slot.
    std::optional<LVGLMetrics> getMetrics(LVGLType type, int id) const;
    /// Leaves an empty slot as it is.
    void setMetrics(LVGLType type, int id, const LVGLMetrics& metrics);

    /// Replaces the text of a label and makes its wrap mode `default_`; leaves a slot without one as it is.
    void setText(int id, std::string text);

    /// Null for an empty slot; valid until the slot changes hands.
    LVGLObject* getLVGLObject(LVGLType type, int id);
    const LVGLObject* getLVGLObject(LVGLType type, int id) const;

    /// The table that holds objects of that type.
    Slots& slotsOf(LVGLType type);
    const Slots& slotsOf(LVGLType type) const;
};

} // namespace tarnel

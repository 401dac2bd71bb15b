#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/display/CanvasMessages.hpp>
#include <TarnelSDK/display/Coordinates.hpp>
#include <TarnelSDK/display/DisplayDevice.hpp>
#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <string_view>
#include <utility>

/// The labels.
namespace tarnel {
namespace {

/// {"label": ...}; with an extent in its long form. REQUIRES: the object has a text.
MessagePackValue labelMap(const LVGLSlotManager::LVGLObject& object, int id, std::optional<Size> extent) {
    const TextProperties& text = *object.textProperties;
    MessagePackValue::Array label{
        unsignedValue(id),
        static_cast<unsigned>(text.alignment),
        static_cast<unsigned>(text.color),
        static_cast<unsigned>(object.metrics.anchor),
        object.metrics.xOffset,
        object.metrics.yOffset,
        object.metrics.isVisible,
        text.text,
    };
    if (extent) {
        label.emplace_back(extent->width);
        label.emplace_back(extent->height);
        label.emplace_back(static_cast<int>(text.wrapMode));
    }
    return command("label", std::move(label));
}

/// The message of all labels, with the font when there is one.
Bytes labelsMessage(MessagePackValue::Array commands, const std::optional<Bytes>& font) {
    if (font) {
        commands.push_back(command("font", *font));
    }
    commands.push_back(command("flush", nullptr));
    return pack(command(objectLayer, std::move(commands)));
}

/// Whether no message has room for the text; the log is told.
bool isTooLong(const std::string& text, std::string_view operation) {
    if (text.size() < DisplayDevice::MAX_PAYLOAD_SIZE) {
        return false;
    }
    log("A label of " + std::to_string(text.size()) + " bytes fits in no message. Show less text",
        {operation, "Canvas"});
    return true;
}

/// An extent that stands for the one that the text needs.
constexpr int measured = -1;

} // namespace

std::optional<int> Canvas::createText(const std::string& text, const TextArguments& arguments) {
    const std::lock_guard lock(mutex_);
    if (isTooLong(text, "createText")) {
        return std::nullopt;
    }
    isTextDirty_ = true;
    const int id = slotManager_.getTextSlot(text, arguments);
    if (id < 0) {
        return std::nullopt;
    }
    const bool isShort = arguments.width < 0 || arguments.wrapMode == TextWrapMode::default_;
    auto& object = *slotManager_.getLVGLObject(LVGLType::text, id);
    object.messagePack =
        labelMap(object, id, isShort ? std::nullopt : std::optional(Size{arguments.width, arguments.height}));
    return id;
}

void Canvas::updateText(const std::string& text, int id) {
    const std::lock_guard lock(mutex_);
    if (isTooLong(text, "updateText")) {
        return;
    }
    isTextDirty_ = true;
    slotManager_.setText(id, text);
    auto* object = slotManager_.getLVGLObject(LVGLType::text, id);
    if (object && object->textProperties) {
        object->messagePack = labelMap(*object, id, Size{object->metrics.width, measured});
    }
}

void Canvas::commitText() {
    const auto device = currentDisplayDevice();
    if (!device) {
        return;
    }
    std::string characters;
    bool isTruncated = false;
    MessagePackValue::Array commands;
    for (const auto& slot : slotManager_.textSlots) {
        if (slot && slot->textProperties && slot->messagePack) {
            characters += slot->textProperties->text;
            isTruncated = isTruncated || slot->textProperties->wrapMode == TextWrapMode::truncate;
            commands.push_back(*slot->messagePack);
        }
    }
    std::optional<Bytes> font;
    if (!characters.empty()) {
        if (isTruncated) {
            characters += '.'; // of the dots that the glasses put where they cut the text
        }
        const auto locale = platform::Platform::current().services().application->locale();
        font = device->displayGlypher().toBinFont(characters, locale);
    }
    Bytes message = labelsMessage(commands, font);
    if (message.size() > DisplayDevice::MAX_PAYLOAD_SIZE) {
        log("The labels and their font take " + std::to_string(message.size()) +
                " bytes; the glasses refuse more than " + std::to_string(DisplayDevice::MAX_PAYLOAD_SIZE) +
                (font ? ", so the labels go without. Show fewer different characters or a smaller font"
                      : ". Show less text"),
            {"commit()", "Canvas"});
        message = labelsMessage(commands, std::nullopt);
    }
    device->sendData(std::move(message), ItemType::longwrite);
    isTextDirty_ = false;
    drawLabelsInMirror();
}

void Canvas::drawLabelsInMirror() {
    while (!previousDrawingRects_.empty()) {
        clearLabelInMirror(previousDrawingRects_.begin()->first);
    }
    for (std::size_t id = 0; id < slotManager_.textSlots.size(); ++id) {
        if (const auto& slot = slotManager_.textSlots[id]) {
            drawLabelInMirror(*slot, static_cast<int>(id));
        }
    }
}

void Canvas::clearLabelInMirror(int id) {
    if (const auto previous = previousDrawingRects_.extract(id)) {
        canvas_.clear(previous.mapped());
    }
}

void Canvas::drawLabelInMirror(const LVGLSlotManager::LVGLObject& object, int id) {
    if (!object.textProperties) {
        return;
    }
    const LVGLMetrics& metrics = object.metrics;
    const Point baseline = toPoint(metrics.anchor, metrics.xOffset, metrics.yOffset, {metrics.width, metrics.height});
    const auto drawing = object.textProperties->ctLine().draw();
    const int below = drawing.image.height() - drawing.originY;
    const Rect rect{coordinate(std::int64_t{baseline.x} - drawing.originX),
                    coordinate(std::int64_t{HEIGHT} - baseline.y - below), drawing.image.width(),
                    drawing.image.height()};
    canvas_.blend(drawing.image, rect.x, rect.y);
    previousDrawingRects_.insert_or_assign(id, rect);
}

} // namespace tarnel

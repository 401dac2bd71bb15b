#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/display/CanvasMessages.hpp>
#include <TarnelSDK/display/Coordinates.hpp>
#include <TarnelSDK/display/DisplayDevice.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <utility>

/// The images, the animation, and what is done to every kind of object.
namespace tarnel {
namespace {

constexpr int animationID = 0;
/// The ids of images are small, and so all of one length in a message.
constexpr int anyID = 0;

/// The message that makes an image object of a picture in the device image format.
Bytes imageMessage(int id, const LVGLMetrics& metrics, const Bytes& deviceImage) {
    return packedCommand(objectLayer, "image",
                         MessagePackValue::array({
                             unsignedValue(id),
                             static_cast<unsigned>(metrics.anchor),
                             metrics.xOffset,
                             metrics.yOffset,
                             metrics.isVisible,
                             deviceImage,
                         }));
}

/// The picture in the device image format; nothing when it is empty or its message is too long.
std::optional<Bytes> deviceImageOf(const Image& image, const LVGLMetrics& metrics) {
    auto bytes = image.isEmpty() ? std::nullopt : toTNImage(image, 2);
    if (!bytes || imageMessage(anyID, metrics, *bytes).size() > DisplayDevice::MAX_PAYLOAD_SIZE) {
        return std::nullopt;
    }
    return bytes;
}

MessagePackValue typeValue(LVGLType type) {
    return static_cast<unsigned>(type);
}

} // namespace

std::optional<int> Canvas::createImage(const Image& image, const ImageArguments& arguments) {
    const std::lock_guard lock(mutex_);
    const LVGLMetrics metrics{arguments.anchor, arguments.xOffset, arguments.yOffset,
                              image.width(),    image.height(),    arguments.isVisible};
    const auto deviceImage = deviceImageOf(image, metrics);
    const int id = deviceImage ? LVGLSlotManager::getSlotIn(slotManager_.imageSlots, metrics) : -1;
    if (id < 0) {
        return std::nullopt;
    }
    slotManager_.getLVGLObject(LVGLType::image, id)->imageValue = image;
    sendImage(id, image, *deviceImage, metrics);
    return id;
}

void Canvas::sendImage(int id, const Image& image, const Bytes& deviceImage, const LVGLMetrics& metrics) {
    isLVGLObjectDirty_ = true;
    sendToDisplay(imageMessage(id, metrics, deviceImage));
    drawInMirror(image, metrics);
}

bool Canvas::updateImage(const Image& image, int id) {
    const std::lock_guard lock(mutex_);
    auto* object = slotManager_.getLVGLObject(LVGLType::image, id);
    const auto deviceImage = object ? deviceImageOf(image, object->metrics) : std::nullopt;
    if (!deviceImage) {
        return false;
    }
    clearInMirror(object->metrics);
    object->imageValue = image;
    object->metrics.width = image.width();
    object->metrics.height = image.height();
    sendImage(id, image, *deviceImage, object->metrics);
    return true;
}

bool Canvas::createAnimation(std::span<const Image> images, const AnimationArguments& arguments) {
    const std::lock_guard lock(mutex_);
    precondition(!images.empty(), "an animation has at least one frame");
    const Image& first = images.front();
    const int id =
        LVGLSlotManager::getSlotIn(slotManager_.animationSlots, {arguments.anchor, arguments.xOffset, arguments.yOffset,
                                                                 first.width(), first.height(), arguments.visible});
    if (id < 0) {
        return false;
    }
    slotManager_.getLVGLObject(LVGLType::animation, id)->imageValue = first;
    MessagePackValue::Array frames;
    for (const Image& image : images) {
        if (const auto frame = createImage(image, {arguments.anchor, arguments.xOffset, arguments.yOffset, false})) {
            frames.push_back(unsignedValue(*frame));
        }
    }
    if (frames.empty()) {
        slotManager_.removeSlot(LVGLType::animation, id);
        return false;
    }
    sendCommand(objectLayer, "animate",
                MessagePackValue::array({
                    unsignedValue(id),
                    arguments.duration,
                    static_cast<unsigned>(arguments.anchor),
                    arguments.xOffset,
                    arguments.yOffset,
                    std::move(frames),
                    arguments.visible,
                }));
    isLVGLObjectDirty_ = true;
    return true;
}

void Canvas::moveTo(LVGLType type, int id, int x, int y) {
    const std::lock_guard lock(mutex_);
    auto* object = slotManager_.getLVGLObject(type, id);
    sendCommand(objectLayer, "move",
                MessagePackValue::array({typeValue(type), unsignedValue(id), unsignedValue(x), unsignedValue(y)}));
    if (!object) {
        return;
    }
    clearInMirror(object->metrics);
    object->metrics.xOffset = x;
    object->metrics.yOffset = y;
    if (object->imageValue) {
        drawInMirror(*object->imageValue, object->metrics);
    }
    if (type == LVGLType::text) {
        clearLabelInMirror(id);
        drawLabelInMirror(*object, id);
    }
}

void Canvas::setVisible(LVGLType type, int id, bool visible) {
    const std::lock_guard lock(mutex_);
    auto* object = slotManager_.getLVGLObject(type, id);
    sendCommand(objectLayer, "set_vis", MessagePackValue::array({typeValue(type), unsignedValue(id), visible}));
    if (object) {
        object->metrics.isVisible = visible;
    }
}

void Canvas::remove(LVGLType type, int id) {
    const std::lock_guard lock(mutex_);
    const auto metrics = slotManager_.getMetrics(type, id);
    sendCommand(objectLayer, "object_clr", MessagePackValue::array({typeValue(type), unsignedValue(id)}));
    if (metrics) {
        clearInMirror(*metrics);
    }
    if (type == LVGLType::text) {
        clearLabelInMirror(id);
    }
    slotManager_.removeSlot(type, id);
}

void Canvas::moveImage(int id, int x, int y) {
    moveTo(LVGLType::image, id, x, y);
}

void Canvas::moveText(int id, int x, int y) {
    moveTo(LVGLType::text, id, x, y);
}

void Canvas::moveAnimation(int x, int y) {
    moveTo(LVGLType::animation, animationID, x, y);
}

void Canvas::setImageVisible(int id, bool visible) {
    setVisible(LVGLType::image, id, visible);
}

void Canvas::setTextVisible(int id, bool visible) {
    setVisible(LVGLType::text, id, visible);
}

void Canvas::setAnimationVisible(bool visible) {
    setVisible(LVGLType::animation, animationID, visible);
}

void Canvas::removeImage(int id) {
    remove(LVGLType::image, id);
}

void Canvas::removeText(int id) {
    remove(LVGLType::text, id);
}

void Canvas::removeAninimation() {
    remove(LVGLType::animation, animationID);
}

void Canvas::clearInMirror(const LVGLMetrics& metrics) {
    const Size size{metrics.width, metrics.height};
    const Point point = toPoint(metrics.anchor, metrics.xOffset, metrics.yOffset, size);
    canvas_.clear({point.x, coordinate(std::int64_t{HEIGHT} - point.y), size.width, size.height});
}

void Canvas::drawInMirror(const Image& image, const LVGLMetrics& metrics) {
    const Point point = toPoint(metrics.anchor, metrics.xOffset, metrics.yOffset, {metrics.width, metrics.height});
    if (const auto gray = convertToGrayScale(image)) {
        canvas_.draw(*gray, point.x, coordinate(std::int64_t{HEIGHT} - point.y));
    }
}

} // namespace tarnel

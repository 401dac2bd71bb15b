#include <TarnelSDK/display/DisplayDevice.hpp>
#include <TarnelSDK/display/LVGLSlotManager.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace tarnel {
namespace {

LVGLSlotManager::Slots emptySlots(int count) {
    precondition(count >= 0, "a table has no negative number of slots");
    return LVGLSlotManager::Slots(static_cast<std::size_t>(count));
}

std::size_t indexOf(const LVGLSlotManager::Slots& slots, int id) {
    precondition(id >= 0 && static_cast<std::size_t>(id) < slots.size(), "the id of an object is that of a slot");
    return static_cast<std::size_t>(id);
}

template <typename Manager>
auto& tableOf(Manager& manager, LVGLType type) {
    switch (type) {
    case LVGLType::image:
        return manager.imageSlots;
    case LVGLType::animation:
        return manager.animationSlots;
    case LVGLType::text:
        break;
    }
    return manager.textSlots;
}

/// REQUIRES: there are slots.
LVGLSlotManager::Slots::iterator emptyOrOldest(LVGLSlotManager::Slots& slots) {
    return std::min_element(slots.begin(), slots.end(), [](const auto& a, const auto& b) {
        return b && (!a || a->creationDate < b->creationDate);
    });
}

} // namespace

std::optional<LVGLType> lvglTypeFromRawValue(int rawValue) {
    if (rawValue < static_cast<int>(LVGLType::text) || rawValue > static_cast<int>(LVGLType::animation)) {
        return std::nullopt;
    }
    return static_cast<LVGLType>(rawValue);
}

LVGLSlotManager::LVGLSlotManager(int textCount, int imageCount, int animationCount)
    : textSlots(emptySlots(textCount)), imageSlots(emptySlots(imageCount)), animationSlots(emptySlots(animationCount)) {
}

int LVGLSlotManager::getSlotIn(Slots& slots, const LVGLMetrics& metrics) {
    const auto device = currentDisplayDevice();
    if (!device || !device->isDisplayConnected() || slots.empty()) {
        return -1;
    }
    const auto slot = emptyOrOldest(slots);
    *slot = LVGLObject{platform::Platform::current().services().clock->now(), {}, {}, {}, metrics};
    return static_cast<int>(slot - slots.begin());
}

int LVGLSlotManager::getTextSlot(const std::string& text, const TextArguments& arguments) {
    TextProperties properties{text, arguments.textAlignment, arguments.textColor, arguments.wrapMode};
    const Size estimated = properties.estimatedSize();
    const int index = getSlotIn(textSlots, {arguments.anchor, arguments.xOffset, arguments.yOffset,
                                            arguments.width == -1 ? estimated.width : arguments.width, estimated.height,
                                            arguments.isVisible});
    if (auto* object = index < 0 ? nullptr : getLVGLObject(LVGLType::text, index)) {
        object->textProperties = std::move(properties);
    }
    return index;
}

void LVGLSlotManager::removeSlot(LVGLType type, int id) {
    auto& table = slotsOf(type);
    table[indexOf(table, id)].reset();
}

std::optional<LVGLMetrics> LVGLSlotManager::getMetrics(LVGLType type, int id) const {
    const auto* object = getLVGLObject(type, id);
    return object ? std::optional(object->metrics) : std::nullopt;
}

void LVGLSlotManager::setMetrics(LVGLType type, int id, const LVGLMetrics& metrics) {
    if (auto* object = getLVGLObject(type, id)) {
        object->metrics = metrics;
    }
}

void LVGLSlotManager::setText(int id, std::string text) {
    auto* object = getLVGLObject(LVGLType::text, id);
    if (object && object->textProperties) {
        object->textProperties->text = std::move(text);
        object->textProperties->wrapMode = TextWrapMode::default_;
    }
}

LVGLSlotManager::LVGLObject* LVGLSlotManager::getLVGLObject(LVGLType type, int id) {
    auto& table = slotsOf(type);
    auto& slot = table[indexOf(table, id)];
    return slot ? &*slot : nullptr;
}

const LVGLSlotManager::LVGLObject* LVGLSlotManager::getLVGLObject(LVGLType type, int id) const {
    const auto& table = slotsOf(type);
    const auto& slot = table[indexOf(table, id)];
    return slot ? &*slot : nullptr;
}

LVGLSlotManager::Slots& LVGLSlotManager::slotsOf(LVGLType type) {
    return tableOf(*this, type);
}

const LVGLSlotManager::Slots& LVGLSlotManager::slotsOf(LVGLType type) const {
    return tableOf(*this, type);
}

} // namespace tarnel

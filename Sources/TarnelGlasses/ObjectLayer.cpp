#include <TarnelGlasses/ObjectLayer.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <utility>

namespace tarnel::glasses {

namespace {

using platform::Duration;
using std::chrono::milliseconds;

milliseconds age(Duration since, Duration now) {
    return std::chrono::duration_cast<milliseconds>(std::max(now - since, Duration::zero()));
}

bool isSame(const std::shared_ptr<const LvglFont>& a, const std::shared_ptr<const LvglFont>& b) {
    return a == b || (a && b && a->file() == b->file());
}

void drawImage(Frame& frame, const LvglImage& image, LvglAnchor anchor, int xOffset, int yOffset) {
    const auto box = alignLvglBox(anchor, xOffset, yOffset, {image.width(), image.height()});
    image.draw(frame, box.x, box.y);
}

void requireId(ObjectType type, std::size_t id) {
    precondition(id < ObjectLayer::count(type), "an object's id is one of its kind");
}

} // namespace

void ObjectLayer::setLabel(std::size_t id, LabelObject label) {
    requireId(ObjectType::label, id);
    const int xOffset = label.options.xOffset;
    const int yOffset = label.options.yOffset;
    pending_.labels.at(id) = {std::move(label.options), xOffset, yOffset, label.isVisible};
}

void ObjectLayer::setImage(std::size_t id, ImageObject image) {
    requireId(ObjectType::image, id);
    pending_.images.at(id) = std::move(image);
}

void ObjectLayer::setAnimation(AnimationObject animation) {
    for (const auto frame : animation.frames) {
        requireId(ObjectType::image, frame);
    }
    pending_.animation = {std::move(animation), ++animations_};
}

void ObjectLayer::setFont(std::shared_ptr<const LvglFont> font) {
    pending_.font = std::move(font);
}

/// Changes the object of both scenes, where there is one.
template <typename Change>
void ObjectLayer::changeObject(ObjectType type, std::size_t id, const Change& change) {
    requireId(type, id);
    for (auto* scene : {&pending_, &visible_}) {
        if (auto& label = scene->labels.at(type == ObjectType::label ? id : 0); type == ObjectType::label && label) {
            change(*label);
        }
        if (auto& image = scene->images.at(type == ObjectType::image ? id : 0); type == ObjectType::image && image) {
            change(*image);
        }
        if (type == ObjectType::animation && scene->animation) {
            change(scene->animation->object);
        }
    }
}

void ObjectLayer::move(ObjectType type, std::size_t id, int xOffset, int yOffset) {
    changeObject(type, id, [&](auto& object) {
        object.xOffset = xOffset;
        object.yOffset = yOffset;
    });
    if (type == ObjectType::label && labels_.at(id).label) {
        labels_.at(id).label->moveTo(xOffset, yOffset);
    }
}

void ObjectLayer::setVisible(ObjectType type, std::size_t id, bool isVisible) {
    changeObject(type, id, [&](auto& object) { object.isVisible = isVisible; });
}

void ObjectLayer::remove(ObjectType type, std::size_t id) {
    requireId(type, id);
    for (auto* scene : {&pending_, &visible_}) {
        switch (type) {
        case ObjectType::label:
            scene->labels.at(id).reset();
            break;
        case ObjectType::image:
            scene->images.at(id).reset();
            break;
        case ObjectType::animation:
            scene->animation.reset();
            break;
        }
    }
    if (type == ObjectType::label) {
        labels_.at(id) = {};
    }
}

void ObjectLayer::clear() {
    for (const auto type : {ObjectType::label, ObjectType::image, ObjectType::animation}) {
        for (std::size_t id = 0; id < count(type); ++id) {
            remove(type, id);
        }
    }
}

void ObjectLayer::reset() {
    *this = {};
}

void ObjectLayer::flush(Duration now) {
    const auto before = std::exchange(visible_, pending_);
    const bool isSameFont = isSame(before.font, visible_.font);
    for (std::size_t id = 0; id < labelCount; ++id) {
        show(id, before.labels.at(id), isSameFont, now);
    }
    if (visible_.animation && (!before.animation || before.animation->serial != visible_.animation->serial)) {
        animationSince_ = now;
    }
}

/// Lays out a label that has become visible, unless it is as it was.
void ObjectLayer::show(std::size_t id, const std::optional<Label>& before, bool isSameFont, Duration now) {
    const auto& label = visible_.labels.at(id);
    auto& shown = labels_.at(id);
    if (!label) {
        shown = {};
        return;
    }
    if (!isSameFont || !before || before->received != label->received) {
        shown = {.label = std::nullopt, .since = now};
        if (visible_.font) {
            shown.label.emplace(visible_.font, label->received);
        }
    }
    if (shown.label) {
        shown.label->moveTo(label->xOffset, label->yOffset);
    }
}

std::optional<std::size_t> ObjectLayer::animationFrame(Duration now) const {
    if (!visible_.animation || !visible_.animation->object.isVisible || visible_.animation->object.frames.empty()) {
        return std::nullopt;
    }
    const auto& object = visible_.animation->object;
    const int count = static_cast<int>(object.frames.size());
    const LvglAnimation animation{.end = count, .duration = object.duration};
    return static_cast<std::size_t>(std::min(animation.at(age(animationSince_, now)), count - 1));
}

void ObjectLayer::draw(Frame& frame, Duration now) const {
    for (const auto& image : visible_.images) {
        if (image && image->isVisible) {
            drawImage(frame, *image->image, image->anchor, image->xOffset, image->yOffset);
        }
    }
    if (const auto index = animationFrame(now)) {
        const auto& object = visible_.animation->object;
        if (const auto& picture = visible_.images.at(object.frames[*index])) {
            drawImage(frame, *picture->image, object.anchor, object.xOffset, object.yOffset);
        }
    }
    for (std::size_t id = 0; id < labelCount; ++id) {
        const auto& shown = labels_.at(id);
        if (shown.label && visible_.labels.at(id)->isVisible) {
            shown.label->draw(frame, age(shown.since, now));
        }
    }
}

std::vector<int> ObjectLayer::moment(Duration now) const {
    std::vector<int> moment;
    if (const auto index = animationFrame(now)) {
        moment.push_back(static_cast<int>(*index));
    }
    for (const auto& shown : labels_) {
        if (shown.label && shown.label->isMoving()) {
            const auto offset = shown.label->offset(age(shown.since, now));
            moment.insert(moment.end(), {offset.x, offset.y});
        }
    }
    return moment;
}

std::optional<Duration> ObjectLayer::nextChange(Duration now) const {
    std::optional<Duration> next;
    const auto consider = [&](Duration since) {
        const auto moves = age(since, now) / LvglAnimation::period + 1;
        const auto until = since + moves * LvglAnimation::period - now;
        next = next ? std::min<Duration>(*next, until) : until;
    };
    if (animationFrame(now) && visible_.animation->object.frames.size() > 1) {
        consider(animationSince_);
    }
    for (std::size_t id = 0; id < labelCount; ++id) {
        const auto& shown = labels_.at(id);
        if (shown.label && shown.label->isMoving() && visible_.labels.at(id)->isVisible) {
            consider(shown.since);
        }
    }
    return next;
}

} // namespace tarnel::glasses

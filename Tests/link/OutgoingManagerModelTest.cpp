#include "LinkFixture.hpp"

#include <TarnelSDK/link/IncomingManager.hpp>

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <map>
#include <set>

namespace tarnel {

enum class Verb { add, send, serve, cancel, clear, changeWriteLength };

struct Step {
    Verb verb;
    ItemType type;
    bool highPriority;
    int number; ///< size of a message, number of chunks to send, length of a write, or which active item
};

void showValue(const Step& step, std::ostream& stream) {
    static constexpr std::array verbs{"add", "send", "serve", "cancel", "clear", "changeWriteLength"};
    stream << verbs.at(static_cast<std::size_t>(step.verb)) << "(" << step.number;
    if (step.verb == Verb::add) {
        stream << ", " << (step.highPriority ? "high, " : "") << "type " << static_cast<int>(step.type);
    }
    stream << ")";
}

namespace {

/// What a message is for the model; its bytes begin with its number, so every message is another.
struct Message {
    int number;
    Bytes bytes;
    bool highPriority;
    ItemType type;
};

Message makeMessage(int number, const Step& step) {
    Bytes bytes(static_cast<std::size_t>(step.number) + 2);
    bytes[0] = static_cast<std::uint8_t>(number / 256);
    for (std::size_t i = 1; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(static_cast<std::size_t>(number) + i - 1);
    }
    return {number, std::move(bytes), step.highPriority, step.type};
}

/// The rules of the queue, said once more: three lists and whose turn it is.
class Model {
public:
    explicit Model(std::size_t slots) : slots_(slots) {}

    std::size_t writeLength = 500;

    void add(const Message& message) {
        const auto isReplaceable = [](const Message& other) { return other.type == ItemType::replaceable; };
        if (message.type == ItemType::longwrite || message.bytes.size() > writeLength) {
            long_.push_back(message);
        } else if (!isReplaceable(message)) {
            waiting_.insert(message.highPriority ? waiting_.begin() : waiting_.end(), message);
        } else if (std::none_of(waiting_.begin(), waiting_.end(), isReplaceable)) {
            waiting_.push_back(message);
        }
        admit();
    }

    /// The message whose turn it is.
    const Message* next() {
        admit();
        turn_ = turn_ < active_.size() ? turn_ + 1 : std::min<std::size_t>(active_.size(), 1);
        return active_.empty() ? nullptr : &active_[turn_ - 1];
    }

    void remove(int number) {
        std::erase_if(active_, [&](const Message& message) { return message.number == number; });
        turn_ -= std::min<std::size_t>(turn_, 1);
        admit();
    }

    void clear() {
        active_.clear();
        waiting_.clear();
        turn_ = 0;
    }

    const std::vector<Message>& active() const { return active_; }

    std::size_t waitingByteCount() const {
        std::size_t count = 0;
        for (const auto* list : {&waiting_, &long_}) {
            for (const auto& message : *list) {
                count += message.bytes.size();
            }
        }
        return count;
    }

private:
    void admit() {
        if (waiting_.empty() && active_.empty() && !long_.empty()) {
            waiting_.push_back(long_.front());
            long_.pop_front();
        }
        while (!waiting_.empty() && active_.size() < slots_) {
            const bool isNext = waiting_.front().highPriority;
            const bool wraps = isNext && turn_ == active_.size();
            const std::size_t place = wraps ? 0 : isNext ? turn_ : active_.size();
            turn_ += wraps ? std::min<std::size_t>(turn_, 1) : 0;
            active_.insert(active_.begin() + static_cast<std::ptrdiff_t>(place), waiting_.front());
            waiting_.pop_front();
        }
    }

    std::size_t slots_;
    std::deque<Message> waiting_;
    std::deque<Message> long_;
    std::vector<Message> active_;
    std::size_t turn_ = 0; ///< how many active messages come up to the one served last, itself included
};

/// Runs the queue beside the model and joins what it sends as the glasses would.
class Run {
public:
    explicit Run(SlotRange slots)
        : slots_(slots), outgoing_(makeQueue(), slots),
          model_(static_cast<std::size_t>(slots.upperBound - slots.lowerBound)) {}

    void perform(const Step& step) {
        switch (step.verb) {
        case Verb::add: {
            const auto message = makeMessage(++count_, step);
            outgoing_.add(message.bytes, message.highPriority, message.type);
            model_.add(message);
            break;
        }
        case Verb::send:
            for (int chunk = 0; chunk <= step.number % 8; ++chunk) {
                send();
            }
            break;
        case Verb::serve:
            serve();
            break;
        case Verb::cancel:
            cancel(static_cast<std::size_t>(step.number));
            break;
        case Verb::clear:
            outgoing_.clear();
            model_.clear();
            active_.clear();
            incoming_.clear();
            break;
        case Verb::changeWriteLength:
            model_.writeLength = static_cast<std::size_t>(step.number) + 2;
            OutgoingManager::setMaximumWriteValueLength(step.number + 2);
            break;
        }
        checkBytes();
    }

    void sendTheRest() {
        while (outgoing_.hasItems()) {
            send();
        }
        RC_ASSERT(model_.next() == nullptr);
        RC_ASSERT(outgoing_.pendingByteCount() == 0U);
    }

private:
    std::shared_ptr<platform::Queue> makeQueue() {
        return platform::Platform::current().services().scheduler->makeSerialQueue("com.brenlo.bluetooth");
    }

    /// Serves the next item, which must be the model's, under an id that no other active message has.
    std::shared_ptr<Item> serve() {
        const auto item = outgoing_.next();
        const Message* expected = model_.next();
        RC_ASSERT((item == nullptr) == (expected == nullptr));
        if (!item) {
            return nullptr;
        }
        RC_ASSERT(item->data().value() == expected->bytes);
        RC_ASSERT(item->type() == expected->type);
        RC_ASSERT(slots_.contains(item->id()));
        RC_ASSERT(outgoing_.getCurrentItem() == item);
        RC_ASSERT(!delivered_.contains(expected->number));
        for (const auto& [number, active] : active_) {
            RC_ASSERT((active == item) == (number == expected->number));
            RC_ASSERT((active->id() == item->id()) == (number == expected->number));
        }
        active_[expected->number] = item;
        current_ = expected->number;
        return item;
    }

    /// Sends one chunk of the next item as a device does, and receives it.
    void send() {
        const auto item = serve();
        if (!item) {
            return;
        }
        const auto chunk = item->getNextChunk().value();
        const bool more = item->hasMoreChunks();
        const std::size_t room = model_.writeLength - (shouldChunk(item->type()) ? 1 : 0);
        RC_ASSERT(chunk.size() == std::min(room, chunk.size() + item->pendingByteCount()));

        // The id joins chunks without a header as well here, so that all types are checked alike.
        incoming_.append(item->id(), chunk);
        if (more) {
            return;
        }
        RC_ASSERT(incoming_.finish(item->id()).value() == item->data().value());
        delivered_.insert(current_);
        active_.erase(current_);
        outgoing_.remove(outgoing_.getCurrentItem());
        model_.remove(current_);
    }

    /// Removes an active item, whichever it is, with chunks of it left.
    void cancel(std::size_t which) {
        if (active_.empty()) {
            return;
        }
        const auto found = std::next(active_.begin(), static_cast<std::ptrdiff_t>(which % active_.size()));
        outgoing_.remove(found->second);
        model_.remove(found->first);
        incoming_.finish(found->second->id());
        active_.erase(found);
    }

    void checkBytes() {
        std::size_t count = model_.waitingByteCount();
        for (const auto& message : model_.active()) {
            const auto served = active_.find(message.number);
            count += message.bytes.size() - (served == active_.end() ? 0 : served->second->position());
        }
        RC_ASSERT(outgoing_.pendingByteCount() == count);
    }

    SlotRange slots_;
    OutgoingManager outgoing_;
    Model model_;
    IncomingManager incoming_;
    int count_ = 0;
    int current_ = 0;
    std::map<int, std::shared_ptr<Item>> active_; ///< by number, those served at least once
    std::set<int> delivered_;
};

rc::Gen<Step> anyStep() {
    return rc::gen::build<Step>(
        rc::gen::set(&Step::verb, rc::gen::weightedElement<Verb>({{12, Verb::add},
                                                                  {12, Verb::send},
                                                                  {6, Verb::serve},
                                                                  {5, Verb::cancel},
                                                                  {1, Verb::clear},
                                                                  {1, Verb::changeWriteLength}})),
        rc::gen::set(&Step::type, rc::gen::element(ItemType::data, ItemType::noHeader, ItemType::replaceable,
                                                   ItemType::control, ItemType::longwrite)),
        rc::gen::set(&Step::highPriority, rc::gen::weightedElement<bool>({{2, false}, {1, true}})),
        rc::gen::set(&Step::number, rc::gen::inRange(0, 60)));
}

RC_GTEST_PROP(OutgoingManagerModel, EveryAcceptedMessageIsDeliveredOnceAndInItsTurn, ()) {
    const TestPlatform platform;
    const auto slots = *rc::gen::element(SlotRange{0, 1}, SlotRange{0, 2}, SlotRange{3, 7}, SlotRange{0, 128});
    Run run(slots);
    run.perform({Verb::changeWriteLength, {}, {}, 18});
    for (const auto& step : *rc::gen::container<std::vector<Step>>(anyStep())) {
        run.perform(step);
    }
    run.sendTheRest();
}

RC_GTEST_PROP(OutgoingManagerModel, BetweenTwoChunksOfAMessageEveryOtherActiveOneSendsOneChunk, ()) {
    const TestPlatform platform;
    const auto sizes = *rc::gen::container<std::vector<int>>(rc::gen::inRange(0, 100));
    OutgoingManager::setMaximumWriteValueLength(200);
    OutgoingManager outgoing(platform.scheduler->makeSerialQueue("com.brenlo.bluetooth"), {0, 128});
    std::vector<int> chunksLeft;
    for (std::size_t i = 0; i < std::min<std::size_t>(sizes.size(), 128); ++i) {
        outgoing.add(message(static_cast<std::size_t>(sizes[i])), false, ItemType::data);
        chunksLeft.push_back(std::max(1, (sizes[i] + 8) / 9));
    }
    OutgoingManager::setMaximumWriteValueLength(10);

    while (std::any_of(chunksLeft.begin(), chunksLeft.end(), [](int left) { return left > 0; })) {
        std::set<std::shared_ptr<Item>> served;
        const auto active = std::count_if(chunksLeft.begin(), chunksLeft.end(), [](int left) { return left > 0; });
        for (std::ptrdiff_t turn = 0; turn < active; ++turn) {
            const auto item = outgoing.next();
            RC_ASSERT(served.insert(item).second);
            item->getNextChunk();
            if (!item->hasMoreChunks()) {
                outgoing.remove(outgoing.getCurrentItem());
            }
        }
        std::for_each(chunksLeft.begin(), chunksLeft.end(), [](int& left) { --left; });
    }
    RC_ASSERT(!outgoing.hasItems());
}

} // namespace
} // namespace tarnel

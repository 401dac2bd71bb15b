#pragma once

#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace tarnel {

/// What a subscriber owns: a callback, as long as the subscriber keeps the object. An empty callback detaches it.
/// Any thread.
template <typename T>
class BondListener {
public:
    using Callback = std::function<void(const T&)>;

    explicit BondListener(Callback listener) : listener_(std::move(listener)) {}

    Callback listener() const {
        const std::lock_guard lock(mutex_);
        return listener_;
    }
    void setListener(Callback listener) {
        const std::lock_guard lock(mutex_);
        listener_.swap(listener);
    }

private:
    mutable std::mutex mutex_;
    Callback listener_;
};

/// An observable value. Setting it notifies every live listener on the main queue, most recently bound first, also when
/// the value is the same; a listener gets the value current when it is called. Listeners are held weakly.
///
/// May be set, read, bound and unbound on any thread, also from a listener. No lock is held while a callback runs, a
/// block is submitted, or a value or listener is destroyed.
template <typename T>
class Bindable {
public:
    explicit Bindable(T value) : state_(std::make_shared<State>(std::move(value))) {}
    Bindable(const Bindable&) = delete;
    Bindable& operator=(const Bindable&) = delete;

    T value() const { return state_->current(); }

    /// Stores the value, then fires.
    void setValue(T value) {
        {
            const std::lock_guard lock(state_->mutex);
            std::swap(state_->value, value);
        }
        fire();
    }

    /// Adds the listener; with `shouldFire` calls it at once, on the caller's thread, with the current value.
    void bind(const std::shared_ptr<BondListener<T>>& listener, bool shouldFire) {
        precondition(listener != nullptr, "a listener is bound");
        {
            const std::lock_guard lock(state_->mutex);
            state_->listeners.push_back(std::make_shared<const Bond>(Bond{listener}));
        }
        if (!shouldFire) {
            return;
        }
        if (const auto callback = listener->listener()) {
            callback(value());
        }
    }

    /// Removes the listener's first binding; identity counts.
    void unbind(const std::shared_ptr<BondListener<T>>& listener) {
        const std::lock_guard lock(state_->mutex);
        auto& listeners = state_->listeners;
        const auto found = std::find_if(listeners.begin(), listeners.end(),
                                        [&](const BondPointer& bond) { return bond->isOf(listener); });
        if (found != listeners.end()) {
            listeners.erase(found);
        }
    }

    /// Notifies as `setValue` does, without a change. Listeners that are gone or empty are dropped.
    void fire() {
        std::vector<BondPointer> snapshot;
        {
            const std::lock_guard lock(state_->mutex);
            snapshot = state_->listeners;
        }
        for (auto bond = snapshot.rbegin(); bond != snapshot.rend(); ++bond) {
            if ((*bond)->callback()) {
                platform::Platform::current().services().scheduler->mainQueue()->asyncBarrier(
                    [state = std::weak_ptr(state_), entry = std::weak_ptr(*bond)] { deliver(state, entry); });
            } else {
                const std::lock_guard lock(state_->mutex);
                std::erase(state_->listeners, *bond);
            }
        }
    }

    /// How many listeners are bound, those included that are gone and not yet dropped.
    std::size_t listenerCount() const {
        const std::lock_guard lock(state_->mutex);
        return state_->listeners.size();
    }

private:
    /// An entry of the list; never keeps its listener alive.
    struct Bond {
        std::weak_ptr<BondListener<T>> listener;

        typename BondListener<T>::Callback callback() const {
            const auto live = listener.lock();
            return live ? live->listener() : nullptr;
        }
        bool isOf(const std::shared_ptr<BondListener<T>>& other) const {
            return !listener.owner_before(other) && !other.owner_before(listener);
        }
    };
    using BondPointer = std::shared_ptr<const Bond>;

    struct State {
        explicit State(T initial) : value(std::move(initial)) {}

        T current() const {
            const std::lock_guard lock(mutex);
            return value;
        }

        mutable std::mutex mutex;
        std::vector<BondPointer> listeners;
        T value;
    };

    static void deliver(const std::weak_ptr<State>& weakState, const std::weak_ptr<const Bond>& weakBond) {
        const auto state = weakState.lock();
        const auto bond = weakBond.lock();
        if (!state || !bond) {
            return;
        }
        if (const auto callback = bond->callback()) {
            callback(state->current());
        }
    }

    std::shared_ptr<State> state_;
};

} // namespace tarnel

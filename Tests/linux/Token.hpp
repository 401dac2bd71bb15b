#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <utility>

namespace tarnel::test {

/// Something that others hold, and whose end can be awaited.
class Token {
public:
    /// Hands it out, once.
    std::shared_ptr<void> take() { return std::move(held_); }
    /// Expires when nobody holds it any more.
    std::weak_ptr<void> watch() const { return watch_; }
    /// False when somebody still holds it after half a minute.
    bool awaitEnd() const { return gone_.wait_for(std::chrono::seconds(30)) == std::future_status::ready; }

private:
    std::shared_ptr<std::promise<void>> promise_ = std::make_shared<std::promise<void>>();
    std::shared_future<void> gone_ = promise_->get_future().share();
    std::shared_ptr<void> held_{nullptr, [promise = promise_](void*) { promise->set_value(); }};
    std::weak_ptr<void> watch_ = held_;
};

} // namespace tarnel::test

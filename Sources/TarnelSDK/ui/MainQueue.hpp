#pragma once

#include <TarnelSDK/platform/Platform.hpp>

#include <memory>
#include <utility>

namespace tarnel {

/// Runs `block(owner)` on the main queue: at once in a block of it, else later, unless the owner is gone by then.
template <typename Owner, typename Block>
void onMainQueue(const std::weak_ptr<Owner>& owner, Block block) {
    const auto queue = platform::Platform::current().services().scheduler->mainQueue();
    const auto run = [owner, block = std::move(block)] {
        if (const auto live = owner.lock()) {
            block(*live);
        }
    };
    if (queue->isCurrent()) {
        run();
    } else {
        queue->async(run);
    }
}

} // namespace tarnel

#pragma once

#include <TarnelSDK/platform/Queue.hpp>

#include <memory>

namespace tarnel::glasses {

/// The queues of one run of an application, on a scheduler that goes on after it: what the application submitted and
/// did not start by `shutDown` is dropped, what others submitted to the same scheduler stays. For schedulers of one
/// thread.
class ApplicationScheduler : public platform::Scheduler {
public:
    explicit ApplicationScheduler(std::shared_ptr<platform::Scheduler> scheduler);
    ~ApplicationScheduler() override;

    std::shared_ptr<platform::Queue> mainQueue() override;
    std::shared_ptr<platform::Queue> makeSerialQueue(std::string label) override;
    std::shared_ptr<platform::Queue> makeConcurrentQueue(std::string label) override;
    void shutDown() override;

private:
    class Blocks;
    class ApplicationQueue;

    const std::shared_ptr<platform::Scheduler> scheduler_;
    const std::shared_ptr<Blocks> blocks_;
    const std::shared_ptr<platform::Queue> mainQueue_;
};

} // namespace tarnel::glasses

#pragma once

#include <functional>
#include <memory>

namespace tarnel {

/// Has Qt's event loop call a function when other threads say so. Several calls that wait become one.
///
/// Made and destroyed on the GUI thread.
class QtWake {
public:
    /// `woken` is called by the event loop.
    explicit QtWake(std::function<void()> woken);
    /// Nothing is called from then on.
    ~QtWake();
    QtWake(const QtWake&) = delete;
    QtWake& operator=(const QtWake&) = delete;

    /// To be called on any thread, and also when this is gone.
    std::function<void()> caller() const;

private:
    class Receiver;
    struct Target;
    const std::shared_ptr<Target> target_;
    const std::unique_ptr<Receiver> receiver_;
};

} // namespace tarnel

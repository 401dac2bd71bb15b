#pragma once

#include <TarnelQt/QtWake.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

namespace tarnel {

/// Has Qt's event loop drain the main queue of a scheduler: its blocks run on the GUI thread, between Qt's own events.
/// A block that runs an event loop of its own (`QDialog::exec`) holds up the blocks behind it; `QDialog::open` does
/// not.
///
/// Made and destroyed on the GUI thread, which is the scheduler's main thread, while the scheduler exists.
class QtMainQueue {
public:
    /// REQUIRES: a QCoreApplication exists.
    explicit QtMainQueue(ThreadScheduler& scheduler);
    /// Blocks wait from now on.
    ~QtMainQueue();
    QtMainQueue(const QtMainQueue&) = delete;
    QtMainQueue& operator=(const QtMainQueue&) = delete;

private:
    ThreadScheduler& scheduler_;
    const QtWake wake_;
};

} // namespace tarnel

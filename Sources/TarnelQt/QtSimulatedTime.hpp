#pragma once

#include <TarnelSDK/schedulers/SimulatedScheduler.hpp>

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QObject>
#include <chrono>

namespace tarnel {

/// Moves a scheduler of virtual time at the pace of the clock, from Qt's event loop: demonstrations on simulated
/// glasses. Its blocks run on the GUI thread. Time that the event loop did not run for (a machine that slept) is left
/// out beyond `longestStep`.
///
/// Made and destroyed on the scheduler's thread, while the scheduler exists.
class QtSimulatedTime : public QObject {
public:
    static constexpr std::chrono::milliseconds step{10};
    static constexpr std::chrono::milliseconds longestStep{250};

    explicit QtSimulatedTime(SimulatedScheduler& scheduler);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    SimulatedScheduler& scheduler_;
    QBasicTimer timer_;
    QElapsedTimer elapsed_;
    bool isMoving_ = false; ///< a block runs, perhaps with an event loop of its own
};

} // namespace tarnel

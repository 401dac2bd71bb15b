#include <TarnelQt/QtSimulatedTime.hpp>

#include <QTimerEvent>
#include <algorithm>

namespace tarnel {

QtSimulatedTime::QtSimulatedTime(SimulatedScheduler& scheduler) : scheduler_(scheduler) {
    timer_.start(static_cast<int>(step.count()), Qt::PreciseTimer, this);
    elapsed_.start();
}

void QtSimulatedTime::timerEvent(QTimerEvent* event) {
    if (event->timerId() != timer_.timerId()) {
        QObject::timerEvent(event);
    } else if (!isMoving_) {
        isMoving_ = true;
        const auto passed = std::chrono::nanoseconds(elapsed_.nsecsElapsed());
        elapsed_.restart();
        scheduler_.advance(std::min<platform::Duration>(passed, longestStep));
        isMoving_ = false;
    }
}

} // namespace tarnel

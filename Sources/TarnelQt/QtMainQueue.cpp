#include <TarnelQt/QtMainQueue.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <QCoreApplication>

namespace tarnel {

QtMainQueue::QtMainQueue(ThreadScheduler& scheduler)
    : scheduler_(scheduler), wake_([&scheduler] { scheduler.drainMain(); }) {
    precondition(QCoreApplication::instance() != nullptr, "a QCoreApplication exists");
    scheduler_.setMainWake(wake_.caller());
}

QtMainQueue::~QtMainQueue() {
    scheduler_.setMainWake(nullptr);
}

} // namespace tarnel

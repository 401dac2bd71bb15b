#include <TarnelQt/QtMainQueue.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <mutex>

namespace tarnel {

class QtMainQueue::Receiver : public QObject {
public:
    explicit Receiver(ThreadScheduler& scheduler) : scheduler_(scheduler) {}

    bool event(QEvent* event) override {
        if (event->type() != QEvent::User) {
            return QObject::event(event);
        }
        scheduler_.drainMain();
        return true;
    }

private:
    ThreadScheduler& scheduler_;
};

/// Where to post; a wake that is under way on another thread may outlive the receiver.
struct QtMainQueue::Target {
    std::mutex mutex;
    Receiver* receiver = nullptr;
};

QtMainQueue::QtMainQueue(ThreadScheduler& scheduler)
    : scheduler_(scheduler), target_(std::make_shared<Target>()), receiver_(std::make_unique<Receiver>(scheduler)) {
    precondition(QCoreApplication::instance() != nullptr, "a QCoreApplication exists");
    target_->receiver = receiver_.get();
    scheduler_.setMainWake([target = target_] {
        const std::lock_guard lock(target->mutex);
        if (target->receiver) {
            QCoreApplication::postEvent(target->receiver, new QEvent(QEvent::User));
        }
    });
}

QtMainQueue::~QtMainQueue() {
    scheduler_.setMainWake(nullptr);
    const std::lock_guard lock(target_->mutex);
    target_->receiver = nullptr;
}

} // namespace tarnel

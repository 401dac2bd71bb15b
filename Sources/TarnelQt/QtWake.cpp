#include <TarnelQt/QtWake.hpp>

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <mutex>
#include <utility>

namespace tarnel {

struct QtWake::Target {
    std::mutex mutex;
    QObject* receiver = nullptr; ///< until the wake is gone
    bool isPosted = false;

    void call() {
        const std::lock_guard lock(mutex);
        if (receiver && !std::exchange(isPosted, true)) {
            QCoreApplication::postEvent(receiver, new QEvent(QEvent::User));
        }
    }

    void taken() {
        const std::lock_guard lock(mutex);
        isPosted = false;
    }
};

class QtWake::Receiver : public QObject {
public:
    Receiver(std::shared_ptr<Target> target, std::function<void()> woken)
        : target_(std::move(target)), woken_(std::move(woken)) {}

    bool event(QEvent* event) override {
        if (event->type() != QEvent::User) {
            return QObject::event(event);
        }
        target_->taken();
        const auto woken = woken_; // the wake may end in it
        woken();
        return true;
    }

private:
    const std::shared_ptr<Target> target_;
    const std::function<void()> woken_;
};

QtWake::QtWake(std::function<void()> woken)
    : target_(std::make_shared<Target>()), receiver_(std::make_unique<Receiver>(target_, std::move(woken))) {
    target_->receiver = receiver_.get();
}

QtWake::~QtWake() {
    const std::lock_guard lock(target_->mutex);
    target_->receiver = nullptr;
}

std::function<void()> QtWake::caller() const {
    return [target = target_] { target->call(); };
}

} // namespace tarnel

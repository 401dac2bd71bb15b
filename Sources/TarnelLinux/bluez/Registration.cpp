#include <TarnelLinux/bluez/Registration.hpp>

#include <algorithm>
#include <map>

namespace tarnel::bluez {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds firstRetry = 500ms;
constexpr std::chrono::milliseconds longestRetry = 15s;

} // namespace

Registration::~Registration() {
    *isAlive_ = false;
    loop_.cancel(timer_);
}

void Registration::begin(const std::string& adapter, const std::string& object) {
    adapter_ = adapter;
    object_ = object;
    delay_ = 0ms;
    failure_.reset();
    ask();
}

void Registration::ask() {
    bus_.call(
        adapter_, manager_.interface, manager_.registers,
        [this](sdbus::MethodCall& message) {
            message << sdbus::ObjectPath(object_) << std::map<std::string, sdbus::Variant>();
        },
        [this, alive = isAlive_, number = ++number_](sdbus::MethodReply*, const Failure* failure) {
            if (*alive && number == number_) {
                answered(failure);
            }
        });
}

void Registration::answered(const Failure* failure) {
    // An earlier request was answered too late, and yet done.
    if (failure && failure->name == "org.bluez.Error.AlreadyExists") {
        failure = nullptr;
    }
    isDone_ = failure == nullptr;
    failure_ = failure ? std::optional(*failure) : std::nullopt;
    if (failure) {
        delay_ = std::clamp(delay_ * 2, firstRetry, longestRetry);
        timer_ = loop_.after(delay_, [this] { ask(); });
    }
    changed_();
}

void Registration::end() {
    if (!isBegun()) {
        return;
    }
    bus_.call(
        adapter_, manager_.interface, manager_.unregisters,
        [this](sdbus::MethodCall& message) { message << sdbus::ObjectPath(object_); },
        [](sdbus::MethodReply*, const Failure*) {
            // What the daemon does not know is gone as well.
        });
    lose();
}

void Registration::lose() {
    loop_.cancel(timer_);
    ++number_;
    adapter_.clear();
    object_.clear();
    isDone_ = false;
    failure_.reset();
}

} // namespace tarnel::bluez

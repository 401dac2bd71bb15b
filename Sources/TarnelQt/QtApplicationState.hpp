#pragma once

#include <TarnelSDK/platform/Application.hpp>

#include <QObject>
#include <functional>

namespace tarnel {

/// Follows the state of the Qt application: `active` while one of its windows is, `inactive` while another application
/// is in front of it, and `background` while none of its windows is to be seen.
///
/// Made and destroyed on the GUI thread.
class QtApplicationState : public QObject {
public:
    using Change = std::function<void(platform::ApplicationState)>;

    /// `changed` is called on the GUI thread: with the state of now, later after each change. It hands the state to the
    /// platform's application, e.g. by `LinuxApplication::setState`.
    explicit QtApplicationState(Change changed);
    ~QtApplicationState() override;

    platform::ApplicationState state() const { return state_; }

    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void update();

    const Change changed_;
    platform::ApplicationState state_ = platform::ApplicationState::active;
};

} // namespace tarnel

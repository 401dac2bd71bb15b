#pragma once

#include <functional>
#include <memory>

namespace tarnel {

class AlertController;
class TarnelPickerController;
class ViewController;

/// The widget or window of one screen.
class ScreenView {
public:
    virtual ~ScreenView() = default;
    /// What the screen says of itself has changed; all of it is to be read again, at once or when it is next drawn.
    virtual void reload() = 0;
};

/// What draws the screens. The application provides one (`platform::Provided<ScreenToolkit>::provide`) before it shows
/// a screen. Everything is called on the main queue or thread.
class ScreenToolkit {
public:
    virtual ~ScreenToolkit() = default;

    /// Views hold their screen weakly: the screen owns them.
    virtual std::shared_ptr<ScreenView> makePickerView(const std::shared_ptr<TarnelPickerController>& picker) = 0;
    virtual std::shared_ptr<ScreenView> makeAlertView(const std::shared_ptr<AlertController>& alert) = 0;

    /// Shows the screen modally over another one: `beginAppearance` of it, when it is all there `endAppearance`, then
    /// the completion, unless it is empty. The screen below keeps its appearance.
    virtual void present(const std::shared_ptr<ViewController>& screen, const std::shared_ptr<ViewController>& below,
                         bool animated, std::function<void()> completion) = 0;

    /// Takes away a screen that was presented, also one that is not all there yet: `beginDisappearance`, when it is
    /// gone `endDisappearance`, then the completion, unless it is empty.
    virtual void dismiss(const std::shared_ptr<ViewController>& screen, bool animated,
                         std::function<void()> completion) = 0;
};

} // namespace tarnel

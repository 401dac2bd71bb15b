#pragma once

#include <TarnelSDK/device/NotificationNames.hpp>
#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Bindable.hpp>
#include <TarnelSDK/platform/NotificationCenter.hpp>
#include <TarnelSDK/ui/ViewController.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tarnel {

/// The base of a screen that drives the glasses. A screen takes the display by `startControl` (in `viewDidAppear`, say)
/// and gives it back by `stopControl` (in `viewWillDisappear` and `onAppLeave`); this class calls neither by itself,
/// and hears only the glasses that were current when its view was loaded (from any, when there were none).
/// `GlassesScreen` does all of that for the glasses that are current, whenever they come.
///
/// The hooks are called on the main queue, between `viewDidLoad` and the screen's end, and do nothing here.
class TarnelBaseViewController : public ViewController {
public:
    using ViewController::ViewController;
    ~TarnelBaseViewController() override;

    /// Whether this screen holds the display.
    virtual bool isActive() const { return isActive_; }
    /// Seconds without input after which the display goes dark; taken with the next `startControl`.
    virtual int displayTimeout() const { return displayTimeout_; }
    virtual void setDisplayTimeout(int seconds) { displayTimeout_ = seconds; }
    virtual bool hideStatusBar() const { return hideStatusBar_; }
    virtual void setHideStatusBar(bool hides) { hideStatusBar_ = hides; }
    virtual Layout layout() const { return layout_; }
    virtual void setLayout(Layout layout) { layout_ = layout; }

    /// Takes the display with `layout`, unless the screen has it or the application is in the background.
    virtual void startControl();
    /// Gives the display back, if the screen has it.
    virtual void stopControl();

    /// The glasses were tapped; "tap": how often (`Value`).
    virtual void onTap(const platform::Notification& /*notification*/) {}
    virtual void onDisplayTimeout() {}
    /// "power_btn": how often it was pressed (`Value`).
    virtual void onPowerButtonTap(const platform::Notification& /*notification*/) {}
    /// The glasses are not connected, or none are linked: also reported at the start, and perhaps more than once.
    virtual void onDisconnected() {}
    /// The application is about to leave the front.
    virtual void onAppLeave() {}
    virtual void showPairingPicker();

    void viewDidLoad() override;
    /// Opens the picker when no glasses are linked.
    void viewDidAppear(bool animated) override;

protected:
    /// Hears the taps, the power button and the display's time-out of these glasses in place of those heard so far;
    /// empty: of any. REQUIRES: the view is loaded.
    void listenTo(const std::shared_ptr<Tarnel>& device);
    /// The display is not the screen's any more: `isActive` becomes false without a command.
    void forgetControl() { isActive_ = false; }
    /// Gives the display of these glasses back.
    static void releaseDisplay(Tarnel& device);

    using Hook = std::function<void(TarnelBaseViewController&, const platform::Notification&)>;
    /// Calls the hook on the main queue, as long as there is a screen, for notifications of this sender, or of any.
    platform::Observation observe(const char* name, const std::shared_ptr<Tarnel>& sender, Hook hook);

private:
    std::weak_ptr<TarnelBaseViewController> weakSelf();
    void watchCurrentDevice();
    void linkChanged(bool isLinked);

    bool isActive_ = false;
    int displayTimeout_ = 180;
    bool hideStatusBar_ = false;
    Layout layout_ = Layout::canvas;
    std::shared_ptr<BondListener<bool>> isConnectedListener_;
    std::shared_ptr<BondListener<bool>> isLinkedListener_;
    std::weak_ptr<Tarnel> watched_;                   ///< the device that `isConnectedListener_` is bound to
    std::vector<platform::Observation> observations_; ///< of the glasses
    std::optional<platform::Observation> leaving_;    ///< of the application
};

} // namespace tarnel

#pragma once

#include <TarnelSDK/foundation/Bindable.hpp>
#include <TarnelSDK/platform/NotificationCenter.hpp>
#include <TarnelSDK/ui/TarnelBaseViewController.hpp>

#include <memory>
#include <optional>
#include <vector>

namespace tarnel {

/// A screen that has the glasses' display as long as it is shown: it takes the display of the current glasses whenever
/// they are connected, be they picked later, back after a drop or in the place of others, and hears the taps of these.
/// It gives the display back when it disappears and when the application leaves the front, and takes it again when the
/// application returns. Derive from it and draw in `onControlTaken`.
///
/// A display that another application takes is left to it, until `startControl`, the screen's next appearance or the
/// application's return; so is one that goes dark after `displayTimeout`, unless the glasses connect anew. One such
/// screen is shown at a time. The hooks are called on the main queue, from
/// `viewDidLoad` to the screen's end, and do nothing here; a derived class need not pass any of them on.
class GlassesScreen : public TarnelBaseViewController {
public:
    using TarnelBaseViewController::TarnelBaseViewController;
    ~GlassesScreen() override;

    /// Takes the display now or as soon as there are glasses connected, and whenever it is lost, until `stopControl`.
    /// `isActive` is true only while the display is the screen's. Called by `viewDidAppear`.
    void startControl() override;
    /// Gives the display back until `startControl`. Called by `viewWillDisappear`.
    void stopControl() override;

    /// The display is this screen's, and empty: draw.
    virtual void onControlTaken() {}
    /// The display is this screen's no more: given back, taken by another application, dark, or out of reach.
    virtual void onControlLost() {}
    /// The current glasses are connected; before the display is taken.
    virtual void onConnected() {}

    void viewDidLoad() override;
    void viewDidAppear(bool animated) override;
    void viewWillDisappear(bool animated) override;

private:
    using Handler = void (GlassesScreen::*)();

    /// On the main queue.
    platform::Observation observe(const char* name, Handler handler, const std::shared_ptr<Tarnel>& sender = nullptr);
    void deviceChanged();
    void connectionChanged(bool isConnected);
    void applicationLeaves();
    void applicationReturns();
    void takeControl();
    void loseControl();

    bool isWanted_ = false;
    bool isTakenByAnother_ = false; ///< by another application, over a connection that stands
    bool hasLeft_ = false;          ///< the application, the front
    bool isConnected_ = false;      ///< as `onConnected` was told
    std::weak_ptr<Tarnel> device_;  ///< that `connectionListener_` is bound to
    std::shared_ptr<BondListener<bool>> connectionListener_;
    std::vector<platform::Observation> observations_;
    std::optional<platform::Observation> timeout_; ///< of the display of `device_`
};

} // namespace tarnel

#pragma once

#include <TarnelSDK/ui/ScreenToolkit.hpp>
#include <TarnelSDK/ui/ViewController.hpp>

#include <QPointer>
#include <QWidget>
#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <memory>

namespace tarnel {

class ModalOverlay;

/// Draws the screens with Qt Widgets: a presented screen darkens the window of the screen below and stands over it, and
/// takes all input of that window. Where there is no such window it gets one of its own. A screen leaves when its
/// window is hidden or destroyed.
///
/// Made and destroyed on the GUI thread, which is the main queue's, with a QApplication; destroyed before the platform
/// is torn down. What it shows leaves with it.
class QtScreenToolkit : public ScreenToolkit {
public:
    static constexpr std::chrono::milliseconds defaultAnimation{160};

    /// One that the SDK's screens use, as long as the caller keeps it. REQUIRES: a platform is installed.
    static std::shared_ptr<QtScreenToolkit> provide();
    /// Empty when the SDK's screens use none or another toolkit.
    static std::shared_ptr<QtScreenToolkit> provided();

    QtScreenToolkit() = default;
    ~QtScreenToolkit() override;
    QtScreenToolkit(const QtScreenToolkit&) = delete;
    QtScreenToolkit& operator=(const QtScreenToolkit&) = delete;

    /// How long a screen takes to come or to go; at 0 it is there at once, as it always is where the user wants no
    /// animations. Any key or click ends an animation.
    void setAnimation(std::chrono::milliseconds duration) { animation_ = duration; }

    /// Tells in which widget the application shows a screen of its own. The widget is not owned.
    void attach(const std::shared_ptr<ViewController>& screen, QWidget* widget);

    std::shared_ptr<ScreenView> makePickerView(const std::shared_ptr<TarnelPickerController>& picker) override;
    std::shared_ptr<ScreenView> makeAlertView(const std::shared_ptr<AlertController>& alert) override;
    /// A screen whose view is no `QtScreenView` appears without being seen.
    void present(const std::shared_ptr<ViewController>& screen, const std::shared_ptr<ViewController>& below,
                 bool animated, std::function<void()> completion) override;
    void dismiss(const std::shared_ptr<ViewController>& screen, bool animated,
                 std::function<void()> completion) override;

private:
    struct Presentation;
    using Presentations = std::list<std::shared_ptr<Presentation>>;

    std::shared_ptr<Presentation> find(const std::shared_ptr<ViewController>& screen) const;
    QWidget* windowOf(const std::shared_ptr<ViewController>& screen) const;
    void cover(const std::shared_ptr<Presentation>& presentation, const std::shared_ptr<ViewController>& below);
    int duration(const QWidget* window, bool animated) const;
    void end(const std::shared_ptr<Presentation>& presentation);

    std::chrono::milliseconds animation_ = defaultAnimation;
    std::map<std::weak_ptr<ViewController>, QPointer<QWidget>, std::owner_less<>> widgets_;
    Presentations presentations_;
};

} // namespace tarnel

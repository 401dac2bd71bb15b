#pragma once

#include <TarnelSDK/ui/Elements.hpp>
#include <TarnelSDK/ui/ScreenToolkit.hpp>

#include <QPointer>
#include <QRect>
#include <QWidget>
#include <functional>
#include <memory>

namespace tarnel {

/// The view of a screen: one widget. An application's own screen sets one in `loadView`, to be shown by a
/// `QtScreenWidget` or presented over another screen. GUI thread.
class QtScreenView : public ScreenView {
public:
    /// `reload` is called, once for all changes, when the screen is to be read again; it may be empty.
    explicit QtScreenView(std::unique_ptr<QWidget> widget, std::function<void()> reload = nullptr);
    /// The widget goes as soon as no event of its is under way.
    ~QtScreenView() override;
    QtScreenView(const QtScreenView&) = delete;
    QtScreenView& operator=(const QtScreenView&) = delete;

    /// Null once a window in which it stood has been destroyed.
    QWidget* widget() const { return widget_; }
    void reload() override;

    // How it stands over a window when its screen is presented.

    /// What lies over the window around the widget.
    virtual Overlay overlay() const { return {}; }
    /// Where the widget stands in a window of this size: at first in the middle, as large as it wants to be.
    virtual QRect place(const QSize& window) const;
    /// The user pressed Escape.
    virtual void cancel() {}

private:
    QPointer<QWidget> widget_;
    const std::function<void()> reload_;
    bool isReloadPosted_ = false;
    const std::shared_ptr<const bool> isLive_ = std::make_shared<const bool>(true);
};

} // namespace tarnel

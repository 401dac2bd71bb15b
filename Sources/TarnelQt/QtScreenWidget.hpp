#pragma once

#include <TarnelSDK/ui/ViewController.hpp>

#include <QWidget>
#include <memory>

namespace tarnel {

/// A widget or window in which an application shows a screen of its own: the screen appears and disappears with it. It
/// is filled with the screen's view where that is a `QtScreenView`, else by the application.
///
/// GUI thread; destroyed before the platform is torn down.
class QtScreenWidget : public QWidget {
public:
    /// REQUIRES: a `QtScreenToolkit` is provided.
    explicit QtScreenWidget(std::shared_ptr<ViewController> screen, QWidget* parent = nullptr);
    /// Takes the screen away.
    ~QtScreenWidget() override;

    const std::shared_ptr<ViewController>& screen() const { return screen_; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void fill();
    void disappear();

    const std::shared_ptr<ViewController> screen_;
};

} // namespace tarnel

#pragma once

#include <QPointer>
#include <QVariantAnimation>
#include <QWidget>
#include <functional>
#include <memory>

namespace tarnel {

class QtScreenView;

/// Covers a window, darkens it, and shows the widget of a view over it. While it is there, the window takes no input
/// outside of it: neither mouse, keys nor shortcuts. Escape cancels the view.
class ModalOverlay : public QWidget {
public:
    using Done = std::function<void()>;

    /// The window owns it, the view keeps its widget.
    ModalOverlay(QWidget* window, const std::shared_ptr<QtScreenView>& view);
    ~ModalOverlay() override;

    /// Comes within so many milliseconds. `done` is called once it is all there, within this call at 0.
    void appear(int duration, Done done);
    /// Goes, and calls `done` when it is hidden. What it was about to call before is dropped.
    void leave(int duration, Done done);

    /// Called when its window goes away from under it: hidden by the application, or destroyed.
    std::function<void()> onWindowGone;

    bool eventFilter(QObject* object, QEvent* event) override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    void animate(double target, int duration, Done done);
    void setProgress(double progress);
    void finish();
    void place();
    bool isOnTop() const;
    bool isInside(const QObject* object) const;
    bool isInputElsewhere(QObject* object, const QEvent& event) const;

    QWidget* const window_;
    const std::weak_ptr<QtScreenView> view_;
    const QPointer<QWidget> content_;
    QPointer<QWidget> focusBefore_;
    QVariantAnimation animation_;
    Done done_;
    double progress_ = 0; ///< 0: not to be seen, 1: all there
    bool isLeaving_ = false;
};

} // namespace tarnel

#pragma once

#include <TarnelSDK/ui/Elements.hpp>

#include <QLabel>
#include <QWidget>
#include <optional>

namespace tarnel {

class BusyIndicator;

/// What stands in place of rows: that something is under way, a text, what to do.
class EmptyStateView : public QWidget {
public:
    explicit EmptyStateView(QWidget* parent = nullptr);

    /// Hides it for no state.
    void setState(const std::optional<EmptyState>& state);

protected:
    void changeEvent(QEvent* event) override;

private:
    void color();

    BusyIndicator* const indicator_; // owned by this widget, as are the labels
    QLabel* const text_;
    QLabel* const hint_;
};

} // namespace tarnel

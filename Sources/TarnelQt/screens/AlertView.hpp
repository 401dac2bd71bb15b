#pragma once

#include <TarnelQt/QtScreenView.hpp>

#include <memory>

namespace tarnel {

class AlertController;

/// The card of an alert.
class AlertView : public QtScreenView {
public:
    static std::shared_ptr<AlertView> make(const std::shared_ptr<AlertController>& alert);

    Overlay overlay() const override { return {.alpha = 0.2}; }
    QRect place(const QSize& window) const override;
    /// Chooses the action that cancels, else the only one; an alert without actions leaves.
    void cancel() override;

private:
    class AlertCard;
    AlertView(std::unique_ptr<AlertCard> card, const std::shared_ptr<AlertController>& alert);

    const std::weak_ptr<AlertController> alert_;
};

} // namespace tarnel

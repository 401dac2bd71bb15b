#pragma once

#include <TarnelQt/QtScreenView.hpp>

#include <memory>

namespace tarnel {

class TarnelPickerController;

/// The card of a picker.
class PickerView : public QtScreenView {
public:
    static std::shared_ptr<PickerView> make(const std::shared_ptr<TarnelPickerController>& picker);

    Overlay overlay() const override;
    QRect place(const QSize& window) const override;
    void cancel() override;

private:
    class PickerCard;
    PickerView(std::unique_ptr<PickerCard> card, const std::shared_ptr<TarnelPickerController>& picker);

    const std::weak_ptr<TarnelPickerController> picker_;
};

} // namespace tarnel

#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/ui/AlertController.hpp>

#include <utility>

namespace tarnel {

AlertController::AlertController(const std::string& title, std::string message, Style preferredStyle)
    : message_(std::move(message)), preferredStyle_(preferredStyle) {
    setTitle(title);
}

void AlertController::addAction(AlertAction action) {
    actions_.push_back(std::move(action));
    reload();
}

void AlertController::loadView() {
    ViewController::loadView();
    if (const auto toolkit = platform::Provided<ScreenToolkit>::get()) {
        setView(toolkit->makeAlertView(std::static_pointer_cast<AlertController>(shared_from_this())));
    }
}

void AlertController::choose(std::size_t action) {
    if (action < actions_.size() && presentingViewController()) {
        dismiss(true, actions_[action].handler);
    }
}

} // namespace tarnel

#include "Failure.hpp"
#include "Window.hpp"

namespace tarnel::command {

bool hasWindows() {
    return false;
}

void requireWindow() {
    throw Failure("this tarnel was built without windows, for which it needs Qt 6.4 Widgets when it is built; --frame "
                  "writes what the display shows");
}

void showWindow(Simulation&) {
    requireWindow();
}

void showWindow(const std::shared_ptr<glasses::SimulatedGlasses>&, const std::function<void()>&,
                const std::function<bool()>&) {
    requireWindow();
}

} // namespace tarnel::command

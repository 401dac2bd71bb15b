#pragma once

#include <functional>
#include <memory>

namespace tarnel::glasses {
class SimulatedGlasses;
}

namespace tarnel::command {

class Simulation;

/// Whether the program was built with windows.
bool hasWindows();

/// Throws `Failure` in a program that was built without windows, and where no display is.
void requireWindow();

/// Shows the simulated glasses in a window, while time passes as the clock does, until it is closed. REQUIRES:
/// `requireWindow` returned.
void showWindow(Simulation& simulation);

/// Shows glasses that live on other threads in a window, until it is closed or `isOver` says so, which is asked now and
/// then. `shown` is called once the window is there. REQUIRES: `requireWindow` returned.
void showWindow(const std::shared_ptr<glasses::SimulatedGlasses>& glasses, const std::function<void()>& shown,
                const std::function<bool()>& isOver);

} // namespace tarnel::command

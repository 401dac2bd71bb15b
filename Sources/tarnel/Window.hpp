#pragma once

namespace tarnel::command {

class Simulation;

/// Throws `Failure` in a program that was built without windows, and where no display is.
void requireWindow();

/// Shows the simulated glasses in a window, while time passes as the clock does, until it is closed. REQUIRES:
/// `requireWindow` returned.
void showWindow(Simulation& simulation);

} // namespace tarnel::command

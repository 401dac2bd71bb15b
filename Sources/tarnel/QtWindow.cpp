#include "Failure.hpp"
#include "Simulation.hpp"
#include "Window.hpp"

#include <TarnelQt/QtSimulatedTime.hpp>
#include <TarnelQt/glasses/QtGlassesWindow.hpp>

#include <QApplication>
#include <algorithm>
#include <array>
#include <cstdlib>

namespace tarnel::command {
namespace {

bool isSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value && *value != '\0';
}

} // namespace

void requireWindow() {
    // Qt ends a program that finds no display.
    constexpr std::array displays{"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"};
    if (std::none_of(displays.begin(), displays.end(), isSet)) {
        throw Failure("there is no display for the window (neither DISPLAY nor WAYLAND_DISPLAY is set); --frame writes "
                      "what the glasses show");
    }
}

void showWindow(Simulation& simulation) {
    int count = 1;
    std::array<char, 7> name{"tarnel"};
    std::array<char*, 2> arguments{name.data(), nullptr};
    const QApplication application(count, arguments.data());
    QtGlassesWindow window(simulation.glasses().shared_from_this());
    window.show();
    const QtSimulatedTime time(simulation.world().scheduler());
    QApplication::exec();
}

} // namespace tarnel::command

#include "Failure.hpp"
#include "Simulation.hpp"
#include "Window.hpp"

#include <TarnelQt/QtSimulatedTime.hpp>
#include <TarnelQt/glasses/QtGlassesWindow.hpp>

#include <QApplication>
#include <QTimer>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>

namespace tarnel::command {
namespace {

bool isSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value && *value != '\0';
}

/// The one Qt application, which keeps its arguments.
class Program {
    int count_ = 1;
    std::array<char, 7> name_{"tarnel"};
    std::array<char*, 2> arguments_{name_.data(), nullptr};
    const QApplication application_{count_, arguments_.data()};
};

/// Between two looks at whether it is over.
constexpr std::chrono::milliseconds lookTime{100};

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
    const Program program;
    QtGlassesWindow window(simulation.glasses().shared_from_this());
    window.show();
    const QtSimulatedTime time(simulation.world().scheduler());
    QApplication::exec();
}

void showWindow(const std::shared_ptr<glasses::SimulatedGlasses>& glasses, const std::function<void()>& shown,
                const std::function<bool()>& isOver) {
    const Program program;
    QtGlassesWindow window(glasses);
    window.show();
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &window, [&] {
        if (isOver()) {
            QApplication::quit();
        }
    });
    timer.start(lookTime);
    shown();
    QApplication::exec();
}

} // namespace tarnel::command

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
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

namespace tarnel::command {
namespace {

bool isSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value && *value != '\0';
}

/// Qt ends a program whose display cannot be opened, after a word of its own.
void endWithoutDisplay(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type == QtFatalMsg) {
        const std::string reason = message.section('\n', 0, 0).toStdString();
        std::fprintf(stderr, "tarnel: the window cannot be opened: %s; --frame writes what the glasses show\n",
                     reason.c_str());
        std::_Exit(1);
    }
}

/// The one Qt application, which keeps its arguments.
class Program {
public:
    Program() {
        const auto before = qInstallMessageHandler(endWithoutDisplay);
        application_.emplace(count_, arguments_.data());
        qInstallMessageHandler(before);
    }

private:
    int count_ = 1;
    std::array<char, 7> name_{"tarnel"};
    std::array<char*, 2> arguments_{name_.data(), nullptr};
    std::optional<QApplication> application_;
};

/// Made when a window is first required, so that what stands in its way is told before anything is done; and never
/// destroyed, as Qt's own statics go before it would.
Program& program() {
    static auto* const instance = new Program;
    return *instance;
}

/// Between two looks at whether it is over.
constexpr std::chrono::milliseconds lookTime{100};

} // namespace

bool hasWindows() {
    return true;
}

void requireWindow() {
    // Qt ends a program that finds no display.
    constexpr std::array displays{"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"};
    if (std::none_of(displays.begin(), displays.end(), isSet)) {
        throw Failure("there is no display for the window (neither DISPLAY nor WAYLAND_DISPLAY is set); --frame writes "
                      "what the glasses show");
    }
    program();
}

void showWindow(Simulation& simulation) {
    QtGlassesWindow window(simulation.glasses().shared_from_this());
    window.show();
    const QtSimulatedTime time(simulation.world().scheduler());
    QApplication::exec();
}

void showWindow(const std::shared_ptr<glasses::SimulatedGlasses>& glasses, const std::function<void()>& shown,
                const std::function<bool()>& isOver) {
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

// Runs the program of Documentation/Screens.md until its picker is there, then closes its window as a user does.

#include "listings/ReaderScreen.inc"

#include <TarnelSDK/ui/TarnelPickerController.hpp>

#include <QTimer>
#include <cstdio>
#define main documentedMain
#include "listings/ReaderMain.inc"
#undef main

namespace {

bool isPickerSeen = false;

tarnel::QtScreenWidget* readerWindow() {
    for (auto* const widget : QApplication::topLevelWidgets()) {
        if (auto* const window = dynamic_cast<tarnel::QtScreenWidget*>(widget)) {
            return window;
        }
    }
    return nullptr;
}

void closeWhenThePickerIsThere() {
    auto* const timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [] {
        auto* const window = readerWindow();
        const auto picker =
            window
                ? std::dynamic_pointer_cast<tarnel::TarnelPickerController>(window->screen()->presentedViewController())
                : nullptr;
        if (picker && picker->appearance() == tarnel::ViewController::Appearance::appeared) {
            isPickerSeen = window->isVisible() && picker->emptyState().has_value();
            window->close();
        }
    });
    timer->start(20);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(closeWhenThePickerIsThere)

int main(int argc, char** argv) {
    const int result = documentedMain(argc, argv);
    if (!isPickerSeen) {
        std::fputs("The program ended before its picker was seen.\n", stderr);
    }
    return isPickerSeen ? result : 1;
}

// A reading glass: shows a text or a picture page by page on the glasses, turned by taps. With --simulated it brings
// its own glasses, in a window beside it; without, it uses real ones.

#include "ReadingWindow.hpp"

#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelQt/QtApplicationState.hpp>
#include <TarnelQt/QtLanguage.hpp>
#include <TarnelQt/QtScreenToolkit.hpp>
#include <TarnelQt/QtSimulatedTime.hpp>
#include <TarnelQt/glasses/QtGlassesWindow.hpp>
#ifdef READING_GLASS_ON_LINUX
#include <TarnelLinux/LinuxApplication.hpp>
#include <TarnelLinux/LinuxPlatform.hpp>
#include <TarnelQt/QtMainQueue.hpp>
#endif

#include <QApplication>
#include <QCommandLineParser>
#include <QLocale>
#include <cstdio>

namespace {

using tarnel::platform::ApplicationState;

/// Shows the window until it is closed. `setState` tells the platform's application in which state it is.
template <typename SetState>
int read(const QString& file, SetState setState) {
    tarnel::setLayoutDirection(tarnel::platform::Platform::current().services().application->locale());
    const auto toolkit = tarnel::QtScreenToolkit::provide();
    const auto screen = std::make_shared<ReadingScreen>();
    ReadingWindow window(screen);
    const tarnel::QtApplicationState state([&](ApplicationState next) {
        // Who reads on the glasses works in other windows meanwhile: only a hidden reader has left.
        setState(next == ApplicationState::inactive ? ApplicationState::active : next);
    });
    window.show();
    if (!file.isEmpty()) {
        window.openFile(file);
    }
    return QApplication::exec();
}

int readSimulated(const QString& file) {
    tarnel::glasses::SimulatedWorld world({.bundleIdentifier = "org.example.reading-glass"});
    world.application().setLocale(QLocale::system().bcp47Name().toStdString());
    tarnel::QtGlassesWindow glasses(world.addGlasses());
    glasses.setAttribute(Qt::WA_QuitOnClose, false);
    glasses.show();
    const tarnel::QtSimulatedTime time(world.scheduler());
    return read(file, [&](ApplicationState state) { world.application().setState(state); });
}

int readReal(const QString& file) {
#ifdef READING_GLASS_ON_LINUX
    tarnel::LinuxPlatform platform({.identifier = "org.example.reading-glass"});
    const tarnel::QtMainQueue queue(platform.scheduler());
    return read(file, [&](ApplicationState state) { platform.application().setState(state); });
#else
    std::fprintf(stderr, "Real glasses need the Linux platform, which was not built; give --simulated. (%s)\n",
                 qPrintable(file));
    return 1;
#endif
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("reading-glass"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Reads a text or a picture on the glasses."));
    parser.addHelpOption();
    const QCommandLineOption simulated(QStringLiteral("simulated"),
                                       QStringLiteral("Bring simulated glasses along, in a window of their own"));
    parser.addOption(simulated);
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("UTF-8 text, PNG or JPEG"),
                                 QStringLiteral("[FILE]"));
    parser.process(application);
    const QString file = parser.positionalArguments().value(0);
    return parser.isSet(simulated) ? readSimulated(file) : readReal(file);
}

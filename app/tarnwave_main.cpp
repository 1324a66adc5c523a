// tarnwave: the console, on the station folder named by --station, else $TARNWAVE_HOME, else the
// program's own folder (or the user's data folder when the program is installed).

#include <QApplication>
#include <QGuiApplication>
#include <QImage>
#include <QTimer>
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <iostream>
#include <string>

#include "app/command_line.h"
#include "app/engine_choice.h"
#include "app/new_station_hint.h"
#include "app/quit_signals.h"
#include "app/station_folder.h"
#include "app/tarnwave_options.h"
#include "ui/qt_station.h"

namespace {

bool envSet(const char* name) {
    const char* v = std::getenv(name);
    return v && *v;
}

// No display to open and no platform asked for: a server. Qt would refuse to start.
bool noDisplay() {
    return !envSet("DISPLAY") && !envSet("WAYLAND_DISPLAY") && !envSet("QT_QPA_PLATFORM");
}

int refuse(const std::string& why) {
    std::cerr << tw::app::refusalLine("tarnwave", why) << "\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    // A first look before Qt opens a display: --help, --version and a mistaken option of the
    // console's own need none, and --headless must be known before Qt chooses its platform.
    tw::app::TarnwaveOptions options;
    std::string error;
    if (!tw::app::parseTarnwaveOptions(argc, argv, tw::app::OtherArguments::LeaveToQt, options,
                                       error)) {
        return refuse(error);
    }
    if (options.help) {
        std::cout << tw::app::kTarnwaveUsage;
        return 0;
    }
    if (options.version) {
        std::cout << tw::app::versionLine("tarnwave") << "\n";
        return 0;
    }
    const bool headless = options.headless || noDisplay();
    if (headless) {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
    QApplication app(argc, argv);
    // The desktop entry that goes with the window (its icon and name under Wayland).
    QGuiApplication::setDesktopFileName(QStringLiteral("tarnwave"));

    // Qt has taken its own arguments out: what is left must be the console's.
    options = {};
    if (!tw::app::parseTarnwaveOptions(argc, argv, tw::app::OtherArguments::Refuse, options,
                                       error)) {
        return refuse(error);
    }

    const tw::app::StationFolder station =
        tw::app::chooseStationFolder(tw::app::placesOfThisProcess(
            options.station, QCoreApplication::applicationDirPath().toStdString()));
    if (!tw::app::makeStationFolder(station)) {
        std::cerr << "tarnwave: cannot use the station folder " << station.folder << "\n";
        return 1;
    }
    const std::string& folder = station.folder;
    if (headless) {
        std::cout << "TarnWave runs headless ("
                  << (options.headless ? "--headless" : "no display found") << ").\n"
                  << "  station folder: " << folder << "\n"
                  << "  watch:          " << folder << "/app.log\n"
                  << "                  " << folder << "/Played.log\n"
                  << "  Ctrl-C unloads the console and stops.\n"
                  << std::flush;
    }

    tw::ui::QtStation console(folder, tw::app::makeEngine());
    // A signal can arrive while Form_Load yields, before the main loop runs and could be told
    // to quit: remember it.
    bool quitRequested = false;
    tw::app::QuitSignals quitSignals([&quitRequested](int) {
        quitRequested = true;
        QCoreApplication::quit();
    });
    console.load();
    const std::string hint = tw::app::showNewStationHint(console.console(), station);
    if (headless && !hint.empty()) {
        std::cout << "  " << hint << "\n" << std::flush;
    }
    console.window().syncTitle();
    // Headless there is no one to look: the window is not shown, so nothing is painted (a
    // screenshot still renders it).
    if (!headless && QGuiApplication::platformName() != QStringLiteral("offscreen")) {
        console.window().show();
    }
    if (options.quitAfterSeconds) {
        const double ms = std::min(*options.quitAfterSeconds * 1000, double{INT_MAX});
        QTimer::singleShot(static_cast<int>(ms), &app, &QCoreApplication::quit);
    }
    const int status = quitRequested ? 0 : app.exec();

    bool shotSaved = true;
    if (!options.screenshot.empty()) {
        shotSaved = console.window().grab().save(QString::fromStdString(options.screenshot), "PNG");
        if (!shotSaved) {
            std::cerr << "tarnwave: cannot write the screenshot " << options.screenshot << "\n";
        }
    }
    console.unload();
    return status != 0 ? status : (shotSaved ? 0 : 1);
}

// tarnwave: the console, on the station folder of $TARNWAVE_HOME or of the program.

#include <QApplication>
#include <QGuiApplication>
#include <QImage>
#include <QTimer>
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "app/engine_choice.h"
#include "app/quit_signals.h"
#include "app/tarnwave_options.h"
#include "ui/qt_station.h"

namespace {

bool envSet(const char* name) {
    const char* v = std::getenv(name);
    return v && *v;
}

// No display to open and no platform asked for: a server. Qt would refuse to start.
bool runsHeadless() {
    return !envSet("DISPLAY") && !envSet("WAYLAND_DISPLAY") && !envSet("QT_QPA_PLATFORM");
}

std::string stationFolder() {
    const std::filesystem::path folder(envSet("TARNWAVE_HOME")
                                           ? std::string(std::getenv("TARNWAVE_HOME"))
                                           : QCoreApplication::applicationDirPath().toStdString());
    std::error_code ec;
    const auto absolute = std::filesystem::absolute(folder, ec);
    auto normal = (ec ? folder : absolute).lexically_normal();
    // Every data path is a tail like "/Music" on this: no separator at its end.
    if (!normal.has_filename() && normal.has_relative_path()) {
        normal = normal.parent_path();
    }
    return normal.string();
}

}  // namespace

int main(int argc, char** argv) {
    const bool headless = runsHeadless();
    if (headless) {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
    QApplication app(argc, argv);

    tw::app::TarnwaveOptions options;
    std::string error;
    if (!tw::app::parseTarnwaveOptions(argc, argv, options, error)) {
        std::cerr << "tarnwave: " << error << "\n" << tw::app::kTarnwaveUsage;
        return 2;
    }
    if (options.help) {
        std::cout << tw::app::kTarnwaveUsage;
        return 0;
    }

    const std::string station = stationFolder();
    std::error_code ec;
    std::filesystem::create_directories(station, ec);
    if (!std::filesystem::is_directory(station)) {
        std::cerr << "tarnwave: cannot use the station folder " << station << "\n";
        return 1;
    }
    if (headless) {
        std::cout << "TarnWave runs headless (no display found).\n"
                  << "  station folder: " << station << "\n"
                  << "  watch:          " << station << "/app.log\n"
                  << "                  " << station << "/Played.log\n"
                  << "  Ctrl-C unloads the console and stops.\n"
                  << std::flush;
    }

    tw::ui::QtStation console(station, tw::app::makeEngine());
    // A signal can arrive while Form_Load yields, before the main loop runs and could be told
    // to quit: remember it.
    bool quitRequested = false;
    tw::app::QuitSignals quitSignals([&quitRequested](int) {
        quitRequested = true;
        QCoreApplication::quit();
    });
    console.load();
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

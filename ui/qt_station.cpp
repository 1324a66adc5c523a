#include "ui/qt_station.h"

#include "station/console_assembly.h"

#include <exception>
#include <iostream>

#include "desk/size_form_controls.h"
#include "station/startup.h"

namespace tw::ui {

QtStation::QtStation(std::string folder, std::unique_ptr<audio::Engine> engine,
                     std::unique_ptr<core::Trash> trash)
    : loop_([this](const std::function<void()>& fn) {
          core::EventScope event(settings_);
          fn();
      }),
      trash_(trash ? std::move(trash) : std::make_unique<core::DesktopTrash>()),
      engine_(std::move(engine)) {
    settings_.addPrivateFileName("appSettings.ini");
    const core::Services s{&clock_, &settings_, engine_.get(), &prompter_, &loop_, trash_.get()};
    console_ = station::makeConsole(std::move(folder), s);
    window_ = std::make_unique<SurfaceWidget>(*console_);
    status_ = std::make_unique<StatusWindow>(*console_, window_.get());
    cast_ = std::make_unique<CastWindow>(*console_, window_.get());
    schedule_ = std::make_unique<ScheduleWindow>(*console_, window_.get());
    statistics_ = std::make_unique<StatisticsWindow>(*console_, window_.get());
    settingsWindow_ = std::make_unique<SettingsWindow>(*console_, window_.get());
    prompter_.setParentWindow(window_.get());
}

QtStation::~QtStation() {
    try {
        unload();
        settingsWindow_.reset();
        statistics_.reset();
        schedule_.reset();
        cast_.reset();
        status_.reset();
        window_.reset();
        settings_.flush();
    } catch (const std::exception& e) {
        // A destructor has no one to hand this to; the terminal is the last witness.
        std::cerr << "tarnwave: unloading the console failed: " << e.what() << "\n";
    }
}

void QtStation::load() {
    core::EventScope event(settings_);
    station::Form_Load(*console_);
    // A window already larger than the design (sized before the load) gets its layout now.
    desk::resizeConsole(*console_, window_->width(), window_->height());
}

void QtStation::unload() {
    if (!console_->loaded || console_->unloaded) {
        return;
    }
    {
        core::EventScope event(settings_);
        station::Form_Unload(*console_);
    }
    settings_.flush();
}

}  // namespace tw::ui

#pragma once
// The console as the program runs it: the system clock, the settings store, Qt's event loop and
// dialogs, the desktop trash (or the trash it is handed) and the engine it is handed, the Console
// on them, and its windows. The program and the Qt tests build the same thing through here.
//
// Thread contract: console thread only; a QApplication must exist for the whole life of a
// station.

#include <memory>
#include <string>

#include "audio/engine.h"
#include "core/clock.h"
#include "core/console.h"
#include "core/settings_store.h"
#include "core/trash.h"
#include "ui/cast_window.h"
#include "ui/qt_event_loop.h"
#include "ui/qt_prompter.h"
#include "ui/schedule_window.h"
#include "ui/settings_window.h"
#include "ui/statistics_window.h"
#include "ui/status_window.h"
#include "ui/surface_widget.h"

namespace tw::ui {

class QtStation {
  public:
    // With no trash given, what the operator deletes goes to the desktop's trash.
    QtStation(std::string folder, std::unique_ptr<audio::Engine> engine,
              std::unique_ptr<core::Trash> trash = nullptr);
    // Unloads the console first if it was loaded and not unloaded.
    ~QtStation();
    QtStation(const QtStation&) = delete;
    QtStation& operator=(const QtStation&) = delete;

    // Form_Load, as one console event. Does not show the window.
    void load();
    // Form_Unload, as one console event, then every setting written out. Once only; later
    // calls do nothing.
    void unload();

    core::Console& console() { return *console_; }
    SurfaceWidget& window() { return *window_; }
    StatusWindow& statusWindow() { return *status_; }
    CastWindow& castWindow() { return *cast_; }
    ScheduleWindow& scheduleWindow() { return *schedule_; }
    StatisticsWindow& statisticsWindow() { return *statistics_; }
    SettingsWindow& settingsWindow() { return *settingsWindow_; }
    QtPrompter& prompter() { return prompter_; }
    QtEventLoop& loop() { return loop_; }
    core::SettingsStore& settings() { return settings_; }

  private:
    // Declared in the order they may be needed: the loop's event scope uses the settings, the
    // console uses everything above it, the window the console. Destroyed in reverse.
    core::SystemClock clock_;
    core::SettingsStore settings_;
    QtEventLoop loop_;
    QtPrompter prompter_;
    std::unique_ptr<core::Trash> trash_;
    std::unique_ptr<audio::Engine> engine_;
    std::unique_ptr<core::Console> console_;
    std::unique_ptr<SurfaceWidget> window_;
    std::unique_ptr<CastWindow> cast_;
    std::unique_ptr<ScheduleWindow> schedule_;
    std::unique_ptr<StatisticsWindow> statistics_;
    std::unique_ptr<SettingsWindow> settingsWindow_;
    std::unique_ptr<StatusWindow> status_;
};

}  // namespace tw::ui

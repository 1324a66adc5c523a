#include "autodj/schedule.h"

#include <sys/stat.h>

#include <cmath>

#include "autodj/rotations.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/paths.h"
#include "core/text.h"

namespace tw::autodj {

namespace {

constexpr std::uint32_t kScheduledColor = 0x008550;  // green
constexpr std::uint32_t kEmptyColor = 0x0000FF;      // red
constexpr int kLastDrawnHour = 24;
constexpr int kDays = 7;

// Selects the file of that name in a file list and runs its selection; false when there is none.
bool selectFile(core::Element& list, const std::string& value) {
    for (std::size_t i = 0; i < list.items.size(); ++i) {
        if (list.items[i].text == value) {
            list.listIndex = static_cast<int>(i);
            return true;
        }
    }
    return false;
}

void writeCell(core::Console& c, const ScheduleCell& cell, const std::string& value) {
    // Only the drawn cells and the margin left of them (hour 0) can be painted.
    if (cell.hour < 0 || cell.hour > kLastDrawnHour || cell.day < 1 || cell.day > kDays) {
        return;
    }
    core::writeIniValue(c, c.schedulePath(), std::to_string(cell.day), std::to_string(cell.hour),
                        value);
    drawSchedule(c);
}

std::string selectedListName(core::Console& c) {
    const auto& list = c.ui.schedule.lstRotationOrList;
    if (list.listIndex < 0 || list.listIndex >= list.listCount()) {
        return {};
    }
    return list.items[static_cast<std::size_t>(list.listIndex)].text;
}

std::string extensionOf(const std::string& value) {
    const auto dot = value.rfind('.');
    return dot == std::string::npos ? std::string() : core::toLower(value.substr(dot + 1));
}

// The hour a date falls in, counted from the dates' day 0.
std::int64_t hourOf(core::DateValue when) {
    return static_cast<std::int64_t>(std::floor(when * 24 + 1e-9));
}

// What tells a changed file: its size and modification time ("" when it is not there).
std::string fileState(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) {
        return {};
    }
    return std::to_string(st.st_size) + ' ' + std::to_string(st.st_mtim.tv_sec) + '.' +
           std::to_string(st.st_mtim.tv_nsec);
}

std::string baseNameOf(const std::string& value) {
    const auto dot = value.rfind('.');
    return dot == std::string::npos ? value : value.substr(0, dot);
}

}  // namespace

bool checkRotationSchedule(core::Console& c) {
    auto& m = c.form();
    try {
        if (m.chkEnableSchedule.value != 1) {
            return false;
        }
        const core::DateValue now = c.now();
        const int hour = core::dateParts(now).hour;
        const int day = core::weekday(now);
        if (day != c.lastScheduleDay) {
            // After midnight the seconds-since-midnight counter has fallen back: the throttled
            // yield works again only with its stamp reset.
            c.lastScheduleDay = day;
            c.lastYield = 0;
        }
        const std::string value = scheduleValue(c, day, hour);
        // The schedule never restarts a list that runs; the whole file name is compared.
        if (value.empty() || value == c.activeListName) {
            return false;
        }
        if (selectFile(m.flRotations, value)) {
            flRotations_Click(c);
            m.lstRotation.row = m.lstRotation.rowCount() - 1;
            c.tickCalls->startNExt();
            return true;
        }
        if (selectFile(m.flPlaylists, value)) {
            const std::int64_t hour = hourOf(now);
            const std::string file = fileState(c.AppFolder + "/Playlist/" + value);
            if (value == c.scheduleFailedList && hour == c.scheduleFailedHour &&
                file == c.scheduleFailedFile) {
                return false;  // it failed this hour and has not changed since
            }
            if (!flPlaylists_Click(c)) {
                // The message line says why; the running list and the track on the air stay.
                c.scheduleFailedList = value;
                c.scheduleFailedHour = hour;
                c.scheduleFailedFile = file;
                core::logError(c, "Scheduled playlist " + value +
                                      " could not be loaded: tried again at the next hour");
                return false;
            }
            c.scheduleFailedList.clear();
            c.tickCalls->startNExt();
            return true;
        }
    } catch (const std::exception& e) {
        core::logError(c,
                       "Error in checkRotationSchedule: " + core::describeFailure(e).description);
    }
    return false;
}

void setScheduleEnabled(core::Console& c, bool enabled) {
    c.form().chkEnableSchedule.value = enabled ? 1 : 0;
    core::writeIniValue(c, c.appSettingsPath(), "Schedule", "Enabled", enabled ? "1" : "0");
}

void restoreScheduleEnabled(core::Console& c) {
    const std::string saved = core::readIni(c, c.appSettingsPath(), "Schedule", "Enabled", "0");
    c.form().chkEnableSchedule.value = core::val(saved) != 0 ? 1 : 0;
}

ScheduleCell scheduleCellAt(double x, double y) {
    const auto rx = static_cast<long>(std::lround(x));
    const auto ry = static_cast<long>(std::lround(y));
    ScheduleCell cell;
    cell.hour = static_cast<int>(rx / (kScheduleCellSize + 3));
    cell.day = static_cast<int>(ry / (kScheduleCellSize + 15)) + 1;
    return cell;
}

double scheduleCellLeft(int hour) {
    return (kScheduleCellSize + 3) * hour;
}

double scheduleCellTop(int day) {
    return (kScheduleCellSize + 15) * (day - 1) + 10;
}

std::string scheduleValue(core::Console& c, int day, int hour) {
    return core::readIni(c, c.schedulePath(), std::to_string(day), std::to_string(hour), "");
}

void cmdRotationSchedule_Click(core::Console& c) {
    auto& f = c.ui.schedule;
    if (!f.frmSchedule.visible) {
        f.flRotations.path = c.AppFolder + "/Rotations";
        f.flRotations.pattern = "*.rot";
        f.flPlaylists.path = c.AppFolder + "/Playlist";
        f.flPlaylists.pattern = "*.pls";
        core::refreshFileList(f.flRotations);
        core::refreshFileList(f.flPlaylists);
        // The same list as the console's: every rotation, then every playlist.
        f.lstRotationOrList.items.clear();
        f.lstRotationOrList.listIndex = -1;
        for (const auto& item : f.flRotations.items) {
            f.lstRotationOrList.items.push_back({item.text, 1, "rotation", false});
        }
        for (std::size_t i = 0; i < f.flPlaylists.items.size(); ++i) {
            f.lstRotationOrList.items.push_back(
                {f.flPlaylists.items[i].text, 2, std::to_string(i), false});
        }
    }
    f.frmSchedule.visible = true;
    drawSchedule(c);
}

void drawSchedule(core::Console& c) {
    auto& picture = c.ui.schedule.pctSchedule;
    picture.drawing.clear();
    for (int hour = 1; hour <= kLastDrawnHour; ++hour) {
        for (int day = 1; day <= kDays; ++day) {
            const std::string value = scheduleValue(c, day, hour);
            const double left = scheduleCellLeft(hour);
            const double top = scheduleCellTop(day);
            picture.drawing.fills.push_back({left, top, kScheduleCellSize, kScheduleCellSize,
                                             core::ImageRole::None,
                                             value.empty() ? kEmptyColor : kScheduledColor});
            if (day != 1) {
                picture.drawing.texts.push_back(
                    {std::to_string(hour), left, top - 13, 0, picture.fontSize, false});
            }
            const std::string ext = extensionOf(value);
            if (ext == "rot" || ext == "pls") {
                picture.drawing.fills.push_back(
                    {left, top, kScheduleCellSize, kScheduleCellSize,
                     ext == "rot" ? core::ImageRole::Rotation : core::ImageRole::Playlist, 0});
            }
            if (!value.empty()) {
                // White, to stand out on the green of the cell and over its picture.
                picture.drawing.texts.push_back(
                    {baseNameOf(value), left, top + 22, 0xFFFFFF, picture.fontSize, false});
            }
        }
    }
}

void pctSchedule_MouseDown(core::Console& c, double x, double y) {
    const std::string value = selectedListName(c);
    // With nothing selected a press changes nothing: the grid has no eraser.
    if (!value.empty()) {
        writeCell(c, scheduleCellAt(x, y), value);
    }
}

void pctSchedule_MouseMove(core::Console& c, double x, double y, bool leftButton) {
    const ScheduleCell cell = scheduleCellAt(x, y);
    if (cell.day < 1 || cell.day > kDays || cell.hour < 0 || cell.hour > kLastDrawnHour) {
        return;
    }
    auto& picture = c.ui.schedule.pctSchedule;
    const std::string value = scheduleValue(c, cell.day, cell.hour);
    if (picture.toolTip != value) {
        picture.toolTip = value;
        if (leftButton) {
            pctSchedule_MouseDown(c, x, y);
            // The tip shows what the cell holds now, so the next cell of a drag differs again.
            picture.toolTip = scheduleValue(c, cell.day, cell.hour);
        }
    }
}

void pctSchedule_DragDrop(core::Console& c, double x, double y, const std::string& text) {
    if (!text.empty()) {
        writeCell(c, scheduleCellAt(x, y), text);
    }
}

}  // namespace tw::autodj

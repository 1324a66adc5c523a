#pragma once
// The week schedule of rotations and playlists: rotationSchedule.ini holds, per day of the week
// ("1" Sunday to "7" Saturday) and per hour, the file name of the list that runs in it. The
// position monitor and the start-up ask checkRotationSchedule whether another list is due.
//
// The hour of the grid is the clock's hour as it stands: a cell painted under "9" plays at nine;
// hour 0 has no drawn cell (a press left of the first cell sets it) and the cell "24" is stored
// but never read, since the clock runs from 0 to 23.
//
// Thread contract: console thread only.

#include <string>

#include "core/console.h"

namespace tw::autodj {

// True when it switched the running list.
bool checkRotationSchedule(core::Console& c);

// The tick of chkEnableSchedule is kept in appSettings.ini ("Schedule", "Enabled"), so that an
// unattended restart resumes the schedule. Every change of the tick goes through here (the
// operator's press, a list chosen by hand); start-up restores it before its schedule check.
void setScheduleEnabled(core::Console& c, bool enabled);
void restoreScheduleEnabled(core::Console& c);

// --- frmSchedule, the grid the operator paints --------------------------------------------
inline constexpr int kScheduleCellSize = 42;  // cellSize, set when the form loads

struct ScheduleCell {
    int hour = 0;
    int day = 1;
};
// The cell under a position of pctSchedule (integer division of the rounded coordinates).
ScheduleCell scheduleCellAt(double x, double y);
// The edges of a cell.
double scheduleCellLeft(int hour);
double scheduleCellTop(int day);
// The list a cell names; empty when nothing is scheduled.
std::string scheduleValue(core::Console& c, int day, int hour);

// cmdRotationSchedule: makes frmSchedule on first use (its file lists, its list of rotations and
// playlists, the grid) and shows it.
void cmdRotationSchedule_Click(core::Console& c);
// Redraws the grid on pctSchedule.
void drawSchedule(core::Console& c);
// A press on the grid writes the selected item of the form's lstRotationOrList into the cell.
void pctSchedule_MouseDown(core::Console& c, double x, double y);
// Moving over the grid shows the cell's value as the tip; with the left button down it paints.
void pctSchedule_MouseMove(core::Console& c, double x, double y, bool leftButton);
// Text dragged from lstRotationOrList and dropped on a cell is written into it.
void pctSchedule_DragDrop(core::Console& c, double x, double y, const std::string& text);

}  // namespace tw::autodj

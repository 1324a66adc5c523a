#pragma once
// Rows of a grid chosen together with Ctrl and Shift, on the grid whose rows are removed all at
// once (lstPlayListBuilder: "Delete Selected" removes every chosen row). A click is handed to the
// console as the choice of the clicked row alone; this puts the rows chosen before it back as
// the modifier asks: Ctrl adds or removes the clicked row, Shift chooses the run of rows from
// the last chosen one to it.
//
// Thread contract: console thread only (changes the surface).

#include <vector>

#include "core/surface.h"

namespace tw::ui {

// Whether a grid lets the operator choose several rows.
bool choosesManyRows(const core::Element& grid);

// The rows chosen on a grid, looked at before a click.
struct RowChoice {
    std::vector<bool> chosen;  // one per row: marked, or the grid's current row
    int current = -1;          // the grid's current row, -1 for none or past the last row
};
RowChoice rowChoiceOf(const core::Element& grid);

// After the click on `row` (which the console made the only chosen row): Ctrl (toggle) adds the
// row to the earlier choice or takes it out of it; Shift (range) chooses the rows from the
// earlier current row to this one. The current row stays a chosen one, or -1 when none is left.
void widenChoice(core::Element& grid, const RowChoice& before, int row, bool toggle, bool range);

}  // namespace tw::ui

#include "ui/row_choice.h"

#include <algorithm>
#include <cstddef>

namespace tw::ui {

bool choosesManyRows(const core::Element& grid) {
    return grid.kind == core::ElementKind::Grid && grid.name == "lstPlayListBuilder";
}

RowChoice rowChoiceOf(const core::Element& grid) {
    RowChoice choice;
    const int count = grid.rowCount();
    choice.chosen.assign(static_cast<std::size_t>(count), false);
    // After a drag below the last row the current row stands past the end: it marks no row.
    if (grid.row >= 0 && grid.row < count) {
        choice.current = grid.row;
    }
    for (int i = 0; i < count; ++i) {
        choice.chosen[static_cast<std::size_t>(i)] =
            grid.rows[static_cast<std::size_t>(i)].selected || i == choice.current;
    }
    return choice;
}

void widenChoice(core::Element& grid, const RowChoice& before, int row, bool toggle, bool range) {
    const int count = grid.rowCount();
    if (row < 0 || row >= count || static_cast<int>(before.chosen.size()) != count) {
        return;
    }
    std::vector<bool> chosen(static_cast<std::size_t>(count), false);
    int current = row;
    if (range) {
        const int anchor = before.current >= 0 ? before.current : row;
        for (int i = std::min(anchor, row); i <= std::max(anchor, row); ++i) {
            chosen[static_cast<std::size_t>(i)] = true;
        }
        if (toggle) {
            // Ctrl with Shift adds the run to what was chosen.
            for (int i = 0; i < count; ++i) {
                chosen[static_cast<std::size_t>(i)] = chosen[static_cast<std::size_t>(i)] ||
                                                      before.chosen[static_cast<std::size_t>(i)];
            }
        }
    } else if (toggle) {
        chosen = before.chosen;
        chosen[static_cast<std::size_t>(row)] = !before.chosen[static_cast<std::size_t>(row)];
        if (!chosen[static_cast<std::size_t>(row)]) {
            // The current row counts as chosen where the rows are removed: it moves to the
            // last row still chosen.
            current = -1;
            for (int i = count - 1; i >= 0 && current < 0; --i) {
                if (chosen[static_cast<std::size_t>(i)]) {
                    current = i;
                }
            }
        }
    } else {
        chosen[static_cast<std::size_t>(row)] = true;
    }
    for (int i = 0; i < count; ++i) {
        grid.rows[static_cast<std::size_t>(i)].selected = chosen[static_cast<std::size_t>(i)];
    }
    grid.row = current;
}

}  // namespace tw::ui

#include "tags/cue_data.h"

#include <set>

#include "core/console_ops.h"
#include "core/paths.h"
#include "core/text.h"
#include "tags/id3_tag.h"

namespace tw::tags {

core::CueRecord readCueRecord(core::Console& c, const std::string& path) {
    core::CueRecord r;
    if (path.empty()) {
        return r;
    }
    c.id3->filename(path);
    clsMp3TagData tag;
    c.id3->returnID3Tag(tag);
    const std::string& text = tag.tarnWaveData;
    // Each field on its own: one that fails keeps its reset value.
    if (core::token("~", 1, text) == "twTag") {
        r.tagPresent = true;
        try {
            r.sweeperIndex = core::cLng(core::val(core::token("~", 2, text)));
        } catch (const std::exception&) {
        }
        r.sweepText = core::token("~", 3, text);
        r.introText = core::token("~", 4, text);
        r.outroText = core::token("~", 5, text);
        r.nextText = core::token("~", 6, text);
        r.sweepStart = static_cast<float>(core::val(core::token("~", 7, text)));
        r.introUntil = static_cast<float>(core::val(core::token("~", 8, text)));
        r.outroUntil = static_cast<float>(core::val(core::token("~", 9, text)));
        r.nextStart = static_cast<float>(core::val(core::token("~", 10, text)));
    }
    const auto& grid = c.form().lstRotation;
    r.sweeperAllowed = grid.rowCount() > 0 && grid.row >= 0 && grid.row < grid.rowCount() &&
                       grid.rows[static_cast<std::size_t>(grid.row)].checked;
    return r;
}

std::string cueTagText(const core::MainForm& m) {
    const int index = m.cmboSweeperList.listIndex;
    // The number-to-text of the old console: a blank before a number that is not negative.
    std::string text = "twTag~" + (index >= 0 ? " " : std::string()) + std::to_string(index);
    for (const core::Element* e : {&m.txtSweeper, &m.txtIntroUntil, &m.txtOutro, &m.txtNextStart}) {
        text += "~" + e->text;
    }
    for (const core::Element* e : {&m.txtSweeper, &m.txtIntroUntil, &m.txtOutro, &m.txtNextStart}) {
        text += "~" + e->hiddenValue;
    }
    return core::trim(text);
}

std::int32_t sweeperNumberFromTag(const std::string& text) {
    if (core::token("~", 1, text) != "twSTag") {
        return 0;
    }
    try {
        return core::cLng(core::val(core::token("~", 2, text)));
    } catch (const std::exception&) {
        return 0;
    }
}

std::int32_t getSweeperNumber(core::Console& c, const std::string& path) {
    c.id3->filename(path);
    clsMp3TagData tag;
    c.id3->returnID3Tag(tag);
    return sweeperNumberFromTag(tag.tarnWaveData);
}

std::int32_t nextFreeSweeperNumber(core::Console& c) {
    const auto& list = c.form().flSweepers;
    std::set<std::int32_t> taken;
    for (const auto& item : list.items) {
        if (const std::int32_t n = getSweeperNumber(c, list.path + "/" + item.text); n != 0) {
            taken.insert(n);
        }
    }
    std::int32_t n = 1;
    while (taken.count(n)) {
        ++n;
    }
    return n;
}

bool setSweeperNumber(core::Console& c, const std::string& path) {
    const std::int32_t number = nextFreeSweeperNumber(c);
    c.id3->filename(path);
    c.id3->FileOwner("twSTag~" + std::to_string(number));
    c.id3->UpdateID3Tags();
    return !logTagWriteError(c, path);
}

void fillSweeperList(core::Console& c) {
    auto& m = c.form();
    auto& combo = m.cmboSweeperList;
    const auto& files = m.flSweepers;
    combo.items.clear();
    chooseSweeperRow(combo, -1);
    std::vector<std::int32_t> numbers;
    for (const auto& item : files.items) {
        numbers.push_back(tags::getSweeperNumber(c, files.path + "/" + item.text));
    }
    for (const std::int32_t n : numbers) {
        while (combo.listCount() <= n) {
            combo.items.push_back({combo.items.empty() ? "No Sweeper" : "Deleted", 0, {}, false});
        }
    }
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (numbers[i] >= 0 && numbers[i] < combo.listCount()) {
            combo.items[static_cast<std::size_t>(numbers[i])].text = files.items[i].text;
        }
    }
}

void chooseSweeperRow(core::Element& combo, int index) {
    if (index < 0 || index >= combo.listCount()) {
        combo.listIndex = -1;
        combo.text.clear();
        return;
    }
    combo.listIndex = index;
    combo.text = combo.items[static_cast<std::size_t>(index)].text;
}

bool logTagWriteError(core::Console& c, const std::string& path) {
    if (c.id3->lastWriteError().empty()) {
        return false;
    }
    core::logError(c, "Error writing the tag of " + path + ": " + c.id3->lastWriteError());
    return true;
}

std::int32_t findSweeperById(core::Console& c, std::int32_t number) {
    const auto& list = c.form().flSweepers;
    for (std::size_t i = 0; i < list.items.size(); ++i) {
        if (getSweeperNumber(c, list.path + "/" + list.items[i].text) == number) {
            return static_cast<std::int32_t>(i);
        }
    }
    return 0;
}

}  // namespace tw::tags

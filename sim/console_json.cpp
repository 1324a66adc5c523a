#include "sim/console_json.h"

#include <cstdio>
#include <functional>
#include <map>
#include <type_traits>

#include "core/dates.h"
#include "core/text.h"

namespace tw::sim {

namespace {

std::string num(double v) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.9g", v);
    return buf;
}
template <typename T>
requires std::is_integral_v<T> std::string num(T v) {
    return std::to_string(v);
}
std::string boolean(bool b) {
    return b ? "true" : "false";
}

std::string cueJson(const core::CueRecord& r) {
    return "{\"sweeperAllowed\":" + boolean(r.sweeperAllowed) +
           ",\"sweepText\":" + jsonString(r.sweepText) +
           ",\"introText\":" + jsonString(r.introText) +
           ",\"outroText\":" + jsonString(r.outroText) + ",\"nextText\":" + jsonString(r.nextText) +
           ",\"tagPresent\":" + boolean(r.tagPresent) + ",\"sweeperIndex\":" + num(r.sweeperIndex) +
           ",\"sweepStart\":" + num(r.sweepStart) + ",\"introUntil\":" + num(r.introUntil) +
           ",\"outroUntil\":" + num(r.outroUntil) + ",\"nextStart\":" + num(r.nextStart) +
           ",\"sweepFired\":" + boolean(r.sweepFired) + "}";
}

std::string trackJson(const core::clsTrackListing& t) {
    return "{\"trackIsURL\":" + boolean(t.trackIsURL) +
           ",\"trackArtist\":" + jsonString(t.trackArtist) +
           ",\"trackLengthInSeconds\":" + num(t.trackLengthInSeconds) +
           ",\"trackPath\":" + jsonString(t.trackPath) +
           ",\"sweeperChecked\":" + boolean(t.sweeperChecked) +
           ",\"trackLastPlayed\":" + jsonString(core::generalDate(t.trackLastPlayed)) +
           ",\"trackLength\":" + jsonString(t.trackLength) +
           ",\"trackName\":" + jsonString(t.trackName) +
           ",\"trackCatagory\":" + jsonString(t.trackCatagory) +
           ",\"timeOn\":" + jsonString(core::generalDate(t.timeOn)) + "}";
}

using Variables = std::map<std::string, std::function<std::string(core::Console&)>, std::less<>>;

const Variables& variables() {
    static const Variables vars = {
        {"AppFolder", [](core::Console& c) { return jsonString(c.AppFolder); }},
        {"tmrCheckPositionBool", [](core::Console& c) { return boolean(c.tmrCheckPositionBool); }},
        {"crossfadeTime", [](core::Console& c) { return num(c.crossfadeTime); }},
        {"silenceTime", [](core::Console& c) { return num(c.silenceTime); }},
        {"artistSeperationTime", [](core::Console& c) { return num(c.artistSeperationTime); }},
        {"autoTrim", [](core::Console& c) { return jsonString(c.autoTrim); }},
        {"autoTrimThreshold", [](core::Console& c) { return num(c.autoTrimThreshold); }},
        {"activePlayer", [](core::Console& c) { return num(c.activePlayer); }},
        {"player1Stream", [](core::Console& c) { return num(c.player1Stream); }},
        {"player2Stream", [](core::Console& c) { return num(c.player2Stream); }},
        {"previewPlayer", [](core::Console& c) { return num(c.previewPlayer); }},
        {"sweeperStream", [](core::Console& c) { return num(c.sweeperStream); }},
        {"mixerStream", [](core::Console& c) { return num(c.mixerStream); }},
        {"spotChannel", [](core::Console& c) { return num(c.spotChannel); }},
        {"encoderHandles",
         [](core::Console& c) {
             std::string s = "[";
             for (std::size_t i = 0; i < c.encoderHandles.size(); ++i) {
                 s += (i ? "," : "") + num(c.encoderHandles[i]);
             }
             return s + "]";
         }},
        {"cueRecord1", [](core::Console& c) { return cueJson(c.cueRecord1); }},
        {"cueRecord2", [](core::Console& c) { return cueJson(c.cueRecord2); }},
        {"nextSong1", [](core::Console& c) { return jsonString(c.nextSong1); }},
        {"nextSong2", [](core::Console& c) { return jsonString(c.nextSong2); }},
        {"nextSongName1", [](core::Console& c) { return jsonString(c.nextSongName1); }},
        {"nextSongName2", [](core::Console& c) { return jsonString(c.nextSongName2); }},
        {"currentTitle", [](core::Console& c) { return jsonString(c.currentTitle); }},
        {"defaultSweeper", [](core::Console& c) { return jsonString(c.defaultSweeper); }},
        {"micOn", [](core::Console& c) { return boolean(c.micOn); }},
        {"silenceTicks", [](core::Console& c) { return num(c.silenceTicks); }},
        {"statsTicks", [](core::Console& c) { return num(c.statsTicks); }},
        {"flashTicks", [](core::Console& c) { return num(c.flashTicks); }},
        {"barScale", [](core::Console& c) { return num(c.barScale); }},
        {"formScale", [](core::Console& c) { return num(c.formScale); }},
        {"timeLeft1", [](core::Console& c) { return num(c.timeLeft1); }},
        {"timeLeft2", [](core::Console& c) { return num(c.timeLeft2); }},
        {"listMode", [](core::Console& c) { return num(c.listMode); }},
        {"rotationPosition", [](core::Console& c) { return num(c.rotationPosition); }},
        {"activeListName", [](core::Console& c) { return jsonString(c.activeListName); }},
        {"listLoading", [](core::Console& c) { return boolean(c.listLoading); }},
        {"pickInProgress", [](core::Console& c) { return boolean(c.pickInProgress); }},
        {"activeDirectory", [](core::Console& c) { return jsonString(c.activeDirectory); }},
        {"screenMode", [](core::Console& c) { return num(c.screenMode); }},
        {"trackList",
         [](core::Console& c) {
             std::string s = "[";
             for (std::size_t i = 0; i < c.trackList.size(); ++i) {
                 s += (i ? "," : "") + trackJson(c.trackList[i]);
             }
             return s + "]";
         }},
        {"now", [](core::Console& c) { return jsonString(core::generalDate(c.now())); }},
    };
    return vars;
}

std::string drawingJson(const core::Drawing& d) {
    std::string s = "{\"fills\":[";
    for (std::size_t i = 0; i < d.fills.size(); ++i) {
        const auto& f = d.fills[i];
        s += std::string(i ? "," : "") + "{\"x\":" + num(f.x) + ",\"y\":" + num(f.y) +
             ",\"width\":" + num(f.width) + ",\"height\":" + num(f.height) +
             ",\"image\":" + jsonString(core::imageRoleName(f.image)) +
             ",\"color\":" + num(f.color) + "}";
    }
    s += "],\"texts\":[";
    for (std::size_t i = 0; i < d.texts.size(); ++i) {
        const auto& t = d.texts[i];
        s += std::string(i ? "," : "") + "{\"text\":" + jsonString(t.text) + ",\"x\":" + num(t.x) +
             ",\"y\":" + num(t.y) + ",\"color\":" + num(t.color) + "}";
    }
    return s + "]}";
}

}  // namespace

std::string jsonString(std::string_view s) {
    std::string out = "\"";
    for (unsigned char ch : s) {
        switch (ch) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (ch < 0x20) {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\u%04x", ch);
                    out += buf;
                } else {
                    out.push_back(static_cast<char>(ch));
                }
        }
    }
    return out + "\"";
}

std::string elementJson(const core::Element& e) {
    std::string s = "{\"name\":" + jsonString(e.name) +
                    ",\"kind\":" + jsonString(core::elementKindName(e.kind)) +
                    ",\"caption\":" + jsonString(e.caption);
    if (!e.caption2.empty()) {
        s += ",\"caption2\":" + jsonString(e.caption2);
    }
    if (e.image != core::ImageRole::None) {
        s += ",\"image\":" + jsonString(core::imageRoleName(e.image));
    }
    s += ",\"backColor\":" + num(e.backColor) + ",\"foreColor\":" + num(e.foreColor) +
         ",\"tag\":" + jsonString(e.tag) + ",\"toolTip\":" + jsonString(e.toolTip) +
         ",\"visible\":" + boolean(e.visible) + ",\"enabled\":" + boolean(e.enabled);
    if (!e.text.empty() || e.kind == core::ElementKind::TextBox) {
        s += ",\"text\":" + jsonString(e.text) + ",\"hiddenValue\":" + jsonString(e.hiddenValue);
    }
    if (e.kind == core::ElementKind::CheckBox || e.kind == core::ElementKind::OptionButton ||
        e.kind == core::ElementKind::Slider) {
        s += ",\"value\":" + num(e.value);
    }
    if (e.kind == core::ElementKind::ListBox || e.kind == core::ElementKind::FileList ||
        e.kind == core::ElementKind::DirList || e.kind == core::ElementKind::ComboBox) {
        s += ",\"path\":" + jsonString(e.path) + ",\"listIndex\":" + num(e.listIndex) +
             ",\"items\":[";
        for (std::size_t i = 0; i < e.items.size(); ++i) {
            s += (i ? "," : "") + jsonString(e.items[i].text);
        }
        s += "]";
    }
    if (e.kind == core::ElementKind::Grid) {
        s += ",\"columns\":[";
        for (std::size_t i = 0; i < e.columns.size(); ++i) {
            s += (i ? "," : "") + jsonString(e.columns[i]);
        }
        s += "],\"row\":" + num(e.row) + ",\"rows\":[";
        for (std::size_t r = 0; r < e.rows.size(); ++r) {
            s += std::string(r ? "," : "") + "{\"checked\":" + boolean(e.rows[r].checked) +
                 ",\"selected\":" + boolean(e.rows[r].selected) + ",\"cells\":[";
            for (std::size_t i = 0; i < e.rows[r].cells.size(); ++i) {
                s += (i ? "," : "") + jsonString(e.rows[r].cells[i]);
            }
            s += "]}";
        }
        s += "]";
    }
    if (e.kind == core::ElementKind::Timer) {
        s += ",\"interval\":" + num(e.interval);
    }
    if (!e.drawing.empty()) {
        s += ",\"drawing\":" + drawingJson(e.drawing);
    }
    return s + "}";
}

std::string consoleJson(core::Console& c) {
    std::string s = "{\"state\":{";
    bool first = true;
    for (const auto& [name, get] : variables()) {
        s += (first ? "" : ",") + jsonString(name) + ":" + get(c);
        first = false;
    }
    s += "},\"surface\":{";
    struct FormRef {
        const char* name;
        std::vector<core::Element*> elements;
    };
    const FormRef forms[] = {
        {"frmTarnDesk", c.ui.main.all()},        {"frmStatus", c.ui.status.all()},
        {"frmDialog", c.ui.dialog.all()},        {"frmCast", c.ui.cast.all()},
        {"frmAppSettings", c.ui.settings.all()}, {"frmSchedule", c.ui.schedule.all()},
        {"frmStatistics", c.ui.statistics.all()}};
    for (std::size_t f = 0; f < std::size(forms); ++f) {
        s += std::string(f ? "," : "") + jsonString(forms[f].name) + ":{";
        for (std::size_t i = 0; i < forms[f].elements.size(); ++i) {
            s += (i ? "," : "") + jsonString(forms[f].elements[i]->name) + ":" +
                 elementJson(*forms[f].elements[i]);
        }
        s += "}";
    }
    return s + "}}";
}

std::optional<std::string> namedJson(core::Console& c, std::string_view name) {
    if (const core::Element* e = c.ui.find(name)) {
        return elementJson(*e);
    }
    const auto& vars = variables();
    if (auto it = vars.find(name); it != vars.end()) {
        return it->second(c);
    }
    return std::nullopt;
}

}  // namespace tw::sim

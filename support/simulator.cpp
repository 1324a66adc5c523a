#include "support/simulator.h"

#include <cmath>
#include <istream>
#include <ostream>
#include <sstream>

#include "autodj/picker.h"
#include "core/startup.h"
#include "core/text.h"
#include "support/actions.h"
#include "support/console_json.h"

namespace tw::support {

namespace {

// Splits "cmd rest of line" into the command word and the rest, trimmed.
void splitCommand(const std::string& line, std::string& cmd, std::string& rest) {
    const std::string t = core::trim(line);
    const auto blank = t.find(' ');
    cmd = t.substr(0, blank);
    rest = blank == std::string::npos ? std::string() : core::trim(t.substr(blank + 1));
}

bool parseNumber(const std::string& s, double& out) {
    if (s.empty()) {
        return false;
    }
    std::istringstream in(s);
    in >> out;
    return !in.fail() && in.eof() && std::isfinite(out);
}

}  // namespace

std::function<void(std::int64_t)> offlineRenderer(std::function<bool(std::size_t)> renderFrames) {
    return [renderFrames = std::move(renderFrames), micros = std::int64_t{0},
            frames = std::int64_t{0}](std::int64_t step) mutable {
        micros += step;
        const std::int64_t target = micros * 44100 / 1000000;
        if (target > frames) {
            renderFrames(static_cast<std::size_t>(target - frames));
            frames = target;
        }
    };
}

Simulator::Simulator(std::string station, core::DateValue start,
                     std::unique_ptr<audio::Engine> engine,
                     std::function<void(std::int64_t)> render)
    : clock_(start), loop_(clock_), engine_(std::move(engine)) {
    settings_.addPrivateFileName("appSettings.ini");
    loop_.beforeStep = std::move(render);
    loop_.wrapEvent = [this](const std::function<void()>& fn) {
        core::EventScope event(settings_);
        fn();
    };
    core::Services s;
    s.clock = &clock_;
    s.settings = &settings_;
    s.engine = engine_.get();
    s.prompter = &prompter_;
    s.loop = &loop_;
    s.trash = &trash_;
    console_ = std::make_unique<core::Console>(std::move(station), s);
}

Simulator::~Simulator() {
    settings_.flush();
}

bool Simulator::execute(const std::string& line, std::ostream& out, std::string& error) {
    std::string cmd, rest;
    splitCommand(line, cmd, rest);
    core::Console& c = *console_;
    if (cmd.empty() || cmd[0] == '#') {
        return true;
    }
    if (cmd == "load") {
        if (!rest.empty() || c.loaded) {
            error = c.loaded ? "load: the console is already loaded" : "load takes no argument";
            return false;
        }
        core::EventScope event(settings_);
        core::Form_Load(c);
        return true;
    }
    if (cmd == "unload") {
        if (!rest.empty() || !c.loaded || c.unloaded) {
            error =
                !rest.empty() ? "unload takes no argument" : "unload: the console is not loaded";
            return false;
        }
        core::EventScope event(settings_);
        core::Form_Unload(c);
        return true;
    }
    if (cmd == "advance") {
        double seconds = 0;
        if (!parseNumber(rest, seconds) || seconds < 0) {
            error = "advance needs a number of seconds, not \"" + rest + "\"";
            return false;
        }
        loop_.advance(seconds);
        return true;
    }
    if (cmd == "press") {
        std::string name, tail;
        splitCommand(rest, name, tail);
        MouseButton button = MouseButton::Left;
        double x = 0;
        std::string word, more;
        splitCommand(tail, word, more);
        if (word == "left" || word == "right") {
            button = word == "right" ? MouseButton::Right : MouseButton::Left;
            word = more;
        }
        if (!word.empty() && !parseNumber(word, x)) {
            error =
                "press: after the element come left or right and a position, not \"" + tail + "\"";
            return false;
        }
        if (name.empty() || !press(c, name, button, x)) {
            error = "press: no element \"" + name + "\"";
            return false;
        }
        return true;
    }
    if (cmd == "key") {
        // "key 120" releases a key on the console (F9); "key lstPlaylists Delete" presses a
        // named key on an element.
        double code = 0;
        if (parseNumber(rest, code)) {
            if (code != std::floor(code) || code < 0 || code > 255) {
                error = "key needs a key code such as 120 (F9)";
                return false;
            }
            keyUp(c, static_cast<int>(code));
            return true;
        }
        std::string name, key;
        splitCommand(rest, name, key);
        if (name.empty() || key.empty() || !keyDown(c, name, key)) {
            error = "key needs a key code, or an element and a key name, not \"" + rest + "\"";
            return false;
        }
        return true;
    }
    if (cmd == "select") {
        std::string name, rowText;
        splitCommand(rest, name, rowText);
        double row = 0;
        if (!parseNumber(rowText, row) || row != std::floor(row)) {
            error = "select needs an element and a row number";
            return false;
        }
        if (!select(c, name, static_cast<int>(row))) {
            error = "select: no element \"" + name + "\" with a row " + rowText;
            return false;
        }
        return true;
    }
    if (cmd == "type") {
        const std::string t = core::trim(line);
        const auto first = t.find(' ');
        const auto second = first == std::string::npos ? first : t.find(' ', first + 1);
        const std::string name =
            first == std::string::npos ? "" : t.substr(first + 1, second - first - 1);
        const std::string text = second == std::string::npos ? "" : t.substr(second + 1);
        if (name.empty() || !type(c, name, text)) {
            error = "type: no element \"" + name + "\"";
            return false;
        }
        return true;
    }
    if (cmd == "drag") {
        std::string source, target;
        splitCommand(rest, source, target);
        if (source.empty() || target.empty() || !dragElement(c, source, target)) {
            error = "drag needs a source element and a target element, not \"" + rest + "\"";
            return false;
        }
        return true;
    }
    if (cmd == "drop") {
        std::string name, paths;
        splitCommand(rest, name, paths);
        std::vector<std::string> files;
        std::istringstream list(paths);
        for (std::string path; list >> path;) {
            files.push_back(path);
        }
        if (name.empty() || files.empty() || !dropFiles(c, name, files)) {
            error = "drop needs an element and at least one path";
            return false;
        }
        return true;
    }
    if (cmd == "pick") {
        // pick CATEGORY [YYYY-MM-DD HH:MM:SS]: the slot's time defaults to the present.
        std::string category, when;
        splitCommand(rest, category, when);
        core::DateValue target = c.now();
        if (category.empty() || (!when.empty() && !core::parseDate(when, target))) {
            error = "pick needs a category and an optional date, not \"" + rest + "\"";
            return false;
        }
        core::EventScope event(settings_);
        core::DateValue previous = 0;
        const std::string path = autodj::pickSongForCatagory(c, category, target, previous);
        out << "picked " << (path.empty() ? "<none>" : path) << "\n";
        return true;
    }
    if (cmd == "answer") {
        prompter_.queueAnswer(rest);
        return true;
    }
    if (cmd == "dump") {
        if (rest.empty()) {
            out << consoleJson(c) << "\n";
            return true;
        }
        auto json = namedJson(c, rest);
        if (!json) {
            error = "dump: no element or variable \"" + rest + "\"";
            return false;
        }
        out << *json << "\n";
        return true;
    }
    error = "unknown command \"" + cmd + "\"";
    return false;
}

int Simulator::run(std::istream& in, std::ostream& out, std::ostream& err) {
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        std::string error;
        if (!execute(line, out, error)) {
            err << "tarnwave-sim: line " << number << ": " << error << "\n";
            return 2;
        }
    }
    return 0;
}

}  // namespace tw::support

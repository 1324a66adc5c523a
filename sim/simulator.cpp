#include "sim/simulator.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <istream>
#include <ostream>
#include <sstream>

#include "audio/wav_header.h"
#include "autodj/library.h"
#include "autodj/picker.h"
#include "autodj/rotations.h"
#include "core/text.h"
#include "desk/actions.h"
#include "media/stream_opener.h"
#include "sim/console_json.h"
#include "station/console_assembly.h"
#include "station/startup.h"

namespace tw::sim {

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

constexpr std::size_t kBlockFrames = 4096;
constexpr std::uint32_t kRate = 44100;
constexpr std::uint16_t kChannels = 2;
// Longer than any open of a stream address lasts (the engine gives up after 3 s).
constexpr auto kOpenWait = std::chrono::seconds(10);

// A 16-bit PCM WAV file at 44100 Hz stereo, written as the samples come; the sizes in its header
// are filled in by finish().
class WavWriter {
  public:
    explicit WavWriter(const std::string& path) : out_(path, std::ios::binary | std::ios::trunc) {
        writeHeader(0);
    }
    bool ok() const { return static_cast<bool>(out_); }
    void write(const float* samples, std::size_t count) {
        std::array<char, 2 * kBlockFrames * kChannels> bytes{};
        while (count > 0) {
            const std::size_t n = std::min(count, bytes.size() / 2);
            for (std::size_t i = 0; i < n; ++i) {
                const float v = std::clamp(samples[i], -1.0f, 1.0f);
                const auto s = static_cast<std::int16_t>(std::lrint(v * 32767.0f));
                const auto u = static_cast<std::uint16_t>(s);
                bytes[2 * i] = static_cast<char>(u & 0xff);
                bytes[2 * i + 1] = static_cast<char>(u >> 8);
            }
            out_.write(bytes.data(), static_cast<std::streamsize>(2 * n));
            dataBytes_ += 2 * n;
            samples += n;
            count -= n;
        }
    }
    bool finish() {
        out_.seekp(0);
        writeHeader(dataBytes_);
        out_.close();
        return !out_.fail();
    }

  private:
    void writeHeader(std::uint64_t dataBytes) {
        const auto data =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(dataBytes, 0xffffffdbu));
        const std::string header = audio::pcm16WavHeader(kRate, kChannels, data);
        out_.write(header.data(), static_cast<std::streamsize>(header.size()));
    }

    std::ofstream out_;
    std::uint64_t dataBytes_ = 0;
};

// The words of a line, split at blanks.
std::vector<std::string> words(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string w; in >> w;) {
        out.push_back(w);
    }
    return out;
}

}  // namespace

long residentKb() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::strtol(line.c_str() + 6, nullptr, 10);
        }
    }
    return 0;
}

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
    : clock_(start), loop_(clock_), engine_(std::move(engine)), render_(std::move(render)) {
    settings_.addPrivateFileName("appSettings.ini");
    loop_.beforeStep = [this](std::int64_t micros) {
        // An address being opened takes no virtual time: the clock waits for the network's
        // answer, as it waited when the open held the console.
        if (console_ && console_->streamOpener) {
            console_->streamOpener->waitForAnswers(kOpenWait);
        }
        if (render_) {
            render_(micros);
        }
    };
    loop_.wrapEvent = [this](const std::function<void()>& fn) {
        core::EventScope event(settings_);
        fn();
    };
    const core::Services s{&clock_, &settings_, engine_.get(), &prompter_, &loop_, &trash_};
    console_ = station::makeConsole(std::move(station), s);
}

Simulator::Simulator(std::string station, core::DateValue start,
                     std::unique_ptr<audio::MixEngine> offlineEngine)
    : Simulator(std::move(station), start,
                std::unique_ptr<audio::Engine>(offlineEngine.release())) {
    mix_ = static_cast<audio::MixEngine*>(engine_.get());
    // Decoding on a worker beside the mixing: a simulated week takes two processors' time, not
    // the sum of both on one; the samples are the same.
    mix_->decodeAhead();
    busBlock_.resize(kBlockFrames * kChannels);
    render_ = offlineRenderer([this](std::size_t frames) {
        renderMix(frames);
        return true;
    });
}

void Simulator::renderMix(std::size_t frames) {
    while (frames > 0) {
        const std::size_t n = std::min(frames, kBlockFrames);
        std::fill_n(busBlock_.begin(), n * kChannels, 0.0f);
        mix_->render(n, nullptr, busBlock_.data());
        if (recordSink_) {
            recordSink_(busBlock_.data(), n);
        }
        if (busSink_) {
            busSink_(busBlock_.data(), n);
        }
        frames -= n;
    }
}

bool Simulator::record(const std::string& file, double seconds, std::string& error) {
    if (mix_ == nullptr) {
        error = "record: this simulator does not render the mix (it needs an offline engine)";
        return false;
    }
    WavWriter wav(file);
    if (!wav.ok()) {
        error = "record: cannot write " + file;
        return false;
    }
    recordSink_ = [&wav](const float* bus, std::size_t frames) {
        wav.write(bus, frames * kChannels);
    };
    loop_.advance(seconds);
    recordSink_ = nullptr;
    if (!wav.finish()) {
        error = "record: cannot write " + file;
        return false;
    }
    return true;
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
        station::Form_Load(c);
        return true;
    }
    if (cmd == "unload") {
        if (!rest.empty() || !c.loaded || c.unloaded) {
            error =
                !rest.empty() ? "unload takes no argument" : "unload: the console is not loaded";
            return false;
        }
        core::EventScope event(settings_);
        station::Form_Unload(c);
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
        desk::MouseButton button = desk::MouseButton::Left;
        double x = 0, y = 0;
        std::string word, more;
        splitCommand(tail, word, more);
        if (word == "left" || word == "right") {
            button = word == "right" ? desk::MouseButton::Right : desk::MouseButton::Left;
            splitCommand(more, word, more);
        }
        std::string yWord, extra;
        splitCommand(more, yWord, extra);
        if ((!word.empty() && !parseNumber(word, x)) ||
            (!yWord.empty() && !parseNumber(yWord, y)) || !extra.empty()) {
            error = "desk::press: after the element come left or right and a position, not \"" +
                    tail + "\"";
            return false;
        }
        if (name.empty() || !desk::press(c, name, button, x, y)) {
            error = "desk::press: no element \"" + name + "\"";
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
            desk::keyUp(c, static_cast<int>(code));
            return true;
        }
        std::string name, key;
        splitCommand(rest, name, key);
        if (name.empty() || key.empty() || !desk::keyDown(c, name, key)) {
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
            error = "desk::select needs an element and a row number";
            return false;
        }
        if (!desk::select(c, name, static_cast<int>(row))) {
            error = "desk::select: no element \"" + name + "\" with a row " + rowText;
            return false;
        }
        return true;
    }
    if (cmd == "slide") {
        std::string name, valueText;
        splitCommand(rest, name, valueText);
        double value = 0;
        if (!parseNumber(valueText, value) || value != std::floor(value)) {
            error = "slide needs a slider and a whole number, not \"" + rest + "\"";
            return false;
        }
        if (!desk::slide(c, name, static_cast<int>(value))) {
            error = "slide: no slider \"" + name + "\"";
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
        if (name.empty() || !desk::type(c, name, text)) {
            error = "type: no element \"" + name + "\"";
            return false;
        }
        return true;
    }
    if (cmd == "drag") {
        std::string source, target;
        splitCommand(rest, source, target);
        if (source.empty() || target.empty() || !desk::dragElement(c, source, target)) {
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
        if (name.empty() || files.empty() || !desk::dropFiles(c, name, files)) {
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
    if (cmd == "record") {
        const auto args = words(rest);
        double seconds = 0;
        if (args.size() != 2 || !parseNumber(args[1], seconds) || seconds < 0) {
            error = "record needs a file and a number of seconds, not \"" + rest + "\"";
            return false;
        }
        return record(args[0], seconds, error);
    }
    if (cmd == "rotation") {
        auto args = words(rest);
        if (args.size() < 2) {
            error = "rotation needs a name and at least one category";
            return false;
        }
        std::string name = args[0];
        if (name.size() < 4 || core::toLower(name.substr(name.size() - 4)) != ".rot") {
            name += ".rot";
        }
        // The console's own save writes what lstRotation holds: the rows go there for the save
        // and the grid gets back what it showed.
        core::EventScope event(settings_);
        auto& grid = c.form().lstRotation;
        auto shownRows = grid.rows;
        const int shownRow = grid.row;
        grid.rows.clear();
        for (std::size_t i = 1; i < args.size(); ++i) {
            core::GridRow row;
            row.cells = {"", args[i]};
            row.checked = false;
            grid.rows.push_back(row);
        }
        autodj::saveNewList(c, name);
        grid.rows = std::move(shownRows);
        grid.row = shownRow;
        return true;
    }
    if (cmd == "category") {
        if (rest.empty() || rest.find(' ') != std::string::npos) {
            error = "category needs one name without blanks";
            return false;
        }
        std::error_code ec;
        if (std::filesystem::is_directory(c.AppFolder + "/Music/" + rest, ec)) {
            return true;
        }
        core::EventScope event(settings_);
        prompter_.queueAnswer(rest);
        autodj::createCatagory(c);
        return true;
    }
    if (cmd == "answer") {
        prompter_.queueAnswer(rest);
        return true;
    }
    if (cmd == "resources") {
        if (!rest.empty()) {
            error = "resources takes no argument";
            return false;
        }
        out << "resources";
        if (auto* mix = dynamic_cast<audio::MixEngine*>(engine_.get())) {
            const audio::MixEngine::HandleCounts h = mix->handleCounts();
            out << " handles " << h.total() << " channels " << h.channels << " syncs " << h.syncs
                << " effects " << h.effects << " encoders " << h.encoders;
        }
        out << " rss " << residentKb() << " kB\n";
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
        // What a line printed is out before the next one runs, so that a long scenario can be
        // followed as it goes.
        out.flush();
    }
    return 0;
}

}  // namespace tw::sim

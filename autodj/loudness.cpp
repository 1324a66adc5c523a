#include "autodj/loudness.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "autodj/library_jobs.h"
#include "core/console_ops.h"
#include "core/paths.h"
#include "media/loudness_library.h"

namespace tw::autodj {

namespace {

std::optional<double> settingNumber(core::Console& c, std::string_view key, double low,
                                    double high) {
    std::string text = core::readIni(c, c.appSettingsPath(), "Loudness", key, "");
    // "-16", "-16 LUFS", "-16.5 dB": the number is what counts.
    const char* begin = text.c_str();
    while (*begin == ' ') {
        ++begin;
    }
    if (*begin == '+') {
        ++begin;
    }
    double v = 0;
    const auto [end, ec] = std::from_chars(begin, text.c_str() + text.size(), v);
    if (ec != std::errc() || !std::isfinite(v) || v < low || v > high) {
        return std::nullopt;
    }
    const std::string_view rest = std::string_view(end);
    const std::string_view unit = rest.substr(std::min(rest.find_first_not_of(' '), rest.size()));
    if (!unit.empty() && unit != "LUFS" && unit != "dB" && unit != "LU") {
        return std::nullopt;
    }
    return v;
}

std::string fixed1(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.1f", std::abs(v) < 0.05 ? 0.0 : v);
    return buf;
}

audio::Handle& playerStream(core::Console& c, int n) {
    return n == 1 ? c.player1Stream : c.player2Stream;
}

// The engine's loudness stage of the stream at a gain in dB.
void setStage(core::Console& c, audio::Handle stream, double gainDb) {
    c.engine().channelSetAttribute(stream, audio::kAttribLoudness,
                                   static_cast<float>(std::pow(10.0, gainDb / 20.0)));
}

// A player loaded with the file and not yet in the mix takes the answer before it starts.
void applyToWaitingPlayers(core::Console& c, const std::string& path) {
    for (int n = 1; n <= 2; ++n) {
        const audio::Handle h = playerStream(c, n);
        const std::string& loaded = n == 1 ? c.nextSong1 : c.nextSong2;
        if (h != 0 && loaded == path && c.engine().mixerChannelFlags(h, 0, 0) == 0xFFFFFFFFu) {
            applyLoudness(c, h, path, LoudnessKind::Track);
        }
    }
}

void showProgress(core::Console& c, const media::LoudnessLibrary& lib) {
    c.ui.settings.lblLoudnessProgress.caption = loudnessProgressLine(c);
    if (libraryJobsBusy(c)) {
        return;  // an import or a recount has "Library Update" to itself
    }
    const auto p = lib.progress();
    if (p.total == 0) {
        core::closeStatus(c);
        return;
    }
    core::setStatusText(
        c, "Measuring Loudness: " + std::to_string(p.done) + " of " + std::to_string(p.total));
    core::ShowStatus(c, static_cast<double>(p.done) / static_cast<double>(p.total));
}

void answered(core::Console& c, const std::string& path) {
    applyToWaitingPlayers(c, path);
    if (path == c.detailsSong) {
        c.form().lblLoudnessInfo.caption = loudnessLine(c, path);
    }
    if (c.loudness) {
        showProgress(c, *c.loudness);
    }
}

}  // namespace

double loudnessGainDb(double targetLufs, const media::LoudnessEntry& e, double offsetDb) {
    if (!std::isfinite(e.lufs)) {
        return 0;  // silence: nothing to bring anywhere
    }
    double gain = targetLufs - e.lufs + offsetDb;
    if (e.peakDbtp) {
        if (std::isfinite(*e.peakDbtp)) {
            gain = std::min(gain, kTruePeakCeiling - *e.peakDbtp);
        }
    } else {
        gain = std::min(gain, 0.0);  // a peak not known is never lifted
    }
    return std::min(gain, kLargestLift);
}

std::optional<double> loudnessTarget(core::Console& c) {
    return settingNumber(c, "Target", -40, -5);
}

double jingleOffset(core::Console& c) {
    return settingNumber(c, "JingleOffset", -20, 20).value_or(0.0);
}

media::LoudnessLibrary* loudnessLibrary(core::Console& c) {
    if (!c.loudness) {
        if (!loudnessTarget(c) || !c.svc.loop) {
            return nullptr;
        }
        c.loudness = std::make_shared<media::LoudnessLibrary>(*c.svc.loop, c.AppFolder,
                                                              media::replayGainOrMeter());
    }
    media::LoudnessLibrary& lib = *c.loudness;
    if (!lib.onAnswer) {
        lib.onAnswer = [&c](const std::string& path) { answered(c, path); };
        lib.onSaveFailure = [&c, path = lib.path()](int err) {
            core::noteWriteFailure(c, path, err);
        };
        if (const std::size_t rejected = lib.load(); rejected > 0) {
            core::logError(c, "loudness.ini: " + std::to_string(rejected) +
                                  " entries could not be read; their files are measured again");
        }
    }
    return &lib;
}

void applyLoudness(core::Console& c, audio::Handle stream, const std::string& path,
                   LoudnessKind kind) {
    if (stream == 0) {
        return;
    }
    const auto target = loudnessTarget(c);
    media::LoudnessLibrary* lib = target ? loudnessLibrary(c) : nullptr;
    if (!lib) {
        return;
    }
    const auto entry = lib->find(path);
    if (!entry) {
        lib->ask(path, true);
        return;
    }
    setStage(c, stream,
             loudnessGainDb(*target, *entry, kind == LoudnessKind::Jingle ? jingleOffset(c) : 0.0));
}

void applyLoudnessMeasuredNow(core::Console& c, audio::Handle stream, const std::string& path) {
    const auto target = loudnessTarget(c);
    if (stream == 0 || !target) {
        return;
    }
    const std::atomic<bool> never{false};
    media::MeasuredLoudness m;
    if (media::replayGainOrMeter()(path, never, m) != media::MeasureOutcome::Measured) {
        return;
    }
    media::LoudnessEntry e;
    e.lufs = m.lufs;
    e.peakDbtp = m.peakDbtp;
    setStage(c, stream, loudnessGainDb(*target, e, 0.0));
}

void askLoudness(core::Console& c, const std::string& path) {
    if (media::LoudnessLibrary* lib = loudnessLibrary(c)) {
        lib->ask(path, false);
        showProgress(c, *lib);
    }
}

void askLoudness(core::Console& c, const std::vector<std::string>& paths) {
    if (media::LoudnessLibrary* lib = loudnessLibrary(c)) {
        lib->askAll(paths);
        showProgress(c, *lib);
    }
}

std::string loudnessLine(core::Console& c, const std::string& path) {
    if (!c.loudness && !loudnessLibrary(c)) {
        return {};
    }
    const auto entry = c.loudness->find(path);
    if (!entry) {
        return "Loudness not measured yet";
    }
    if (!std::isfinite(entry->lufs)) {
        return "Loudness: silent";
    }
    std::string line = "Loudness " + fixed1(entry->lufs) + " LUFS  Peak ";
    line += entry->peakDbtp
                ? (std::isfinite(*entry->peakDbtp) ? fixed1(*entry->peakDbtp) : "-inf") + " dBTP"
                : std::string("unknown");
    if (const auto target = loudnessTarget(c)) {
        line += "  Gain " + fixed1(loudnessGainDb(*target, *entry, 0.0)) + " dB";
    } else {
        line += "  Gain off";
    }
    return line;
}

std::string loudnessProgressLine(core::Console& c) {
    if (!loudnessTarget(c)) {
        return "Loudness off";
    }
    if (!c.loudness) {
        return {};
    }
    const auto p = c.loudness->progress();
    if (p.total > 0) {
        return "Measuring " + std::to_string(p.done) + " of " + std::to_string(p.total) + ", " +
               std::to_string(c.loudness->knownCount()) + " known";
    }
    return std::to_string(c.loudness->knownCount()) + " files measured";
}

void stopLoudness(core::Console& c) {
    if (c.loudness) {
        c.loudness->save();
        c.loudness.reset();
    }
}

}  // namespace tw::autodj

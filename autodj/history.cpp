#include "autodj/history.h"

#include "core/console_ops.h"
#include "core/failure.h"
#include "core/text.h"
#include "tags/id3_tag.h"

namespace tw::autodj {

std::string readHistory(core::Console& c, const std::string& playedIni, const std::string& section,
                        const char* key, std::string_view def) {
    return core::readIni(c, playedIni, section, key, def);
}

std::array<std::string, 2> readHistory(core::Console& c, const std::string& playedIni,
                                       const std::string& section, const char* key1,
                                       const char* key2, std::string_view def) {
    return core::readIni(c, playedIni, section, key1, key2, def);
}

std::string readHistory(core::Console& c, const std::string& section, const char* key,
                        const std::string& def) {
    return readHistory(c, c.playedIniPath(), section, key, def);
}

void writeHistory(core::Console& c, const std::string& section, const char* key,
                  std::string value) {
    // The history keeps one line per key: a line break in a value is stored as a blank.
    for (char& ch : value) {
        if (ch == '\r' || ch == '\n') {
            ch = ' ';
        }
    }
    core::writeIni(c, c.playedIniPath(), section, key, value);
}

double checkedDivide(double numerator, double denominator) {
    if (denominator == 0) {
        if (numerator == 0) {
            core::failOverflow();
        }
        core::failDivisionByZero();
    }
    return numerator / denominator;
}

void planPick(core::Console& c, const std::string& trackName, const std::string& artistKey,
              core::DateValue plannedTime, core::DateValue previousLastPlayed) {
    const std::string planned = core::generalDate(plannedTime);
    const std::string earlier = core::diffSeconds(previousLastPlayed, plannedTime) == 0
                                    ? std::string("empty")
                                    : core::generalDate(previousLastPlayed);
    writeHistory(c, trackName, kLastPlayed, planned);
    writeHistory(c, artistKey, kLastPlayed, planned);
    // The artist's rollback is the track's own earlier date: a withdrawal restores the artist to
    // the date of this track, not to the artist's own last play.
    writeHistory(c, trackName, kPending, earlier);
    writeHistory(c, artistKey, kPending, earlier);
}

void planPick(core::Console& c, const std::string& trackName, const std::string& artistKey,
              core::DateValue plannedTime) {
    const std::string earlier = readHistory(c, trackName, kLastPlayed, "");
    core::DateValue previous = plannedTime;
    if (!earlier.empty()) {
        previous = core::cDate(earlier);
    }
    planPick(c, trackName, artistKey, plannedTime, previous);
}

void releasePlan(core::Console& c, const std::string& trackName, const std::string& artistKey) {
    const std::string now = core::generalDate(c.now());
    for (const std::string* section : {&trackName, &artistKey}) {
        writeHistory(c, *section, kPending, "no");
        writeHistory(c, *section, kLastPlayed, now);
    }
}

void planRefill(core::Console& c, const std::string& trackName, const std::string& artistKey,
                core::DateValue plannedTime, core::DateValue previousLastPlayed) {
    const std::string planned = core::generalDate(plannedTime);
    writeHistory(c, trackName, kLastPlayed, planned);
    writeHistory(c, artistKey, kLastPlayed, planned);
    writeHistory(c, trackName, kPending, core::generalDate(previousLastPlayed));
}

void retimePlan(core::Console& c, const std::string& trackName, core::DateValue plannedTime) {
    writeHistory(c, trackName, kLastPlayed, core::generalDate(plannedTime));
}

void recordStart(core::Console& c, const std::string& trackName, const std::string& artistKey) {
    // The count comes last: a count that is no number fails after the dates are written.
    const std::string now = core::generalDate(c.now());
    writeHistory(c, trackName, kLastPlayed, now);
    writeHistory(c, trackName, kPending, "no");
    writeHistory(c, artistKey, kLastPlayed, now);
    const std::int32_t count = core::cLngText(readHistory(c, trackName, kPlayCount, "0"));
    writeHistory(c, trackName, kPlayCount, std::to_string(static_cast<std::int64_t>(count) + 1));
}

namespace {

void withdrawSection(core::Console& c, const std::string& section, const std::string& pending) {
    // No plan is open: nothing is written.
    if (pending == "no") {
        return;
    }
    if (pending == "empty") {
        core::deleteIniKey(c, c.playedIniPath(), section, kLastPlayed);
    } else if (pending != "no") {
        writeHistory(c, section, kLastPlayed, pending);
    }
    writeHistory(c, section, kPending, "no");
}

}  // namespace

void withdrawPlan(core::Console& c, const std::string& trackName, const std::string& artistKey) {
    const std::string pending = readHistory(c, trackName, kPending, "no");
    withdrawSection(c, trackName, pending);
    withdrawSection(c, artistKey, readHistory(c, artistKey, kPending, "no"));
}

void chargeTuneOut(core::Console& c, const std::string& trackName) {
    const std::int32_t outs = core::cLngText(readHistory(c, trackName, kTunedOut, "0"));
    writeHistory(c, trackName, kTunedOut, std::to_string(static_cast<std::int64_t>(outs) + 1));
    writeHistory(c, trackName, kLastTimeTunedOut, core::generalDate(c.now()));
}

void returnLastPlayedData(core::Console& c, const std::string& path, std::string& lastPlayed,
                          std::string& percentage) {
    try {
        tags::clsMp3TagData data;
        c.id3->filename(path);
        c.id3->returnID3Tag(data);
        const std::int32_t outs = core::cLngText(readHistory(c, data.mp3Title, kTunedOut, "0"));
        const std::int32_t plays = core::cLngText(readHistory(c, data.mp3Title, kPlayCount, "0"));
        // Under an open plan Pending holds the real last play; "no" and "empty" show as they are.
        std::string last = readHistory(c, data.mp3Title, kPending, core::generalDate(c.now()));
        const std::int32_t percent = core::cLng(checkedDivide(outs, plays) * 100);
        lastPlayed = std::move(last);
        percentage = std::to_string(percent) + "%";
    } catch (const std::exception& e) {
        core::logError(c, "returnLastPlayedData: " + core::describeFailure(e).description);
    }
}

void stampStartedTrack(core::Console& c, const std::string& path) {
    const core::DateValue now = c.now();
    for (auto& row : c.trackList) {
        if (row.trackPath == path) {
            row.timeOn = now;
            writeHistory(c, row.trackName, kLastPlayed, core::generalDate(now));
        }
    }
}

}  // namespace tw::autodj

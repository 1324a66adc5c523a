#include "autodj/picker.h"

#include <sys/stat.h>

#include <cmath>
#include <numeric>

#include "autodj/history.h"
#include "autodj/library.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/paths.h"
#include "core/text.h"
#include "tags/id3_tag.h"

namespace tw::autodj {

std::string makeArtist(std::string& artist) {
    artist = core::toLower(artist);
    // The first separator that occurs at all wins, wherever it stands: "craft union" gives "cra".
    for (const char* separator : {"feat", "ft", "vs", "&"}) {
        const auto at = artist.find(separator);
        if (at != std::string::npos) {
            return artist.substr(0, at);
        }
    }
    return artist;
}

namespace {

void checkCandidateFile(const std::string& path) {
    // One stat for both questions: the walk does this for every file of the category.
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        throw core::Failure(core::kErrFileNotFound, "File not found");
    }
    if (st.st_size == 0) {
        throw core::Failure(core::kErrFileNotFound, "File is empty");
    }
}

const std::string& fileNameAt(core::Console& c, std::int32_t index) {
    const auto& items = c.form().fileList1.items;
    if (index < 0 || static_cast<std::size_t>(index) >= items.size()) {
        // The list can change under a pick while it yields.
        core::failSubscript();
    }
    return items[static_cast<std::size_t>(index)].text;
}

void reportMissingCategory(core::Console& c, const std::string& catagory) {
    core::printMessageOnScreen(c, " Rotation Cannot Be found:  " + catagory +
                                      ", MISSING OR DELETED, Placing Tarnwave in MANUAL MODE");
    // The mode button's action from "Automated": the console is in manual whatever its mode was.
    c.form().cmdAutoManual.caption = core::kManual;
}

}  // namespace

std::string pickSongForCatagory(core::Console& c, const std::string& catagory,
                                core::DateValue targetTime, core::DateValue& previousLastPlayed) {
    std::int32_t state = 0;
    std::int32_t bestIndex = 0;
    std::string candidatePath;
    try {
        c.pickInProgress = true;
        state = 1;
        auto& m = c.form();
        int found = -1;
        for (int i = 0; i < m.lstPlaylist1.listCount(); ++i) {
            if (core::parsePath(m.lstPlaylist1.items[static_cast<std::size_t>(i)].text, 4) ==
                catagory) {
                found = i;
                break;
            }
        }
        if (found < 0) {
            reportMissingCategory(c, catagory);
            c.pickInProgress = false;
            return {};
        }
        lstPlaylist1_Click(c, found);

        state = 2;
        const core::DateValue now = c.now();
        c.library->random.reseed(c.svc.clock->timer() / 4 - (now - std::floor(now)));

        const auto count = static_cast<std::int32_t>(m.fileList1.items.size());
        if (count == 0) {
            c.pickInProgress = false;
            return {};
        }
        std::vector<std::int32_t> order(static_cast<std::size_t>(count));
        std::iota(order.begin(), order.end(), 0);
        ShuffleArray(c, order);
        state = 3;

        const double separation = static_cast<double>(c.artistSeperationTime) * 60.0;
        std::int32_t bestAge = 0;
        std::size_t position = 0;
        tags::clsMp3TagData data;
        for (;;) {
            if (c.listLoading) {
                // A rotation is being read: the pick gives up and leaves pickInProgress set.
                return {};
            }
            const std::int32_t candidate = order[position++];
            candidatePath = c.AppFolder + c.activeDirectory + fileNameAt(c, candidate);
            checkCandidateFile(candidatePath);

            state = 4;
            c.id3->filename(candidatePath);
            c.id3->returnID3Tag(data);
            state = 5;
            std::string artist = data.Artist;
            const std::string artistKey = makeArtist(artist);
            const std::string trackLast = readHistory(c, data.mp3Title, kLastPlayed, "none");
            const std::string artistLast = readHistory(c, artistKey, kLastPlayed, "none");

            std::int32_t trackAge = 0;
            if (trackLast != "none") {
                const core::DateValue d = core::cDate(trackLast);
                // Years are counted against the clock, the age against the slot.
                if (core::diffYears(d, now) <= 3) {
                    trackAge = core::cLng(static_cast<double>(core::diffSeconds(d, targetTime)));
                }
            }
            state = 6;
            std::int32_t artistAge = 0;
            if (artistLast != "none") {
                artistAge = core::cLng(
                    static_cast<double>(core::diffMinutes(core::cDate(artistLast), targetTime)));
            }
            state = 7;

            const bool artistClear = artistAge >= separation;
            if ((artistClear || artistAge == 0) && trackAge == 0) {
                bestIndex = candidate;
                break;
            }
            // Once held, a candidate yields only to an older one whose artist is clear; the first
            // with a positive age is held whatever its artist.
            if (trackAge > bestAge && (artistClear || bestAge == 0)) {
                bestAge = trackAge;
                bestIndex = candidate;
            }
            state = 8;
            if (position >= static_cast<std::size_t>(count)) {
                break;
            }
            core::yieldUi(c);
        }

        state = 9;
        candidatePath = c.AppFolder + c.activeDirectory + fileNameAt(c, bestIndex);
        c.id3->filename(candidatePath);
        c.id3->returnID3Tag(data);
        state = 11;
        previousLastPlayed =
            core::cDate(readHistory(c, data.mp3Title, kLastPlayed, core::generalDate(targetTime)));
        state = 12;
        c.pickInProgress = false;
        return candidatePath;
    } catch (const std::exception& e) {
        c.pickInProgress = false;
        core::logError(
            c, "Error in Pick Song for Catagory:" + core::describeFailure(e).description +
                   " state:" + std::to_string(state) + " filename:" + candidatePath +
                   " activeDirectory:" + c.activeDirectory + " index:" + std::to_string(bestIndex));
        return {};
    }
}

}  // namespace tw::autodj

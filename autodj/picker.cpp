#include "autodj/picker.h"

#include <sys/stat.h>

#include <cmath>
#include <numeric>
#include <optional>

#include "autodj/history.h"
#include "autodj/library.h"
#include "autodj/tag_cache.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/paths.h"
#include "core/text.h"
#include "core/within_years.h"
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

struct stat checkCandidateFile(const std::string& path) {
    // One stat for both questions: the walk does this for every file it reads from the disk.
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        throw core::Failure(core::kErrFileNotFound, "File not found");
    }
    if (st.st_size == 0) {
        throw core::Failure(core::kErrFileNotFound, "File is empty");
    }
    return st;
}

// The artist and history key of a candidate: from the tag cache when the file has not changed
// since they were read, otherwise checked and read from the disk (through the console's tag
// object) as a pick without the cache does, into fromDisk.
const CachedTag& readCandidate(core::Console& c, TagCache* cache, const std::string& name,
                               const std::string& path, std::int32_t& state, CachedTag& fromDisk) {
    const std::string_view folder(path.data(), path.size() - name.size());
    if (cache) {
        if (const CachedTag* known = cache->find(folder, name)) {
            state = 5;
            return *known;
        }
    }
    const struct stat st = checkCandidateFile(path);
    state = 4;
    tags::clsMp3TagData data;
    c.id3->filename(path);
    c.id3->returnID3Tag(data);
    state = 5;
    if (cache) {
        cache->store(folder, name, st, cachedTagOf(data.Artist, data.songName, data.mp3Title));
    }
    fromDisk.artist = std::move(data.Artist);
    fromDisk.mp3Title = std::move(data.mp3Title);
    fromDisk.trackSlot = kNoHistorySlot;
    fromDisk.artistSlot = kNoHistorySlot;
    return fromDisk;
}

// The ages of a candidate's last play and of its artist's, as the walk without the memo makes
// them (a value that is no date fails at the same state), from the memo's slots of the tag.
void lastPlayedAges(core::Console& c, HistoryMemo& memo, const std::string& played,
                    const CachedTag& tag, const core::WithinYears& recent,
                    core::DateValue targetTime, std::int32_t& state, std::int32_t& trackAge,
                    std::int32_t& artistAge) {
    std::optional<std::string> artistKey;
    const auto keyOfArtist = [&]() -> const std::string& {
        if (!artistKey) {
            std::string artist = tag.artist;
            artistKey = makeArtist(artist);
        }
        return *artistKey;
    };
    if (tag.trackSlot == kNoHistorySlot || tag.artistSlot == kNoHistorySlot) {
        tag.trackSlot = memo.slotOf(tag.mp3Title);
        tag.artistSlot = memo.slotOf(keyOfArtist());
    }
    const HistoryMemo::LastPlayed& track = memo.lastPlayed(
        tag.trackSlot, [&] { return readHistory(c, played, tag.mp3Title, kLastPlayed, "none"); });
    // Years are counted against the clock, the age against the slot.
    if (track.kind == HistoryMemo::Kind::kDate && recent(track.date)) {
        trackAge = core::cLng(static_cast<double>(core::diffSeconds(track.date, targetTime)));
    }
    state = 6;
    const HistoryMemo::LastPlayed& artist = memo.lastPlayed(
        tag.artistSlot, [&] { return readHistory(c, played, keyOfArtist(), kLastPlayed, "none"); });
    if (artist.kind == HistoryMemo::Kind::kDate) {
        artistAge = core::cLng(static_cast<double>(core::diffMinutes(artist.date, targetTime)));
    }
}

// The full path of a file of the active category, into out (whose room is reused).
void setCandidatePath(std::string& out, const core::Console& c, const std::string& name) {
    out.assign(c.AppFolder).append(c.activeDirectory).append(name);
}

const std::string& fileNameAt(core::Console& c, std::int32_t index) {
    const auto& items = c.form().fileList1.items;
    if (index < 0 || static_cast<std::size_t>(index) >= items.size()) {
        // The list can change under a pick while it yields.
        core::failSubscript();
    }
    return items[static_cast<std::size_t>(index)].text;
}

// After events ran in a pick over a list filled from folder's kept listing: the cache's tags by
// position when they still hold, nullptr when the candidates must be looked up by name. They
// hold while no entry was dropped (a dropped entry's tag is gone) and the list still holds the
// kept listing's names in their order (the events may have filled it again, with another
// category, or from the disk).
const std::vector<const CachedTag*>* stillPlaced(core::Console& c, TagCache& cache,
                                                 const std::string& folder,
                                                 std::uint64_t dropsAtStart) {
    if (cache.drops() != dropsAtStart) {
        return nullptr;
    }
    const std::vector<std::string>* names = cache.placedNames(folder);
    const auto& items = c.form().fileList1.items;
    if (!names || names->size() != items.size()) {
        return nullptr;
    }
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i].text != (*names)[i]) {
            return nullptr;
        }
    }
    const std::vector<const CachedTag*>* placed = cache.tagsByPosition(folder);
    return placed && placed->size() == items.size() ? placed : nullptr;
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
    // A candidate whose tag was found by its position: its path is made only for a failure's line.
    std::int32_t unnamed = -1;
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
        TagCache* const cache = c.library->tagCache.get();
        const std::uint64_t servedBefore = cache ? cache->listingsServed() : 0;
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
        // A track's last play counts while it is within three calendar years of the clock.
        const core::WithinYears withinThreeYears(now, 3);
        std::int32_t bestAge = 0;
        std::size_t position = 0;
        // When the list was just filled from the cache's kept listing, a candidate's tag is found
        // by its position, without a search by its name, while no entry is dropped and the list
        // holds that listing.
        const std::vector<const CachedTag*>* placed = nullptr;
        std::uint64_t dropsAtStart = 0;
        const std::string folder = cache ? c.AppFolder + c.activeDirectory : std::string();
        if (cache) {
            cache->beginWalk(folder);
            if (cache->listingsServed() != servedBefore) {
                placed = cache->tagsByPosition(folder);
                if (placed && placed->size() != static_cast<std::size_t>(count)) {
                    placed = nullptr;
                }
                dropsAtStart = cache->drops();
            }
        }
        CachedTag fromDisk;
        const std::string played = c.playedIniPath();
        // With the cache, the last plays come from its memo, which forgets what was written since
        // the last pick (the plan of the last track, say) before the walk.
        HistoryMemo* const memo = cache ? &cache->history() : nullptr;
        if (memo) {
            memo->follow(*c.svc.settings, played);
        }
        for (;;) {
            if (c.listLoading) {
                // A rotation is being read: the pick gives up and leaves pickInProgress set.
                return {};
            }
            const std::int32_t candidate = order[position++];
            if (placed && cache->drops() != dropsAtStart) {
                placed = nullptr;
            }
            const CachedTag* known =
                placed ? (*placed)[static_cast<std::size_t>(candidate)] : nullptr;
            if (known) {
                unnamed = candidate;
                state = 5;
            } else {
                unnamed = -1;
                const std::string& name = fileNameAt(c, candidate);
                setCandidatePath(candidatePath, c, name);
                known = &readCandidate(c, cache, name, candidatePath, state, fromDisk);
            }
            const CachedTag& tag = *known;
            std::int32_t trackAge = 0;
            std::int32_t artistAge = 0;
            if (memo) {
                lastPlayedAges(c, *memo, played, tag, withinThreeYears, targetTime, state, trackAge,
                               artistAge);
            } else {
                std::string artist = tag.artist;
                const std::string artistKey = makeArtist(artist);
                const std::string trackLast =
                    readHistory(c, played, tag.mp3Title, kLastPlayed, "none");
                const std::string artistLast =
                    readHistory(c, played, artistKey, kLastPlayed, "none");
                if (trackLast != "none") {
                    const core::DateValue d = core::cDate(trackLast);
                    // Years are counted against the clock, the age against the slot.
                    if (core::diffYears(d, now) <= 3) {
                        trackAge =
                            core::cLng(static_cast<double>(core::diffSeconds(d, targetTime)));
                    }
                }
                state = 6;
                if (artistLast != "none") {
                    artistAge = core::cLng(static_cast<double>(
                        core::diffMinutes(core::cDate(artistLast), targetTime)));
                }
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
            const double lastYield = c.lastYield;
            core::yieldUi(c);
            if (cache && c.lastYield != lastYield) {
                // What the events just run changed is seen at the next candidate.
                cache->catchUp();
                memo->follow(*c.svc.settings, played);
                if (placed) {
                    placed = stillPlaced(c, *cache, folder, dropsAtStart);
                }
            }
        }

        state = 9;
        unnamed = -1;
        setCandidatePath(candidatePath, c, fileNameAt(c, bestIndex));
        // The chosen file is read from the disk, so that the console's tag object holds it.
        tags::clsMp3TagData data;
        c.id3->filename(candidatePath);
        c.id3->returnID3Tag(data);
        state = 11;
        previousLastPlayed =
            core::cDate(readHistory(c, data.mp3Title, kLastPlayed, core::generalDate(targetTime)));
        state = 12;
        c.pickInProgress = false;
        if (cache) {
            cache->save(c.now() * 86400.0);
        }
        return candidatePath;
    } catch (const std::exception& e) {
        c.pickInProgress = false;
        const auto& items = c.form().fileList1.items;
        if (unnamed >= 0 && static_cast<std::size_t>(unnamed) < items.size()) {
            setCandidatePath(candidatePath, c, items[static_cast<std::size_t>(unnamed)].text);
        }
        core::logError(
            c, "Error in Pick Song for Catagory:" + core::describeFailure(e).description +
                   " state:" + std::to_string(state) + " filename:" + candidatePath +
                   " activeDirectory:" + c.activeDirectory + " index:" + std::to_string(bestIndex));
        return {};
    }
}

}  // namespace tw::autodj

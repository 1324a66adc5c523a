#include "autodj/library.h"

#include <sys/stat.h>

#include <filesystem>

#include "autodj/history.h"
#include "autodj/library_state.h"
#include "autodj/tag_cache.h"
#include "core/atomic_file.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/file_listing.h"
#include "core/format.h"
#include "core/paths.h"
#include "core/text.h"
#include "tags/cue_data.h"
#include "tags/id3_tag.h"

namespace tw::autodj {

std::string categoryFolder(const std::string& category) {
    return "/Music/" + category + "/";
}

namespace {

// The list's folder without its trailing separator, as the file lists keep it.
std::string listFolder(core::Console& c) {
    std::string folder = c.AppFolder + c.activeDirectory;
    if (!folder.empty() && folder.back() == '/') {
        folder.pop_back();
    }
    return folder;
}

std::int32_t figureAt(const std::vector<std::int32_t>& figures, int itemNumber) {
    if (itemNumber < 0 || static_cast<std::size_t>(itemNumber) >= figures.size()) {
        core::failSubscript();
    }
    return figures[static_cast<std::size_t>(itemNumber)];
}

void clearDetails(core::Console& c) {
    auto& m = c.form();
    m.txtSearch.text = "Type Search Here";
    for (core::Element* e : {&m.txtArtistName, &m.txtSongName, &m.txtGenre, &m.txtAlbum,
                             &m.txtSongYear, &m.txtComposer, &m.txtPublisher, &m.txtRecordLabel,
                             &m.txtSweeper, &m.txtIntroUntil, &m.txtOutro, &m.txtNextStart}) {
        e->text.clear();
        e->hiddenValue.clear();
    }
}

// Refreshes the list of the active category's files, from the tag cache's listing while it holds
// (the picker lists the category at every pick: 100,000 names sorted cost more than the walk).
// A list whose folder is not the active category's (the search lists the library screen's list
// after a pick has moved the active category) is listed afresh.
void refreshCategoryList(core::Console& c, core::Element& list) {
    TagCache* const cache = c.library ? c.library->tagCache.get() : nullptr;
    if (!cache || list.path != listFolder(c)) {
        core::refreshFileList(list);
        return;
    }
    const std::string folder = c.AppFolder + c.activeDirectory;
    cache->beginWalk(folder);
    if (const std::vector<std::string>* names = cache->listing(folder, list.pattern)) {
        core::fillFileList(list, *names);
        return;
    }
    std::vector<std::string> names;
    const bool keepable = core::listFileNames(list, names);
    core::fillFileList(list, names);
    if (keepable) {
        cache->keepListing(folder, list.pattern, std::move(names));
    }
}

}  // namespace

void showplayLists(core::Console& c) {
    auto& m = c.form();
    core::refreshFileList(m.dirList);
    m.lstPlaylists.items.clear();
    m.lstPlaylists.listIndex = -1;
    m.lstPlaylist1.items.clear();
    m.lstPlaylist1.listIndex = -1;
    for (const auto& folder : m.dirList.items) {
        // Mode 4 cuts at the last ".": a folder "Dance.90s" is listed as "Dance".
        std::string name = core::parsePath(folder.text, 4);
        m.lstPlaylists.items.push_back({name, 1, {}, false});
        m.lstPlaylist1.items.push_back({name, 1, {}, false});
    }
}

void renewRepeatTime(core::Console& c) {
    // One slot per item number from 1; slot 0 stays unused.
    const auto size = static_cast<std::size_t>(c.form().lstPlaylist1.listCount()) + 1;
    auto& lib = *c.library;
    lib.repeatTime.assign(size, 0);
    lib.averageSong.assign(size, 0);
    lib.lapsPerCatagory.assign(size, 0);
}

void fitRepeatTime(core::Console& c) {
    // A new category may sort in between: the figures of those after it would then stand at the
    // wrong item numbers, so they start again from 0 like the rest.
    const auto size = static_cast<std::size_t>(c.form().lstPlaylist1.listCount()) + 1;
    if (c.library->repeatTime.size() != size) {
        renewRepeatTime(c);
    }
}

void lstPlaylist1_Click(core::Console& c, int index) {
    auto& list = c.form().lstPlaylist1;
    if (index < 0 || index >= list.listCount()) {
        core::failSubscript();
    }
    list.listIndex = index;
    c.activeDirectory = categoryFolder(list.items[static_cast<std::size_t>(index)].text);
    c.activeCatagoryIndex = index + 1;
    c.form().fileList1.path = listFolder(c);
    refreshCategoryList(c, c.form().fileList1);
}

void lstPlaylists_Click(core::Console& c, int index) {
    if (c.screenMode == 2) {
        return;
    }
    try {
        auto& m = c.form();
        if (index < 0 || index >= m.lstPlaylists.listCount()) {
            core::failSubscript();
        }
        m.lstPlaylists.listIndex = index;
        c.activeDirectory =
            categoryFolder(m.lstPlaylists.items[static_cast<std::size_t>(index)].text);
        c.activeCatagoryIndex = index + 1;
        m.fileList.path = listFolder(c);
        refreshCategoryList(c, m.fileList);

        const std::int32_t seconds = figureAt(c.library->repeatTime, index + 1);
        const std::int32_t hours = seconds / 60 / 60;
        const std::int32_t minutes = seconds / 60 - hours * 60;
        const std::string repeatText = core::formatNumber(hours, "0#") + " Hours " +
                                       core::formatNumber(minutes, "0#") + " Minutes";

        const std::int32_t outs = fillSongList(c);
        m.lblListInfo.caption = std::to_string(m.fileList.listCount()) + " Tracks" +
                                " | Approxiamate Repeat Time: " + repeatText + "| outs% " +
                                std::to_string(outs);
        clearDetails(c);
    } catch (const std::exception& e) {
        core::logError(c, "Error in Playlist:" + core::describeFailure(e).description);
    }
}

namespace {

// The title read ahead for path, if the file has not been written since; else "".
std::string hintedTitle(core::Console& c, const std::string& path) {
    auto& hints = c.library->titleHints;
    if (hints.empty()) {
        return {};
    }
    const auto it = hints.find(path);
    std::error_code ec;
    if (it == hints.end() || std::filesystem::last_write_time(path, ec) != it->second.written ||
        ec) {
        return {};
    }
    return it->second.title;
}

// The tags of the cache placed by their position in its kept listing of a folder, for a fill
// that walks the list in order: what find() would give, without a search by name, for the rows
// whose name stands at the same place in that listing (a list filled from it, or listed afresh
// and kept). Used until an entry is dropped, as the placed tags' contract asks.
class PlacedTags {
  public:
    PlacedTags(TagCache* cache, const std::string& folder) : cache_(cache) {
        if (cache_) {
            tags_ = cache_->tagsByPosition(folder);
            names_ = tags_ ? cache_->placedNames(folder) : nullptr;
            drops_ = cache_->drops();
        }
    }
    // The cached tag of row `row` named `name`, or nullptr when find() must be asked.
    const CachedTag* at(std::size_t row, const std::string& name) const {
        if (!names_ || row >= names_->size() || row >= tags_->size() || cache_->drops() != drops_ ||
            (*names_)[row] != name) {
            return nullptr;
        }
        return (*tags_)[row];
    }

  private:
    TagCache* cache_;
    const std::vector<const CachedTag*>* tags_ = nullptr;
    const std::vector<std::string>* names_ = nullptr;
    std::uint64_t drops_ = 0;
};

// The track list's title of folder + name: from the tag cache while the file is the one it was
// read from (`placed` when the row stands where the cache placed it; `from` is then set to the
// cached tag), else read (and, for a file without artist and title, written) as the list reads it,
// and kept for the next fill and the picker.
std::string listTitle(core::Console& c, TagCache* cache, const CachedTag* placed,
                      const std::string& folder, const std::string& name, const std::string& path,
                      const CachedTag*& from) {
    if (cache) {
        if (const CachedTag* known = placed ? placed : cache->find(folder, name)) {
            if (const std::string* title = listTitleOf(*known)) {
                from = known;
                return *title;
            }
        }
    }
    // Whether the file may be kept is the cache's to judge (store); it needs the stat before the
    // read.
    struct stat st {};
    const bool stated = cache && ::stat(path.c_str(), &st) == 0;
    c.id3->filename(path);
    if (stated) {
        tags::clsMp3TagData data;
        c.id3->returnID3Tag(data);
        CachedTag tag = cachedTagOf(data.Artist, data.songName, data.mp3Title);
        // A file without artist and title is about to be given both.
        if (tag.listTitle != kUntitled) {
            cache->store(folder, name, st, std::move(tag));
        }
    }
    std::string title = c.id3->returnID3TitleOnly();
    tags::logTagWriteError(c, path);
    return title;
}

// The texts of the last fill, whose storage the next fill writes its own into: at 100,000 rows,
// freeing them all and allocating as many again was a tenth of a fill.
class Recycled {
  public:
    explicit Recycled(std::vector<std::string>& texts) : texts_(std::move(texts)) { texts.clear(); }
    explicit Recycled(std::vector<core::ListItem>& items) {
        texts_.reserve(items.size());
        for (auto& item : items) {
            texts_.push_back(std::move(item.text));
        }
        items.clear();
    }
    // `a` followed by `b`, in the storage of the last fill's text of row (or new storage).
    std::string take(std::size_t row, std::string_view a, std::string_view b = {}) {
        std::string out = row < texts_.size() ? std::move(texts_[row]) : std::string();
        out.assign(a);
        out.append(b);
        return out;
    }

  private:
    std::vector<std::string> texts_;
};

}  // namespace

std::int32_t fillSongList(core::Console& c) {
    auto& m = c.form();
    Recycled songs(m.lstSongs.items);
    m.lstSongs.listIndex = -1;
    Recycled builder(m.lstBuilderCatagoryList.items);
    m.lstBuilderCatagoryList.listIndex = -1;
    auto& files = c.library->trackFiles;
    Recycled paths(files);
    files.reserve(m.fileList.items.size());
    double tunedOut = 0;
    double playCount = 0;
    const std::string played = c.playedIniPath();
    m.lstSongs.items.reserve(m.fileList.items.size());
    m.lstBuilderCatagoryList.items.reserve(m.fileList.items.size());
    const std::string folder = c.AppFolder + c.activeDirectory;
    TagCache* const cache = c.library->tagCache.get();
    if (cache) {
        cache->beginWalk(folder);
    }
    const PlacedTags placed(cache, folder);
    // A row's counts come from the history memo's slot of its cached tag, read once and again
    // only after its section was written.
    HistoryMemo* const memo = cache ? &cache->history() : nullptr;
    if (memo) {
        memo->follow(*c.svc.settings, played);
    }
    for (std::size_t row = 0; row < m.fileList.items.size(); ++row) {
        const std::string& name = m.fileList.items[row].text;
        std::string path = paths.take(row, folder, name);
        std::string title = hintedTitle(c, path);
        const CachedTag* tag = nullptr;
        if (title.empty()) {
            title = listTitle(c, cache, placed.at(row, name), folder, name, path, tag);
        }
        const auto readCounts = [&] {
            return readHistory(c, played, title, kTunedOut, kPlayCount, "0");
        };
        if (tag) {
            if (tag->listSlot == kNoHistorySlot) {
                tag->listSlot = memo->slotOf(title);
            }
            const HistoryMemo::Counts& counts = memo->counts(tag->listSlot, readCounts);
            tunedOut += counts.tunedOut;
            playCount += counts.playCount;
        } else {
            const auto [tuned, plays] = readCounts();
            tunedOut += core::cLngText(tuned);
            playCount += core::cLngText(plays);
        }
        files.push_back(std::move(path));
        m.lstSongs.items.push_back({songs.take(row, title), 0, {}, false});
        m.lstBuilderCatagoryList.items.push_back({builder.take(row, title), 0, {}, false});
    }
    c.library->titleHints.clear();
    if (playCount < 1) {
        return 0;
    }
    // To one decimal first, then to the whole number: both steps take halves to even.
    const double percent = tunedOut / playCount * 100;
    return core::cLng(core::roundHalfEven(percent * 10) / 10);
}

void pickActivePlaylist(core::Console& c) {
    auto& list = c.form().lstPlaylists;
    for (int i = 0; i < list.listCount(); ++i) {
        if (list.items[static_cast<std::size_t>(i)].text == "VoiceTracks") {
            // No 100 ms pause before the selection: the encoder runs detached, so a pause
            // would not make the new file any more certain to be there.
            lstPlaylists_Click(c, i);
            list.listIndex = i;
            return;
        }
    }
}

void cmdSearch_Click(core::Console& c) {
    auto& m = c.form();
    refreshCategoryList(c, m.fileList);
    fillSongList(c);
    const std::string& search = m.txtSearch.text;
    if (search.empty()) {
        return;
    }
    bool first = true;
    for (int i = 0; i < m.lstSongs.listCount(); ++i) {
        auto& item = m.lstSongs.items[static_cast<std::size_t>(i)];
        item.selected = core::containsText(item.text, search);
        if (item.selected && first) {
            // The list shows the selection's row: this brings the first match into view.
            m.lstSongs.listIndex = i;
            first = false;
        }
    }
}

void fileList_DragDrop(core::Console& c, const std::vector<std::string>& files) {
    if (c.pickInProgress) {
        return;
    }
    try {
        for (const auto& file : files) {
            core::copyIntoFolder(file, c.AppFolder + c.activeDirectory);
        }
        core::refreshFileList(c.form().fileList);
    } catch (const std::exception& e) {
        core::logError(c, "Error in file drop: " + core::describeFailure(e).description);
    }
}

}  // namespace tw::autodj

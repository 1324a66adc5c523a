#pragma once
// The tags the picker and the track list read of each file (artist, history key, the list's
// title), kept in memory so that a pick or a fill of the list reads from the disk only the files
// that changed since their tags were last read.
//
// A change is known by the kernel's notifications (inotify) on each category folder the picker
// has walked: a file written, closed after writing, given new attributes, created, deleted or
// moved loses its entry, and the next pick reads it from the disk as if there were no cache. The
// watch on a folder is in place before any of its files is looked at, so that no change falls
// between a read and its watch. When the queue of notifications overflowed, every entry is looked
// at again at its next use by its stamp (inode, size, times of writing and of change, to the
// nanosecond); the same check admits the entries read back from the saved file, which covers what
// changed while the console was not running. A file reached through a symbolic link or with more
// than one name, whose changes through another path the folder's watch would not see, is never
// kept. Neither is a file that is missing or empty: those go to the disk at each pick, so the
// picker fails for them exactly as before.
//
// A stamp is trusted only once the file's time of change is three seconds old: a change within
// the same tick of the file system's clock would not show in it. Younger entries are neither saved
// nor kept through an overflow.
//
// The folder's sorted listing is kept as well, while its watch stands and no name was created,
// deleted or moved there (nor the queue of notifications overflowed): a file written or given new
// attributes changes no name. The folder's own inode and times of writing and change are checked
// as well (one stat a pick), which catches a name changed on another machine in a folder mounted
// over the network, within what that file system's times tell. A folder that holds a symbolic
// link is listed afresh every time.
//
// Limits: changes made on another machine to a folder mounted over the network raise no
// notification here; a file written through a memory map and kept open is seen once it is closed.
//
// The entries are saved through core::replaceFileWith in the station's "tags.cache"
// (tag_cache_file.h) at most every ten minutes after a change and at shut-down, written piece by
// piece as they are walked (a library's whole text is never held); a damaged or foreign file is
// ignored and the cache built again. The saved file is read at the first walk (the first listing
// of a category), record by record into the cache's tables, which take it only when it was whole.
//
// Beside the tags the cache keeps the picker's memo of their last plays (history_memo.h): each
// cached tag holds the memo's slots of its history key and of its artist's, so that a pick finds
// a candidate's history without a search by name. For a list filled from a kept listing, the
// cached tags are also given by position in it (tagsByPosition), so that a pick need not look a
// candidate up by its name at all.
//
// The tags of a category that no pick has walked yet are read ahead on a worker (tag_fill.h) and
// offered: an offered entry is checked by its stamp at its first use.
//
// Thread contract: console thread only (the static members: any thread). Nothing here waits: the
// notification descriptor is read without blocking; the disk work is one stat of the folder per
// pick, one stat for each entry that must be checked by its stamp, the saved file read once, and
// its write.

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "autodj/history_memo.h"
#include "autodj/tag_cache_file.h"

namespace tw::autodj {

inline constexpr std::uint32_t kNoHistorySlot = UINT32_MAX;

struct CachedTag {
    std::string artist;
    std::string mp3Title;
    // The track list's title ("artist - title" as the tag holds them) when it differs from
    // mp3Title, else empty; kUntitled for a file with neither, whose title the list reads from
    // the disk (it writes one into the file).
    std::string listTitle;
    // Where the cache's history memo (TagCache::history) keeps the last plays of mp3Title and of
    // the artist's history key, found at the tag's first pick since it was read.
    mutable std::uint32_t trackSlot = kNoHistorySlot;
    mutable std::uint32_t artistSlot = kNoHistorySlot;
    // Where the memo keeps the counts of the track list's title (its history section), found at
    // the tag's first fill of the list since it was read.
    mutable std::uint32_t listSlot = kNoHistorySlot;
};

inline constexpr std::string_view kUntitled = " - ";

// What the cache keeps of a tag read with artist, title and history key mp3Title.
CachedTag cachedTagOf(const std::string& artist, const std::string& title,
                      const std::string& mp3Title);
// The track list's title of a cached tag, or nullptr when the list must read the file.
const std::string* listTitleOf(const CachedTag& tag);

class TagCache {
  public:
    // file: the saved cache in the station folder.
    explicit TagCache(std::string file);
    ~TagCache();
    TagCache(const TagCache&) = delete;
    TagCache& operator=(const TagCache&) = delete;

    // Before a pick walks folder: reads the saved file the first time, applies the notifications
    // that came, and watches folder (again, if it was replaced since).
    void beginWalk(const std::string& folder);
    // Applies the notifications that came since the last look (after the pick let events run).
    void catchUp();
    // The tags of folder + name when the file is the one they were read from; nullptr when they
    // must be read from the disk. Valid until the next call of any other member.
    const CachedTag* find(std::string_view folder, const std::string& name);
    // The tags just read from folder + name; st is what the stat before the read gave.
    void store(std::string_view folder, const std::string& name, const struct stat& st,
               CachedTag tag);
    // The names of folder's listing kept under pattern (core::listFileNames), or nullptr when none
    // is kept: not watched, or a name was created, deleted or moved there since it was kept (or
    // the folder's times changed), or the queue of notifications overflowed. Valid until the next
    // call of any other member. Called (after beginWalk) right before the folder is listed afresh
    // when it gives nullptr.
    const std::vector<std::string>* listing(std::string_view folder, const std::string& pattern);
    // Keeps the names listed in folder under pattern since the last call of listing, when
    // folder is watched and none of its names changed meanwhile.
    void keepListing(std::string_view folder, const std::string& pattern,
                     std::vector<std::string> names);
    // For a fill of folder off the console thread (tag_fill.h): loads the saved file the first
    // time and watches folder, as beginWalk does (without making it the walk's), then gives the
    // nameHash of every name it holds an entry for, sorted; nullopt when folder cannot be
    // watched (nothing would be kept of it).
    std::optional<std::vector<std::size_t>> knownNames(const std::string& folder);
    // Whether folder (watched as knownNames watches it) has a kept listing under pattern whose
    // every name has an entry: a fill has nothing to read there.
    bool holdsWholeListing(const std::string& folder, const std::string& pattern);
    // Tags read off the console thread from folder + name: st is what an lstat before the read
    // gave, statAtNs the clock (clockNs) before that lstat. Kept, unless the name has an entry
    // already, when folder is watched and the file's stamp was old enough at the stat to show
    // any change after it; the first find checks the stamp, as for an entry of the saved file.
    // Returns whether it was kept.
    bool offer(std::string_view folder, const std::string& name, const struct stat& st,
               std::int64_t statAtNs, CachedTag tag);
    static std::size_t nameHash(std::string_view name);
    // The wall clock that stamps are compared with, in nanoseconds.
    static std::int64_t clockNs();
    // The clockNs from which a stamp taken of st can tell any later change (offer keeps it).
    static std::int64_t trustedFrom(const struct stat& st);
    // Only a plain file with one name and something in it is kept.
    static bool keepable(const struct stat& st);

    // Writes the saved file when an entry was stored since the last write and the last write is
    // at least ten minutes older than nowSeconds (any steady count of seconds), or at once when
    // nowSeconds is negative. Returns whether it wrote.
    bool save(double nowSeconds);

    // For a walk over a list just filled from the kept listing of folder (listing() served it):
    // the cached tag of each of its names by position, nullptr where find() would not give one
    // without a look at the disk; nullptr when folder has no kept listing. A pointer stays good,
    // and a tag stays the file's, while drops() stays as it is; the vector as well, until the next
    // call of beginWalk, catchUp, listing, keepListing or tagsByPosition (find and store, which a
    // walk makes for the names not placed, leave it as it is).
    const std::vector<const CachedTag*>* tagsByPosition(std::string_view folder);
    // The names of folder's kept listing that tagsByPosition's tags are placed by (the same
    // lifetime), or nullptr when it has none. Unlike listing(), it neither checks nor counts.
    const std::vector<std::string>* placedNames(std::string_view folder);
    // How often listing() served a kept listing.
    std::uint64_t listingsServed() const { return served_; }
    // How often store() kept tags read by the console thread.
    std::uint64_t stores() const { return stores_; }
    // How often find() was asked for a name.
    std::uint64_t finds() const { return finds_; }
    // How often entries were dropped or had to be checked again (a notification, a failed check,
    // an overflow, a reload).
    std::uint64_t drops() const { return drops_; }

    std::size_t size() const;
    const std::string& file() const { return file_; }

    // The history memo whose slots the cached tags hold: kept here, so that a slot is always
    // read in the memo that gave it.
    HistoryMemo& history() { return history_; }

  private:
    struct Entry {
        FileStamp stamp;
        CachedTag tag;
        bool checked = false;  // no notification, or its stamp was checked, since it was stored
    };
    struct Folder {
        int watch = -1;
        dev_t device = 0;
        ino_t inode = 0;
        std::unordered_map<std::string, Entry> entries;
        bool listed = false;  // names holds the folder's listing under listPattern
        std::string listPattern;
        std::vector<std::string> names;
        std::uint64_t nameChanges = 0;  // how often a name changed (or all may have)
        std::uint64_t askedAt = 0;      // nameChanges at the last call of listing
        FileStamp listStamp;            // the folder's inode and times when names was taken
        FileStamp askedStamp;           // and at the last call of listing
        // tagsByPosition's vector, and the cache's changes when it was made (0: never).
        std::vector<const CachedTag*> placed;
        std::uint64_t placedAt = 0;
    };

    void load();
    // beginWalk's work but for the walk's record: the folder's record when it is there (its
    // watch placed when it can be), else nullptr.
    Folder* watchFolder(const std::string& folder);
    // The folder of that name that has a watch, or nullptr; the walk's own is found first.
    Folder* watchedFolder(std::string_view folder);
    void applyEvents(const char* bytes, std::size_t size);
    // Every entry of f (of every folder) must be checked by its stamp before its next use.
    // (Its kept listing is dropped.)
    void uncheck(Folder& f, std::int64_t now);
    static void dropListing(Folder& f);
    void uncheckAll();

    std::string file_;
    int notify_ = -1;
    bool loaded_ = false;
    bool dirty_ = false;
    double lastSave_ = -1;
    std::unordered_map<std::string, Folder> folders_;
    std::unordered_map<int, std::string> watched_;  // watch descriptor -> folder
    std::string walkName_;                          // the folder of the last beginWalk
    Folder* walk_ = nullptr;                        // and its record (never erased)
    HistoryMemo history_;
    std::uint64_t changes_ = 1;  // every change of an entry (see tagsByPosition)
    std::uint64_t drops_ = 0;
    std::uint64_t served_ = 0;
    std::uint64_t finds_ = 0;
    std::uint64_t stores_ = 0;
};

}  // namespace tw::autodj

#pragma once
// The tag cache's file in the station folder: what the picker and the track list read of each
// file of the library (artist, history key, the list's title), with the file's identity when it was
// read, so that a new run reads from the disk only the files that changed since.
//
// Text, one record a line, fields separated by tabs. A tab, line break or backslash inside a field
// is written "\t", "\n", "\r", "\\". The first line names the format; a "F" line names the folder
// of the "T" lines after it; the last line ("end" and the number of "T" lines) tells a whole file
// from a cut one. A file that breaks any of this counts as absent: the cache is built again.
//
// Thread contract: pure functions, any thread; a TagCacheWriter is used by one thread at a time.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tw::autodj {

// What says that a file is still the one whose tags were read: its inode, size, and its times of
// writing and of change to the nanosecond. The change time cannot be set back by any program.
struct FileStamp {
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modifiedNs = 0;
    std::int64_t changedNs = 0;
    bool operator==(const FileStamp&) const = default;
};

struct SavedTag {
    std::string folder;  // the category's folder, as the picker names it
    std::string name;    // the file's name in it
    FileStamp stamp;
    std::string artist;
    std::string mp3Title;
    std::string listTitle;  // as CachedTag holds it
};

inline constexpr std::string_view kTagCacheHeader = "TarnWave tag cache 2";

// Writes the file's text piece by piece (in pieces of about kPiece bytes) through a sink that
// returns false when a write failed; every call after such a failure returns false at once.
// Records of one folder must stand together to be written once per folder. One writer, one file.
class TagCacheWriter {
  public:
    using Sink = std::function<bool(std::string_view)>;
    static constexpr std::size_t kPiece = 64 * 1024;

    explicit TagCacheWriter(Sink sink);
    bool add(std::string_view folder, std::string_view name, const FileStamp& stamp,
             std::string_view artist, std::string_view mp3Title, std::string_view listTitle);
    // The last line and what is still held: the file is whole only after this.
    bool finish();

  private:
    bool pass(std::size_t atLeast);

    Sink sink_;
    std::string piece_;
    std::string folder_;
    bool inFolder_ = false;
    bool failed_ = false;
    std::size_t records_ = 0;
};

// The file's text at once; records of one folder must stand together.
std::string serializeTagCache(const std::vector<SavedTag>& records);
// The records of a file's text, or nothing when the text is not a whole file of this format.
std::optional<std::vector<SavedTag>> parseTagCache(std::string_view text);
// The same, one record at a time as it is read: take gets the record's folder and the record
// (its folder field empty), and may move from it. Returns whether the text was a whole file;
// when it was not, take may have had some of its records.
using TagReader = std::function<void(const std::string& folder, SavedTag& record)>;
bool readTagCache(std::string_view text, const TagReader& take);

}  // namespace tw::autodj

#pragma once
// The settings store: every INI file of the station (appSettings.ini, played.ini,
// rotationSchedule.ini, playlists) is read and written through it.
//
// Semantics are those of the classic profile calls: sections in brackets, key=value lines, section
// and key names matched without regard to case, first match wins, blanks around names and values
// ignored, a value enclosed in a matching pair of double or single quotes read without them, a
// write replaces the first matching line or appends to its section (creating the section at the end
// of the file), a write with no value deletes the key, and reading never creates a file.
//
// Files are kept parsed in memory. A file changed on disk by anyone else is read again (outside a
// console event at the next read, inside one at the first read of the file in that event); every
// write is visible to the next read at once. Writes are gathered while a console event runs (see
// EventScope) and written when the outermost event ends, or at once when no event is open. A file
// is replaced atomically: a temporary file in the same folder is written, flushed and renamed over
// it, so that a crash never leaves half a file.
//
// Thread contract: console thread only. The store holds no lock.

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tw::core {

class SettingsStore {
  public:
    SettingsStore();
    ~SettingsStore();
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

    // The value of key in section of file, cut to maxChars characters (UTF-8 code points), or
    // def when the file, the section or the key is not there.
    std::string read(const std::string& file, std::string_view section, std::string_view key,
                     std::string_view def, std::size_t maxChars = 255);
    // Two keys of one section, as two calls of read() give them, with the file and the section
    // looked up once (the track list reads two counts for each of its rows).
    std::array<std::string, 2> read(const std::string& file, std::string_view section,
                                    std::string_view key1, std::string_view key2,
                                    std::string_view def, std::size_t maxChars = 255);

    // Sets key in section of file to value, or deletes the key when value is nullopt.
    // The value is stored as it stands, line breaks included.
    void write(const std::string& file, std::string_view section, std::string_view key,
               std::optional<std::string_view> value);

    // For a reader that keeps what it read of a file (the picker's history memo): the serial of
    // the file's document as it stands now (looked at on the disk as read() does), and the
    // sections written since an earlier serial, by their lookup names
    // (IniDocument::lookupName). `all` says that anything may have changed: the serial is 0 (none
    // taken yet), the document was read again from the disk since, or more writes came between
    // than the store remembers.
    struct SectionChanges {
        std::uint64_t serial = 0;
        bool all = true;
        std::vector<std::string> sections;
    };
    SectionChanges changesSince(const std::string& file, std::uint64_t serial);

    // Gathering of writes for the length of one console event. Nested calls count; the outermost
    // end writes every changed file.
    void beginEvent();
    void endEvent();

    // Writes every changed file now. Failures leave the file on disk as it was.
    void flush();

    // Files whose name (without folder, compared without regard to case) is name hold secrets:
    // the store writes them readable and writable by their owner only (mode 0600), whatever mode
    // they had before, and from the first byte on.
    void addPrivateFileName(std::string name);

    // Forgets every cached file (the next read goes to disk). Unwritten changes are flushed first.
    void dropCache();

    // Called with the file's path and the system's error when a file cannot be written (the
    // change is dropped as before); an empty function stops the calls.
    void onWriteFailure(std::function<void(const std::string& path, int err)> handler);

    // Called with the file's path and its former permission bits when a write of a private file
    // took away the rights its group or others had on it; an empty function stops the calls.
    void onMadePrivate(std::function<void(const std::string& path, mode_t oldMode)> handler);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// Opens an event on the store for the life of the scope.
class EventScope {
  public:
    explicit EventScope(SettingsStore& store) : store_(store) { store_.beginEvent(); }
    ~EventScope() { store_.endEvent(); }
    EventScope(const EventScope&) = delete;
    EventScope& operator=(const EventScope&) = delete;

  private:
    SettingsStore& store_;
};

}  // namespace tw::core

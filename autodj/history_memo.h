#pragma once
// The last plays (LastPlayed of played.ini) that the picker has read, kept by section, so that a
// pick over 100,000 tracks looks up each track's and artist's history in an array instead of
// searching the settings document twice for every candidate and reading the date again.
//
// A kept value is what reading the section's LastPlayed through the settings store gave, parsed:
// no date ("none", the picker's default), or the date. A value that is no date is never kept (the
// picker fails on it each time, as it does reading). The memo follows the store's record of
// writes (SettingsStore::changesSince): a section written since it was read is read again, and
// everything is read again when the store cannot tell what changed (played.ini read again from
// the disk, changed by someone else, or another file).
//
// Sections are numbered (slots) by their lookup names in the order first met; a slot is never
// reused, so that a number kept beside a cached tag stays good for the memo's whole life.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/dates.h"
#include "core/settings_store.h"

namespace tw::autodj {

class HistoryMemo {
  public:
    enum class Kind : std::uint8_t { kUnread, kNone, kDate };
    struct LastPlayed {
        Kind kind = Kind::kUnread;
        core::DateValue date = 0;
    };

    // Forgets the values of the sections of file written since the last call; all of them for a
    // file other than the last one's, or when the store cannot tell.
    void follow(core::SettingsStore& store, const std::string& file);

    // The slot of a section, by any spelling that finds it (added when new).
    std::uint32_t slotOf(std::string_view section);

    // The value of a slot; readText gives the section's LastPlayed as the settings store reads
    // it, with "none" where there is none, when the memo does not hold it. A text that is no
    // date throws as core::cDate does, and is not kept.
    template <typename ReadText>
    const LastPlayed& lastPlayed(std::uint32_t slot, ReadText readText) {
        LastPlayed& value = values_[slot];
        if (value.kind == Kind::kUnread) {
            const std::string text = readText();
            value = text == "none" ? LastPlayed{Kind::kNone, 0}
                                   : LastPlayed{Kind::kDate, core::cDate(text)};
        }
        return value;
    }

    std::size_t size() const { return values_.size(); }
    std::size_t known() const;

  private:
    std::string file_;
    std::uint64_t serial_ = 0;
    std::unordered_map<std::string, std::uint32_t> slots_;
    std::vector<LastPlayed> values_;
};

}  // namespace tw::autodj

#pragma once
// The last plays (LastPlayed of played.ini) that the picker has read, kept by section, so that a
// pick over 100,000 tracks looks up each track's and artist's history in an array instead of
// searching the settings document twice for every candidate and reading the date again; and the
// counts (TunedOut, PlayCount) that the track list has read, for the same reason at every fill.
//
// A kept value is what reading the section's LastPlayed through the settings store gave, parsed:
// no date ("none", the picker's default), or the date. A value that is no date is never kept (the
// picker fails on it each time, as it does reading); nor are counts that are no numbers. The memo
// follows the store's record of writes (SettingsStore::changesSince): a section written since it
// was read is read again, and everything is read again when the store cannot tell what changed
// (played.ini read again from the disk, changed by someone else, or another file).
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
#include "core/text.h"

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

    // A track's two counts as the track list adds them up (TunedOut and PlayCount through
    // core::cLngText, "0" where there is none). readTexts gives both texts as the settings store
    // reads them when the memo does not hold them; a text that is no number throws as cLngText
    // does, and is not kept.
    struct Counts {
        bool known = false;
        std::int32_t tunedOut = 0;
        std::int32_t playCount = 0;
    };
    template <typename ReadTexts>
    const Counts& counts(std::uint32_t slot, ReadTexts readTexts) {
        Counts& value = counts_[slot];
        if (!value.known) {
            const auto [tunedOut, playCount] = readTexts();
            const std::int32_t tuned = core::cLngText(tunedOut);
            value = {true, tuned, core::cLngText(playCount)};
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
    std::vector<Counts> counts_;  // beside values_, slot by slot
};

}  // namespace tw::autodj

#include "autodj/history_memo.h"

#include <algorithm>

#include "core/ini_document.h"

namespace tw::autodj {

void HistoryMemo::follow(core::SettingsStore& store, const std::string& file) {
    if (file != file_) {
        file_ = file;
        serial_ = 0;
    }
    core::SettingsStore::SectionChanges changes = store.changesSince(file_, serial_);
    if (changes.all) {
        std::fill(values_.begin(), values_.end(), LastPlayed{});
        std::fill(counts_.begin(), counts_.end(), Counts{});
    } else {
        for (const std::string& section : changes.sections) {
            const auto it = slots_.find(section);
            if (it != slots_.end()) {
                values_[it->second] = {};
                counts_[it->second] = {};
            }
        }
    }
    serial_ = changes.serial;
}

std::uint32_t HistoryMemo::slotOf(std::string_view section) {
    const auto [it, added] = slots_.try_emplace(core::IniDocument::lookupName(section),
                                                static_cast<std::uint32_t>(values_.size()));
    if (added) {
        values_.emplace_back();
        counts_.emplace_back();
    }
    return it->second;
}

std::size_t HistoryMemo::known() const {
    return static_cast<std::size_t>(
        std::count_if(values_.begin(), values_.end(),
                      [](const LastPlayed& v) { return v.kind != Kind::kUnread; }));
}

}  // namespace tw::autodj

#include "tags/multi_frame_data.h"

#include <algorithm>

#include "core/text.h"

namespace tw::tags {

std::string MultiFrameData::Item(int index) const {
    if (index < 1 || index > Count()) {
        return {};
    }
    return items_[static_cast<std::size_t>(index - 1)];
}

void MultiFrameData::Item(int index, const std::string& text) {
    if (index < 1 || index > Count()) {
        return;
    }
    items_[static_cast<std::size_t>(index - 1)] = text;
    keys_[static_cast<std::size_t>(index - 1)] = "I_" + text;
}

void MultiFrameData::Add(const std::string& text, std::optional<int> Before,
                         std::optional<int> After, bool AllowDuplicates) {
    std::string key;
    if (AllowDuplicates) {
        key = "I_" + text;
    } else {
        std::string cut = text.substr(0, text.find('\0'));
        key = core::trim(cut) == "I_" ? "True" : "False";
    }
    if (std::find(keys_.begin(), keys_.end(), key) != keys_.end()) {
        return;
    }
    std::size_t at = items_.size();
    if (Before) {
        at = *Before < 1 ? 0 : std::min<std::size_t>(static_cast<std::size_t>(*Before - 1), at);
    } else if (After) {
        at = *After < 1 ? 0 : std::min<std::size_t>(static_cast<std::size_t>(*After), at);
    }
    items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(at), text);
    keys_.insert(keys_.begin() + static_cast<std::ptrdiff_t>(at), key);
}

void MultiFrameData::Remove(int index) {
    if (index < 1 || index > Count()) {
        return;
    }
    items_.erase(items_.begin() + (index - 1));
    keys_.erase(keys_.begin() + (index - 1));
}

void MultiFrameData::Clear() {
    items_.clear();
    keys_.clear();
}

}  // namespace tw::tags

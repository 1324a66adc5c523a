#pragma once
// The keyed list behind the tag object's multi-value fields (pictures, artist and commercial
// links). The key an item is filed under decides what counts as a repeat: see Add.

#include <optional>
#include <string>
#include <vector>

namespace tw::tags {

class MultiFrameData {
  public:
    int Count() const { return static_cast<int>(items_.size()); }
    // 1-based; an index outside the list gives an empty text.
    std::string Item(int index) const;
    // Replaces the item at index in place; an index outside the list changes nothing.
    void Item(int index, const std::string& text);
    // Files the text under its key and ignores the call when that key is taken. With
    // AllowDuplicates the key is the text itself, so only an identical text is refused. Without
    // it the key is only whether the text reads "I_", so every second item is refused: a file's
    // first artist or commercial link is the one that counts.
    void Add(const std::string& text, std::optional<int> Before = std::nullopt,
             std::optional<int> After = std::nullopt, bool AllowDuplicates = false);
    void Remove(int index);
    void Clear();

  private:
    std::vector<std::string> items_;
    std::vector<std::string> keys_;
};

}  // namespace tw::tags

#pragma once
// What the console keeps about its library between operations: the per-category figures, the
// paths behind the rows of lstSongs, and the picker's generator.
//
// Thread contract: console thread only.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "autodj/pick_random.h"
#include "core/surface.h"

namespace tw::autodj {

class TagCache;
struct TagFill;

struct LibraryState {
    // Indexed by the category's item number from 1; element 0 is unused. renewRepeatTime sizes
    // them to the number of categories.
    std::vector<std::int32_t> averageSong;
    std::vector<std::int32_t> lapsPerCatagory;
    std::vector<std::int32_t> repeatTime;
    // Full paths of the files on lstSongs, in list order.
    std::vector<std::string> trackFiles;
    PickRandom random;
    // Titles read ahead off the console thread (by the import) for the next fill of the track
    // list, each with the file's time of writing when it was read: a file written since is read
    // again. The fill uses them once.
    struct TitleHint {
        std::string title;
        std::filesystem::file_time_type written;
    };
    std::unordered_map<std::string, TitleHint> titleHints;
    // The tags the picker reads, kept between picks (tag_cache.h); without it every pick reads
    // every tag from the disk.
    std::shared_ptr<TagCache> tagCache;
    // The fill of tagCache on its worker (tag_fill.h); made at its first start.
    std::shared_ptr<TagFill> tagFill;
};

// The full path behind the first row of a track list (lstSongs, lstBuilderCatagoryList: both
// show the files of trackFiles) whose text is rowText; empty when there is none. A dragged row
// carries only its text.
inline std::string trackPathOfRow(const LibraryState& s, const core::Element& list,
                                  std::string_view rowText) {
    for (std::size_t i = 0; i < list.items.size() && i < s.trackFiles.size(); ++i) {
        if (list.items[i].text == rowText) {
            return s.trackFiles[i];
        }
    }
    return {};
}

}  // namespace tw::autodj

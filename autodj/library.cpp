#include "autodj/library.h"

#include "core/console_ops.h"
#include "core/paths.h"

namespace tw::autodj {

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
    // The library's figures come with the library averaging pass.
    (void)c;
}

}  // namespace tw::autodj

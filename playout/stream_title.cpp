#include "playout/stream_title.h"

#include "broadcast/cast_session.h"
#include "core/console_ops.h"
#include "media/stream_address.h"

namespace tw::playout {

void showStreamTitle(core::Console& c) {
    if (c.activePlayer != 1 && c.activePlayer != 2) {
        return;
    }
    const bool second = c.activePlayer == 2;
    if (!media::isStreamAddress(second ? c.nextSong2 : c.nextSong1)) {
        return;
    }
    const std::string title = c.engine().streamGetTitle(second ? c.player2Stream : c.player1Stream);
    if (title.empty() || title == c.currentTitle) {
        return;
    }
    c.currentTitle = title;
    auto& m = c.form();
    core::printOnButton(second ? m.lblPlayer2 : m.lblplayer1, core::ImageRole::Blue, title);
    broadcast::sendTitle(c, title);
}

}  // namespace tw::playout

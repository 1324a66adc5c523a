#include "station/console_assembly.h"

#include "autodj/library_state.h"
#include "autodj/tag_cache.h"
#include "broadcast/cast_state.h"
#include "desk/cast_layout.h"
#include "desk/console_layout.h"
#include "media/waveform_cache.h"
#include "station/tick_calls.h"
#include "tags/id3_tag.h"

namespace tw::station {

std::unique_ptr<core::Console> makeConsole(std::string appFolder, core::Services services) {
    auto c = std::make_unique<core::Console>(std::move(appFolder), services);
    c->id3 = std::make_shared<tags::clsID3>();
    c->library = std::make_shared<autodj::LibraryState>();
    c->library->tagCache = std::make_shared<autodj::TagCache>(c->AppFolder + "/tags.cache");
    c->cast = std::make_shared<broadcast::CastState>();
    if (services.loop) {
        // One column per pixel of the details panel's picture at twice its design width.
        c->waveforms = std::make_shared<media::WaveformCache>(*services.loop, 500);
    }
    c->tickCalls = makeConsoleTickCalls(*c);
    desk::applyDesignLayout(*c);
    desk::applyCastLayout(*c);
    return c;
}

}  // namespace tw::station

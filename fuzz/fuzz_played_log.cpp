// Played.log is appended by the console, but by the time the now-playing snapshot reads its tail
// it may hold anything: lines from an older version, a hand edit, bytes of another file. The
// reader must only ever give whole starts with a date, never more than asked, and the same
// starts for the text whether or not more lines come before it.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "web/played_log.h"

using tw::fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto starts = tw::web::lastStarts(text, 20);
    check(starts.size() <= 20);
    for (const auto& s : starts) {
        check(s.artist.size() + s.title.size() <= size);
        check(s.artist.find('\n') == std::string::npos && s.title.find('\n') == std::string::npos);
    }
    // Whole lines put before the text change nothing of its last starts.
    const std::string longer = "Earlier - Line,11/22/2026 10:00:00 AM\n" + std::string(text);
    const auto again = tw::web::lastStarts(longer, starts.size());
    check(again.size() == starts.size());
    for (std::size_t i = 0; i < starts.size(); ++i) {
        check(again[i].title == starts[i].title && again[i].artist == starts[i].artist &&
              again[i].started == starts[i].started);
    }
    return 0;
}

#pragma once
// The status page the service answers "/" with: what is on the air, the next item, the last
// starts, the listeners, the on-air light and the mode, kept live from /api/events. The page is
// our own HTML, style sheet and script (web/page/), built into the program; it loads nothing
// from anywhere else, which its security policy holds it to.
//
// Thread contract: constants and a pure lookup, from any thread.

#include <optional>
#include <string_view>

namespace tw::web {

struct PageFile {
    const char* contentType;  // with its charset, as the Content-Type header says it
    std::string_view body;
};

// The page's file at a request path ("/", "/status.css", "/status.js", "/favicon.svg"); nothing
// for any other.
std::optional<PageFile> pageFileAt(std::string_view path);

// The Content-Security-Policy every file of the page goes with: scripts, styles and connections
// to this service only, no inline script or style, no plug-ins, no framing by another site.
inline constexpr const char* kPageSecurityPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
    "img-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

}  // namespace tw::web

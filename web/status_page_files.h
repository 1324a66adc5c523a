#pragma once
// The status page's files (web/page/) as the program carries them: the build writes their bytes
// into a source of its own (web/embed_files.cmake), so that the console serves the page it was
// built with and needs no folder beside it.
//
// Thread contract: constants, read from any thread.

#include <string_view>

namespace tw::web::page_files {

extern const std::string_view kHtml;
extern const std::string_view kCss;
extern const std::string_view kJs;
extern const std::string_view kIcon;

}  // namespace tw::web::page_files

#include "web/status_page.h"

#include "web/status_page_files.h"

namespace tw::web {

std::optional<PageFile> pageFileAt(std::string_view path) {
    if (path == "/") {
        return PageFile{"text/html; charset=utf-8", page_files::kHtml};
    }
    if (path == "/status.css") {
        return PageFile{"text/css; charset=utf-8", page_files::kCss};
    }
    if (path == "/status.js") {
        return PageFile{"text/javascript; charset=utf-8", page_files::kJs};
    }
    if (path == "/favicon.svg") {
        return PageFile{"image/svg+xml", page_files::kIcon};
    }
    return std::nullopt;
}

}  // namespace tw::web

#include "web/control_request.h"

#include <cstdint>

namespace tw::web {

namespace {

std::string_view trimmed(std::string_view s) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!s.empty() && blank(s.front())) {
        s.remove_prefix(1);
    }
    while (!s.empty() && blank(s.back())) {
        s.remove_suffix(1);
    }
    return s;
}

}  // namespace

bool isControlPath(std::string_view path) {
    return path == "/api/next" || path == "/api/mode" || path == "/api/message";
}

bool isUtf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto b = static_cast<unsigned char>(text[i]);
        std::size_t n = 0;
        std::uint32_t cp = 0;
        if (b < 0x80) {
            ++i;
            continue;
        } else if (b >= 0xC2 && b <= 0xDF) {
            n = 1;
            cp = b & 0x1Fu;
        } else if (b >= 0xE0 && b <= 0xEF) {
            n = 2;
            cp = b & 0x0Fu;
        } else if (b >= 0xF0 && b <= 0xF4) {
            n = 3;
            cp = b & 0x07u;
        } else {
            return false;
        }
        if (text.size() - i <= n) {
            return false;
        }
        for (std::size_t k = 1; k <= n; ++k) {
            const auto c = static_cast<unsigned char>(text[i + k]);
            if ((c & 0xC0u) != 0x80u) {
                return false;
            }
            cp = (cp << 6) | (c & 0x3Fu);
        }
        if ((n == 2 && cp < 0x800) || (n == 3 && cp < 0x10000) || cp > 0x10FFFF ||
            (cp >= 0xD800 && cp <= 0xDFFF)) {
            return false;
        }
        i += n + 1;
    }
    return true;
}

std::optional<ControlRequest> parseControl(std::string_view path, std::string_view body) {
    if (path == "/api/next") {
        return ControlRequest{ControlKind::Next, {}};
    }
    if (path == "/api/mode") {
        const std::string_view mode = trimmed(body);
        if (mode == "auto" || mode == "manual") {
            return ControlRequest{ControlKind::Mode, std::string(mode)};
        }
        return std::nullopt;
    }
    if (path == "/api/message") {
        const std::string_view text = trimmed(body);
        if (text.empty() || !isUtf8(text)) {
            return std::nullopt;
        }
        // The text goes into the servers' stream titles, where a line break or a control
        // character would end or garble the title.
        for (const char c : text) {
            const auto u = static_cast<unsigned char>(c);
            if (u < 0x20 || u == 0x7F) {
                return std::nullopt;
            }
        }
        return ControlRequest{ControlKind::Message, std::string(text)};
    }
    return std::nullopt;
}

bool bearerMatches(std::string_view authorization, std::string_view token) {
    constexpr std::string_view kScheme = "Bearer ";
    if (token.empty() || authorization.size() < kScheme.size() ||
        authorization.substr(0, kScheme.size()) != kScheme) {
        return false;
    }
    const std::string_view given = authorization.substr(kScheme.size());
    // Every byte of what was given is compared, against the token repeated as needed, and the
    // lengths are folded into the same difference: no early way out.
    unsigned diff = given.size() == token.size() ? 0u : 1u;
    for (std::size_t i = 0; i < given.size(); ++i) {
        diff |= static_cast<unsigned>(static_cast<unsigned char>(given[i]) ^
                                      static_cast<unsigned char>(token[i % token.size()]));
    }
    volatile unsigned result = diff;
    return result == 0;
}

}  // namespace tw::web

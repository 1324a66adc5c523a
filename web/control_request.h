#pragma once
// What a control request of the web service asks the console to do, read from its path and
// body. The body is the operator's word from outside the studio: it is checked here, whole,
// before anything reaches the console.
//
// Thread contract: any thread.

#include <optional>
#include <string>
#include <string_view>

namespace tw::web {

enum class ControlKind { Next, Mode, Message };

struct ControlRequest {
    ControlKind kind = ControlKind::Next;
    // Mode: "auto" or "manual"; Message: the text for encoder 1; Next: empty.
    std::string value;
};

// The request of a POST to `path` with `body`; nothing when the path is no control path, the
// mode is neither "auto" nor "manual" (blanks around it allowed), or the message is empty, not
// UTF-8, or holds control characters.
std::optional<ControlRequest> parseControl(std::string_view path, std::string_view body);

// True for one of the paths parseControl knows.
bool isControlPath(std::string_view path);

// A text that is well-formed UTF-8 (no overlong forms, no surrogates, nothing past U+10FFFF).
bool isUtf8(std::string_view text);

// The credentials of an Authorization header against the token, in time that depends on the
// header's length only, never on how much of the token it got right.
bool bearerMatches(std::string_view authorization, std::string_view token);

}  // namespace tw::web

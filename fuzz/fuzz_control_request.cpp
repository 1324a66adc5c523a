// A control request's body and Authorization header come from anyone who can reach the port.
// Whatever they hold, the reader must give only a mode of "auto" or "manual", or a message that
// is non-empty UTF-8 without control characters; and a header that is not exactly the token
// after "Bearer " must never match.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "web/control_request.h"

using tw::fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const char* path : {"/api/next", "/api/mode", "/api/message", "/api/other"}) {
        const auto request = tw::web::parseControl(path, text);
        if (!request) {
            continue;
        }
        if (request->kind == tw::web::ControlKind::Mode) {
            check(request->value == "auto" || request->value == "manual");
        } else if (request->kind == tw::web::ControlKind::Message) {
            check(!request->value.empty() && tw::web::isUtf8(request->value));
            for (const char c : request->value) {
                check(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F);
            }
        }
    }
    const std::string token = "fuzz-token";
    const bool matches = tw::web::bearerMatches(text, token);
    check(matches == (text == "Bearer " + token));
    return 0;
}

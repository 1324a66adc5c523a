// What servers send back to a source, and the server texts of the profiles: none may crash, hang
// or read out of bounds, and the text conversions must give valid results whatever comes in.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "audio/cast_protocol.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    using namespace tw::audio;
    for (CastProtocol p : {CastProtocol::Icecast2, CastProtocol::Icecast1, CastProtocol::Shoutcast1,
                           CastProtocol::Shoutcast2}) {
        readSourceAnswer(p, text);
    }
    CastTarget target;
    if (parseServerText(text, target)) {
        if (target.host.empty() || target.port < 1 || target.port > 65535) {
            __builtin_trap();
        }
        StationInfo info{
            std::string(text), "audio/mpeg", std::string(text), "", "", "", 128, false};
        const std::string hello = sourceHandshake(target, info) + shoutcastHeaders(info);
        // No station text may break a header line: every line ends with CR LF.
        for (std::size_t i = 0; i < hello.size(); ++i) {
            if (hello[i] == '\n' && (i == 0 || hello[i - 1] != '\r')) {
                __builtin_trap();
            }
        }
    }
    // Latin-1 out of anything is one byte per character; UTF-8 out of anything reads back.
    const std::string utf8 = asUtf8(text);
    if (asUtf8(utf8) != utf8) {
        __builtin_trap();
    }
    asLatin1(text);
    urlEncode(text);
    base64(text);
    return 0;
}

#pragma once
// The source protocols by which an encoder's stream reaches a server, and the reading of the
// servers' answers. The text of the handshakes is built and read here; the sockets are elsewhere.
//
// Thread contract: pure functions, any thread.

#include <cstdint>
#include <string>
#include <string_view>

namespace tw::audio {

enum class CastProtocol {
    Icecast2,    // HTTP PUT to the mount, basic authentication as "source"
    Icecast1,    // "SOURCE password /mount" with x-audiocast headers
    Shoutcast1,  // password line to port + 1, "OK2", icy- headers (also Live 365)
    Shoutcast2,  // the same in its legacy form, password "password:#sid"
};

// Where a server text points: "host:port/mount" (Icecast), "host:port,sid" (Shoutcast 2),
// "host:port" (Shoutcast 1). A missing port is 8000.
struct CastTarget {
    std::string host;
    int port = 8000;
    std::string mount;  // with its leading "/", Icecast only
    std::string sid;    // Shoutcast 2 only
    CastProtocol protocol = CastProtocol::Shoutcast1;
};

// False when the text names no host or its port is no number from 1 to 65535.
bool parseServerText(std::string_view server, CastTarget& target);

// What the source announces about the station.
struct StationInfo {
    std::string password;
    std::string contentType;
    std::string name, url, genre, description;
    std::uint32_t kbps = 0;
    bool isPublic = false;
};

// The port the source connects to: Shoutcast takes its sources on the port above its listeners'.
int sourcePort(const CastTarget& target);
// The bytes the source sends first. Line breaks in the station's texts are dropped, so that no
// text can add a header of its own; everything else goes as it stands.
std::string sourceHandshake(const CastTarget& target, const StationInfo& info);
// For Shoutcast, the headers that follow the server's "OK2".
std::string shoutcastHeaders(const StationInfo& info);

enum class SourceAnswer { NeedMore, Accepted, Refused };
// Reads the server's answer to the handshake as far as it has come.
SourceAnswer readSourceAnswer(CastProtocol protocol, std::string_view answer);

// What a server said when it refused a source: the HTTP status (0 in the older protocols) and
// its own words on one line (the body, else the status line's reason; the answer line in the
// older protocols), without control characters and at most 200 bytes long.
struct ServerRefusal {
    int status = 0;
    std::string text;
};
ServerRefusal readRefusal(std::string_view answer);

// RFC 4648 base64.
std::string base64(std::string_view bytes);
// Percent-encoding of everything but unreserved characters, for a query value.
std::string urlEncode(std::string_view text);
// Text that is not valid UTF-8 is taken as Latin-1 and given as UTF-8.
std::string asUtf8(std::string_view text);
// UTF-8 to Latin-1 where a character fits, "?" where it does not; text that is not valid UTF-8
// is taken to be Latin-1 already.
std::string asLatin1(std::string_view text);

}  // namespace tw::audio

#include "audio/cast_protocol.h"

#include <algorithm>
#include <cctype>

namespace tw::audio {

namespace {

bool allDigits(std::string_view s) {
    return !s.empty() &&
           std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

// A password goes byte for byte as the operator typed it (the server compares bytes); only a
// line break, which would end it, is dropped.
std::string bareLine(std::string_view text) {
    std::string out;
    for (char c : text) {
        if (c != '\r' && c != '\n') {
            out += c;
        }
    }
    return out;
}

// A station text for a header: servers read headers as Latin-1, and a line break would end it.
std::string oneLine(std::string_view text) {
    return bareLine(asLatin1(text));
}

// Decodes one UTF-8 sequence at s[i]; -1 when it is not valid UTF-8.
long nextCodePoint(std::string_view s, std::size_t& i) {
    const auto b = static_cast<unsigned char>(s[i]);
    int extra;
    long cp;
    if (b < 0x80) {
        ++i;
        return b;
    } else if ((b & 0xE0) == 0xC0 && b >= 0xC2) {
        extra = 1;
        cp = b & 0x1F;
    } else if ((b & 0xF0) == 0xE0) {
        extra = 2;
        cp = b & 0x0F;
    } else if ((b & 0xF8) == 0xF0 && b <= 0xF4) {
        extra = 3;
        cp = b & 0x07;
    } else {
        return -1;
    }
    if (i + static_cast<std::size_t>(extra) >= s.size()) {
        return -1;  // cut off
    }
    for (int k = 1; k <= extra; ++k) {
        const auto c = static_cast<unsigned char>(s[i + static_cast<std::size_t>(k)]);
        if ((c & 0xC0) != 0x80) {
            return -1;
        }
        cp = (cp << 6) | (c & 0x3F);
    }
    i += static_cast<std::size_t>(extra) + 1;
    return cp;
}

bool validUtf8(std::string_view s) {
    for (std::size_t i = 0; i < s.size();) {
        if (nextCodePoint(s, i) < 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool parseServerText(std::string_view server, CastTarget& target) {
    target = {};
    std::string_view rest = server;
    while (!rest.empty() && rest.front() == ' ') {
        rest.remove_prefix(1);
    }
    for (std::string_view scheme : {"http://", "icy://"}) {
        if (rest.substr(0, scheme.size()) == scheme) {
            rest.remove_prefix(scheme.size());
        }
    }
    std::string_view hostPort = rest;
    if (auto slash = rest.find('/'); slash != std::string_view::npos) {
        hostPort = rest.substr(0, slash);
        target.mount = std::string(rest.substr(slash));
        target.protocol = CastProtocol::Icecast2;
    } else if (auto comma = rest.find(','); comma != std::string_view::npos) {
        hostPort = rest.substr(0, comma);
        target.sid = std::string(rest.substr(comma + 1));
        target.protocol = CastProtocol::Shoutcast2;
    }
    std::string_view host = hostPort;
    if (auto colon = hostPort.rfind(':'); colon != std::string_view::npos) {
        host = hostPort.substr(0, colon);
        const std::string_view port = hostPort.substr(colon + 1);
        if (!allDigits(port) || port.size() > 5) {
            return false;
        }
        target.port = std::stoi(std::string(port));
        if (target.port < 1 || target.port > 65535) {
            return false;
        }
    }
    // A host name is printable ASCII without blanks: nothing of it can break a request line.
    if (host.empty() || !std::all_of(host.begin(), host.end(),
                                     [](unsigned char c) { return c > 0x20 && c < 0x7F; })) {
        return false;
    }
    target.host = std::string(host);
    return true;
}

int sourcePort(const CastTarget& target) {
    const bool shoutcast =
        target.protocol == CastProtocol::Shoutcast1 || target.protocol == CastProtocol::Shoutcast2;
    return shoutcast ? target.port + 1 : target.port;
}

std::string sourceHandshake(const CastTarget& target, const StationInfo& info) {
    const std::string br = std::to_string(info.kbps);
    switch (target.protocol) {
        case CastProtocol::Icecast2:
            return "PUT " + oneLine(target.mount) + " HTTP/1.1\r\n" + "Host: " + target.host + ":" +
                   std::to_string(target.port) + "\r\n" + "Authorization: Basic " +
                   base64("source:" + info.password) + "\r\n" + "User-Agent: TarnWave\r\n" +
                   "Content-Type: " + oneLine(info.contentType) + "\r\n" +
                   "Ice-Public: " + (info.isPublic ? "1" : "0") + "\r\n" +
                   "Ice-Name: " + oneLine(info.name) + "\r\n" +
                   "Ice-Description: " + oneLine(info.description) + "\r\n" +
                   "Ice-URL: " + oneLine(info.url) + "\r\n" + "Ice-Genre: " + oneLine(info.genre) +
                   "\r\n" + "Ice-Audio-Info: bitrate=" + br + "\r\n\r\n";
        case CastProtocol::Icecast1:
            return "SOURCE " + bareLine(info.password) + " " + oneLine(target.mount) + "\r\n" +
                   "Content-Type: " + oneLine(info.contentType) + "\r\n" +
                   "x-audiocast-name: " + oneLine(info.name) + "\r\n" +
                   "x-audiocast-url: " + oneLine(info.url) + "\r\n" +
                   "x-audiocast-genre: " + oneLine(info.genre) + "\r\n" +
                   "x-audiocast-description: " + oneLine(info.description) + "\r\n" +
                   "x-audiocast-bitrate: " + br + "\r\n" +
                   "x-audiocast-public: " + (info.isPublic ? "1" : "0") + "\r\n\r\n";
        case CastProtocol::Shoutcast2:
            return bareLine(info.password) + ":#" + oneLine(target.sid) + "\r\n";
        case CastProtocol::Shoutcast1:
            break;
    }
    return bareLine(info.password) + "\r\n";
}

std::string shoutcastHeaders(const StationInfo& info) {
    return "content-type:" + oneLine(info.contentType) + "\r\n" + "icy-name:" + oneLine(info.name) +
           "\r\n" + "icy-genre:" + oneLine(info.genre) + "\r\n" + "icy-url:" + oneLine(info.url) +
           "\r\n" + "icy-pub:" + (info.isPublic ? "1" : "0") + "\r\n" +
           "icy-br:" + std::to_string(info.kbps) + "\r\n" +
           "icy-description:" + oneLine(info.description) + "\r\n\r\n";
}

SourceAnswer readSourceAnswer(CastProtocol protocol, std::string_view answer) {
    const auto lineEnd = answer.find('\n');
    if (lineEnd == std::string_view::npos) {
        // A whole line has not come yet, unless it is already too long to be an answer.
        return answer.size() > 4096 ? SourceAnswer::Refused : SourceAnswer::NeedMore;
    }
    std::string_view line = answer.substr(0, lineEnd);
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    switch (protocol) {
        case CastProtocol::Icecast2: {
            // "HTTP/1.x 200 ..." (or 100 Continue) accepts; anything else refuses.
            if (line.substr(0, 5) != "HTTP/") {
                return SourceAnswer::Refused;
            }
            const auto space = line.find(' ');
            if (space == std::string_view::npos) {
                return SourceAnswer::Refused;
            }
            const std::string_view code = line.substr(space + 1, 3);
            return code == "200" || code == "100" ? SourceAnswer::Accepted : SourceAnswer::Refused;
        }
        case CastProtocol::Icecast1:
            return line.substr(0, 2) == "OK" ? SourceAnswer::Accepted : SourceAnswer::Refused;
        case CastProtocol::Shoutcast1:
        case CastProtocol::Shoutcast2:
            break;
    }
    return line.substr(0, 3) == "OK2" ? SourceAnswer::Accepted : SourceAnswer::Refused;
}

ServerRefusal readRefusal(std::string_view answer) {
    ServerRefusal refusal;
    const auto oneLineOf = [](std::string_view text) {
        std::string out;
        for (char c : text) {
            if (c == '\r' || c == '\n') {
                if (!out.empty()) {
                    break;
                }
                continue;
            }
            if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F && out.size() < 200) {
                out += c;
            }
        }
        while (!out.empty() && out.back() == ' ') {
            out.pop_back();
        }
        return out;
    };
    if (answer.substr(0, 5) == "HTTP/") {
        const auto lineEnd = answer.find('\n');
        const std::string_view line = answer.substr(0, lineEnd);
        const auto space = line.find(' ');
        if (space != std::string_view::npos && line.size() >= space + 4 &&
            allDigits(line.substr(space + 1, 3))) {
            refusal.status = std::stoi(std::string(line.substr(space + 1, 3)));
        }
        const auto bodyAt = answer.find("\r\n\r\n");
        if (bodyAt != std::string_view::npos) {
            refusal.text = oneLineOf(answer.substr(bodyAt + 4));
        }
        if (refusal.text.empty() && space != std::string_view::npos && line.size() > space + 5) {
            refusal.text = oneLineOf(line.substr(space + 5));
        }
        return refusal;
    }
    refusal.text = oneLineOf(answer);
    return refusal;
}

std::string base64(std::string_view bytes) {
    static constexpr char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    std::size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const std::uint32_t v = (static_cast<unsigned char>(bytes[i]) << 16) |
                                (static_cast<unsigned char>(bytes[i + 1]) << 8) |
                                static_cast<unsigned char>(bytes[i + 2]);
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += kAlphabet[(v >> 6) & 63];
        out += kAlphabet[v & 63];
    }
    if (i < bytes.size()) {
        std::uint32_t v = static_cast<unsigned char>(bytes[i]) << 16;
        if (i + 1 < bytes.size()) {
            v |= static_cast<unsigned char>(bytes[i + 1]) << 8;
        }
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += i + 1 < bytes.size() ? kAlphabet[(v >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

std::string urlEncode(std::string_view text) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

std::string asUtf8(std::string_view text) {
    if (validUtf8(text)) {
        return std::string(text);
    }
    std::string out;
    for (unsigned char c : text) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::string asLatin1(std::string_view text) {
    if (!validUtf8(text)) {
        return std::string(text);
    }
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        const long cp = nextCodePoint(text, i);
        out += cp >= 0 && cp < 256 ? static_cast<char>(cp) : '?';
    }
    return out;
}

}  // namespace tw::audio

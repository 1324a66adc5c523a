#include "audio/icy_demux.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace tw::audio {

namespace {

bool sameText(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

std::string_view trimmed(std::string_view s) {
    const auto space = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!s.empty() && space(s.front())) {
        s.remove_prefix(1);
    }
    while (!s.empty() && space(s.back())) {
        s.remove_suffix(1);
    }
    return s;
}

}  // namespace

std::optional<std::string_view> headerValue(std::string_view line, std::string_view name) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || !sameText(line.substr(0, colon), name)) {
        return std::nullopt;
    }
    return trimmed(line.substr(colon + 1));
}

bool isStatusLine(std::string_view line) {
    return line.substr(0, 5) == "HTTP/" || line.substr(0, 4) == "ICY ";
}

std::optional<std::string> streamTitleOf(std::string_view block) {
    while (!block.empty() && block.back() == '\0') {
        block.remove_suffix(1);
    }
    constexpr std::string_view key = "StreamTitle='";
    const auto start = block.find(key);
    if (start == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = block.substr(start + key.size());
    return std::string(rest.substr(0, rest.find("';")));
}

void IcyDemux::headerLine(std::string_view line) {
    if (isStatusLine(line)) {
        interval_ = 0;
    } else if (auto value = headerValue(line, "icy-metaint")) {
        std::size_t n = 0;
        const auto [end, ec] = std::from_chars(value->data(), value->data() + value->size(), n);
        // A value that is not a number leaves the body as it is: all audio.
        interval_ = ec == std::errc() && end == value->data() + value->size() ? n : 0;
    } else {
        return;
    }
    section_ = Section::Audio;
    left_ = interval_;
}

void IcyDemux::feed(std::string_view body, std::string& audio) {
    while (!body.empty()) {
        if (interval_ == 0) {
            audio.append(body);
            return;
        }
        switch (section_) {
            case Section::Audio: {
                const std::size_t n = std::min(left_, body.size());
                audio.append(body.substr(0, n));
                body.remove_prefix(n);
                left_ -= n;
                if (left_ == 0) {
                    section_ = Section::Length;
                }
                break;
            }
            case Section::Length:
                left_ = static_cast<unsigned char>(body.front()) * std::size_t{16};
                body.remove_prefix(1);
                block_.clear();
                // A zero length byte is an empty block: no text, and the audio goes on.
                section_ = left_ == 0 ? Section::Audio : Section::Block;
                if (left_ == 0) {
                    left_ = interval_;
                }
                break;
            case Section::Block: {
                const std::size_t n = std::min(left_, body.size());
                block_.append(body.substr(0, n));
                body.remove_prefix(n);
                left_ -= n;
                if (left_ == 0) {
                    if (auto title = streamTitleOf(block_)) {
                        title_ = std::move(title);
                    }
                    section_ = Section::Audio;
                    left_ = interval_;
                }
                break;
            }
        }
    }
}

std::optional<std::string> IcyDemux::takeTitle() {
    std::optional<std::string> title;
    title.swap(title_);
    return title;
}

}  // namespace tw::audio

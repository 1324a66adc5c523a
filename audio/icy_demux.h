#pragma once
// Takes the ICY metadata out of a stream address's body. A server that was asked for metadata
// ("Icy-MetaData: 1") and answers with "icy-metaint: N" puts a block after every N bytes of
// audio: one length byte L, then L * 16 bytes of text such as "StreamTitle='Artist - Song';",
// padded with NULs. What is left is the audio, byte for byte as the station encoded it.
//
// Pure: no I/O, no locks. Thread contract: one thread at a time (the fetch thread).

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tw::audio {

// The value of a header line "Name: value" (line end included or not) when its name is `name`,
// compared without regard to case; spaces around the value are left out. nullopt for another
// header or a line that is not a header.
std::optional<std::string_view> headerValue(std::string_view line, std::string_view name);

// True for the status line that starts a response ("HTTP/1.1 200 OK", "ICY 200 OK").
bool isStatusLine(std::string_view line);

// The title in one metadata block: the text between "StreamTitle='" and the next "';", or the end
// of the block when that is missing, the block's NUL padding left out. nullopt when the block
// names no title.
std::optional<std::string> streamTitleOf(std::string_view block);

class IcyDemux {
  public:
    // Metadata blocks largest possible: the length byte counts sixteens.
    static constexpr std::size_t kMaxBlock = 255 * 16;

    // One response header line. "icy-metaint" (in any case) sets the interval; a status line
    // starts a new response (after a redirect) and forgets the previous one's interval.
    void headerLine(std::string_view line);
    // Bytes of audio between two metadata blocks; 0 when the body is all audio.
    std::size_t interval() const { return interval_; }

    // Takes the next bytes of the body, cut anywhere; appends the audio among them to `audio`.
    void feed(std::string_view body, std::string& audio);

    // The title of the latest block that named one, once: nullopt when no block with a title
    // has come since the last call.
    std::optional<std::string> takeTitle();

  private:
    enum class Section { Audio, Length, Block };

    std::size_t interval_ = 0;
    Section section_ = Section::Audio;
    std::size_t left_ = 0;  // bytes left in the current audio stretch or block
    std::string block_;
    std::optional<std::string> title_;
};

}  // namespace tw::audio

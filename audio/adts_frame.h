#pragma once
// AAC in ADTS framing, as stations send it: every frame starts with a 7-byte header (9 with its
// CRC) that carries the sync word 0xFFF, the layer bits 00, the sample rate index, the channel
// configuration and the length of the whole frame.
//
// Pure: no I/O, no locks. Thread contract: an AdtsSplitter is used by one thread at a time (the
// decoder's).

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tw::audio {

struct AdtsHeader {
    static constexpr std::size_t kMinBytes = 7;  // the header without its CRC

    bool mpeg2 = false;     // the ID bit: MPEG-2 rather than MPEG-4
    bool hasCrc = false;    // protection_absent clear: a 16-bit CRC follows the header
    int profile = 0;        // the audio object type less one (1: AAC LC)
    int rateIndex = 0;      // 0 (96000 Hz) to 12 (7350 Hz)
    int sampleRate = 0;     // Hz, from the index
    int channelConfig = 0;  // 0: given by a program config element in the frame
    std::size_t headerBytes = 0;
    std::size_t frameBytes = 0;  // the whole frame, header included
    int rawBlocks = 0;           // raw data blocks in the frame (1 to 4)

    // The fields that stay the same from frame to frame of one stream.
    bool sameStream(const AdtsHeader& other) const;
};

// The header at the start of `data`, or nullopt when those bytes are not a valid ADTS header
// (no sync, layer not 00, a reserved rate index, a frame too short to hold its header) or fewer
// than kMinBytes are there.
std::optional<AdtsHeader> parseAdtsHeader(const std::uint8_t* data, std::size_t size);

// Cuts a byte stream, arriving in pieces cut anywhere, into whole ADTS frames. Anything between
// frames (a leading ID3 tag, a damaged stretch) is passed over. A header found by searching counts
// only when the next frame's header follows it where its length says: two headers in a row do not
// happen by chance in audio data. Once in step, frames are taken one after the other as long as
// each header is valid and of the same stream.
//
// The result does not depend on how the bytes were cut: a decision that needs more bytes waits
// for them (at most one frame and a header past the current position).
class AdtsSplitter {
  public:
    // Appends the next bytes of the stream.
    void push(const std::uint8_t* data, std::size_t size);
    // No more bytes will come: a last frame found by searching is taken without its successor.
    void finish() { finished_ = true; }

    // Moves the next whole frame into `frame` (its header included). False when more bytes are
    // needed for it.
    bool next(std::vector<std::uint8_t>& frame, AdtsHeader& header);

    // Bytes passed over so far as not belonging to any frame.
    std::uint64_t skipped() const { return skipped_; }
    // Bytes held waiting for the rest of a frame.
    std::size_t buffered() const { return buffer_.size() - pos_; }

  private:
    // Searches from pos_ for a frame confirmed by the header after it. True with pos_ on it and
    // `header` filled; false when more bytes are needed (everything before a possible frame
    // start is dropped meanwhile).
    bool search(AdtsHeader& header);
    void drop(std::size_t n);

    std::vector<std::uint8_t> buffer_;
    std::size_t pos_ = 0;               // first byte not yet handed out or passed over
    std::optional<AdtsHeader> locked_;  // the stream's header while in step
    bool finished_ = false;
    std::uint64_t skipped_ = 0;
};

}  // namespace tw::audio

// Finding a track's ReplayGain values: user text frames of the ID3v2 tag first, then the items of
// an APEv2 tag at the end of the file.

#include <algorithm>
#include <new>

#include "core/text.h"
#include "tags/ape_tag.h"
#include "tags/file_reader.h"
#include "tags/front_tag.h"
#include "tags/id3v2_frames.h"
#include "tags/replay_gain.h"

namespace tw::tags {
namespace {

// The first readable value of each name wins: a tag with a damaged gain and a good one behind it
// (a second tagger's work) still gives the good one.
class Collector {
  public:
    void take(std::string_view name, std::string_view value) {
        if (!gain_ && core::equalsNoCase(name, kTrackGainName)) {
            gain_ = parseReplayGainDb(value);
        } else if (!peak_ && core::equalsNoCase(name, kTrackPeakName)) {
            peak_ = parseReplayGainPeak(value);
        }
    }
    std::optional<ReplayGain> result() const {
        if (!gain_) {
            return std::nullopt;
        }
        return ReplayGain{*gain_, peak_};
    }

  private:
    std::optional<double> gain_;
    std::optional<double> peak_;
};

std::span<const std::uint8_t> bytesOf(std::string_view s) {
    return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()};
}

std::optional<ReplayGain> readApeAtEnd(const FileReader& file) {
    const std::int64_t size = file.size();
    const auto lastBytes = [&](std::int64_t count) {
        count = std::min(count, size);
        return file.readAt(size - count, count);
    };
    const std::string end = lastBytes(static_cast<std::int64_t>(kApeSearchLength));
    const std::optional<ApeTagSpot> spot = findApeTag(bytesOf(end));
    if (!spot || static_cast<std::int64_t>(spot->fromEnd) > size) {
        return std::nullopt;
    }
    const std::string tail = lastBytes(static_cast<std::int64_t>(spot->fromEnd));
    return readApeReplayGain(bytesOf(tail));
}

}  // namespace

std::optional<ReplayGain> readId3ReplayGain(std::string_view body, std::uint8_t revision) {
    Collector values;
    std::size_t pos = 0;
    while (pos < body.size()) {
        const std::string id = frameId(body, pos, revision);
        if (isPaddingId(id) || signatureAt(body, pos)) {
            break;
        }
        if (isUserTextFrame(id)) {
            if (const auto frame = decodeUserTextFrame(body, pos, revision)) {
                values.take(frame->description, frame->value);
            }
        }
        const auto length = frameLength(body, pos, revision);
        if (!length) {
            break;
        }
        pos += static_cast<std::size_t>(*length);
    }
    return values.result();
}

std::optional<ReplayGain> readApeReplayGain(std::span<const std::uint8_t> tail) {
    const std::optional<ApeTagSpot> spot = findApeTag(tail);
    if (!spot) {
        return std::nullopt;
    }
    Collector values;
    for (const ApeItem& item : apeItems(tail, *spot)) {
        if (item.isText()) {
            // Text items may list several values, NUL between them; the first is the one.
            values.take(item.key, item.value.substr(0, item.value.find('\0')));
        }
    }
    return values.result();
}

std::optional<ReplayGain> readReplayGain(const std::string& path) {
    try {
        const FileReader file(path);
        if (!file.isOpen()) {
            return std::nullopt;
        }
        const FrontTag front = readFrontTag(file);
        if (front.header.valid) {
            if (auto gain = readId3ReplayGain(front.body, front.header.revision)) {
                return gain;
            }
        }
        return readApeAtEnd(file);
    } catch (const std::bad_alloc&) {
        // A tag's size field can ask for up to 256 MB; without that much memory there is no value.
        return std::nullopt;
    }
}

}  // namespace tw::tags

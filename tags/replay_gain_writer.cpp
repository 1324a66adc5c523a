// Writing a track's ReplayGain values into its ID3v2 tag. Unlike the tag object's write, which
// rebuilds every frame it knows from its fields, this one touches only the two frames it writes:
// a gain may be measured and written long after the track's tags were read, and must not undo
// anything written to them in between.

#include <algorithm>
#include <cmath>

#include "core/text.h"
#include "tags/file_reader.h"
#include "tags/frame_builder.h"
#include "tags/front_tag.h"
#include "tags/id3v2_frames.h"
#include "tags/replay_gain.h"
#include "tags/safe_replace.h"

namespace tw::tags {
namespace {

// The padding a new tag gets, as the tag object's write gives it.
constexpr std::size_t kNewPadding = 2048;
// The tag size field holds 28 bits.
constexpr std::size_t kMaxTagSize = (std::size_t{1} << 28) - 1;

bool isReplayGainFrame(std::string_view body, std::size_t pos, std::uint8_t revision) {
    if (!isUserTextFrame(frameId(body, pos, revision))) {
        return false;
    }
    const auto frame = decodeUserTextFrame(body, pos, revision);
    return frame && (core::equalsNoCase(frame->description, kTrackGainName) ||
                     core::equalsNoCase(frame->description, kTrackPeakName));
}

// The frames of body without its ReplayGain track frames, copied in one pass however many there
// are; padding receives the length of what stood behind the last frame (padding, or the
// leftovers another encoder put there).
std::string framesWithoutReplayGain(std::string_view body, std::uint8_t revision,
                                    std::size_t& padding) {
    std::string kept;
    std::size_t pos = 0;
    while (pos < body.size()) {
        const auto length = frameLength(body, pos, revision);
        if (!length || isPaddingId(frameId(body, pos, revision)) || signatureAt(body, pos)) {
            break;
        }
        const std::size_t extent =
            std::min<std::size_t>(static_cast<std::size_t>(*length), body.size() - pos);
        if (!isReplayGainFrame(body, pos, revision)) {
            kept.append(body.substr(pos, extent));
        }
        pos += extent;
    }
    padding = body.size() - pos;
    return kept;
}

std::string userTextFrame(std::string_view name, const std::string& value, std::uint8_t revision) {
    std::string text(name);
    text.push_back('\0');
    text += value;
    return buildFrame(revision < 3 ? "TXX" : "TXXX", text, revision);
}

std::string rangeError(double trackGainDb, double trackPeakLinear) {
    if (!std::isfinite(trackGainDb) || std::fabs(trackGainDb) > kMaxReplayGainDb) {
        return "the track gain is not a number of decibels within 64 of 0";
    }
    if (!std::isfinite(trackPeakLinear) || trackPeakLinear < 0 ||
        trackPeakLinear > kMaxReplayGainPeak) {
        return "the track peak is not a number from 0 to 100";
    }
    return {};
}

}  // namespace

std::string withReplayGainFrames(std::string_view body, std::uint8_t revision, double trackGainDb,
                                 double trackPeakLinear) {
    std::size_t padding = 0;
    const std::string others = framesWithoutReplayGain(body, revision, padding);
    // In front of the other frames: a damaged frame size further on, which ends every reader's
    // walk, cannot hide them there.
    std::string tag =
        userTextFrame(kTrackGainName, formatReplayGainDb(trackGainDb), revision) +
        userTextFrame(kTrackPeakName, formatReplayGainPeak(trackPeakLinear), revision);
    tag += others;
    tag.append(padding == 0 ? kNewPadding : padding, '\0');
    return tag;
}

bool writeReplayGain(const std::string& path, double trackGainDb, double trackPeakLinear,
                     std::string& error) {
    error = rangeError(trackGainDb, trackPeakLinear);
    if (!error.empty()) {
        return false;
    }
    struct stat attributes {};
    error = trackAttributes(path, attributes);
    if (!error.empty()) {
        return false;
    }
    const FileReader file(path);
    if (!file.isOpen()) {
        error = "cannot open the track";
        return false;
    }
    const FrontTag old = readFrontTag(file);
    const std::uint8_t revision = old.header.valid ? old.header.revision : 3;
    // Compressed frames cannot be kept frame by frame, and a revision past 4 is not known: such a
    // tag is left alone rather than lost.
    if (old.header.valid && (old.header.compressionFlag || revision < 2 || revision > 4)) {
        error = "the track's ID3v2 tag is of a kind that cannot be rewritten";
        return false;
    }
    const std::string body = withReplayGainFrames(old.body, revision, trackGainDb, trackPeakLinear);
    if (body.size() > kMaxTagSize) {
        error = "the track's ID3v2 tag would be too large";
        return false;
    }
    std::string header = "ID3";
    header.push_back(static_cast<char>(revision));
    header.append(2, '\0');
    header += syncsafe4(body.size());
    error = replaceFile(path, attributes, WriteHooks{}, [&](ReplacementSink& sink) {
        return sink.write(header) && sink.write(body) &&
               copyFileRange(file, old.audioStart, file.size(), sink);
    });
    return error.empty();
}

}  // namespace tw::tags

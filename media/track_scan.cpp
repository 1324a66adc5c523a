#include "media/track_scan.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "core/console_ops.h"
#include "core/failure.h"
#include "core/text.h"
#include "media/stream_time.h"

namespace tw::media {

namespace {

std::int32_t samplesOf(std::int64_t bytes) {
    return bytes <= 0 ? 0
                      : static_cast<std::int32_t>(std::nearbyint(static_cast<double>(bytes) / 2));
}

struct CueMark {
    float seconds;
    std::uint32_t color;
};

// The four points in the order they are drawn, each in its label's colour.
std::array<CueMark, 4> cueMarks(const core::MainForm& m, const core::CueRecord& cue) {
    return {{{cue.sweepStart, m.lblSweepStart.backColor},
             {cue.introUntil, m.lblIntroUntil.backColor},
             {cue.outroUntil, m.lblOutroUntil.backColor},
             {cue.nextStart, m.lblNextStart.backColor}}};
}

void addCueMark(core::Element& picture, double x, std::uint32_t color) {
    picture.drawing.fills.push_back({x, 0, 3, 20, core::ImageRole::None, color});
}

}  // namespace

std::int32_t SetTrackStart(core::Console& c, const std::string& path, audio::Handle stream) {
    try {
        if (core::val(c.autoTrim) == 0 && !core::equalsNoCase(core::trim(c.autoTrim), "true")) {
            return 0;
        }
        if (stream == 0) {
            return 0;
        }
        const cbass_time t(c.engine());
        // Items of a minute or less are never trimmed.
        if (!(t.GetDuration(stream) > 60.0f)) {
            return 0;
        }
        // The slider's figure on the console's own scale: 1 gives 31668, 59 gives 0.
        const std::int32_t threshold = std::abs(c.autoTrimThreshold - 59) * 546;
        std::int64_t startBytes = 0, endBytes = 0;
        findTrackBounds(c, path, threshold, startBytes, endBytes);
        seekStream(c.engine(), stream, startBytes, 0);
        return core::cLng(bytes2Seconds(c.engine(), stream, endBytes) - c.crossfadeTime);
    } catch (const std::exception& e) {
        core::logError(c, "SetTrackStart: " + core::describeFailure(e).description);
        return 0;
    }
}

void findTrackBounds(core::Console& c, const std::string& path, std::int32_t threshold,
                     std::int64_t& startBytes, std::int64_t& endBytes) {
    audio::Engine& e = c.engine();
    const audio::Handle stream = streamCreateFileW(e, path, 0, 0, audio::kStreamDecode);
    if (stream == 0) {
        return;
    }
    std::vector<std::int16_t> buffer(50001);
    // Start: the first sample above the threshold, pushed back to where the level had fallen to
    // a quarter of it, so that a soft lead-in survives.
    std::int64_t position = 0;
    while (true) {
        const std::int64_t n = e.channelGetData(stream, buffer.data(), 20000);
        const std::int32_t samples = samplesOf(n);
        std::int32_t i = 1;
        while (i < samples && std::abs(buffer[static_cast<std::size_t>(i)]) <= threshold) {
            ++i;
        }
        position += static_cast<std::int64_t>(i) * 2;
        if (i < samples) {
            while (i > 0 && std::abs(buffer[static_cast<std::size_t>(i)]) > threshold / 4) {
                --i;
                position -= 2;
            }
            break;
        }
        if (e.channelIsActive(stream) == audio::kStopped || n <= 0) {
            break;
        }
    }
    startBytes = position;
    // End: the last sample above half the threshold, from the back in blocks.
    std::int64_t end = e.channelGetLength(stream);
    while (true) {
        end = end < 100000 ? 0 : end - 100000;
        seekStream(e, stream, end, 0);
        const std::int64_t n = e.channelGetData(stream, buffer.data(), 100000);
        std::int32_t i = std::min<std::int32_t>(samplesOf(n), 50000);
        while (i > 0 && std::abs(buffer[static_cast<std::size_t>(i)]) <= threshold / 2) {
            --i;
        }
        if (i > 0) {
            endBytes = end + static_cast<std::int64_t>(i) * 2;
            break;
        }
        if (end <= position) {
            endBytes = position;
            break;
        }
    }
    e.streamFree(stream);
}

void drawCueMarkers(core::Console& c, audio::Handle stream, core::Element& picture,
                    const core::CueRecord& cue) {
    picture.drawing.clear();
    const double width = picture.scaleWidth();
    if (width <= 0) {
        return;
    }
    audio::Engine& e = c.engine();
    c.barScale = core::cLng(static_cast<double>(e.channelGetLength(stream)) / width);
    if (c.barScale == 0) {
        return;
    }
    for (const CueMark& mark : cueMarks(c.form(), cue)) {
        if (mark.seconds != 0) {
            const double x = core::cLng(
                static_cast<double>(e.channelSeconds2Bytes(stream, mark.seconds)) / c.barScale);
            addCueMark(picture, x, mark.color);
        }
    }
}

void drawCueMarkersByTime(const core::MainForm& m, core::Element& picture,
                          const core::CueRecord& cue, double seconds) {
    const double width = picture.scaleWidth();
    if (width <= 0 || seconds <= 0) {
        return;
    }
    for (const CueMark& mark : cueMarks(m, cue)) {
        if (mark.seconds != 0) {
            addCueMark(picture, core::cLng(mark.seconds / seconds * width), mark.color);
        }
    }
}

}  // namespace tw::media

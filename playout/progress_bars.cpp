#include "playout/progress_bars.h"

#include <string>

#include "core/failure.h"
#include "core/format.h"
#include "core/text.h"
#include "media/stream_time.h"
#include "playout/player_start.h"

namespace tw::playout {

namespace {

using core::Element;
using core::ImageRole;

// Stream bytes per unit of width of a picture; a picture with no width fails as a division by
// zero would.
std::int32_t scaleFor(core::Console& c, audio::Handle stream, const Element& pic) {
    const double width = pic.scaleWidth();
    const auto length = static_cast<double>(c.engine().channelGetLength(stream));
    if (width == 0) {
        if (length == 0) {
            core::failOverflow();
        }
        core::failDivisionByZero();
    }
    return core::cLng(length / width);
}

void drawBar(core::Console& c, audio::Handle stream, Element& pic, float pos,
             const core::CueRecord& cue) {
    pic.drawing.clear();
    c.barScale = scaleFor(c, stream, pic);
    if (c.barScale <= 0) {
        return;
    }
    const auto bytes = static_cast<double>(c.engine().channelGetPosition(stream));
    const std::int32_t x = core::cLng(bytes / c.barScale);
    const std::string xText = std::to_string(x);
    if (xText == pic.tag) {
        return;
    }
    const double w = pic.scaleWidth(), h = pic.scaleHeight();
    pic.drawing.fills.push_back({0, 0, static_cast<double>(x) + 1, h, ImageRole::GYR, 0});
    const double y = h / 8;
    if (pos < cue.introUntil) {
        pic.drawing.texts.push_back(
            {"Intro Until:" + core::formatNumber(pos - cue.introUntil, "#.0"), w / 2 - 40, y,
             0x8080FF, 8, false});
    } else {
        pic.drawing.texts.push_back({media::GetTime(pos), w / 2 - 20, y, 0xFFFFFF, 8, false});
    }
    pic.tag = xText;
}

}  // namespace

void drawPlayerBars(core::Console& c, float pos1, float pos2) {
    auto& m = c.form();
    if (c.player1Stream != 0) {
        drawBar(c, c.player1Stream, m.pctPlayer1, pos1, c.cueRecord1);
    }
    if (c.player2Stream != 0) {
        drawBar(c, c.player2Stream, m.pctPlayer2, pos2, c.cueRecord2);
    }
}

void drawPreviewBar(core::Console& c) {
    if (c.previewPlayer == 0) {
        return;
    }
    auto& m = c.form();
    Element& pic = m.pctPreviewPlayer;
    pic.drawing.clear();
    c.barScale = scaleFor(c, c.previewPlayer, pic);
    if (c.barScale <= 0) {
        return;
    }
    const auto bytes = static_cast<double>(c.engine().channelGetPosition(c.previewPlayer));
    const std::int32_t x = core::cLng(bytes / c.barScale);
    const std::string xText = std::to_string(x);
    if (xText == m.cmdPlayActiveSong.tag) {
        return;
    }
    const media::cbass_time t(c.engine());
    const float pos = t.GetPlayingPos(c.previewPlayer);
    const std::string text = media::previewClockText(pos);
    pic.drawing.fills.push_back(
        {0, 0, static_cast<double>(x) + 1, pic.scaleHeight(), ImageRole::GYR, 0});
    pic.drawing.texts.push_back({text,
                                 pic.scaleWidth() / 2 - 3.0 * static_cast<double>(text.size()), 0,
                                 0xFFFFFF, 8, false});
    m.cmdPlayActiveSong.tag = xText;
}

namespace {

constexpr double kPointerHalf = 5;  // the pointer is ten pixels wide, centred on the press
constexpr std::uint32_t kPointerColor = 0x202020;  // dark gray: seen on the meter and off it
constexpr auto kPointerTag = "pointer";

// A thin mark at the pointer's middle, once the operator has set a volume on the bars.
void drawVolumePointer(Element& bar) {
    if (bar.tag != kPointerTag) {
        return;
    }
    bar.drawing.fills.push_back(
        {bar.value + kPointerHalf - 1.5, 0, 3, bar.scaleHeight(), ImageRole::None, kPointerColor});
}

}  // namespace

void drawLevelMeters(core::Console& c, std::uint32_t level) {
    if (c.formScale <= 0) {
        c.formScale = 1.0f;
    }
    const std::uint16_t left = media::loWord(level);
    const std::uint16_t right = media::hiWord(level);
    if (!(left > 100 && right > 100)) {
        return;
    }
    const std::uint16_t values[2] = {left, right};
    for (int i = 0; i < 2; ++i) {
        Element& bar = c.form().picLevelBar[static_cast<std::size_t>(i)];
        bar.drawing.clear();
        const double width = bar.scaleWidth() * values[i] / 32768.0;
        bar.drawing.fills.push_back({0, 0, width, bar.scaleHeight(), ImageRole::GYRVolume, 0});
        drawVolumePointer(bar);
    }
}

void picLevelBar_MouseDown(core::Console& c, int index, double x) {
    auto& bars = c.form().picLevelBar;
    if (index < 0 || index > 1 || x < 0 || x > bars[static_cast<std::size_t>(index)].scaleWidth()) {
        return;
    }
    for (Element& bar : bars) {
        bar.value = static_cast<int>(x - kPointerHalf);
        bar.tag = kPointerTag;
        std::erase_if(bar.drawing.fills,
                      [](const core::Fill& f) { return f.color == kPointerColor; });
        drawVolumePointer(bar);
    }
    const double width = bars[0].scaleWidth();
    if (width > 0) {
        setPlayersVolume(c, static_cast<float>(bars[0].value / width));
    }
}

}  // namespace tw::playout

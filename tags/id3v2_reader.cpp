#include <array>
#include <vector>

#include "core/text.h"
#include "tags/frame_table.h"
#include "tags/front_tag.h"
#include "tags/tag_reader.h"
#include "tags/text_codec.h"

namespace tw::tags {
namespace {

std::string beforeDash(const std::string& text) {
    return text.substr(0, text.find('-'));
}

// "(code)name": a numeric code is the genre id, "CR" and "RX" the two special ones. Without the
// brackets at the front the whole text is a name, so "17" alone is a name and not an id.
void applyGenre(TagFields& fields, const std::string& raw) {
    std::size_t close = raw.find(')');
    if (raw.empty() || raw[0] != '(' || close == std::string::npos) {
        fields[Field::Genre] = raw;
        return;
    }
    std::string code = raw.substr(1, close - 1);
    fields[Field::Genre] = raw.substr(close + 1);
    fields.GenreID = 255;
    if (isNumericText(code)) {
        // A number past any double ("(1E999)") is out of range like any other large one.
        const double v = core::roundHalfEven(core::finiteVal(code).value_or(1e300));
        if (v >= -2147483648.0 && v <= 2147483647.0) {
            fields.GenreID = static_cast<std::int32_t>(v);
        }
    } else if (code == "CR") {
        fields.GenreID = -2;
    } else if (code == "RX") {
        fields.GenreID = -1;
    }
}

void applyNumberPair(std::string& number, std::string& total,
                     const std::vector<std::string>& parts) {
    if (parts.empty()) {
        return;
    }
    auto checked = [](const std::string& v) {
        return (!v.empty() && !isNumericText(v)) ? std::string("0") : v;
    };
    number = checked(parts[0]);
    if (parts.size() == 2) {
        total = checked(parts[1]);
    }
}

}  // namespace

void readId3v2Frames(TagFields& fields, std::string_view body, std::uint8_t revision) {
    std::string rawGenre;
    std::vector<std::string> track, disc;
    std::size_t pos = 0;
    while (pos < body.size()) {
        const std::string id = frameId(body, pos, revision);
        if (isPaddingId(id) || signatureAt(body, pos)) {
            break;
        }
        const DecodedFrame frame = decodeFrame(body, pos, revision);
        if (auto role = frameRole(id)) {
            switch (role->kind) {
                case FrameKind::Text:
                    fields[role->field] = frame.value;
                    break;
                case FrameKind::Comment:
                case FrameKind::Lyrics:
                    if (!frame.hasDescription) {
                        fields[role->field] = frame.value;
                    }
                    break;
                case FrameKind::Genre:
                    rawGenre = frame.value;
                    break;
                case FrameKind::Track:
                    track = core::split(frame.value, "/");
                    break;
                case FrameKind::Disc:
                    disc = core::split(frame.value, "/");
                    break;
                case FrameKind::YearOfDate:
                    fields[role->field] = beforeDash(frame.value);
                    break;
                case FrameKind::Commercial:
                    fields.CommercialInfo.Add(frame.value, std::nullopt, std::nullopt, false);
                    break;
                case FrameKind::ArtistLink:
                    fields.ArtistURL.Add(frame.value, std::nullopt, std::nullopt, false);
                    break;
                case FrameKind::Picture:
                    fields.AttachedPictures.Add(frame.value, std::nullopt, std::nullopt, true);
                    if (frame.encoding != 0) {
                        fields.pictureEncodings[std::hash<std::string>{}(frame.value)] =
                            frame.encoding;
                    }
                    break;
            }
        }
        auto length = frameLength(body, pos, revision);
        if (!length) {
            break;
        }
        pos += static_cast<std::size_t>(*length);
    }
    applyGenre(fields, rawGenre);
    applyNumberPair(fields[Field::TrackNumber], fields[Field::TracksTotal], track);
    applyNumberPair(fields[Field::DiscNumber], fields[Field::DiscsTotal], disc);
}

Id3v2Header readId3v2(TagFields& fields, const FileReader& file) {
    const FrontTag tag = readFrontTag(file);
    if (!tag.header.valid) {
        fields.revision = 3;
        return tag.header;
    }
    fields.ID3v2Exists = true;
    fields.revision = tag.header.revision;
    if (tag.header.compressionFlag) {
        return tag.header;
    }
    readId3v2Frames(fields, tag.body, tag.header.revision);
    return tag.header;
}

}  // namespace tw::tags

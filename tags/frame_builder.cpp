#include "tags/frame_builder.h"

#include <cstdio>

#include "core/text.h"
#include "tags/frame_table.h"
#include "tags/genres.h"
#include "tags/lyrics3.h"
#include "tags/text_codec.h"

namespace tw::tags {
namespace {

std::string pairText(const std::string& number, const std::string& total) {
    if (number.empty()) {
        return {};
    }
    return total.empty() ? number : number + "/" + total;
}

std::string fixedWidth(const std::string& utf8, std::size_t width) {
    std::string s = utf8ToLatin1(utf8);
    s.resize(width, '\0');
    return s;
}

std::string digits(std::size_t value, int width) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%0*zu", width, value);
    return buf;
}

std::string escapeForUrl(const std::string& utf8) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char ch : utf8) {
        if (ch < 0x80) {
            out += static_cast<char>(ch);
        } else {
            out += '%';
            out += kHex[ch >> 4];
            out += kHex[ch & 0x0F];
        }
    }
    return out;
}

}  // namespace

std::string syncsafe4(std::uint64_t size) {
    std::string out(4, '\0');
    for (int i = 3; i >= 0; --i) {
        out[static_cast<std::size_t>(i)] = static_cast<char>(size & 0x7F);
        size >>= 7;
    }
    return out;
}

std::string genreFrameText(const TagFields& fields) {
    const std::int32_t id = fields.GenreID;
    const std::string& genre = fields[Field::Genre];
    const std::string code = id == -2 ? "CR" : (id == -1 ? "RX" : std::to_string(id));
    if (!genre.empty() && (id == 12 || id == 255)) {
        return genre;
    }
    const std::string lower = core::toLower(genre);
    if (!genre.empty() && lower != "other" && lower != "unknown") {
        return "(" + code + ")" + genre;
    }
    return "(" + code + ")";
}

std::string frameValue(const TagFields& fields, std::string_view id) {
    auto role = frameRole(id);
    if (!role) {
        return {};
    }
    switch (role->kind) {
        case FrameKind::Genre:
            return genreFrameText(fields);
        case FrameKind::Track:
            return pairText(fields[Field::TrackNumber], fields[Field::TracksTotal]);
        case FrameKind::Disc:
            return pairText(fields[Field::DiscNumber], fields[Field::DiscsTotal]);
        case FrameKind::Commercial:
        case FrameKind::ArtistLink:
        case FrameKind::Picture:
            return {};  // list items are passed one by one
        default:
            return fields[role->field];
    }
}

std::string frameSizeBytes(std::uint64_t size, std::uint8_t revision) {
    if (revision >= 4) {
        return syncsafe4(size);
    }
    const int bytes = revision < 3 ? 3 : 4;
    std::string out(static_cast<std::size_t>(bytes), '\0');
    for (int i = bytes - 1; i >= 0; --i) {
        out[static_cast<std::size_t>(i)] = static_cast<char>(size & 0xFF);
        size >>= 8;
    }
    return out;
}

std::string buildFrame(std::string_view id, const std::string& value, std::uint8_t revision,
                       std::uint8_t pictureEncoding) {
    if (value.empty()) {
        return {};
    }
    const bool comment = isCommentFrame(id);
    std::string payload;
    if (isPictureFrame(id)) {
        payload = std::string(1, static_cast<char>(pictureEncoding)) + value;
    } else if (isUrlFrame(id)) {
        // The leading 0 byte stays (the reader strips it); what Latin-1 cannot hold is written
        // the way addresses carry it, as percent-escaped UTF-8.
        payload =
            std::string(1, '\0') + (fitsLatin1(value) ? utf8ToLatin1(value) : escapeForUrl(value));
    } else if (fitsLatin1(value)) {
        payload =
            std::string(1, '\0') + (comment ? std::string("eng\0", 4) : "") + utf8ToLatin1(value);
    } else if (revision < 4) {
        payload = std::string(1, '\x01') + (comment ? std::string("eng\xFF\xFE\0\0", 7) : "") +
                  utf8ToUtf16WithBom(value);
    } else {
        payload = std::string(1, '\x03') + (comment ? std::string("eng\0", 4) : "") + value;
    }
    std::string frame(id);
    frame += frameSizeBytes(payload.size(), revision);
    if (revision >= 3) {
        frame += std::string(2, '\0');
    }
    return frame + payload;
}

std::string buildId3v1(const TagFields& fields) {
    const std::string lower = core::toLower(fields[Field::Genre]);
    std::int32_t genre = fields.GenreID;
    if ((lower != "other" && genre == 12) || (lower != "unknown" && genre == 255)) {
        genre = ToGenreID(fields[Field::Genre]);
    }
    if (genre == -1 || genre == -2) {
        genre = 12;
    }
    bool blank = (genre == 12 || genre == 255);
    for (Field f : {Field::title, Field::Artist, Field::Album, Field::year, Field::Comments,
                    Field::TrackNumber}) {
        blank = blank && fields[f].empty();
    }
    if (blank) {
        return {};
    }
    std::string tag = "TAG";
    tag += fixedWidth(fields[Field::title], 30);
    tag += fixedWidth(fields[Field::Artist], 30);
    tag += fixedWidth(fields[Field::Album], 30);
    tag += fixedWidth(fields[Field::year], 4);
    const std::string& track = fields[Field::TrackNumber];
    double number =
        isNumericText(track) ? core::roundHalfEven(core::finiteVal(track).value_or(0)) : 0;
    if (number >= 1 && number <= 255) {
        tag += fixedWidth(fields[Field::Comments], 28);
        tag.push_back('\0');
        tag.push_back(static_cast<char>(static_cast<int>(number)));
    } else {
        tag += fixedWidth(fields[Field::Comments], 30);
    }
    tag.push_back(static_cast<char>(genre & 0xFF));
    return tag;
}

std::string buildLyrics3(const TagFields& fields) {
    const std::string& album = fields[Field::Album];
    const std::string& artist = fields[Field::Artist];
    const std::string& title = fields[Field::title];
    auto isLong = [](const std::string& s) { return core::charCount(s) > 30; };
    if (!isLong(album) && !isLong(artist) && !isLong(title)) {
        return {};
    }
    std::string block = "LYRICSBEGIN";
    block += "IND0000200";
    auto add = [&](const char* id, const std::string& value) {
        if (!isLong(value)) {
            return;
        }
        std::string text = escapeLyrics3(utf8ToLatin1(core::leftChars(value, 250)));
        block += id + digits(text.size(), 5) + text;
    };
    add("EAL", album);
    add("EAR", artist);
    add("ETT", title);
    return block + digits(block.size(), 6) + "LYRICS200";
}

}  // namespace tw::tags

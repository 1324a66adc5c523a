#pragma once
// What the tag object holds, as plain data, so that the readers and the writer can work on it
// without reaching into the object.

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

#include "tags/multi_frame_data.h"

namespace tw::tags {

// The text fields, in the order of the tag object's members.
enum class Field : int {
    Comments,
    Album,
    BeatsPerMinute,
    Composer,
    Genre,
    Copyright,
    EncodedBy,
    Lyricist,
    title,
    InitialKey,
    Languages,
    OriginalAlbum,
    OriginalFileName,
    OriginalLyricist,
    OriginalArtist,
    OriginalReleaseYear,
    FileOwner,
    Artist,
    Band,
    Conductor,
    InterpretedBy,
    DiscNumber,
    DiscsTotal,
    Publisher,
    TrackNumber,
    TracksTotal,
    InternetRadioStationName,
    InternetRadioStationOwner,
    ISRC,
    year,
    Lyrics,
    CopyrightInfo,
    AudioURL,
    AudioSourceURL,
    InternetRadioURL,
    PaymentURL,
    PublisherURL,
};
inline constexpr int kFieldCount = static_cast<int>(Field::PublisherURL) + 1;

// What the full reader learns about the first MPEG audio frame and its VBR block.
struct AudioState {
    std::array<std::uint8_t, 3> headerBytes{};  // the three bytes behind the 0xFF sync byte
    std::int32_t audioStart = 0;                // 1-based, first byte behind the frame header
    std::int32_t audioSize = 0;
    bool vbrFlag = false;
    std::int32_t vbrFrames = 0;
    std::int32_t vbrBytes = 0;
    std::int32_t vbrQuality = 0;
    std::array<std::uint8_t, 100> vbrToc{};
    std::int32_t vbriEntries = 0;
    std::int32_t vbriEntrySize = 0;
};

struct TagFields {
    std::array<std::string, kFieldCount> text;
    std::int32_t GenreID = 255;
    MultiFrameData CommercialInfo;
    MultiFrameData ArtistURL;
    MultiFrameData AttachedPictures;
    // The text encoding of pictures read with a description in UTF-16 or UTF-8, by a hash of the
    // item, so that an unchanged picture is written back with the encoding its bytes are in.
    std::unordered_map<std::size_t, std::uint8_t> pictureEncodings;
    bool ID3v1Exists = false;
    bool ID3v2Exists = false;
    bool Lyrics3v1Exists = false;
    bool Lyrics3v2Exists = false;
    std::uint8_t revision = 3;
    bool lyricsTimestamps = false;
    AudioState audio;

    std::uint8_t pictureEncoding(const std::string& item) const {
        auto it = pictureEncodings.find(std::hash<std::string>{}(item));
        return it == pictureEncodings.end() ? 0 : it->second;
    }

    std::string& operator[](Field f) { return text[static_cast<std::size_t>(f)]; }
    const std::string& operator[](Field f) const { return text[static_cast<std::size_t>(f)]; }

    // What every read and the delete start from: no values, genre 255, no tags, revision 0.
    void resetTags() {
        text = {};
        GenreID = 255;
        CommercialInfo.Clear();
        ArtistURL.Clear();
        AttachedPictures.Clear();
        pictureEncodings.clear();
        ID3v1Exists = ID3v2Exists = Lyrics3v1Exists = Lyrics3v2Exists = false;
        lyricsTimestamps = false;
        revision = 0;
    }
};

}  // namespace tw::tags

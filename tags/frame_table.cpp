#include "tags/frame_table.h"

namespace tw::tags {
namespace {

struct Entry {
    std::string_view id;
    FrameKind kind;
    Field field;
};

constexpr std::array<Entry, 73> kEntries = {{
    {"COMM", FrameKind::Comment, Field::Comments},
    {"COM", FrameKind::Comment, Field::Comments},
    {"TALB", FrameKind::Text, Field::Album},
    {"TAL", FrameKind::Text, Field::Album},
    {"TBPM", FrameKind::Text, Field::BeatsPerMinute},
    {"TBP", FrameKind::Text, Field::BeatsPerMinute},
    {"TCOM", FrameKind::Text, Field::Composer},
    {"TCM", FrameKind::Text, Field::Composer},
    {"TCON", FrameKind::Genre, Field::Genre},
    {"TCO", FrameKind::Genre, Field::Genre},
    {"TCOP", FrameKind::Text, Field::Copyright},
    {"TCR", FrameKind::Text, Field::Copyright},
    {"TENC", FrameKind::Text, Field::EncodedBy},
    {"TEN", FrameKind::Text, Field::EncodedBy},
    {"TEXT", FrameKind::Text, Field::Lyricist},
    {"TXT", FrameKind::Text, Field::Lyricist},
    {"TIT2", FrameKind::Text, Field::title},
    {"TT2", FrameKind::Text, Field::title},
    {"TKEY", FrameKind::Text, Field::InitialKey},
    {"TKE", FrameKind::Text, Field::InitialKey},
    {"TLAN", FrameKind::Text, Field::Languages},
    {"TLA", FrameKind::Text, Field::Languages},
    {"TOAL", FrameKind::Text, Field::OriginalAlbum},
    {"TOT", FrameKind::Text, Field::OriginalAlbum},
    {"TOFN", FrameKind::Text, Field::OriginalFileName},
    {"TOF", FrameKind::Text, Field::OriginalFileName},
    {"TOLY", FrameKind::Text, Field::OriginalLyricist},
    {"TOL", FrameKind::Text, Field::OriginalLyricist},
    {"TOPE", FrameKind::Text, Field::OriginalArtist},
    {"TOA", FrameKind::Text, Field::OriginalArtist},
    {"TORY", FrameKind::Text, Field::OriginalReleaseYear},
    {"TOR", FrameKind::Text, Field::OriginalReleaseYear},
    {"TDOR", FrameKind::YearOfDate, Field::OriginalReleaseYear},
    {"TOWN", FrameKind::Text, Field::FileOwner},
    {"TPE1", FrameKind::Text, Field::Artist},
    {"TP1", FrameKind::Text, Field::Artist},
    {"TPE2", FrameKind::Text, Field::Band},
    {"TP2", FrameKind::Text, Field::Band},
    {"TPE3", FrameKind::Text, Field::Conductor},
    {"TP3", FrameKind::Text, Field::Conductor},
    {"TPE4", FrameKind::Text, Field::InterpretedBy},
    {"TP4", FrameKind::Text, Field::InterpretedBy},
    {"TPOS", FrameKind::Disc, Field::DiscNumber},
    {"TPA", FrameKind::Disc, Field::DiscNumber},
    {"TPUB", FrameKind::Text, Field::Publisher},
    {"TPB", FrameKind::Text, Field::Publisher},
    {"TRCK", FrameKind::Track, Field::TrackNumber},
    {"TRK", FrameKind::Track, Field::TrackNumber},
    {"TRSN", FrameKind::Text, Field::InternetRadioStationName},
    {"TRSO", FrameKind::Text, Field::InternetRadioStationOwner},
    {"TSRC", FrameKind::Text, Field::ISRC},
    {"TRC", FrameKind::Text, Field::ISRC},
    {"TYER", FrameKind::Text, Field::year},
    {"TYE", FrameKind::Text, Field::year},
    {"TDRC", FrameKind::YearOfDate, Field::year},
    {"USLT", FrameKind::Lyrics, Field::Lyrics},
    {"ULT", FrameKind::Lyrics, Field::Lyrics},
    {"WCOM", FrameKind::Commercial, Field::Comments},
    {"WCM", FrameKind::Commercial, Field::Comments},
    {"WCOP", FrameKind::Text, Field::CopyrightInfo},
    {"WCP", FrameKind::Text, Field::CopyrightInfo},
    {"WOAF", FrameKind::Text, Field::AudioURL},
    {"WAF", FrameKind::Text, Field::AudioURL},
    {"WOAR", FrameKind::ArtistLink, Field::Comments},
    {"WAR", FrameKind::ArtistLink, Field::Comments},
    {"WOAS", FrameKind::Text, Field::AudioSourceURL},
    {"WAS", FrameKind::Text, Field::AudioSourceURL},
    {"WORS", FrameKind::Text, Field::InternetRadioURL},
    {"WPAY", FrameKind::Text, Field::PaymentURL},
    {"WPUB", FrameKind::Text, Field::PublisherURL},
    {"WPB", FrameKind::Text, Field::PublisherURL},
    {"APIC", FrameKind::Picture, Field::Comments},
    {"PIC", FrameKind::Picture, Field::Comments},
}};

}  // namespace

const std::array<std::string_view, 38> frameIds4 = {
    "APIC", "COMM", "TALB", "TBPM", "TCOM", "TCON", "TCOP", "TENC", "TEXT", "TIT2",
    "TKEY", "TLAN", "TOAL", "TOFN", "TOLY", "TOPE", "TORY", "TOWN", "TPE1", "TPE2",
    "TPE3", "TPE4", "TPOS", "TPUB", "TRCK", "TRSN", "TRSO", "TSRC", "TYER", "USLT",
    "WCOM", "WCOP", "WOAF", "WOAR", "WOAS", "WORS", "WPAY", "WPUB"};

const std::array<std::string_view, 33> frameIds3 = {
    "COM", "PIC", "TAL", "TBP", "TCM", "TCO", "TCR", "TEN", "TXT", "TT2", "TKE",
    "TLA", "TOT", "TOF", "TOL", "TOA", "TOR", "TP1", "TP2", "TP3", "TP4", "TPA",
    "TPB", "TRK", "TRC", "TYE", "ULT", "WCM", "WCP", "WAF", "WAR", "WAS", "WPB"};

const std::array<std::string_view, 5> lyricsFieldIds = {"LYR", "AUT", "EAL", "EAR", "ETT"};

namespace {

// Identifiers compared as numbers: this look-up runs for every frame of every track read.
constexpr std::uint64_t packed(std::string_view id) {
    std::uint64_t v = id.size();
    for (char c : id) {
        v = (v << 8) | static_cast<unsigned char>(c);
    }
    return v;
}

constexpr auto kPacked = [] {
    std::array<std::uint64_t, kEntries.size()> keys{};
    for (std::size_t i = 0; i < kEntries.size(); ++i) {
        keys[i] = packed(kEntries[i].id);
    }
    return keys;
}();

}  // namespace

std::optional<FrameRole> frameRole(std::string_view id) {
    if (id.size() < 3 || id.size() > 4) {
        return std::nullopt;
    }
    const std::uint64_t key = packed(id);
    for (std::size_t i = 0; i < kPacked.size(); ++i) {
        if (kPacked[i] == key) {
            return FrameRole{kEntries[i].kind, kEntries[i].field};
        }
    }
    return std::nullopt;
}

}  // namespace tw::tags

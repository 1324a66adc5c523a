#include "tags/field_names.h"

namespace tw::tags {

const std::array<FieldName, kFieldCount> kFieldNames = {{
    {"Comments", Field::Comments},
    {"Album", Field::Album},
    {"BeatsPerMinute", Field::BeatsPerMinute},
    {"Composer", Field::Composer},
    {"Genre", Field::Genre},
    {"Copyright", Field::Copyright},
    {"EncodedBy", Field::EncodedBy},
    {"Lyricist", Field::Lyricist},
    {"title", Field::title},
    {"InitialKey", Field::InitialKey},
    {"Languages", Field::Languages},
    {"OriginalAlbum", Field::OriginalAlbum},
    {"OriginalFileName", Field::OriginalFileName},
    {"OriginalLyricist", Field::OriginalLyricist},
    {"OriginalArtist", Field::OriginalArtist},
    {"OriginalReleaseYear", Field::OriginalReleaseYear},
    {"FileOwner", Field::FileOwner},
    {"Artist", Field::Artist},
    {"Band", Field::Band},
    {"Conductor", Field::Conductor},
    {"InterpretedBy", Field::InterpretedBy},
    {"DiscNumber", Field::DiscNumber},
    {"DiscsTotal", Field::DiscsTotal},
    {"Publisher", Field::Publisher},
    {"TrackNumber", Field::TrackNumber},
    {"TracksTotal", Field::TracksTotal},
    {"InternetRadioStationName", Field::InternetRadioStationName},
    {"InternetRadioStationOwner", Field::InternetRadioStationOwner},
    {"ISRC", Field::ISRC},
    {"year", Field::year},
    {"Lyrics", Field::Lyrics},
    {"CopyrightInfo", Field::CopyrightInfo},
    {"AudioURL", Field::AudioURL},
    {"AudioSourceURL", Field::AudioSourceURL},
    {"InternetRadioURL", Field::InternetRadioURL},
    {"PaymentURL", Field::PaymentURL},
    {"PublisherURL", Field::PublisherURL},
}};

std::optional<Field> fieldByName(std::string_view name) {
    for (const auto& f : kFieldNames) {
        if (f.name == name) {
            return f.field;
        }
    }
    return std::nullopt;
}

}  // namespace tw::tags

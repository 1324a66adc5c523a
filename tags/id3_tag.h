#pragma once
// clsID3: the one object through which the console touches a file's tags and MPEG audio
// description. Assigning filename reads the tags (light read); RefreshID3Tags adds Lyrics3 and the
// audio figures; UpdateID3Tags and DeleteID3Tags write. The object never throws and shows nothing;
// a write that fails leaves the file as it was and tells why through lastWriteError().

#include <cstdint>
#include <string>

#include "tags/genres.h"
#include "tags/mp3_tag_data.h"
#include "tags/multi_frame_data.h"
#include "tags/tag_fields.h"
#include "tags/tag_writer.h"

namespace tw::tags {

class clsID3 {
  public:
    clsID3() = default;

    const std::string& mp3Title() const { return mp3Title_; }
    void mp3Title(std::string v) { mp3Title_ = std::move(v); }

    std::string GenreName(std::int32_t GenreID) const { return tags::GenreName(GenreID); }
    std::int32_t ToGenreID(const std::string& Genre) const { return tags::ToGenreID(Genre); }

    std::int32_t Layer() const;
    std::int32_t Padding() const;
    std::int32_t MPEGVersion() const;
    std::int32_t ChannelMode() const;
    std::int32_t Encoding() const;
    std::int32_t SamplingRateFrequency() const;
    double bitrate() const;
    double FrameSize() const;
    std::int32_t FrameSamples() const;
    double Length() const;

#define TW_TAG_TEXT(name)                    \
    const std::string& name() const {        \
        return fields_[Field::name];         \
    }                                        \
    void name(std::string v) {               \
        fields_[Field::name] = std::move(v); \
    }
    TW_TAG_TEXT(Comments)
    TW_TAG_TEXT(Album)
    TW_TAG_TEXT(BeatsPerMinute)
    TW_TAG_TEXT(Composer)
    std::int32_t GenreID() const {
        return fields_.GenreID;
    }
    void GenreID(std::int32_t v) {
        fields_.GenreID = v;
    }
    TW_TAG_TEXT(Genre)
    TW_TAG_TEXT(Copyright)
    TW_TAG_TEXT(EncodedBy)
    TW_TAG_TEXT(Lyricist)
    TW_TAG_TEXT(title)
    TW_TAG_TEXT(InitialKey)
    TW_TAG_TEXT(Languages)
    TW_TAG_TEXT(OriginalAlbum)
    TW_TAG_TEXT(OriginalFileName)
    TW_TAG_TEXT(OriginalLyricist)
    TW_TAG_TEXT(OriginalArtist)
    TW_TAG_TEXT(OriginalReleaseYear)
    TW_TAG_TEXT(FileOwner)
    TW_TAG_TEXT(Artist)
    TW_TAG_TEXT(Band)
    TW_TAG_TEXT(Conductor)
    TW_TAG_TEXT(InterpretedBy)
    TW_TAG_TEXT(DiscNumber)
    TW_TAG_TEXT(DiscsTotal)
    TW_TAG_TEXT(Publisher)
    TW_TAG_TEXT(TrackNumber)
    TW_TAG_TEXT(TracksTotal)
    TW_TAG_TEXT(InternetRadioStationName)
    TW_TAG_TEXT(InternetRadioStationOwner)
    TW_TAG_TEXT(ISRC)
    TW_TAG_TEXT(year)
    TW_TAG_TEXT(Lyrics)
    MultiFrameData& CommercialInfo() {
        return fields_.CommercialInfo;
    }
    const MultiFrameData& CommercialInfo() const {
        return fields_.CommercialInfo;
    }
    void CommercialInfo(MultiFrameData v) {
        fields_.CommercialInfo = std::move(v);
    }
    TW_TAG_TEXT(CopyrightInfo)
    TW_TAG_TEXT(AudioURL)
    MultiFrameData& ArtistURL() {
        return fields_.ArtistURL;
    }
    const MultiFrameData& ArtistURL() const {
        return fields_.ArtistURL;
    }
    void ArtistURL(MultiFrameData v) {
        fields_.ArtistURL = std::move(v);
    }
    TW_TAG_TEXT(AudioSourceURL)
    TW_TAG_TEXT(InternetRadioURL)
    TW_TAG_TEXT(PaymentURL)
    TW_TAG_TEXT(PublisherURL)
    MultiFrameData& AttachedPictures() {
        return fields_.AttachedPictures;
    }
    const MultiFrameData& AttachedPictures() const {
        return fields_.AttachedPictures;
    }
    void AttachedPictures(MultiFrameData v) {
        fields_.AttachedPictures = std::move(v);
    }
#undef TW_TAG_TEXT

    const std::string& filename() const {
        return filename_;
    }
    // Stores the path and runs the light read: every value not yet written is thrown away.
    void filename(std::string path);

    bool ID3v1Exists() const {
        return fields_.ID3v1Exists;
    }
    bool ID3v2Exists() const {
        return fields_.ID3v2Exists;
    }
    bool Lyrics3v1Exists() const {
        return fields_.Lyrics3v1Exists;
    }
    bool Lyrics3v2Exists() const {
        return fields_.Lyrics3v2Exists;
    }
    std::uint8_t ID3RevisionV2() const {
        return fields_.revision;
    }

    void RefreshID3Tags();
    void UpdateID3Tags();
    void DeleteID3Tags();

    void returnID3Tag(clsMp3TagData& theTag) const;
    // Artist " - " title. An untagged file that exists gains a tag from its name on the way.
    std::string returnID3TitleOnly();

    // Any text field by its place in the table, for tools that work from field names.
    const std::string& text(Field f) const {
        return fields_[f];
    }
    void text(Field f, std::string v) {
        fields_[f] = std::move(v);
    }

    // What the full read found of the first audio frame and its VBR block.
    const AudioState& audioState() const {
        return fields_.audio;
    }

    // Empty after a write that succeeded; otherwise what went wrong, for the console's log.
    const std::string& lastWriteError() const {
        return lastWriteError_;
    }
    // For tests: lets a write fail or stop at a chosen step.
    void setWriteHooks(WriteHooks hooks) {
        hooks_ = std::move(hooks);
    }

  private:
    TagFields fields_;
    std::string filename_;
    std::string mp3Title_;
    std::string lastWriteError_;
    WriteHooks hooks_;
};

}  // namespace tw::tags

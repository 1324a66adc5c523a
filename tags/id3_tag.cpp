#include "tags/id3_tag.h"

#include <sys/stat.h>

#include "core/paths.h"
#include "core/text.h"
#include "tags/mpeg_header.h"
#include "tags/tag_reader.h"

namespace tw::tags {

std::int32_t clsID3::Layer() const {
    return mpeg::Layer(fields_.audio);
}
std::int32_t clsID3::Padding() const {
    return mpeg::Padding(fields_.audio);
}
std::int32_t clsID3::MPEGVersion() const {
    return mpeg::MPEGVersion(fields_.audio);
}
std::int32_t clsID3::ChannelMode() const {
    return mpeg::ChannelMode(fields_.audio);
}
std::int32_t clsID3::Encoding() const {
    return mpeg::Encoding(fields_.audio);
}
std::int32_t clsID3::SamplingRateFrequency() const {
    return mpeg::SamplingRateFrequency(fields_.audio);
}
double clsID3::bitrate() const {
    return mpeg::bitrate(fields_.audio);
}
double clsID3::FrameSize() const {
    return mpeg::FrameSize(fields_.audio);
}
std::int32_t clsID3::FrameSamples() const {
    return mpeg::FrameSamples(fields_.audio);
}
double clsID3::Length() const {
    return mpeg::Length(fields_.audio);
}

void clsID3::filename(std::string path) {
    filename_ = std::move(path);
    readTags(fields_, filename_, ReadDepth::Light);
}

void clsID3::RefreshID3Tags() {
    readTags(fields_, filename_, ReadDepth::Full);
}

void clsID3::UpdateID3Tags() {
    lastWriteError_ = updateTagsInFile(fields_, filename_, hooks_);
}

void clsID3::DeleteID3Tags() {
    fields_.resetTags();
    lastWriteError_ = deleteTagsInFile(filename_, hooks_);
}

void clsID3::returnID3Tag(clsMp3TagData& theTag) const {
    theTag.Album = Album();
    theTag.Artist = Artist();
    theTag.comment = Comments();
    theTag.Composer = Composer();
    theTag.Genre = Genre();
    theTag.tarnWaveData = FileOwner();
    theTag.Publisher = Publisher();
    theTag.recordLabel = CopyrightInfo();
    if (theTag.recordLabel.empty()) {
        theTag.recordLabel = Copyright();
    }
    theTag.songName = title();
    const double y = core::finiteVal(year()).value_or(0);
    theTag.songYear = (y >= -2147483648.0 && y <= 2147483647.0) ? static_cast<std::int32_t>(y) : 0;
    std::string key = Artist() + " - " + title();
    if (key == " - ") {
        key = core::parsePath(filename_, 4);
    }
    // The key names a section of the play history, whose section names cannot hold brackets.
    for (char& c : key) {
        if (c == '[') {
            c = '(';
        } else if (c == ']') {
            c = ')';
        }
    }
    theTag.mp3Title = key;
}

std::string clsID3::returnID3TitleOnly() {
    lastWriteError_.clear();
    std::string result = Artist() + " - " + title();
    if (result != " - ") {
        return result;
    }
    struct stat st {};
    if (filename_.empty() || ::stat(filename_.c_str(), &st) != 0) {
        return result;
    }
    result = core::parsePath(filename_, 4);
    Artist(core::token("-", 1, result));
    title(core::token("-", 2, result));
    UpdateID3Tags();
    return result;
}

}  // namespace tw::tags

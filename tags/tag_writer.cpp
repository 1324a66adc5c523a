// The tag writer. Known frames are rewritten in place, unknown ones kept, missing ones added at
// the end; the padding a file had is kept; ID3v1 and Lyrics3 are rebuilt from the fields. The
// audio bytes pass through untouched.

#include "tags/tag_writer.h"

#include <algorithm>
#include <vector>

#include "core/text.h"
#include "tags/file_reader.h"
#include "tags/frame_builder.h"
#include "tags/frame_table.h"
#include "tags/front_tag.h"
#include "tags/id3v2_frames.h"
#include "tags/lyrics3.h"
#include "tags/safe_replace.h"
#include "tags/text_codec.h"

namespace tw::tags {
namespace {

// 1-based position of the last audio byte: before an ID3v1 tag and a Lyrics3 block. For a
// Lyrics3 v1 block the first five bytes of the block stay behind the audio, as they always have.
std::int64_t findAudioEnd(const FileReader& file) {
    std::int64_t audioEnd = file.size();
    if (audioEnd >= 128 && file.readAt(audioEnd - 128, 3) == "TAG") {
        audioEnd -= 128;
    }
    Lyrics3Tail tail = findLyrics3(file, audioEnd);
    if (tail.kind == Lyrics3Tail::Kind::Version2 && tail.blockValid) {
        audioEnd = tail.blockStart;
    } else if (tail.kind == Lyrics3Tail::Kind::Version1 && tail.beginFound) {
        const auto c = static_cast<std::int64_t>(tail.v1Text.size());
        const auto p = static_cast<std::int64_t>(tail.v1Begin) + 1;
        audioEnd = audioEnd - 16 - c + p;
    }
    return audioEnd;
}

class FrameRewriter {
  public:
    FrameRewriter(const TagFields& fields, std::uint8_t revision)
        : fields_(fields), revision_(revision) {
        if (revision < 3) {
            queue_.assign(frameIds3.begin(), frameIds3.end());
        } else {
            for (std::string_view id : frameIds4) {
                queue_.push_back(revision >= 4 && id == "TORY"   ? "TDOR"
                                 : revision >= 4 && id == "TYER" ? "TDRC"
                                                                 : std::string(id));
            }
        }
    }

    // Rewrites body in place and gives the length of the padding that followed the frames.
    std::size_t rewrite(std::string& body) {
        std::size_t pos = 0;
        while (pos < body.size()) {
            auto length = frameLength(body, pos, revision_);
            if (!length) {
                break;
            }
            const std::string id = frameId(body, pos, revision_);
            const bool key = inQueue(id);
            const std::size_t extent =
                std::min<std::size_t>(static_cast<std::size_t>(*length), body.size() - pos);
            if (isCommentFrame(id)) {
                if (decodeFrame(body, pos, revision_).hasDescription) {
                    pos = passOver(body, pos, extent);
                } else if (key) {
                    pos = replace(body, pos, extent, id, frameValue(fields_, id));
                    unqueue(id);
                } else {
                    body.erase(pos, extent);
                }
            } else if (auto list = listOf(id)) {
                int& i = *list->index;
                if (i <= list->data->Count()) {
                    pos = replace(body, pos, extent, id, list->data->Item(i));
                    if (i == list->data->Count()) {
                        unqueue(id);
                    }
                    ++i;
                } else {
                    body.erase(pos, extent);
                }
            } else {
                if (isPaddingId(id) || signatureAt(body, pos)) {
                    break;
                }
                if (key) {
                    pos = replace(body, pos, extent, id, frameValue(fields_, id));
                    unqueue(id);
                } else {
                    pos = passOver(body, pos, extent);
                }
            }
        }
        std::size_t padding = pos < body.size() ? body.size() - pos : 0;
        body.resize(std::min(pos, body.size()));
        return padding;
    }

    // Frames for the fields that had none, in table order.
    void addMissing(std::string& body) {
        for (const std::string& id : queue_) {
            if (auto list = listOf(id)) {
                for (int& i = *list->index; i <= list->data->Count(); ++i) {
                    body += frame(id, list->data->Item(i));
                }
            } else {
                body += frame(id, frameValue(fields_, id));
            }
        }
    }

  private:
    struct List {
        const MultiFrameData* data;
        int* index;
    };

    std::optional<List> listOf(std::string_view id) {
        auto role = frameRole(id);
        if (!role) {
            return std::nullopt;
        }
        switch (role->kind) {
            case FrameKind::Commercial:
                return List{&fields_.CommercialInfo, &commercialIndex_};
            case FrameKind::ArtistLink:
                return List{&fields_.ArtistURL, &artistIndex_};
            case FrameKind::Picture:
                return List{&fields_.AttachedPictures, &pictureIndex_};
            default:
                return std::nullopt;
        }
    }

    std::string frame(const std::string& id, const std::string& value) const {
        const std::uint8_t encoding = isPictureFrame(id) ? fields_.pictureEncoding(value) : 0;
        return buildFrame(id, value, revision_, encoding);
    }

    bool inQueue(const std::string& id) const {
        return std::find(queue_.begin(), queue_.end(), id) != queue_.end();
    }
    void unqueue(const std::string& id) {
        queue_.erase(std::remove(queue_.begin(), queue_.end(), id), queue_.end());
    }

    std::size_t replace(std::string& body, std::size_t pos, std::size_t extent,
                        const std::string& id, const std::string& value) {
        const std::string built = frame(id, value);
        body.replace(pos, extent, built);
        return pos + built.size();
    }

    // A frame kept as it is, except that frame-level unsynchronisation is undone, since the new
    // tag carries no unsynchronisation at all.
    std::size_t passOver(std::string& body, std::size_t pos, std::size_t extent) {
        if (revision_ >= 4 && extent >= 10 && (static_cast<std::uint8_t>(body[pos + 9]) & 0x02)) {
            std::string data = undoUnsync(std::string_view(body).substr(pos + 10, extent - 10));
            std::string frame = body.substr(pos, 4) + syncsafe4(data.size()) + body[pos + 8] +
                                static_cast<char>(body[pos + 9] & ~0x02) + data;
            body.replace(pos, extent, frame);
            return pos + frame.size();
        }
        return pos + extent;
    }

    const TagFields& fields_;
    std::uint8_t revision_;
    std::vector<std::string> queue_;
    int commercialIndex_ = 1;
    int artistIndex_ = 1;
    int pictureIndex_ = 1;
};

}  // namespace

std::string updateTagsInFile(const TagFields& fields, const std::string& path,
                             const WriteHooks& hooks) {
    struct stat attributes {};
    if (std::string error = trackAttributes(path, attributes); !error.empty()) {
        return error;
    }
    FileReader file(path);
    if (!file.isOpen()) {
        return "cannot open the track";
    }
    // A tag with compressed frames cannot be rewritten frame by frame; its frames are lost.
    FrontTag old = readFrontTag(file);
    const std::uint8_t revision = old.header.valid ? old.header.revision : 3;
    FrameRewriter rewriter(fields, revision);
    std::size_t padding = rewriter.rewrite(old.body);
    rewriter.addMissing(old.body);
    old.body.append(padding == 0 ? 2048 : padding, '\0');

    std::string header = "ID3";
    header.push_back(static_cast<char>(revision));
    header.push_back('\0');
    header.push_back('\0');
    header += syncsafe4(old.body.size());

    const std::int64_t audioEnd = findAudioEnd(file);
    const std::string tail = buildLyrics3(fields) + buildId3v1(fields);
    return replaceFile(path, attributes, hooks, [&](ReplacementSink& sink) {
        return sink.write(header) && sink.write(old.body) &&
               copyFileRange(file, old.audioStart, audioEnd, sink) && sink.write(tail);
    });
}

std::string deleteTagsInFile(const std::string& path, const WriteHooks& hooks) {
    struct stat attributes {};
    if (std::string error = trackAttributes(path, attributes); !error.empty()) {
        return error;
    }
    FileReader file(path);
    if (!file.isOpen()) {
        return "cannot open the track";
    }
    const FrontTag old = readFrontTag(file);
    const std::int64_t audioEnd = findAudioEnd(file);
    return replaceFile(path, attributes, hooks, [&](ReplacementSink& sink) {
        return copyFileRange(file, old.audioStart, audioEnd, sink);
    });
}

}  // namespace tw::tags

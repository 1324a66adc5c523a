#include "tests/tags/tag_test_util.h"

#include <sys/wait.h>
#include <cstdio>
#include <cstdlib>

#include "tests/testlib/temp_dir.h"

namespace tw::test {

std::string frame(const std::string& id, const std::string& data, int revision,
                  std::uint8_t flags2) {
    std::string out = id;
    const std::size_t n = data.size();
    if (revision < 3) {
        out.push_back(static_cast<char>((n >> 16) & 0xFF));
        out.push_back(static_cast<char>((n >> 8) & 0xFF));
        out.push_back(static_cast<char>(n & 0xFF));
        return out + data;
    }
    if (revision == 3) {
        for (int shift : {24, 16, 8, 0}) {
            out.push_back(static_cast<char>((n >> shift) & 0xFF));
        }
    } else {
        for (int shift : {21, 14, 7, 0}) {
            out.push_back(static_cast<char>((n >> shift) & 0x7F));
        }
    }
    out.push_back('\0');
    out.push_back(static_cast<char>(flags2));
    return out + data;
}

std::string textFrame(const std::string& id, const std::string& text, int revision) {
    return frame(id, std::string(1, '\0') + text, revision);
}

std::string id3Header(int revision, std::uint8_t flags, std::uint32_t size) {
    std::string h = "ID3";
    h.push_back(static_cast<char>(revision));
    h.push_back('\0');
    h.push_back(static_cast<char>(flags));
    for (int shift : {21, 14, 7, 0}) {
        h.push_back(static_cast<char>((size >> shift) & 0x7F));
    }
    return h;
}

std::string id3Tag(int revision, const std::string& body, std::uint8_t flags) {
    return id3Header(revision, flags, static_cast<std::uint32_t>(body.size())) + body;
}

std::string id3v1(const std::string& title, const std::string& artist, const std::string& album,
                  const std::string& year, const std::string& comment, std::uint8_t genre) {
    auto fit = [](std::string s, std::size_t n) {
        s.resize(n, '\0');
        return s;
    };
    return "TAG" + fit(title, 30) + fit(artist, 30) + fit(album, 30) + fit(year, 4) +
           fit(comment, 30) + std::string(1, static_cast<char>(genre));
}

std::string mpegFrame(bool mono) {
    std::string f(417, '\0');
    f[0] = '\xFF';
    f[1] = '\xFB';
    f[2] = '\x90';
    f[3] = mono ? '\xC0' : '\x00';
    return f;
}

std::string mpegFrames(int count) {
    std::string out;
    for (int i = 0; i < count; ++i) {
        out += mpegFrame();
    }
    return out;
}

std::string taggedTrack(const std::string& artist, const std::string& title) {
    return id3Tag(3, textFrame("TIT2", title, 3) + textFrame("TPE1", artist, 3)) + mpegFrames(4);
}

std::string run(const std::string& command, int* exitCode) {
    std::string out;
    FILE* p = ::popen(command.c_str(), "r");
    if (p == nullptr) {
        if (exitCode) {
            *exitCode = -1;
        }
        return out;
    }
    char buf[65536];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) {
        out.append(buf, n);
    }
    int status = ::pclose(p);
    if (exitCode) {
        *exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    return out;
}

std::string quoted(const std::filesystem::path& p) {
    std::string out = "'";
    for (char c : p.string()) {
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return out + "'";
}

std::filesystem::path lameTone(const std::filesystem::path& folder, const std::string& name,
                               const std::string& lameArgs) {
    const auto wav = folder / (name + ".wav");
    const auto mp3 = folder / name;
    run("sox -q -n -r 44100 -c 2 -b 16 " + quoted(wav) + " synth 1 sine 440 sine 660");
    run("lame --quiet " + lameArgs + " " + quoted(wav) + " " + quoted(mp3));
    std::filesystem::remove(wav);
    return mp3;
}

namespace {

// title, artist and album of lines "<prefix>name=value", in a fixed order, up to the first
// section.
std::string threeTags(const std::string& out, const std::string& prefix) {
    std::string title, artist, album;
    std::size_t pos = 0;
    while (pos < out.size()) {
        std::size_t end = out.find('\n', pos);
        std::string line =
            out.substr(pos, end == std::string::npos ? std::string::npos : end - pos);
        pos = end == std::string::npos ? out.size() : end + 1;
        if (line.rfind('[', 0) == 0) {
            break;  // a metadata file's sections (its chapters) after the file's own tags
        }
        auto take = [&](const std::string& key, std::string& into) {
            if (line.rfind(prefix + key + "=", 0) == 0) {
                into = line.substr(prefix.size() + key.size() + 1);
            }
        };
        take("title", title);
        take("artist", artist);
        take("album", album);
    }
    return "title=" + title + "\nartist=" + artist + "\nalbum=" + album;
}

}  // namespace

std::string ffprobeTags(const std::filesystem::path& file) {
    // One line per tag, as "TAG:name=value".
    return threeTags(run("ffprobe -v quiet -show_entries format_tags=title,artist,album -of "
                         "default=nw=1:nk=0 " +
                         quoted(file)),
                     "TAG:");
}

std::string decodedAudio(const std::filesystem::path& file) {
    return run("ffmpeg -v quiet -i " + quoted(file) + " -map 0:a -f s16le -");
}

DecodedFile decodedAudioAndTags(const std::filesystem::path& file) {
    // The metadata file has a line "name=value" for each of the input's tags.
    const std::filesystem::path audio = file.string() + ".s16", tags = file.string() + ".tags";
    run("ffmpeg -v quiet -y -i " + quoted(file) + " -map 0:a -f s16le " + quoted(audio) +
        " -f ffmetadata " + quoted(tags));
    DecodedFile out{readFile(audio), threeTags(readFile(tags), "")};
    std::filesystem::remove(audio);
    std::filesystem::remove(tags);
    return out;
}

bool decodedBeforeAndAfter(const std::filesystem::path& original,
                           const std::filesystem::path& updated, std::string& before,
                           DecodedFile& after) {
    // Everything written beside the updated file: the original may be in a read-only folder.
    const std::filesystem::path first = updated.string() + ".before.s16",
                                second = updated.string() + ".s16",
                                tags = updated.string() + ".tags";
    int exitCode = -1;
    run("ffmpeg -v quiet -y -i " + quoted(original) + " -i " + quoted(updated) +
            " -map 0:a -f s16le " + quoted(first) + " -map 1:a -f s16le " + quoted(second) +
            " -map_metadata 1 -f ffmetadata " + quoted(tags),
        &exitCode);
    const bool ok = exitCode == 0;
    if (ok) {
        before = readFile(first);
        after = DecodedFile{readFile(second), threeTags(readFile(tags), "")};
    }
    for (const auto& f : {first, second, tags}) {
        std::filesystem::remove(f);
    }
    return ok;
}

std::filesystem::path corpus(const std::string& name) {
    const char* root = std::getenv("TW_CORPUS");
    return std::filesystem::path(root ? root : TW_TAG_CORPUS_DIR) / "tags" / name;
}

std::string corpusMissing() {
    const auto where = corpus("");
    std::error_code ec;
    if (std::filesystem::is_directory(where, ec)) {
        return {};
    }
    return "the shared tag corpus is not at " + where.string() +
           "; set TW_CORPUS to the folder that holds its tags/ folder to run this test";
}

}  // namespace tw::test

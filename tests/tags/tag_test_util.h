#pragma once
// Byte-level builders for tag test files, and runners for the outside programs the tests check
// against (lame, sox, ffmpeg, ffprobe).

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tw::test {

// One ID3v2 frame. revision 2 gives a 3-letter header, 3 a plain size, 4 a 7-bit size.
std::string frame(const std::string& id, const std::string& data, int revision,
                  std::uint8_t flags2 = 0);
// A text frame with encoding byte 0.
std::string textFrame(const std::string& id, const std::string& text, int revision);
// The 10-byte header for a body of the given size.
std::string id3Header(int revision, std::uint8_t flags, std::uint32_t size);
std::string id3Tag(int revision, const std::string& body, std::uint8_t flags = 0);

// A 128-byte ID3v1 tag from raw 30/30/30/4/30-byte fields and a genre byte.
std::string id3v1(const std::string& title, const std::string& artist, const std::string& album,
                  const std::string& year, const std::string& comment, std::uint8_t genre);

// Bytes of one MPEG 1 Layer III frame, 128 kbit/s, 44.1 kHz (417 bytes), stereo unless mono.
std::string mpegFrame(bool mono = false);
// Several such frames.
std::string mpegFrames(int count);
// A tiny track as a library holds it: an ID3v2.3 tag with title and artist, and four frames.
std::string taggedTrack(const std::string& artist, const std::string& title);

// Runs a command (arguments split by the shell: tests pass fixed, quoted paths) and gives its
// standard output; exitCode receives the status.
std::string run(const std::string& command, int* exitCode = nullptr);
std::string quoted(const std::filesystem::path& p);

// A tone encoded by lame with the extra lame arguments, in folder/name.
std::filesystem::path lameTone(const std::filesystem::path& folder, const std::string& name,
                               const std::string& lameArgs = "");
// title, artist and album as ffprobe reads them ("title=...\nartist=...\nalbum=...").
std::string ffprobeTags(const std::filesystem::path& file);
// The decoded PCM of the file, as ffmpeg gives it.
std::string decodedAudio(const std::filesystem::path& file);
// Both of the above from one run of ffmpeg (its start is most of the cost of a small file): the
// PCM, and title, artist and album from the same reading of the file's metadata as ffprobe's.
struct DecodedFile {
    std::string audio;
    std::string tags;
};
DecodedFile decodedAudioAndTags(const std::filesystem::path& file);
// The PCM of `original`, and the PCM and tags of `updated` (as decodedAudioAndTags gives them),
// from one run of ffmpeg; false, with nothing given, when that run failed (then at least one of
// the files does not decode, and each must be asked for on its own).
bool decodedBeforeAndAfter(const std::filesystem::path& original,
                           const std::filesystem::path& updated, std::string& before,
                           DecodedFile& after);

std::filesystem::path corpus(const std::string& name);
// Empty when the shared tag corpus is there; otherwise the one line that says where it was looked
// for and how to point the tests at it.
std::string corpusMissing();

// The first line of a test that reads the shared corpus: without the corpus the test is skipped
// with that line, unless TW_REQUIRE_CORPUS is set (CI), where it fails.
#define TW_SKIP_WITHOUT_CORPUS()                                                         \
    do {                                                                                 \
        if (const std::string missing = ::tw::test::corpusMissing(); !missing.empty()) { \
            if (std::getenv("TW_REQUIRE_CORPUS")) {                                      \
                FAIL() << missing;                                                       \
            }                                                                            \
            GTEST_SKIP() << missing;                                                     \
        }                                                                                \
    } while (false)

}  // namespace tw::test

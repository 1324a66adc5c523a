#pragma once
// A source of 16-bit interleaved samples at the source's own rate and channel count. Lengths,
// positions and seeks count sample frames (one sample per channel).
//
// A decoder is used by one thread at a time: the console thread while the stream is not playing,
// the read-ahead worker (or the thread calling render() offline) while it is; the stream's decode
// mutex hands it over. Never used by the audio callback. title() is the exception: any thread
// may call it at any time, and a decoder that has a title keeps it behind a lock of its own.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tw::audio {

class Decoder {
  public:
    virtual ~Decoder() = default;

    virtual int rate() const = 0;
    virtual int channels() const = 0;
    // Exact length in frames, or -1 when it is not known (a stream address).
    virtual std::int64_t lengthFrames() const = 0;
    // Decodes up to `frames` frames into `out` (frames * channels samples). Returns the frames
    // written; 0 means either the end (atEnd() is then true) or that no data has arrived yet.
    virtual std::size_t read(std::int16_t* out, std::size_t frames) = 0;
    // Moves to a frame; false when the source cannot seek or the frame is out of range.
    virtual bool seek(std::int64_t frame) = 0;
    // True once read() has returned everything there will ever be.
    virtual bool atEnd() const = 0;
    // How long one read of a network source may wait for data. Zero where reads run under a lock
    // that others need (the real-time engine); the offline engine, whose caller is its only
    // consumer, lets them wait a little so that the network keeps pace with rendering.
    virtual void setReadWait(int /*ms*/) {}
    // The title the source announces as it plays (a stream address's ICY "StreamTitle"), "" when
    // it has none. Any thread.
    virtual std::string title() const { return {}; }
};

// A window on a file: the whole file when length is 0.
struct FileWindow {
    std::string path;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

// A window on a memory block that the decoder keeps alive.
struct MemoryWindow {
    std::shared_ptr<const std::vector<std::uint8_t>> data;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

// Each returns null when the data is not in its format (or cannot be read); `error` then holds one
// of the engine's error codes.
std::unique_ptr<Decoder> openMp3File(const FileWindow& file, int& error);
std::unique_ptr<Decoder> openSndFile(const FileWindow& file, int& error);
std::unique_ptr<Decoder> openSndMemory(const MemoryWindow& memory, int& error);

// Picks the decoder by content: WAV and other PCM forms through libsndfile, else MP3.
std::unique_ptr<Decoder> openFile(const FileWindow& file, int& error);

}  // namespace tw::audio

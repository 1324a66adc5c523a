// WAV (and the other PCM forms libsndfile knows) from a file window or from a memory block holding
// a RIFF image, such as the take the console has just recorded.

#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "audio/byte_window_seek.h"
#include "audio/decoder.h"
#include "audio/engine.h"

namespace tw::audio {

namespace {

// Bytes that libsndfile reads through its virtual I/O: a window of a file or of a memory block.
struct ByteWindow {
    int fd = -1;                                              // file, or -1 for memory
    std::shared_ptr<const std::vector<std::uint8_t>> memory;  // kept alive by the decoder
    sf_count_t start = 0;
    sf_count_t size = 0;
    sf_count_t pos = 0;
};

sf_count_t windowLength(void* user) {
    return static_cast<ByteWindow*>(user)->size;
}

sf_count_t windowSeek(sf_count_t offset, int whence, void* user) {
    auto* w = static_cast<ByteWindow*>(user);
    return seekInWindow<sf_count_t>(w->pos, w->size, offset, whence);
}

sf_count_t windowRead(void* buffer, sf_count_t count, void* user) {
    auto* w = static_cast<ByteWindow*>(user);
    const sf_count_t n = std::min(count, w->size - w->pos);
    if (n <= 0) {
        return 0;
    }
    if (w->fd < 0) {
        std::memcpy(buffer, w->memory->data() + w->start + w->pos, static_cast<size_t>(n));
        w->pos += n;
        return n;
    }
    ssize_t got;
    do {
        got = pread(w->fd, buffer, static_cast<size_t>(n), w->start + w->pos);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) {
        return 0;
    }
    w->pos += got;
    return got;
}

sf_count_t windowWrite(const void*, sf_count_t, void*) {
    return 0;
}

sf_count_t windowTell(void* user) {
    return static_cast<ByteWindow*>(user)->pos;
}

class SndDecoder final : public Decoder {
  public:
    ~SndDecoder() override {
        if (sf_) {
            sf_close(sf_);
        }
        if (window_.fd >= 0) {
            ::close(window_.fd);
        }
    }

    bool open(ByteWindow window, int& error) {
        window_ = std::move(window);
        io_.get_filelen = windowLength;
        io_.seek = windowSeek;
        io_.read = windowRead;
        io_.write = windowWrite;
        io_.tell = windowTell;
        SF_INFO info{};
        sf_ = sf_open_virtual(&io_, SFM_READ, &info, &window_);
        if (!sf_) {
            error = kErrorFileForm;
            return false;
        }
        // MP3 goes through libmpg123, which knows the exact length and seeks to the sample.
        if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG || info.samplerate <= 0 ||
            info.channels < 1 || info.frames < 0) {
            error = kErrorFileForm;
            return false;
        }
        rate_ = info.samplerate;
        channels_ = info.channels;
        length_ = info.frames;
        return true;
    }

    int rate() const override { return rate_; }
    int channels() const override { return channels_; }
    std::int64_t lengthFrames() const override { return length_; }
    bool atEnd() const override { return ended_; }

    std::size_t read(std::int16_t* out, std::size_t frames) override {
        if (ended_) {
            return 0;
        }
        const sf_count_t got = sf_readf_short(sf_, out, static_cast<sf_count_t>(frames));
        if (got <= 0) {
            ended_ = true;
            return 0;
        }
        return static_cast<std::size_t>(got);
    }

    bool seek(std::int64_t frame) override {
        if (frame < 0 || frame > length_) {
            return false;
        }
        if (sf_seek(sf_, frame, SEEK_SET) < 0) {
            return false;
        }
        ended_ = frame >= length_;
        return true;
    }

  private:
    ByteWindow window_;
    SF_VIRTUAL_IO io_{};
    SNDFILE* sf_ = nullptr;
    int rate_ = 0;
    int channels_ = 0;
    std::int64_t length_ = 0;
    bool ended_ = false;
};

std::unique_ptr<Decoder> openWindow(ByteWindow window, int& error) {
    auto decoder = std::make_unique<SndDecoder>();
    if (!decoder->open(std::move(window), error)) {
        return nullptr;
    }
    return decoder;
}

}  // namespace

std::unique_ptr<Decoder> openSndFile(const FileWindow& file, int& error) {
    ByteWindow w;
    w.fd = ::open(file.path.c_str(), O_RDONLY | O_CLOEXEC);
    if (w.fd < 0) {
        error = kErrorFileOpen;
        return nullptr;
    }
    struct stat st {};
    if (fstat(w.fd, &st) != 0 || !S_ISREG(st.st_mode) ||
        file.offset > static_cast<std::uint64_t>(st.st_size)) {
        ::close(w.fd);
        error = kErrorFileOpen;
        return nullptr;
    }
    w.start = static_cast<sf_count_t>(file.offset);
    w.size = static_cast<sf_count_t>(st.st_size) - w.start;
    if (file.length > 0 && static_cast<sf_count_t>(file.length) < w.size) {
        w.size = static_cast<sf_count_t>(file.length);
    }
    return openWindow(std::move(w), error);
}

std::unique_ptr<Decoder> openSndMemory(const MemoryWindow& memory, int& error) {
    if (!memory.data || memory.offset > memory.data->size()) {
        error = kErrorIllegalParam;
        return nullptr;
    }
    ByteWindow w;
    w.memory = memory.data;
    w.start = static_cast<sf_count_t>(memory.offset);
    w.size = static_cast<sf_count_t>(memory.data->size() - memory.offset);
    if (memory.length > 0 && static_cast<sf_count_t>(memory.length) < w.size) {
        w.size = static_cast<sf_count_t>(memory.length);
    }
    return openWindow(std::move(w), error);
}

std::unique_ptr<Decoder> openFile(const FileWindow& file, int& error) {
    int sndError = kOk;
    if (auto d = openSndFile(file, sndError)) {
        return d;
    }
    if (sndError == kErrorFileOpen) {
        error = kErrorFileOpen;
        return nullptr;
    }
    return openMp3File(file, error);
}

}  // namespace tw::audio

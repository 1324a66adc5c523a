// MP3 through libmpg123. The file is scanned once on opening so that the length is exact (the
// encoder's delay and padding from the LAME tag taken off) and seeking lands on the sample frame.

#include <fcntl.h>
#include <mpg123.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

#include "audio/byte_window_seek.h"
#include "audio/decoder.h"
#include "audio/engine.h"
#include "audio/mp3_setup.h"

namespace tw::audio {

namespace {

// The window of the file that the stream covers, read through our own callbacks so that a file
// offset and length work the same as a whole file. libmpg123 asks for a frame header and then a
// frame at a time, a few hundred bytes each; reading the file in blocks of kBlock into `block`
// saves a system call for nearly every one of them (the scan at the opening reads every frame).
struct FileReader {
    static constexpr std::size_t kBlock = 32 * 1024;

    int fd = -1;
    off_t start = 0;
    off_t size = 0;
    off_t pos = 0;
    std::vector<unsigned char> block;  // the window's bytes from blockAt on
    off_t blockAt = 0;
};

// Reads up to `bytes` of the window at `at` straight from the file.
ssize_t readFile(const FileReader& r, void* buffer, size_t bytes, off_t at) {
    ssize_t n;
    do {
        n = pread(r.fd, buffer, bytes, r.start + at);
    } while (n < 0 && errno == EINTR);
    return n;
}

ssize_t readWindow(void* handle, void* buffer, size_t bytes) {
    auto* r = static_cast<FileReader*>(handle);
    const off_t left = r->size - r->pos;
    if (left <= 0) {
        return 0;
    }
    if (static_cast<off_t>(bytes) > left) {
        bytes = static_cast<size_t>(left);
    }
    const off_t blockEnd = r->blockAt + static_cast<off_t>(r->block.size());
    if (r->pos < r->blockAt || r->pos >= blockEnd) {
        if (bytes >= FileReader::kBlock) {
            const ssize_t n = readFile(*r, buffer, bytes, r->pos);
            if (n > 0) {
                r->pos += n;
            }
            return n;
        }
        r->block.resize(FileReader::kBlock);
        const ssize_t n = readFile(*r, r->block.data(), FileReader::kBlock, r->pos);
        r->block.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
        r->blockAt = r->pos;
        if (n <= 0) {
            return n;
        }
    }
    const auto offset = static_cast<std::size_t>(r->pos - r->blockAt);
    const std::size_t n = std::min(bytes, r->block.size() - offset);
    std::memcpy(buffer, r->block.data() + offset, n);
    r->pos += static_cast<off_t>(n);
    return static_cast<ssize_t>(n);
}

off_t seekWindow(void* handle, off_t offset, int whence) {
    auto* r = static_cast<FileReader*>(handle);
    return seekInWindow<off_t>(r->pos, r->size, offset, whence);
}

void closeWindow(void*) {}

class Mp3FileDecoder final : public Decoder {
  public:
    ~Mp3FileDecoder() override {
        if (mh_) {
            mpg123_close(mh_);
            mpg123_delete(mh_);
        }
        if (reader_.fd >= 0) {
            ::close(reader_.fd);
        }
    }

    bool open(const FileWindow& file, int& error) {
        reader_.fd = ::open(file.path.c_str(), O_RDONLY | O_CLOEXEC);
        if (reader_.fd < 0) {
            error = kErrorFileOpen;
            return false;
        }
        struct stat st {};
        if (fstat(reader_.fd, &st) != 0 || !S_ISREG(st.st_mode) ||
            file.offset > static_cast<std::uint64_t>(st.st_size)) {
            error = kErrorFileOpen;
            return false;
        }
        reader_.start = static_cast<off_t>(file.offset);
        reader_.size = static_cast<off_t>(st.st_size) - reader_.start;
        if (file.length > 0 && static_cast<off_t>(file.length) < reader_.size) {
            reader_.size = static_cast<off_t>(file.length);
        }
        long rate = 0;
        int channels = 0;
        if (!start(rate, channels, error)) {
            return false;
        }
        bool needsScan = false;
        // A LAME tag gives the frame count with the encoder's delay and padding: the length is
        // exact without reading the file twice. Without one, only a full scan counts the samples.
        long delay = -1;
        if (mpg123_getstate(mh_, MPG123_ENC_DELAY, &delay, nullptr) != MPG123_OK || delay < 0) {
            needsScan = true;
        }
        if (needsScan && mpg123_scan(mh_) != MPG123_OK) {
            error = kErrorFileForm;
            return false;
        }
        const off_t length = mpg123_length(mh_);
        if (length <= 0) {
            error = kErrorFileForm;
            return false;
        }
        rate_ = static_cast<int>(rate);
        channels_ = channels;
        length_ = length;
        if (mpg123_seek(mh_, 0, SEEK_SET) < 0) {
            error = kErrorFileForm;
            return false;
        }
        return true;
    }

    int rate() const override { return rate_; }
    int channels() const override { return channels_; }
    std::int64_t lengthFrames() const override { return length_; }
    bool atEnd() const override { return ended_; }

    std::size_t read(std::int16_t* out, std::size_t frames) override {
        std::size_t got = 0;
        const std::size_t frameBytes = static_cast<std::size_t>(channels_) * 2;
        while (got < frames && !ended_) {
            size_t done = 0;
            const int rc = mpg123_read(mh_, reinterpret_cast<unsigned char*>(out + got * channels_),
                                       (frames - got) * frameBytes, &done);
            got += done / frameBytes;
            if (rc == MPG123_DONE || (rc != MPG123_OK && rc != MPG123_NEW_FORMAT)) {
                ended_ = true;
            } else if (done == 0 && rc == MPG123_OK) {
                // A frame that gave nothing (the gapless trim of the first frame): read on.
                continue;
            }
        }
        return got;
    }

    // From a handle opened afresh: where libmpg123 starts decoding for a seek depends on how
    // much of the file its index covers, and with that the first samples after the seek (by a
    // unit in the last place here and there). A handle that has read further would decode them
    // a little differently, so the samples after a seek would depend on how far the read-ahead
    // had got. Opening costs a few frames' parsing; the seek parses on from there.
    bool seek(std::int64_t frame) override {
        if (frame < 0 || frame > length_) {
            return false;
        }
        if (mh_) {
            mpg123_close(mh_);
            mpg123_delete(mh_);
            mh_ = nullptr;
        }
        reader_.pos = 0;
        long rate = 0;
        int channels = 0, error = 0;
        if (!start(rate, channels, error) || rate != rate_ || channels != channels_ ||
            mpg123_seek(mh_, static_cast<off_t>(frame), SEEK_SET) < 0) {
            ended_ = true;  // nothing more can be read
            return false;
        }
        ended_ = frame >= length_;
        return true;
    }

  private:
    // A new handle on the file, its format fixed as its first frame gives it.
    bool start(long& rate, int& channels, int& error) {
        mh_ = newMp3Handle();
        if (!mh_) {
            error = kErrorMemory;
            return false;
        }
        if (mpg123_replace_reader_handle(mh_, readWindow, seekWindow, closeWindow) != MPG123_OK ||
            mpg123_open_handle(mh_, &reader_) != MPG123_OK) {
            error = kErrorFileForm;
            return false;
        }
        int encoding = 0;
        if (mpg123_getformat(mh_, &rate, &channels, &encoding) != MPG123_OK || rate <= 0 ||
            channels < 1) {
            error = kErrorFileForm;
            return false;
        }
        // Keep exactly this format for the whole file: a later frame at another rate is converted
        // by libmpg123 instead of changing the stream's format under the mixer.
        mpg123_format_none(mh_);
        mpg123_format(mh_, rate, channels, MPG123_ENC_SIGNED_16);
        return true;
    }

    FileReader reader_;
    mpg123_handle* mh_ = nullptr;
    int rate_ = 0;
    int channels_ = 0;
    std::int64_t length_ = 0;
    bool ended_ = false;
};

}  // namespace

std::unique_ptr<Decoder> openMp3File(const FileWindow& file, int& error) {
    auto decoder = std::make_unique<Mp3FileDecoder>();
    if (!decoder->open(file, error)) {
        return nullptr;
    }
    return decoder;
}

}  // namespace tw::audio

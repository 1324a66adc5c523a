#include "audio/peak_envelope.h"

#include <mpg123.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "audio/decoder.h"
#include "audio/mp3_setup.h"

namespace tw::audio {

namespace {

// Measured frames per column at the least; a longer track measures one frame in up to this many
// (and decodes the one before it as well).
constexpr std::int64_t kMeasuredPerColumn = 1;
constexpr std::int64_t kLongestStride = 12;

std::uint16_t peakOf(const std::int16_t* samples, std::size_t count) {
    int peak = 0;
    for (std::size_t i = 0; i < count; ++i) {
        peak = std::max(peak, std::abs(static_cast<int>(samples[i])));
    }
    return static_cast<std::uint16_t>(std::min(peak, 32767));
}

std::size_t columnOf(std::int64_t position, std::int64_t length, std::size_t columns) {
    if (length <= 0) {
        return 0;
    }
    const auto c = static_cast<std::size_t>(position * static_cast<std::int64_t>(columns) / length);
    return std::min(c, columns - 1);
}

PeakEnvelope fromPcmFile(const std::string& path, std::size_t columns) {
    int error = 0;
    std::unique_ptr<Decoder> d = openSndFile({path, 0, 0}, error);
    PeakEnvelope env;
    if (!d || d->lengthFrames() <= 0 || d->rate() <= 0) {
        return env;
    }
    env.peaks.assign(columns, 0);
    const std::int64_t length = d->lengthFrames();
    const auto channels = static_cast<std::size_t>(d->channels());
    std::vector<std::int16_t> block(4096 * channels);
    std::int64_t position = 0;
    while (std::size_t got = d->read(block.data(), 4096)) {
        for (std::size_t f = 0; f < got; ++f) {
            std::uint16_t& peak =
                env.peaks[columnOf(position + static_cast<std::int64_t>(f), length, columns)];
            peak = std::max(peak, peakOf(block.data() + f * channels, channels));
        }
        position += static_cast<std::int64_t>(got);
    }
    env.seconds = static_cast<double>(length) / d->rate();
    return env;
}

// The file through stdio with a large buffer: the library reads each frame's header and body
// separately, which unbuffered would be several system calls a frame.
struct BufferedFile {
    std::FILE* f = nullptr;
    std::vector<char> buffer = std::vector<char>(1 << 18);
};

mpg123_ssize_t readBuffered(void* handle, void* out, size_t bytes) {
    auto* file = static_cast<BufferedFile*>(handle);
    const size_t n = std::fread(out, 1, bytes, file->f);
    return n == 0 && std::ferror(file->f) ? -1 : static_cast<mpg123_ssize_t>(n);
}

off_t seekBuffered(void* handle, off_t offset, int whence) {
    auto* file = static_cast<BufferedFile*>(handle);
    return ::fseeko(file->f, offset, whence) == 0 ? ::ftello(file->f) : -1;
}

struct Mp3Handle {
    mpg123_handle* mh = newMp3Handle();
    BufferedFile file;
    ~Mp3Handle() {
        if (mh) {
            mpg123_close(mh);
            mpg123_delete(mh);
        }
        if (file.f) {
            std::fclose(file.f);
        }
    }
    bool open(const std::string& path) {
        file.f = std::fopen(path.c_str(), "rb");
        if (!mh || !file.f) {
            return false;
        }
        std::setvbuf(file.f, file.buffer.data(), _IOFBF, file.buffer.size());
        return mpg123_replace_reader_handle(mh, readBuffered, seekBuffered, nullptr) == MPG123_OK &&
               mpg123_open_handle(mh, &file) == MPG123_OK;
    }
};

PeakEnvelope fromMp3File(const std::string& path, std::size_t columns) {
    PeakEnvelope env;
    Mp3Handle h;
    if (!h.mh) {
        return env;
    }
    mpg123_param(h.mh, MPG123_ADD_FLAGS, MPG123_FORCE_MONO, 0.0);
    if (!h.open(path)) {
        return env;
    }
    // A LAME or Xing header gives the lengths without reading the file twice; without one, the
    // library's estimate from the file's size would put a VBR file's columns in the wrong places.
    long delay = -1;
    if ((mpg123_getstate(h.mh, MPG123_ENC_DELAY, &delay, nullptr) != MPG123_OK || delay < 0) &&
        mpg123_scan(h.mh) != MPG123_OK) {
        return env;
    }
    const off_t frames = mpg123_framelength(h.mh);
    const off_t samples = mpg123_length(h.mh);
    long rate = 0;
    int channels = 0, encoding = 0;
    if (frames <= 0 || samples <= 0 || mpg123_getformat(h.mh, &rate, &channels, &encoding) != 0 ||
        rate <= 0) {
        return env;
    }
    env.peaks.assign(columns, 0);
    env.seconds = static_cast<double>(samples) / static_cast<double>(rate);
    const std::int64_t stride = std::clamp<std::int64_t>(
        frames / (static_cast<std::int64_t>(columns) * kMeasuredPerColumn), 1, kLongestStride);
    std::int64_t index = 0;
    for (;;) {
        const int r = mpg123_framebyframe_next(h.mh);
        if (r != MPG123_OK && r != MPG123_NEW_FORMAT) {
            break;  // the end, or nothing more that is a frame
        }
        if (stride > 1 && index % stride == stride - 1) {
            // The frame before a measured one is decoded and its sound let go: Layer III takes
            // part of each frame from the one before, which only a decode hands over.
            off_t num = 0;
            unsigned char* audio = nullptr;
            size_t bytes = 0;
            mpg123_framebyframe_decode(h.mh, &num, &audio, &bytes);
        } else if (index % stride == 0) {
            off_t num = 0;
            unsigned char* audio = nullptr;
            size_t bytes = 0;
            if (mpg123_framebyframe_decode(h.mh, &num, &audio, &bytes) == MPG123_OK && audio) {
                const std::uint16_t p = peakOf(reinterpret_cast<const std::int16_t*>(audio),
                                               bytes / sizeof(std::int16_t));
                // A short track has fewer frames than columns: a frame covers all of its own.
                const std::size_t first = columnOf(index, frames, columns);
                const std::size_t next = columnOf(index + stride, frames, columns);
                const std::size_t last =
                    index + stride >= frames ? columns - 1 : std::max(first, next - (next > first));
                for (std::size_t c = first; c <= last; ++c) {
                    env.peaks[c] = std::max(env.peaks[c], p);
                }
            }
        }
        ++index;
    }
    return env;
}

}  // namespace

PeakEnvelope peakEnvelope(const std::string& path, std::size_t columns) {
    if (columns == 0) {
        return {};
    }
    PeakEnvelope env = fromPcmFile(path, columns);
    return env.ok() ? env : fromMp3File(path, columns);
}

}  // namespace tw::audio

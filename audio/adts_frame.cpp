#include "audio/adts_frame.h"

#include <algorithm>

namespace tw::audio {

namespace {

constexpr int kRates[13] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                            22050, 16000, 12000, 11025, 8000,  7350};

// Consumed bytes are moved out of the buffer once they are this many and more than half of it,
// so that a long stream costs no more than a frame's worth of copying per frame.
constexpr std::size_t kCompactAt = 16384;

}  // namespace

bool AdtsHeader::sameStream(const AdtsHeader& other) const {
    return mpeg2 == other.mpeg2 && hasCrc == other.hasCrc && profile == other.profile &&
           rateIndex == other.rateIndex && channelConfig == other.channelConfig;
}

std::optional<AdtsHeader> parseAdtsHeader(const std::uint8_t* data, std::size_t size) {
    if (size < AdtsHeader::kMinBytes || data[0] != 0xFF || (data[1] & 0xF6) != 0xF0) {
        return std::nullopt;
    }
    AdtsHeader h;
    h.mpeg2 = (data[1] & 0x08) != 0;
    h.hasCrc = (data[1] & 0x01) == 0;
    h.profile = data[2] >> 6;
    h.rateIndex = (data[2] >> 2) & 0x0F;
    if (h.rateIndex >= 13) {
        return std::nullopt;
    }
    h.sampleRate = kRates[h.rateIndex];
    h.channelConfig = ((data[2] & 0x01) << 2) | (data[3] >> 6);
    h.headerBytes = h.hasCrc ? 9 : 7;
    h.frameBytes = (static_cast<std::size_t>(data[3] & 0x03) << 11) |
                   (static_cast<std::size_t>(data[4]) << 3) | (data[5] >> 5);
    h.rawBlocks = (data[6] & 0x03) + 1;
    if (h.frameBytes <= h.headerBytes) {
        return std::nullopt;
    }
    return h;
}

void AdtsSplitter::push(const std::uint8_t* data, std::size_t size) {
    if (pos_ >= kCompactAt && pos_ * 2 >= buffer_.size()) {
        buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(pos_));
        pos_ = 0;
    }
    buffer_.insert(buffer_.end(), data, data + size);
}

void AdtsSplitter::drop(std::size_t n) {
    pos_ += n;
    skipped_ += n;
}

bool AdtsSplitter::search(AdtsHeader& header) {
    while (buffer_.size() - pos_ >= AdtsHeader::kMinBytes) {
        const std::uint8_t* at = buffer_.data() + pos_;
        const std::size_t left = buffer_.size() - pos_;
        auto h = parseAdtsHeader(at, left);
        if (!h) {
            drop(1);
            continue;
        }
        if (left < h->frameBytes + AdtsHeader::kMinBytes) {
            if (finished_ && left >= h->frameBytes) {
                header = *h;  // the stream's last frame, with nothing after it to confirm it
                return true;
            }
            if (finished_) {
                drop(1);
                continue;
            }
            return false;
        }
        auto after = parseAdtsHeader(at + h->frameBytes, left - h->frameBytes);
        if (!after || !after->sameStream(*h)) {
            drop(1);
            continue;
        }
        header = *h;
        return true;
    }
    if (finished_) {
        drop(buffer_.size() - pos_);
    }
    return false;
}

bool AdtsSplitter::next(std::vector<std::uint8_t>& frame, AdtsHeader& header) {
    if (locked_) {
        const std::size_t left = buffer_.size() - pos_;
        if (left < AdtsHeader::kMinBytes) {
            if (finished_) {
                drop(left);
            }
            return false;
        }
        auto h = parseAdtsHeader(buffer_.data() + pos_, left);
        if (!h || !h->sameStream(*locked_)) {
            locked_.reset();  // out of step: look for the next confirmed frame
        } else if (left < h->frameBytes) {
            if (finished_) {
                drop(left);  // a frame cut short by the end of the stream
            }
            return false;
        } else {
            header = *h;
        }
    }
    if (!locked_) {
        if (!search(header)) {
            return false;
        }
        locked_ = header;
    }
    const auto first = buffer_.begin() + static_cast<std::ptrdiff_t>(pos_);
    frame.assign(first, first + static_cast<std::ptrdiff_t>(header.frameBytes));
    pos_ += header.frameBytes;
    return true;
}

}  // namespace tw::audio

#include "autodj/tag_cache_file.h"

#include <charconv>
#include <utility>

namespace tw::autodj {

namespace {

void putField(std::string& out, std::string_view field) {
    for (const char ch : field) {
        switch (ch) {
            case '\t':
                out += "\\t";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\\':
                out += "\\\\";
                break;
            default:
                out += ch;
        }
    }
}

std::optional<std::string> takeField(std::string_view raw) {
    std::string out;
    out.reserve(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] != '\\') {
            out += raw[i];
            continue;
        }
        if (++i == raw.size()) {
            return std::nullopt;
        }
        switch (raw[i]) {
            case 't':
                out += '\t';
                break;
            case 'n':
                out += '\n';
                break;
            case 'r':
                out += '\r';
                break;
            case '\\':
                out += '\\';
                break;
            default:
                return std::nullopt;
        }
    }
    return out;
}

template <typename T>
bool takeNumber(std::string_view raw, T& value) {
    if (raw.empty() || (raw.size() > 1 && raw[0] == '0')) {
        return false;
    }
    const auto [end, ec] = std::from_chars(raw.data(), raw.data() + raw.size(), value);
    return ec == std::errc() && end == raw.data() + raw.size();
}

std::vector<std::string_view> splitTabs(std::string_view line) {
    std::vector<std::string_view> fields;
    std::size_t from = 0;
    for (;;) {
        const std::size_t tab = line.find('\t', from);
        fields.push_back(line.substr(from, tab == std::string_view::npos ? tab : tab - from));
        if (tab == std::string_view::npos) {
            return fields;
        }
        from = tab + 1;
    }
}

}  // namespace

TagCacheWriter::TagCacheWriter(Sink sink) : sink_(std::move(sink)) {
    piece_.reserve(kPiece + 1024);
    piece_ = kTagCacheHeader;
    piece_ += '\n';
}

bool TagCacheWriter::pass(std::size_t atLeast) {
    if (failed_) {
        return false;
    }
    if (piece_.size() >= atLeast && !piece_.empty()) {
        failed_ = !sink_(piece_);
        piece_.clear();
    }
    return !failed_;
}

bool TagCacheWriter::add(std::string_view folder, std::string_view name, const FileStamp& stamp,
                         std::string_view artist, std::string_view mp3Title,
                         std::string_view listTitle) {
    if (failed_) {
        return false;
    }
    if (!inFolder_ || folder_ != folder) {
        piece_ += "F\t";
        putField(piece_, folder);
        piece_ += '\n';
        folder_ = folder;
        inFolder_ = true;
    }
    piece_ += "T\t";
    putField(piece_, name);
    piece_ += '\t' + std::to_string(stamp.inode) + '\t' + std::to_string(stamp.size) + '\t' +
              std::to_string(stamp.modifiedNs) + '\t' + std::to_string(stamp.changedNs) + '\t';
    putField(piece_, artist);
    piece_ += '\t';
    putField(piece_, mp3Title);
    piece_ += '\t';
    putField(piece_, listTitle);
    piece_ += '\n';
    ++records_;
    return pass(kPiece);
}

bool TagCacheWriter::finish() {
    if (failed_) {
        return false;
    }
    piece_ += "end\t" + std::to_string(records_) + '\n';
    return pass(0);
}

std::string serializeTagCache(const std::vector<SavedTag>& records) {
    std::string out;
    TagCacheWriter writer([&out](std::string_view piece) {
        out += piece;
        return true;
    });
    for (const auto& r : records) {
        writer.add(r.folder, r.name, r.stamp, r.artist, r.mp3Title, r.listTitle);
    }
    writer.finish();
    return out;
}

bool readTagCache(std::string_view text, const TagReader& take) {
    std::optional<std::string> folder;
    std::size_t records = 0;
    bool first = true;
    while (!text.empty()) {
        const std::size_t eol = text.find('\n');
        if (eol == std::string_view::npos) {
            return false;  // every line ends with a line break, the last one too
        }
        const std::string_view line = text.substr(0, eol);
        text.remove_prefix(eol + 1);
        if (first) {
            if (line != kTagCacheHeader) {
                return false;
            }
            first = false;
            continue;
        }
        const auto fields = splitTabs(line);
        if (fields[0] == "F" && fields.size() == 2) {
            folder = takeField(fields[1]);
            if (!folder) {
                return false;
            }
        } else if (fields[0] == "T" && fields.size() == 9 && folder) {
            SavedTag r;
            auto name = takeField(fields[1]);
            auto artist = takeField(fields[6]);
            auto title = takeField(fields[7]);
            auto listTitle = takeField(fields[8]);
            if (!name || name->empty() || !artist || !title || !listTitle ||
                !takeNumber(fields[2], r.stamp.inode) || !takeNumber(fields[3], r.stamp.size) ||
                !takeNumber(fields[4], r.stamp.modifiedNs) ||
                !takeNumber(fields[5], r.stamp.changedNs)) {
                return false;
            }
            r.name = std::move(*name);
            r.artist = std::move(*artist);
            r.mp3Title = std::move(*title);
            r.listTitle = std::move(*listTitle);
            take(*folder, r);
            ++records;
        } else if (fields[0] == "end" && fields.size() == 2) {
            std::size_t count = 0;
            return takeNumber(fields[1], count) && count == records && text.empty();
        } else {
            return false;
        }
    }
    return false;  // no "end" line: the file was cut
}

std::optional<std::vector<SavedTag>> parseTagCache(std::string_view text) {
    std::vector<SavedTag> records;
    const bool whole = readTagCache(text, [&records](const std::string& folder, SavedTag& r) {
        r.folder = folder;
        records.push_back(std::move(r));
    });
    if (!whole) {
        return std::nullopt;
    }
    return records;
}

}  // namespace tw::autodj

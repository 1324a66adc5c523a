#include "autodj/tag_cache_file.h"

#include <charconv>

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

std::string serializeTagCache(const std::vector<SavedTag>& records) {
    std::string out(kTagCacheHeader);
    out += '\n';
    const std::string* folder = nullptr;
    for (const auto& r : records) {
        if (!folder || *folder != r.folder) {
            out += "F\t";
            putField(out, r.folder);
            out += '\n';
            folder = &r.folder;
        }
        out += "T\t";
        putField(out, r.name);
        out += '\t' + std::to_string(r.stamp.inode) + '\t' + std::to_string(r.stamp.size) + '\t' +
               std::to_string(r.stamp.modifiedNs) + '\t' + std::to_string(r.stamp.changedNs) + '\t';
        putField(out, r.artist);
        out += '\t';
        putField(out, r.mp3Title);
        out += '\t';
        putField(out, r.listTitle);
        out += '\n';
    }
    out += "end\t" + std::to_string(records.size()) + '\n';
    return out;
}

std::optional<std::vector<SavedTag>> parseTagCache(std::string_view text) {
    std::vector<SavedTag> records;
    std::optional<std::string> folder;
    bool first = true;
    while (!text.empty()) {
        const std::size_t eol = text.find('\n');
        if (eol == std::string_view::npos) {
            return std::nullopt;  // every line ends with a line break, the last one too
        }
        const std::string_view line = text.substr(0, eol);
        text.remove_prefix(eol + 1);
        if (first) {
            if (line != kTagCacheHeader) {
                return std::nullopt;
            }
            first = false;
            continue;
        }
        const auto fields = splitTabs(line);
        if (fields[0] == "F" && fields.size() == 2) {
            folder = takeField(fields[1]);
            if (!folder) {
                return std::nullopt;
            }
        } else if (fields[0] == "T" && fields.size() == 9 && folder) {
            SavedTag r;
            r.folder = *folder;
            auto name = takeField(fields[1]);
            auto artist = takeField(fields[6]);
            auto title = takeField(fields[7]);
            auto listTitle = takeField(fields[8]);
            if (!name || name->empty() || !artist || !title || !listTitle ||
                !takeNumber(fields[2], r.stamp.inode) || !takeNumber(fields[3], r.stamp.size) ||
                !takeNumber(fields[4], r.stamp.modifiedNs) ||
                !takeNumber(fields[5], r.stamp.changedNs)) {
                return std::nullopt;
            }
            r.name = std::move(*name);
            r.artist = std::move(*artist);
            r.mp3Title = std::move(*title);
            r.listTitle = std::move(*listTitle);
            records.push_back(std::move(r));
        } else if (fields[0] == "end" && fields.size() == 2) {
            std::size_t count = 0;
            if (!takeNumber(fields[1], count) || count != records.size() || !text.empty()) {
                return std::nullopt;
            }
            return records;
        } else {
            return std::nullopt;
        }
    }
    return std::nullopt;  // no "end" line: the file was cut
}

}  // namespace tw::autodj

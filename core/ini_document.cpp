#include "core/ini_document.h"

#include <algorithm>
#include <cstring>

#include "core/text.h"

namespace tw::core {

namespace {

// A section with more keys than this gets a hash index; below it a scan of the lines wins.
constexpr std::uint32_t kIndexedKeyCount = 16;
// Added lines are packed into chunks of this size; a longer line gets a chunk of its own.
constexpr std::size_t kChunkSize = 64 * 1024;
// Replaced text is kept until it outweighs the live text, then the document is rebuilt.
constexpr std::size_t kMinGarbageForRebuild = 1 << 20;

bool isSpaceOrTab(char c) {
    return c == ' ' || c == '\t';
}

std::string_view trimSpaces(std::string_view s) {
    while (!s.empty() && isSpaceOrTab(s.front())) {
        s.remove_prefix(1);
    }
    while (!s.empty() && isSpaceOrTab(s.back())) {
        s.remove_suffix(1);
    }
    return s;
}

bool hasLineBreak(std::string_view s) {
    return s.find_first_of("\r\n") != std::string_view::npos;
}

}  // namespace

std::string IniDocument::lookupName(std::string_view name) {
    std::string out(trimSpaces(name));
    for (char& c : out) {
        c = lowerAscii(c);
    }
    return out;
}

std::size_t IniDocument::FoldHash::operator()(std::string_view s) const noexcept {
    std::uint64_t h = 14695981039346656037ull;
    for (char c : s) {
        h ^= static_cast<unsigned char>(lowerAscii(c));
        h *= 1099511628211ull;
    }
    return static_cast<std::size_t>(h);
}

bool IniDocument::FoldEqual::operator()(std::string_view a, std::string_view b) const noexcept {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lowerAscii(a[i]) != lowerAscii(b[i])) {
            return false;
        }
    }
    return true;
}

IniDocument::IniDocument() {
    sections_.emplace_back();
}

IniDocument::IniDocument(std::string_view bytes) : bytes_(bytes.begin(), bytes.end()) {
    parse(bytes_.data(), bytes_.size());
}

IniDocument::IniDocument(std::vector<char> bytes) : bytes_(std::move(bytes)) {
    parse(bytes_.data(), bytes_.size());
}

IniDocument::~IniDocument() = default;
IniDocument::IniDocument(IniDocument&&) noexcept = default;
IniDocument& IniDocument::operator=(IniDocument&&) noexcept = default;

std::size_t IniDocument::lineEndSize(LineEnd end) {
    switch (end) {
        case LineEnd::kNone:
            return 0;
        case LineEnd::kLf:
        case LineEnd::kCr:
            return 1;
        case LineEnd::kCrLf:
            return 2;
    }
    return 0;
}

IniDocument::Line IniDocument::classify(const char* text, std::size_t size, LineEnd end) {
    Line line;
    line.text = text;
    line.size = static_cast<std::uint32_t>(size);
    line.end = end;
    std::size_t i = 0;
    while (i < size && isSpaceOrTab(text[i])) {
        ++i;
    }
    if (i == size || text[i] == ';') {
        return line;
    }
    const std::string_view whole(text, size);
    if (text[i] == '[') {
        const std::size_t close = whole.rfind(']');
        if (close == std::string_view::npos || close <= i) {
            return line;
        }
        const std::string_view name = trimSpaces(whole.substr(i + 1, close - i - 1));
        line.kind = Kind::kSection;
        line.nameBegin = static_cast<std::uint32_t>(name.data() - text);
        line.nameSize = static_cast<std::uint32_t>(name.size());
        return line;
    }
    const std::size_t eq = whole.find('=', i);
    if (eq == std::string_view::npos) {
        return line;
    }
    const std::string_view name = trimSpaces(whole.substr(i, eq - i));
    const std::string_view value = trimSpaces(whole.substr(eq + 1));
    line.kind = Kind::kKey;
    line.nameBegin = static_cast<std::uint32_t>(name.empty() ? eq : name.data() - text);
    line.nameSize = static_cast<std::uint32_t>(name.size());
    line.valueBegin = static_cast<std::uint32_t>(value.empty() ? size : value.data() - text);
    line.valueSize = static_cast<std::uint32_t>(value.size());
    return line;
}

void IniDocument::parse(const char* data, std::size_t size) {
    sections_.clear();
    sectionIndex_.clear();
    sections_.emplace_back();
    byteSize_ = size;
    bool styleKnown = false;
    const char* p = data;
    const char* const end = data + size;
    while (p < end) {
        const auto* nl = static_cast<const char*>(std::memchr(p, '\n', end - p));
        const char* limit = nl ? nl : end;
        const auto* cr = static_cast<const char*>(std::memchr(p, '\r', limit - p));
        const char* stop = end;
        const char* next = end;
        LineEnd lineEnd = LineEnd::kNone;
        if (cr) {
            stop = cr;
            lineEnd = (cr + 1 == nl) ? LineEnd::kCrLf : LineEnd::kCr;
            next = cr + lineEndSize(lineEnd);
        } else if (nl) {
            stop = nl;
            lineEnd = LineEnd::kLf;
            next = nl + 1;
        }
        if (!styleKnown && lineEnd != LineEnd::kNone) {
            style_ = lineEnd;
            styleKnown = true;
        }
        const Line line = classify(p, static_cast<std::size_t>(stop - p), lineEnd);
        if (line.kind == Kind::kSection) {
            sections_.emplace_back();
            sectionIndex_.emplace(line.name(), static_cast<std::uint32_t>(sections_.size() - 1));
        } else if (line.kind == Kind::kKey && sections_.size() > 1) {
            ++sections_.back().keyCount;
        }
        sections_.back().lines.push_back(line);
        p = next;
    }
}

const IniDocument::Section* IniDocument::findSection(std::string_view name) const {
    const auto it = sectionIndex_.find(name);
    return it == sectionIndex_.end() ? nullptr : &sections_[it->second];
}

std::optional<std::uint32_t> IniDocument::findKeyLine(const Section& section,
                                                      std::string_view key) const {
    if (section.keyCount > kIndexedKeyCount) {
        if (!section.keyIndex) {
            section.keyIndex = std::make_unique<NameIndex>();
            section.keyIndex->reserve(section.keyCount);
            for (std::uint32_t i = 0; i < section.lines.size(); ++i) {
                if (section.lines[i].kind == Kind::kKey) {
                    section.keyIndex->emplace(section.lines[i].name(), i);
                }
            }
        }
        const auto it = section.keyIndex->find(key);
        if (it == section.keyIndex->end()) {
            return std::nullopt;
        }
        return it->second;
    }
    const FoldEqual equal;
    for (std::uint32_t i = 0; i < section.lines.size(); ++i) {
        const Line& line = section.lines[i];
        if (line.kind == Kind::kKey && equal(line.name(), key)) {
            return i;
        }
    }
    return std::nullopt;
}

std::optional<std::string_view> IniDocument::find(std::string_view section,
                                                  std::string_view key) const {
    const Section* found = findSection(trimSpaces(section));
    return found ? valueIn(*found, key) : std::nullopt;
}

std::array<std::optional<std::string_view>, 2> IniDocument::find(std::string_view section,
                                                                 std::string_view key1,
                                                                 std::string_view key2) const {
    const Section* found = findSection(trimSpaces(section));
    if (!found) {
        return {};
    }
    return {valueIn(*found, key1), valueIn(*found, key2)};
}

std::optional<std::string_view> IniDocument::valueIn(const Section& section,
                                                     std::string_view key) const {
    const auto index = findKeyLine(section, trimSpaces(key));
    if (!index) {
        return std::nullopt;
    }
    std::string_view value = section.lines[*index].rawValue();
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
        value.back() == value.front()) {
        value = value.substr(1, value.size() - 2);
    }
    return value;
}

const char* IniDocument::store(std::string_view a, std::string_view b, std::string_view c) {
    const std::size_t size = a.size() + b.size() + c.size();
    char* target = nullptr;
    if (size > kChunkSize / 4) {
        // A long line gets a chunk of its own, placed below the chunk being filled.
        auto own = std::make_unique<char[]>(size);
        target = own.get();
        chunks_.insert(chunkSize_ == 0 ? chunks_.end() : chunks_.end() - 1, std::move(own));
    } else {
        if (chunkSize_ == 0 || chunkUsed_ + size > chunkSize_) {
            chunks_.push_back(std::make_unique<char[]>(kChunkSize));
            chunkUsed_ = 0;
            chunkSize_ = kChunkSize;
        }
        target = chunks_.back().get() + chunkUsed_;
        chunkUsed_ += size;
    }
    std::memcpy(target, a.data(), a.size());
    std::memcpy(target + a.size(), b.data(), b.size());
    std::memcpy(target + a.size() + b.size(), c.data(), c.size());
    return target;
}

IniDocument::Line IniDocument::makeLine(std::string_view a, std::string_view b, std::string_view c,
                                        LineEnd end, Kind expected, std::string_view expectedName,
                                        bool& clean) {
    const std::size_t size = a.size() + b.size() + c.size();
    const Line line = classify(store(a, b, c), size, end);
    // A name or value that would read back differently once the file is parsed again (a line
    // break, an "=" in a key name, a key that looks like a header) leaves the structure to a
    // rebuild.
    const std::string_view text(line.text, line.size);
    if (line.kind != expected || !FoldEqual{}(line.name(), expectedName) || hasLineBreak(text)) {
        clean = false;
    }
    byteSize_ += size + lineEndSize(end);
    return line;
}

void IniDocument::insertLine(Section& section, std::uint32_t at, const Line& line) {
    section.lines.insert(section.lines.begin() + at, line);
    ++section.keyCount;
    if (section.keyIndex) {
        section.keyIndex->emplace(line.name(), at);
    }
}

void IniDocument::forget(const Line& line) {
    garbage_ += line.size;
    byteSize_ -= line.size + lineEndSize(line.end);
}

void IniDocument::rebuild() {
    const std::string text = serialize();
    *this = IniDocument(std::string_view(text));
}

bool IniDocument::set(std::string_view sectionName, std::string_view keyName,
                      std::optional<std::string_view> value) {
    const std::string_view name = trimSpaces(sectionName);
    const std::string_view key = trimSpaces(keyName);
    const auto sectionIt = sectionIndex_.find(name);
    Section* section = sectionIt == sectionIndex_.end() ? nullptr : &sections_[sectionIt->second];
    std::optional<std::uint32_t> keyLine;
    if (section) {
        keyLine = findKeyLine(*section, key);
    }

    if (!value) {
        if (!keyLine) {
            return false;
        }
        forget(section->lines[*keyLine]);
        section->lines.erase(section->lines.begin() + *keyLine);
        --section->keyCount;
        section->keyIndex.reset();
        return true;
    }

    bool clean = true;
    if (keyLine) {
        Line& old = section->lines[*keyLine];
        if (old.rawValue() == *value) {
            return false;
        }
        const Line line = makeLine(old.name(), "=", *value, old.end, Kind::kKey, old.name(), clean);
        forget(old);
        old = line;
    } else if (section) {
        std::uint32_t at = static_cast<std::uint32_t>(section->lines.size());
        while (at > 1 && section->lines[at - 1].kind != Kind::kKey) {
            --at;
        }
        Line& before = section->lines[at - 1];
        if (before.end == LineEnd::kNone) {
            before.end = style_;
            byteSize_ += lineEndSize(style_);
        }
        insertLine(*section, at, makeLine(key, "=", *value, style_, Kind::kKey, key, clean));
    } else {
        Section& last = sections_.back();
        if (!last.lines.empty() && last.lines.back().end == LineEnd::kNone) {
            last.lines.back().end = style_;
            byteSize_ += lineEndSize(style_);
        }
        Section added;
        added.lines.push_back(makeLine("[", name, "]", style_, Kind::kSection, name, clean));
        added.lines.push_back(makeLine(key, "=", *value, style_, Kind::kKey, key, clean));
        added.keyCount = 1;
        sections_.push_back(std::move(added));
        sectionIndex_.emplace(sections_.back().lines.front().name(),
                              static_cast<std::uint32_t>(sections_.size() - 1));
    }
    if (!clean || (garbage_ > kMinGarbageForRebuild && garbage_ > byteSize_)) {
        rebuild();
    }
    return true;
}

void IniDocument::serializeTo(std::string& out) const {
    out.reserve(out.size() + byteSize_);
    for (const Section& section : sections_) {
        for (const Line& line : section.lines) {
            out.append(line.text, line.size);
            switch (line.end) {
                case LineEnd::kNone:
                    break;
                case LineEnd::kLf:
                    out.push_back('\n');
                    break;
                case LineEnd::kCrLf:
                    out.append("\r\n", 2);
                    break;
                case LineEnd::kCr:
                    out.push_back('\r');
                    break;
            }
        }
    }
}

std::string IniDocument::serialize() const {
    std::string out;
    serializeTo(out);
    return out;
}

bool IniDocument::sameBytes(std::string_view bytes) const {
    if (bytes.size() != byteSize_) {
        return false;
    }
    static constexpr std::string_view kEnds[] = {"", "\n", "\r\n", "\r"};
    std::size_t at = 0;
    for (const Section& section : sections_) {
        for (const Line& line : section.lines) {
            const std::string_view end = kEnds[static_cast<int>(line.end)];
            if (bytes.substr(at, line.size) != std::string_view(line.text, line.size) ||
                bytes.substr(at + line.size, end.size()) != end) {
                return false;
            }
            at += line.size + end.size();
        }
    }
    return at == bytes.size();
}

std::string_view cutToCodePoints(std::string_view text, std::size_t maxChars) {
    std::size_t at = 0;
    std::size_t chars = 0;
    while (at < text.size() && chars < maxChars) {
        const auto lead = static_cast<unsigned char>(text[at]);
        std::size_t length = 1;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
        }
        if (at + length > text.size()) {
            length = 1;
        }
        for (std::size_t i = 1; i < length; ++i) {
            if ((static_cast<unsigned char>(text[at + i]) & 0xC0) != 0x80) {
                length = 1;
                break;
            }
        }
        at += length;
        ++chars;
    }
    return text.substr(0, at);
}

}  // namespace tw::core

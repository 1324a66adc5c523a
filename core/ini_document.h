#pragma once
// One INI file held in memory as the lines it was read from. Every line keeps its bytes and its
// own line end (LF, CRLF, a lone CR, or none on the last line), so that writing the document back
// changes only the lines a write touched: comments, blank lines, stray text and odd spacing
// survive.
//
// Reading rules: a line whose first non-blank byte is "[" and which holds a "]" opens a section
// named by what stands between the "[" and the last "]"; a line with "=" (not a section, not a ";"
// comment) is a key; anything else is kept and ignored. Blanks (space, tab) around names and values
// do not count. Section and key names are compared with ASCII case folding; other bytes (UTF-8
// names) must match exactly. The first section of a name wins, and within it the first key.
// Lines before the first section belong to no section and are never found.
//
// Thread contract: a document belongs to one thread (the console thread, through the settings
// store). find() builds lookup tables on demand and is therefore not safe to call concurrently.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tw::core {

class IniDocument {
  public:
    IniDocument();
    explicit IniDocument(std::string_view bytes);
    explicit IniDocument(std::vector<char> bytes);
    ~IniDocument();
    IniDocument(IniDocument&&) noexcept;
    IniDocument& operator=(IniDocument&&) noexcept;
    IniDocument(const IniDocument&) = delete;
    IniDocument& operator=(const IniDocument&) = delete;

    // The value of key in section, blanks trimmed and one matching pair of quotes removed, or
    // nullopt when the section or the key is not there. Valid until the next change.
    std::optional<std::string_view> find(std::string_view section, std::string_view key) const;
    // Two keys of one section, as two calls of find() give them, with the section found once.
    std::array<std::optional<std::string_view>, 2> find(std::string_view section,
                                                        std::string_view key1,
                                                        std::string_view key2) const;

    // Sets key in section to value, or removes the key when value is nullopt. Returns whether the
    // document changed. An existing key line is replaced where it stands; a new key goes after the
    // last key line of its section; a new section goes at the end of the document.
    bool set(std::string_view section, std::string_view key, std::optional<std::string_view> value);

    // A section or key name as lookups compare it: blanks around it trimmed, ASCII letters in
    // lower case. Two names find the same section exactly when their lookup names are equal.
    static std::string lookupName(std::string_view name);

    // The document as file bytes.
    std::string serialize() const;
    void serializeTo(std::string& out) const;
    // Whether bytes are exactly what serialize() would give, without building that text.
    bool sameBytes(std::string_view bytes) const;
    std::size_t byteSize() const { return byteSize_; }

  private:
    enum class LineEnd : std::uint8_t { kNone, kLf, kCrLf, kCr };
    enum class Kind : std::uint8_t { kOther, kSection, kKey };

    // A line points into storage that never moves for the life of the document (the bytes read,
    // or a chunk of added text), so names can serve as lookup keys without copies.
    struct Line {
        const char* text = nullptr;
        std::uint32_t size = 0;
        std::uint32_t nameBegin = 0;
        std::uint32_t nameSize = 0;
        std::uint32_t valueBegin = 0;
        std::uint32_t valueSize = 0;
        LineEnd end = LineEnd::kNone;
        Kind kind = Kind::kOther;

        std::string_view name() const { return {text + nameBegin, nameSize}; }
        std::string_view rawValue() const { return {text + valueBegin, valueSize}; }
    };

    struct FoldHash {
        std::size_t operator()(std::string_view s) const noexcept;
    };
    struct FoldEqual {
        bool operator()(std::string_view a, std::string_view b) const noexcept;
    };
    using NameIndex = std::unordered_map<std::string_view, std::uint32_t, FoldHash, FoldEqual>;

    struct Section {
        // lines[0] is the header, except in the leading part before the first header.
        std::vector<Line> lines;
        std::uint32_t keyCount = 0;
        // Built on demand for sections with many keys (a playlist's one section); played.ini's
        // sections hold a handful of keys, where a scan is cheaper than hashing.
        mutable std::unique_ptr<NameIndex> keyIndex;
    };

    void parse(const char* data, std::size_t size);
    static Line classify(const char* text, std::size_t size, LineEnd end);
    static std::size_t lineEndSize(LineEnd end);
    const Section* findSection(std::string_view name) const;
    std::optional<std::uint32_t> findKeyLine(const Section& section, std::string_view key) const;
    // key's value in section, blanks trimmed and one matching pair of quotes removed.
    std::optional<std::string_view> valueIn(const Section& section, std::string_view key) const;
    const char* store(std::string_view a, std::string_view b = {}, std::string_view c = {});
    Line makeLine(std::string_view a, std::string_view b, std::string_view c, LineEnd end,
                  Kind expected, std::string_view expectedName, bool& clean);
    void insertLine(Section& section, std::uint32_t at, const Line& line);
    void forget(const Line& line);
    void rebuild();

    std::vector<char> bytes_;
    std::vector<std::unique_ptr<char[]>> chunks_;
    std::size_t chunkUsed_ = 0;
    std::size_t chunkSize_ = 0;
    std::size_t garbage_ = 0;
    std::size_t byteSize_ = 0;
    LineEnd style_ = LineEnd::kLf;
    std::vector<Section> sections_;
    NameIndex sectionIndex_;
};

// The longest start of text that holds at most maxChars UTF-8 code points. A byte that does not
// begin a well-formed sequence counts as one character, so that broken text is cut, not lost.
std::string_view cutToCodePoints(std::string_view text, std::size_t maxChars);

}  // namespace tw::core

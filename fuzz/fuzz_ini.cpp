// Any bytes can stand in an INI file beside the console: a user's editor, a playlist from the
// net, half a file from another program. The input is a document, then (after a NUL) a script of
// reads, writes and deletes. The document must give back its bytes unchanged, and after every
// change it must read exactly as the same text parsed afresh would, which is what the next start
// of the console sees.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ini_document.h"
#include "fuzz/fuzz_check.h"

using tw::fuzz::check;

namespace {

using tw::core::IniDocument;

std::string_view trimBlanks(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) {
        s.remove_prefix(1);
    }
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) {
        s.remove_suffix(1);
    }
    return s;
}

// The names that the document's own lines offer, so that writes hit existing sections and keys.
std::vector<std::string> namesIn(std::string_view text) {
    std::vector<std::string> names;
    std::size_t at = 0;
    while (at < text.size() && names.size() < 64) {
        std::size_t end = text.find_first_of("\r\n", at);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        const std::string_view line = trimBlanks(text.substr(at, end - at));
        if (!line.empty() && line.front() == '[') {
            const auto close = line.rfind(']');
            if (close != std::string_view::npos && close > 0) {
                names.emplace_back(line.substr(1, close - 1));
            }
        } else if (const auto eq = line.find('='); eq != std::string_view::npos) {
            names.emplace_back(line.substr(0, eq));
        }
        at = end + 1;
    }
    return names;
}

std::string pickName(FuzzedDataProvider& in, const std::vector<std::string>& names) {
    if (!names.empty() && in.ConsumeBool()) {
        std::string name = names[in.ConsumeIntegralInRange<std::size_t>(0, names.size() - 1)];
        if (in.ConsumeBool()) {
            for (char& c : name) {
                if (c >= 'a' && c <= 'z') {
                    c = static_cast<char>(c - 'a' + 'A');
                }
            }
        }
        return name;
    }
    return in.ConsumeRandomLengthString(32);
}

// Whether a write of these names and this value is one the file can hold as a plain key line.
bool plainWrite(std::string_view section, std::string_view key, std::string_view value) {
    const std::string_view k = trimBlanks(key);
    const auto breaks = [](std::string_view s) {
        return s.find_first_of("\r\n") != std::string_view::npos;
    };
    return !breaks(section) && !breaks(key) && !breaks(value) &&
           k.find('=') == std::string_view::npos &&
           (k.empty() || (k.front() != '[' && k.front() != ';'));
}

std::string expectedRead(std::string_view value) {
    value = trimBlanks(value);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
        value.back() == value.front()) {
        value = value.substr(1, value.size() - 2);
    }
    return std::string(value);
}

void expectSameReads(const IniDocument& doc, const std::vector<std::string>& names) {
    const std::string text = doc.serialize();
    check(text.size() == doc.byteSize());
    check(doc.sameBytes(text));
    const IniDocument again(text);
    check(again.serialize() == text);
    for (const auto& section : names) {
        for (const auto& key : names) {
            check(doc.find(section, key) == again.find(section, key));
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    const std::size_t split = all.find('\0');
    const std::string_view text = all.substr(0, split);
    const std::string_view script =
        split == std::string_view::npos ? std::string_view() : all.substr(split + 1);

    IniDocument doc(text);
    check(doc.serialize() == text);
    check(doc.byteSize() == text.size());

    std::vector<std::string> names = namesIn(text);
    FuzzedDataProvider in(reinterpret_cast<const std::uint8_t*>(script.data()), script.size());
    for (int step = 0; step < 12 && in.remaining_bytes() > 0; ++step) {
        const std::string section = pickName(in, names);
        const std::string key = pickName(in, names);
        switch (in.ConsumeIntegralInRange<int>(0, 2)) {
            case 0: {
                const auto value = doc.find(section, key);
                if (value) {
                    const std::size_t max = in.ConsumeIntegralInRange<std::size_t>(0, 300);
                    const std::string_view cut = tw::core::cutToCodePoints(*value, max);
                    check(cut.size() <= value->size() && value->substr(0, cut.size()) == cut);
                    check(cut.size() == value->size() || cut.size() >= max);
                }
                break;
            }
            case 1: {
                const std::string value = in.ConsumeRandomLengthString(64);
                doc.set(section, key, value);
                if (plainWrite(section, key, value)) {
                    const auto read = doc.find(section, key);
                    check(read.has_value() && std::string(*read) == expectedRead(value));
                }
                names.push_back(section);
                names.push_back(key);
                break;
            }
            default: {
                const bool existed = doc.find(section, key).has_value();
                check(doc.set(section, key, std::nullopt) == existed);
                break;
            }
        }
        if (names.size() > 24) {
            names.erase(names.begin(), names.begin() + static_cast<long>(names.size() - 24));
        }
        expectSameReads(doc, names);
    }
    return 0;
}

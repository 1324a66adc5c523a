#include "tags/text_codec.h"

#include <cctype>

namespace tw::tags {

std::u32string latin1ToChars(std::string_view bytes) {
    std::u32string out;
    out.reserve(bytes.size());
    for (unsigned char c : bytes) {
        out.push_back(c);
    }
    return out;
}

std::u32string utf8ToChars(std::string_view bytes, bool endAtCutSequence) {
    std::u32string out;
    out.reserve(bytes.size());
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t n = bytes.size(), i = 0;
    while (i < n) {
        unsigned char c = p[i];
        int extra = 0;
        char32_t cp = 0;
        if (c < 0x80) {
            out.push_back(c);
            ++i;
            continue;
        } else if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
            cp = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
            cp = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
            cp = c & 0x07;
        } else {
            out.push_back(c);
            ++i;
            continue;
        }
        bool ok = i + static_cast<std::size_t>(extra) < n;
        if (!ok && endAtCutSequence) {
            break;
        }
        for (int k = 1; ok && k <= extra; ++k) {
            unsigned char cc = p[i + k];
            if ((cc & 0xC0) != 0x80) {
                ok = false;
            } else {
                cp = (cp << 6) | (cc & 0x3F);
            }
        }
        // Overlong forms, surrogates and values past the last plane are not characters.
        if (ok && ((extra == 2 && cp < 0x800) || (extra == 3 && (cp < 0x10000 || cp > 0x10FFFF)) ||
                   (cp >= 0xD800 && cp <= 0xDFFF))) {
            ok = false;
        }
        if (ok) {
            out.push_back(cp);
            i += 1 + extra;
        } else {
            out.push_back(c);
            ++i;
        }
    }
    return out;
}

std::string charsToUtf8(std::u32string_view chars) {
    std::string out;
    out.reserve(chars.size());
    for (char32_t c : chars) {
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | ((c >> 18) & 0x07)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return out;
}

std::u32string utf16ToChars(std::string_view bytes, bool bigEndian) {
    std::u32string out;
    out.reserve(bytes.size() / 2);
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t units = bytes.size() / 2;
    auto unit = [&](std::size_t k) -> char32_t {
        return bigEndian ? (char32_t{p[2 * k]} << 8) | p[2 * k + 1]
                         : (char32_t{p[2 * k + 1]} << 8) | p[2 * k];
    };
    for (std::size_t k = 0; k < units; ++k) {
        char32_t u = unit(k);
        if (u >= 0xD800 && u <= 0xDBFF && k + 1 < units) {
            char32_t low = unit(k + 1);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                out.push_back(0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00));
                ++k;
                continue;
            }
        }
        // A lone surrogate has no UTF-8 form; it stands for a character that could not be read.
        out.push_back((u >= 0xD800 && u <= 0xDFFF) ? char32_t{0xFFFD} : u);
    }
    return out;
}

bool fitsLatin1(std::string_view utf8) {
    for (char32_t c : utf8ToChars(utf8)) {
        if (c > 0xFF) {
            return false;
        }
    }
    return true;
}

std::string utf8ToLatin1(std::string_view utf8) {
    std::string out;
    for (char32_t c : utf8ToChars(utf8)) {
        out.push_back(c > 0xFF ? '?' : static_cast<char>(c));
    }
    return out;
}

std::string utf8ToUtf16WithBom(std::string_view utf8) {
    std::string out = "\xFF\xFE";
    auto put = [&](char32_t u) {
        out.push_back(static_cast<char>(u & 0xFF));
        out.push_back(static_cast<char>((u >> 8) & 0xFF));
    };
    for (char32_t c : utf8ToChars(utf8)) {
        if (c >= 0x10000) {
            c -= 0x10000;
            put(0xD800 + (c >> 10));
            put(0xDC00 + (c & 0x3FF));
        } else {
            put(c);
        }
    }
    return out;
}

bool isNumericText(std::string_view text) {
    std::size_t i = 0, n = text.size();
    while (i < n && text[i] == ' ') {
        ++i;
    }
    while (n > i && text[n - 1] == ' ') {
        --n;
    }
    if (i < n && (text[i] == '+' || text[i] == '-')) {
        ++i;
    }
    bool digits = false, point = false;
    for (; i < n; ++i) {
        char c = text[i];
        if (std::isdigit(static_cast<unsigned char>(c))) {
            digits = true;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            break;
        }
    }
    if (!digits) {
        return false;
    }
    if (i < n && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < n && (text[i] == '+' || text[i] == '-')) {
            ++i;
        }
        bool expDigits = false;
        while (i < n && std::isdigit(static_cast<unsigned char>(text[i]))) {
            expDigits = true;
            ++i;
        }
        if (!expDigits) {
            return false;
        }
    }
    return i == n;
}

std::string undoUnsync(std::string_view data) {
    std::string out;
    out.reserve(data.size());
    for (std::size_t i = 0; i < data.size(); ++i) {
        out.push_back(data[i]);
        if (static_cast<unsigned char>(data[i]) == 0xFF && i + 1 < data.size() &&
            data[i + 1] == 0) {
            ++i;
        }
    }
    return out;
}

std::string applyUnsync(std::string_view data) {
    std::string out;
    out.reserve(data.size() + 8);
    for (std::size_t i = 0; i < data.size(); ++i) {
        out.push_back(data[i]);
        if (static_cast<unsigned char>(data[i]) == 0xFF) {
            bool last = i + 1 == data.size();
            unsigned char next = last ? 0 : static_cast<unsigned char>(data[i + 1]);
            if (last || next == 0 || next >= 0xE0) {
                out.push_back('\0');
            }
        }
    }
    return out;
}

}  // namespace tw::tags

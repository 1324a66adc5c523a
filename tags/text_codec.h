#pragma once
// Conversions between the byte forms found in tags and the UTF-8 text the console holds.

#include <cstdint>
#include <string>
#include <string_view>

namespace tw::tags {

// Each byte is one ISO-8859-1 character.
std::u32string latin1ToChars(std::string_view bytes);
// UTF-8 decoded in full; a byte that starts no valid sequence counts as one ISO-8859-1 character,
// so that nothing read from a file is dropped. With endAtCutSequence, a lead byte with too few
// bytes left behind it ends the text instead, as a frame cut short has always read.
std::u32string utf8ToChars(std::string_view bytes, bool endAtCutSequence = false);
std::string charsToUtf8(std::u32string_view chars);
// Little-endian (or, with swap, big-endian) 16-bit units; surrogate pairs joined. An odd last
// byte is dropped.
std::u32string utf16ToChars(std::string_view bytes, bool bigEndian);

inline std::string latin1ToUtf8(std::string_view bytes) {
    return charsToUtf8(latin1ToChars(bytes));
}

// True when every character of the UTF-8 text has an ISO-8859-1 form.
bool fitsLatin1(std::string_view utf8);
// ISO-8859-1 bytes of the UTF-8 text; characters without a form become "?".
std::string utf8ToLatin1(std::string_view utf8);
// UTF-16 little-endian with its byte-order mark in front.
std::string utf8ToUtf16WithBom(std::string_view utf8);

// A text that reads as a number as a whole: blanks around it, a sign, digits with at most one
// decimal point, an optional exponent.
bool isNumericText(std::string_view text);

// Unsynchronisation: every FF 00 loses its 00 (a final FF is left alone), and the reverse, which
// puts a 00 behind every FF that is followed by a byte of 0xE0 or more, by 00, or ends the data.
std::string undoUnsync(std::string_view data);
std::string applyUnsync(std::string_view data);

}  // namespace tw::tags

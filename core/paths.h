#pragma once
// Path and token helpers used throughout the console.

#include <string>
#include <string_view>

namespace tw::core {

// One part of a path. Both "/" and "\" separate folders; a drive is a letter and ":" at the front.
//   1 drive with its ":"          ("C:")
//   2 folder                      ("/music/rock/")
//   3 drive and folder            ("C:/music/rock/")
//   4 file name without extension ("song")     -- cut at the last "."
//   5 extension                   (".mp3")
//   6 file name with extension    ("song.mp3")
//   7 whole path without extension
// A negative part gives the same part without its outer separator: -1 "C", -2 and -3 without the
// trailing separator, -5 without the ".". A path that ends in a separator has an empty file name.
// Any other part gives an empty text.
std::string parsePath(std::string_view path, int part);

// Tokens of a text, with the position kept between calls so that number 0 continues where the
// last call stopped. A new positive number starts again from the front. A delimiter inside a pair
// of the quote character does not split (the quotes stay in the token). Past the last token the
// result is empty.
class TokenReader {
  public:
    std::string getToken(std::string_view delimiter, int number, std::string_view text,
                         std::string_view quotes = "");

  private:
    std::size_t position_ = 0;
};

// The one rule by which the console tells a stream address from a file: the text "http://" or
// "https://" in it.
bool isStreamAddress(std::string_view path);

// One token without kept state (number from 1).
std::string token(std::string_view delimiter, int number, std::string_view text,
                  std::string_view quotes = "");

}  // namespace tw::core

// Text that names files, as people may see it: a name can hold anything, and a terminal obeys what it is sent.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace kalvetra {

namespace shown {

// How many bytes the UTF-8 character at the beginning has; 0 where there is none.
inline std::size_t characterLength(std::string_view text) {
  const auto byte = [text](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
  const std::size_t length = byte(0) < 0x80                       ? 1
                             : byte(0) >= 0xc2 && byte(0) < 0xe0  ? 2
                             : byte(0) >= 0xe0 && byte(0) < 0xf0  ? 3
                             : byte(0) >= 0xf0 && byte(0) <= 0xf4 ? 4
                                                                  : 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return 0;
  }
  const bool overlong = (byte(0) == 0xe0 && byte(1) < 0xa0) || (byte(0) == 0xf0 && byte(1) < 0x90);
  const bool surrogate = byte(0) == 0xed && byte(1) >= 0xa0, beyond = byte(0) == 0xf4 && byte(1) >= 0x90;
  return overlong || surrogate || beyond ? 0 : length;
}

// Of a whole character: one of ASCII's, or of the 32 after them (U+0080 to U+009F).
inline bool isControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  return first < ' ' || first == 0x7f || (first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0);
}

}  // namespace shown

// Hands the text to `put` in pieces, each control character and each byte that is no UTF-8 quoted: \n, \r, \t or \x1b.
// Needs no memory.
template <class Put>
void putShown(std::string_view text, Put put) {
  while (!text.empty()) {
    const std::size_t length = shown::characterLength(text);
    const std::string_view piece = text.substr(0, length == 0 ? 1 : length);
    text.remove_prefix(piece.size());
    if (length > 0 && !shown::isControl(piece)) {
      put(piece);
      continue;
    }
    for (const char c : piece) {
      char quoted[8];
      std::snprintf(quoted, sizeof quoted, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
      put(c == '\n' ? "\\n" : c == '\r' ? "\\r" : c == '\t' ? "\\t" : std::string_view(quoted));
    }
  }
}

inline std::string shownText(std::string_view text) {
  std::string all;
  putShown(text, [&all](std::string_view piece) { all += piece; });
  return all;
}

}  // namespace kalvetra

// Words for command lines that a user copies.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace kalvetra {

// In single quotes: a POSIX shell reads back the text itself, as one word.
inline std::string singleQuoted(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// The same without quotes where the word needs none.
inline std::string shellQuoted(const std::string& word) {
  const auto isHarmless = [](unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("_-./:,=@%+").find(static_cast<char>(c)) != std::string_view::npos;
  };
  return !word.empty() && std::all_of(word.begin(), word.end(), isHarmless) ? word : singleQuoted(word);
}

}  // namespace kalvetra

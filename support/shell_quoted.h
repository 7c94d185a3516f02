// Words for command lines that a user copies.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace kalvetra {

// A word as a POSIX shell reads it back.
inline std::string shellQuoted(const std::string& word) {
  const auto isHarmless = [](unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("_-./:,=@%+").find(static_cast<char>(c)) != std::string_view::npos;
  };
  if (!word.empty() && std::all_of(word.begin(), word.end(), isHarmless)) return word;
  std::string quoted = "'";
  for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace kalvetra

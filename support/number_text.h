// How numbers and colours are written.
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace kalvetra {

// "1 frame", "2 frames"
inline std::string counted(std::int64_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

// To the three decimals that JSON answers have.
inline double rounded(double value) { return std::round(value * 1000.0) / 1000.0; }

// "#2da54b"; each 0..255.
inline std::string hexColor(int red, int green, int blue) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", red & 255, green & 255, blue & 255);
  return text;
}

// 0xrrggbb of "#rrggbb", nothing for any other text.
inline std::optional<int> parseHexColor(std::string_view text) {
  constexpr std::size_t kLength = 7;
  if (text.size() != kLength || text[0] != '#' || text[1] == '-') return std::nullopt;
  int color = 0;
  const auto [end, error] = std::from_chars(text.data() + 1, text.data() + kLength, color, 16);
  if (error != std::errc() || end != text.data() + kLength) return std::nullopt;
  return color;
}

}  // namespace kalvetra

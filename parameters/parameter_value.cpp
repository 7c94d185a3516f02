#include "parameters/parameter_value.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "support/number_text.h"

namespace kalvetra {

namespace {

// All of `text` as a number.
std::optional<int> parseNumber(std::string_view text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<int> parseDecimalColor(std::string_view text) {
  std::array<int, 3> parts{};
  for (std::size_t i = 0; i < 3; ++i) {
    const std::size_t comma = std::min(text.find(','), text.size());
    const std::optional<int> part = parseNumber(text.substr(0, comma));
    const bool last = comma == text.size();
    if (!part || *part < 0 || *part > 255 || last != (i == 2)) return std::nullopt;
    parts[i] = *part;
    if (!last) text.remove_prefix(comma + 1);
  }
  return colorOf(parts);
}

std::optional<int> parseEntry(const Parameter& p, std::string_view text) {
  for (std::size_t i = 0; i < p.entries.size(); ++i) {
    if (text == p.entries[i].slug) return static_cast<int>(i);
  }
  return std::nullopt;
}

std::optional<int> parseSlider(const Parameter& p, std::string_view text) {
  const std::optional<int> value = parseNumber(text);
  return value && *value >= p.minimum && *value <= p.maximum ? value : std::nullopt;
}

int byteOf(double component) {
  if (!(component > 0.0)) return 0;  // not a number, too
  return static_cast<int>(std::lround(std::min(component, 1.0) * 255.0));
}

}  // namespace

int valueIn(const KeySettings& settings, const Parameter& p) {
  if (p.value != nullptr) return settings.*p.value;
  return colorOf({byteOf(settings.keyColor[0]), byteOf(settings.keyColor[1]), byteOf(settings.keyColor[2])});
}

void setValue(KeySettings& settings, const Parameter& p, int value) {
  if (p.value != nullptr) {
    settings.*p.value = value;
    return;
  }
  for (std::size_t i = 0; i < 3; ++i) settings.keyColor[i] = colorParts(value)[i] / 255.0;
}

std::string valueText(const Parameter& p, int value) {
  if (p.kind == ParameterKind::Toggle) return value != 0 ? "on" : "off";
  if (p.kind == ParameterKind::Popup) return std::string(p.entries[static_cast<std::size_t>(value)].slug);
  if (p.kind != ParameterKind::Color) return std::to_string(value);
  const std::array<int, 3> parts = colorParts(value);
  return hexColor(parts[0], parts[1], parts[2]);
}

std::optional<int> parseValue(const Parameter& p, std::string_view text) {
  switch (p.kind) {
    case ParameterKind::Toggle:
      return text == "on" ? std::optional(1) : text == "off" ? std::optional(0) : std::nullopt;
    case ParameterKind::Popup:
      return parseEntry(p, text);
    case ParameterKind::Color:
      return text.starts_with('#') ? parseHexColor(text) : parseDecimalColor(text);
    default:
      return parseSlider(p, text);
  }
}

int screenForColor(const KeySettings& settings) {
  const auto [red, green, blue] = settings.keyColor;
  return blue > green && blue > red ? 1 : 0;
}

}  // namespace kalvetra

#include "cli/key_options.h"

#include <charconv>
#include <regex>

#include "cli/auto_settings.h"
#include "cli/console.h"
#include "parameters/parameter_manual.h"
#include "parameters/parameter_table.h"

namespace kalvetra {

namespace {

// The value that `text` names for the parameter, nothing when it names none.
std::optional<int> parseValue(const Parameter& p, const std::string& text) {
  if (p.kind == ParameterKind::Toggle) {
    if (text == "on") return 1;
    if (text == "off") return 0;
    return std::nullopt;
  }
  if (p.kind == ParameterKind::Popup) {
    for (std::size_t i = 0; i < kViewEntries.size(); ++i) {
      if (text == kViewEntries[i].slug) return static_cast<int>(i);
    }
    return std::nullopt;
  }
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (value < p.minimum || value > p.maximum) return std::nullopt;
  return value;
}

std::optional<std::array<int, 3>> parseColor(const std::string& text) {
  std::smatch m;
  std::array<int, 3> color{};
  if (std::regex_match(text, m, std::regex("#([0-9a-fA-F]{2})([0-9a-fA-F]{2})([0-9a-fA-F]{2})"))) {
    for (std::size_t i = 0; i < 3; ++i) color[i] = std::stoi(m[i + 1], nullptr, 16);
    return color;
  }
  if (!std::regex_match(text, m, std::regex("([0-9]{1,3}),([0-9]{1,3}),([0-9]{1,3})"))) return std::nullopt;
  for (std::size_t i = 0; i < 3; ++i) {
    color[i] = std::stoi(m[i + 1]);
    if (color[i] > 255) return std::nullopt;
  }
  return color;
}

void addColorOption(CLI::App& command, const Parameter& p, KeyChoice& choice) {
  const auto parse = [&choice](const std::string& text) {
    choice.keyColor = text == "auto" ? std::nullopt : parseColor(text);
    if (text != "auto" && !choice.keyColor) {
      throw CLI::ValidationError("--key-color", "'" + text + "' is no colour; give auto, #rrggbb or r,g,b (0..255)");
    }
  };
  command.add_option_function<std::string>("--" + std::string(p.slug), parse, std::string(p.help))
      ->type_name("auto, " + valueRange(p))
      ->default_str("auto");
}

void addValueOption(CLI::App& command, const Parameter& p, KeyChoice& choice) {
  const std::string name = "--" + std::string(p.slug);
  const auto parse = [&p, &choice, name](const std::string& text) {
    const std::optional<int> value = parseValue(p, text);
    if (!value) throw CLI::ValidationError(name, "'" + text + "' is not among its values; give " + valueRange(p));
    choice.settings.*p.value = *value;
  };
  command.add_option_function<std::string>(name, parse, std::string(p.help))
      ->type_name(valueRange(p))
      ->default_str(defaultText(p));
}

std::array<int, 3> findKeyColor(const std::string& input, int threads) {
  const FoundBackdrop found = findBackdrop(input, kSampledFrames, threads);
  const BackdropColor& color = found.color;
  note("key colour " + hexColor(color.red, color.green, color.blue) + ", found in " + std::to_string(color.pixels) +
       " of " + std::to_string(color.examined) + " pixels examined in " + counted(found.frames, "frame"));
  return {color.red, color.green, color.blue};
}

}  // namespace

void addKeyOptions(CLI::App& command, KeyChoice& choice) {
  for (const Parameter& p : kParameters) {
    if (p.kind == ParameterKind::Group) continue;
    if (p.kind == ParameterKind::Color) {
      addColorOption(command, p, choice);
    } else {
      addValueOption(command, p, choice);
    }
  }
}

std::vector<std::string> idleOptions(const CLI::App& command, const KeySettings& settings) {
  std::vector<std::string> sentences;
  for (const Parameter& p : kParameters) {
    if (p.toggle == 0 || command.count("--" + std::string(p.slug)) == 0) continue;
    const Parameter& toggle = *findParameter(p.toggle);
    if (settings.*toggle.value != 0) continue;
    sentences.push_back("--" + std::string(p.slug) + " does nothing without --" + std::string(toggle.slug) + " on");
  }
  return sentences;
}

KeySettings settleKeyColor(const KeyChoice& choice, const std::string& input, int threads) {
  KeySettings settings = choice.settings;
  const bool needsColor = settings.view != 0;
  if (!needsColor && !choice.keyColor) return settings;
  const std::array<int, 3> color = choice.keyColor ? *choice.keyColor : findKeyColor(input, threads);
  if (color[0] <= 1 && color[1] <= 1 && color[2] <= 1) note("a black key colour keys nothing");
  for (std::size_t i = 0; i < 3; ++i) settings.keyColor[i] = color[i] / 255.0;
  return settings;
}

}  // namespace kalvetra

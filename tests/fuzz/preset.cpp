// Presets: any bytes are read or refused with one line, and what was read is written and read again as the same.
#include "parameters/preset.h"

#include <algorithm>

#include "parameters/parameter_table.h"
#include "support/user_error.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/require.h"

namespace {

using kalvetra::AnimatedSettings;
using kalvetra::Parameter;
using kalvetra::Preset;
using kalvetra::test::require;

constexpr std::size_t kLongestLine = 1000;  // of a message, in bytes
constexpr std::int64_t kFrames[]{0, 1, 2, 50, 119, 1'000'000, kalvetra::kLastKeyframe, INT64_MAX};

void checkMessage(const std::string& message) {
  const bool plain = std::all_of(message.begin(), message.end(), [](char c) { return c >= ' ' && c <= '~'; });
  require(plain && message.size() < kLongestLine, "a message is not one plain line: " + message);
  require(message.starts_with("fuzz.json, line "), "a message does not say where: " + message);
}

void checkRanges(const AnimatedSettings& settings) {
  for (const std::int64_t frame : kFrames) {
    const kalvetra::KeySettings s = settings.at(frame);
    for (const Parameter& p : kalvetra::kParameters) {
      if (p.value == nullptr) continue;
      require(s.*p.value >= p.minimum && s.*p.value <= p.maximum, std::string(p.slug) + " is out of its range");
    }
    for (const double c : s.keyColor) require(c >= 0.0 && c <= 1.0, "the key colour is out of its range");
  }
}

void checkSameAgain(const AnimatedSettings& settings) {
  const std::string text = kalvetra::presetText(settings);
  AnimatedSettings again;
  kalvetra::applyPreset(kalvetra::parsePreset(text, "again.json"), again);
  for (const Parameter& p : kalvetra::kParameters) {
    if (p.kind == kalvetra::ParameterKind::Group) continue;
    require(settings.curve(p) == again.curve(p), std::string(p.slug) + " changed");
  }
  for (const std::int64_t frame : kFrames) require(settings.at(frame) == again.at(frame), "settings changed");
  require(kalvetra::presetText(again) == text, "a preset is written otherwise the second time");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Preset preset;
  try {
    preset = kalvetra::parsePreset(text, "fuzz.json");
  } catch (const kalvetra::UserError& error) {
    checkMessage(error.what());
    return 0;
  }
  AnimatedSettings settings;
  kalvetra::applyPreset(preset, settings);
  checkRanges(settings);
  checkSameAgain(settings);
  return 0;
}

// The table of parameters as command-line options.
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <optional>
#include <string>

#include "parameters/key_settings.h"

namespace kalvetra {

// What the user chose, with the table's defaults for the rest. The key colour stays empty for "auto".
struct KeyChoice {
  KeySettings settings = defaultSettings();
  std::optional<std::array<int, 3>> keyColor;  // 0..255
};

// Adds one option for each parameter: its slug, range, default and help. `choice` must outlive the parsing.
void addKeyOptions(CLI::App& command, KeyChoice& choice);

// A sentence for each slider that was given while the toggle it depends on is off.
std::vector<std::string> idleOptions(const CLI::App& command, const KeySettings& settings);

// Settles the key colour: the one chosen, or the one found in the clip (which is then named on stderr). Throws
// UserError when the clip shows no green backdrop.
KeySettings settleKeyColor(const KeyChoice& choice, const std::string& input, int threads);

}  // namespace kalvetra

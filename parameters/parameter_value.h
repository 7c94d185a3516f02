// One parameter's value as one whole number, whatever its kind: a slider's value, a toggle's 0 or 1, the index of a
// menu entry, and of a colour 0xrrggbb.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "parameters/parameter_table.h"

namespace kalvetra {

constexpr std::array<int, 3> colorParts(int color) { return {color >> 16 & 255, color >> 8 & 255, color & 255}; }
constexpr int colorOf(const std::array<int, 3>& parts) { return parts[0] << 16 | parts[1] << 8 | parts[2]; }

// The value in the settings, and back. Colours are rounded to 8 bits a component, and clamped.
int valueIn(const KeySettings& settings, const Parameter& parameter);
void setValue(KeySettings& settings, const Parameter& parameter, int value);

// The value as people write it: "33", "on", "result", "#2da54b".
std::string valueText(const Parameter& parameter, int value);

// The value that `text` stands for, nothing when it is none of the parameter's. Beyond what valueText writes, a colour
// may be r,g,b (0..255).
std::optional<int> parseValue(const Parameter& parameter, std::string_view text);

// The value of the parameter "screen" that suits the settings' key colour: blue where that is more blue than green and
// red.
int screenForColor(const KeySettings& settings);

}  // namespace kalvetra

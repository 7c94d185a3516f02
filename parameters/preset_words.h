// What messages about presets are made of.
#pragma once

#include <string>
#include <string_view>

#include "parameters/parameter_table.h"

namespace kalvetra {

// The beginning of something in a file, any bytes, fit for a line of a message; with inQuotes in double quotes.
std::string shown(std::string_view text);
std::string inQuotes(std::string_view text);

// The parameter's slug that looks most like the word.
std::string_view nearestSlug(std::string_view word);

// What a preset may hold for the parameter: "a whole number 0..100", "true or false".
std::string expectedInPreset(const Parameter& parameter);

}  // namespace kalvetra

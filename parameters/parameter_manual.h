// The manual's parameter table, generated from the one table.
#pragma once

#include <string>

#include "parameters/parameter_table.h"

namespace kalvetra {

// The values that a parameter takes, as the command line writes them: "0..100", "on | off", "source | matte | result".
std::string valueRange(const Parameter& parameter);

// The default as the command line writes it.
std::string defaultText(const Parameter& parameter);

// Markdown, one row a parameter, newline-terminated.
std::string parametersAsMarkdown();

}  // namespace kalvetra

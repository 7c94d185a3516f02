// The manual's parameter tables, generated from the one table.
#pragma once

#include <string>

#include "parameters/parameter_table.h"

namespace kalvetra {

// The names of the groups around a parameter, outermost first: "Basic: Edge Blur Group".
std::string groupPath(const Parameter& parameter);

// The values that a parameter takes, as the command line writes them: "0..100", "on, off", "source, matte, result".
std::string valueRange(const Parameter& parameter);

// The default as the command line writes it.
std::string defaultText(const Parameter& parameter);

// Markdown, one row a parameter, newline-terminated.
std::string parametersAsMarkdown();

// For a terminal: aligned columns below the names of the groups, newline-terminated.
std::string parametersAsText();

// For programs, see describeParameters; newline-terminated.
std::string parametersAsJson();

}  // namespace kalvetra

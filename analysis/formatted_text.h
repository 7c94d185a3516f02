// Numbers in the sentences about a proposal.
#pragma once

#include <cstdio>
#include <string>

namespace kalvetra {

// As printf has it; at most 239 characters.
template <class... Values>
std::string formattedText(const char* format, Values... values) {
  char buffer[240];
  std::snprintf(buffer, sizeof buffer, format, values...);
  return buffer;
}

}  // namespace kalvetra

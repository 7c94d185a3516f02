// What somebody wrote, in the sentences that refuse it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "parameters/parameter_table.h"
#include "support/nearest_word.h"

namespace kalvetra {

constexpr std::size_t kLongestQuote = 40;  // characters of the writer's in a message

// The beginning of any bytes, fit for a line of a message.
inline std::string shownStart(std::string_view text) {
  std::string result(text.substr(0, kLongestQuote));
  for (char& c : result) c = c < ' ' || c > '~' ? '?' : c;
  return text.size() > kLongestQuote ? result + "..." : result;
}

inline std::string inQuotes(std::string_view text) { return '"' + shownStart(text) + '"'; }

// The parameter's name that looks most like the word.
inline std::string_view nearestSlug(std::string_view word) {
  std::vector<std::string_view> slugs;
  for (const Parameter& p : kParameters) {
    if (!p.slug.empty()) slugs.push_back(p.slug);
  }
  return nearestWord(word.substr(0, kLongestQuote), slugs);
}

}  // namespace kalvetra

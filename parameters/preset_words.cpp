#include "parameters/preset_words.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace kalvetra {

namespace {

constexpr std::size_t kLongestQuote = 40;  // characters of the file in a message

// Steps of one inserted, removed or replaced character from one word to the other.
std::size_t wordDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string shown(std::string_view text) {
  std::string result(text.substr(0, kLongestQuote));
  for (char& c : result) {
    if (c < ' ' || c > '~') c = '?';
  }
  return text.size() > kLongestQuote ? result + "..." : result;
}

std::string inQuotes(std::string_view text) { return '"' + shown(text) + '"'; }

std::string_view nearestSlug(std::string_view word) {
  word = word.substr(0, kLongestQuote);
  std::string_view nearest;
  for (const Parameter& p : kParameters) {
    if (p.slug.empty()) continue;
    if (nearest.empty() || wordDistance(word, p.slug) < wordDistance(word, nearest)) nearest = p.slug;
  }
  return nearest;
}

std::string expectedInPreset(const Parameter& p) {
  switch (p.kind) {
    case ParameterKind::Toggle:
      return "true or false";
    case ParameterKind::Color:
      return "\"#rrggbb\"";
    case ParameterKind::Popup: {
      std::string entries;
      for (const MenuEntry& entry : kViewEntries) entries += (entries.empty() ? "" : ", ") + inQuotes(entry.slug);
      return entries;
    }
    default:
      return "a whole number " + std::to_string(p.minimum) + ".." + std::to_string(p.maximum);
  }
}

}  // namespace kalvetra

#include "parameters/preset_words.h"

#include <vector>

#include "support/nearest_word.h"

namespace kalvetra {

namespace {

constexpr std::size_t kLongestQuote = 40;  // characters of the file in a message

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
  std::vector<std::string_view> slugs;
  for (const Parameter& p : kParameters) {
    if (!p.slug.empty()) slugs.push_back(p.slug);
  }
  return nearestWord(word.substr(0, kLongestQuote), slugs);
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

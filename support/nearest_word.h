// What somebody may have meant by a misspelt word.
#pragma once

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace kalvetra {

// Steps of one inserted, removed or replaced character, or of two neighbours that change places, from one word to the
// other.
inline std::size_t wordDistance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> steps(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  std::iota(steps[0].begin(), steps[0].end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    steps[i][0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = steps[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      steps[i][j] = std::min({replaced, steps[i - 1][j] + 1, steps[i][j - 1] + 1});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
    }
  }
  return steps.back().back();
}

// How far a word is from a name of parts, "key-color"; for one of its parts alone one step more than from that part.
inline std::size_t stepsTo(std::string_view name, std::string_view word) {
  std::size_t steps = wordDistance(word, name);
  for (std::size_t from = 0, dash = 0; name.find('-') != name.npos && dash != name.npos; from = dash + 1) {
    dash = name.find('-', from);
    const std::string_view part = name.substr(from, dash == name.npos ? dash : dash - from);
    steps = std::min(steps, 1 + wordDistance(word, part));
  }
  return steps;
}

// The name that looks most like the word, of several the first; empty where there is none.
inline std::string_view nearestWord(std::string_view word, const std::vector<std::string_view>& names) {
  std::string_view nearest;
  for (const std::string_view name : names) {
    if (nearest.empty() || stepsTo(name, word) < stepsTo(nearest, word)) nearest = name;
  }
  return nearest;
}

// True where somebody who wrote the word may well have meant the name.
inline bool isLikely(std::string_view name, std::string_view word) {
  return stepsTo(name, word) <= std::min(name.size(), word.size()) / 3;
}

}  // namespace kalvetra

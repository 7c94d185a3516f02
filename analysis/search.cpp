#include "analysis/search.h"

#include <algorithm>
#include <initializer_list>
#include <utility>
#include <vector>

#include "parameters/parameter_table.h"

namespace kalvetra {

namespace {

using Field = int KeySettings::*;
// Values that are set together in one step.
using Step = std::vector<std::pair<Field, int>>;

constexpr int kRounds = 2;
constexpr double kClipPrice = 0.002;  // levels for each percent
constexpr double kLeastGain = 0.004;  // share of the cost that a change has to save

std::vector<Step> valuesOf(Field field, std::initializer_list<int> values) {
  std::vector<Step> steps;
  for (const int v : values) steps.push_back({{field, v}});
  return steps;
}

std::vector<Step> clips() {
  std::vector<Step> steps;
  for (const int black : {0, 2, 4, 6, 8, 11, 15}) {
    for (const int white : {100, 97, 94, 90, 85, 80, 75}) {
      steps.push_back({{&KeySettings::clipBlack, black}, {&KeySettings::clipWhite, white}});
    }
  }
  return steps;
}

// Chroma samples are two pixels apart at most, and a codec's blocks grow with its pictures: a wider blur of small
// pictures is no repair.
std::vector<Step> deblocks(int widest) {
  std::vector<Step> steps{{{&KeySettings::deBlocking, 0}, {&KeySettings::deBlockValue, 1}}};
  for (int radius = 1; radius <= widest; ++radius) {
    steps.push_back({{&KeySettings::deBlocking, 1}, {&KeySettings::deBlockValue, radius}});
  }
  return steps;
}

// In the order in which they are tried: what decides most comes first.
std::vector<std::vector<Step>> candidates(int widestDeblock) {
  return {
      valuesOf(&KeySettings::skinHue, {-25, 0, 25, 50}),
      valuesOf(&KeySettings::blueHue, {-50, -25, 0, 25, 50}),
      valuesOf(&KeySettings::despillWhite, {0, 10, 20, 35}),
      clips(),
      valuesOf(&KeySettings::screenGain, {0, 15, 33, 50, 70}),
      valuesOf(&KeySettings::despillSkin, {0, 20, 40, 70}),
      valuesOf(&KeySettings::despillBlue, {0, 20, 50}),
      valuesOf(&KeySettings::smoothBG, {0, 1}),
      deblocks(widestDeblock),
      {{{&KeySettings::edgeContract, 0}, {&KeySettings::contractMask, 2}},
       {{&KeySettings::edgeContract, 1}, {&KeySettings::contractMask, 1}}},
      {{{&KeySettings::edgeBlur, 0}, {&KeySettings::maskBlurRadius, 2}},
       {{&KeySettings::edgeBlur, 1}, {&KeySettings::maskBlurRadius, 1}},
       {{&KeySettings::edgeBlur, 1}, {&KeySettings::maskBlurRadius, 2}}},
  };
}

bool holds(const KeySettings& settings, const Step& step) {
  return std::all_of(step.begin(), step.end(), [&](const auto& part) { return settings.*part.first == part.second; });
}

KeySettings applied(KeySettings settings, const Step& step) {
  for (const auto& [field, value] : step) settings.*field = value;
  return settings;
}

// The search's view of a setting: the trials' cost, and what a change has to earn beyond what the samples show.
class Judge {
 public:
  Judge(Trials& trials, double deblockPrice) : trials_(trials), deblockPrice_(deblockPrice) {}
  // Clipping takes away what no sample shows, wisps and faint shadows.
  double price(const KeySettings& s) const {
    return trials_.cost(s) + kClipPrice * (s.clipBlack + 100 - s.clipWhite) + (s.deBlocking != 0 ? deblockPrice_ : 0.0);
  }

 private:
  Trials& trials_;
  double deblockPrice_;
};

// Takes back what hardly earns anything.
KeySettings simplified(const Judge& judge, KeySettings best, const KeySettings& start) {
  const double allowed = judge.price(best) * (1.0 + kLeastGain);
  for (const Parameter& p : kParameters) {
    if (p.value == nullptr || best.*p.value == start.*p.value) continue;
    KeySettings simpler = best;
    simpler.*p.value = start.*p.value;
    if (judge.price(simpler) <= allowed) best = simpler;
  }
  return best;
}

}  // namespace

KeySettings searchSettings(Trials& trials, const KeySettings& start, double deblockPrice) {
  const Judge judge(trials, deblockPrice);
  KeySettings best = start;
  double lowest = judge.price(start);
  for (int round = 0; round < kRounds; ++round) {
    const double before = lowest;
    for (const std::vector<Step>& steps : candidates(trials.widestDeblock())) {
      for (const Step& step : steps) {
        if (holds(best, step)) continue;
        const KeySettings settings = applied(best, step);
        const double price = judge.price(settings);
        if (price >= lowest * (1.0 - kLeastGain)) continue;
        best = settings;
        lowest = price;
      }
    }
    if (lowest > before * (1.0 - kLeastGain)) break;
  }
  return simplified(judge, best, start);
}

}  // namespace kalvetra

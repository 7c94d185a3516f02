#include "analysis/search.h"

#include <algorithm>
#include <cmath>

#include "analysis/harm.h"
#include "parameters/parameter_value.h"

namespace kalvetra {

namespace {

// The share of the cost that a change has to save to be made at all, and to be made in full.
constexpr double kLeastGain = 0.008, kFullGain = 0.018;
constexpr double kInvisible = 0.2;  // levels of cost that are added to all costs: what nobody sees is no gain
constexpr double kStep = 5.0;       // that values are rounded to

// The values of one setting that are tried.
struct Candidates {
  int KeySettings::*field;
  std::vector<int> values;
};

// In the order in which they are tried: what decides most comes first. Others were tried on photographs: they move
// opacities away from those of the plain key, which was right more often.
const std::vector<Candidates>& allCandidates() {
  static const std::vector<Candidates> all{
      {&KeySettings::skinHue, {25, 50}}, {&KeySettings::blueHue, {-25, -50}}, {&KeySettings::despillWhite, {10}}};
  return all;
}

std::string textOf(int KeySettings::*field, int value) {
  const auto* p = std::find_if(std::begin(kParameters), std::end(kParameters),
                               [&](const Parameter& parameter) { return parameter.value == field; });
  return std::string(p->slug) + " " + valueText(*p, value);
}

class Search {
 public:
  explicit Search(const Trials& trials) : trials_(trials), found_{trials.plain(), {}} {}

  Found run() {
    for (const Candidates& candidates : allCandidates()) tryAll(candidates);
    return found_;
  }

 private:
  void tryAll(const Candidates& candidates) {
    const KeySettings before = found_.settings;
    const double costBefore = trials_.cost(before);
    double lowest = costBefore;
    KeySettings best = before;
    for (const int value : candidates.values) {
      KeySettings settings = before;
      settings.*candidates.field = value;
      const double cost = trials_.cost(settings);
      if (cost < lowest) lowest = cost, best = settings;
    }
    const double gain = (costBefore - lowest) / (costBefore + kInvisible);
    if (gain <= kLeastGain) return;
    const double earned = std::min((gain - kLeastGain) / (kFullGain - kLeastGain), 1.0);
    const Harm harm = worstHarm(trials_.changes(best));
    const int start = before.*candidates.field, end = best.*candidates.field;
    const double way = harm.allowed * earned * (end - start);
    int& value = found_.settings.*candidates.field;
    value = start + static_cast<int>(std::round(way / kStep) * kStep);
    if (value == start && !harm.reason.empty()) {
      found_.leftOut.push_back(textOf(candidates.field, end) + " is left out: " + harm.reason);
    }
  }

  const Trials& trials_;
  Found found_;
};

}  // namespace

Found searchSettings(const Trials& trials) { return Search(trials).run(); }

bool isTried(int KeySettings::*field) {
  const std::vector<Candidates>& all = allCandidates();
  return std::any_of(all.begin(), all.end(), [&](const Candidates& c) { return c.field == field; });
}

}  // namespace kalvetra

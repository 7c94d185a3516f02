#include "parameters/unit_value.h"

#include <algorithm>
#include <cmath>

namespace kalvetra {

const std::vector<const Parameter*>& parametersByPlace() {
  static const std::vector<const Parameter*> parameters = [] {
    std::vector<const Parameter*> all;
    for (const Parameter& parameter : kHostParameters) {
      if (parameter.kind != ParameterKind::Group) all.push_back(&parameter);
    }
    std::sort(all.begin(), all.end(), [](const Parameter* a, const Parameter* b) { return a->id < b->id; });
    return all;
  }();
  return parameters;
}

double unitOf(const Parameter& parameter, int value) {
  return static_cast<double>(value - parameter.minimum) / (parameter.maximum - parameter.minimum);
}

int valueOfUnit(const Parameter& parameter, double unit) {
  if (std::isnan(unit)) return parameter.defaultValue;
  const int steps = parameter.maximum - parameter.minimum;
  return parameter.minimum + static_cast<int>(std::lround(std::clamp(unit, 0.0, 1.0) * steps));
}

}  // namespace kalvetra

#include "parameters/unit_value.h"

#include <algorithm>
#include <cmath>

namespace kalvetra {

double unitOf(const Parameter& parameter, int value) {
  return static_cast<double>(value - parameter.minimum) / (parameter.maximum - parameter.minimum);
}

int valueOfUnit(const Parameter& parameter, double unit) {
  if (std::isnan(unit)) return parameter.defaultValue;
  const int steps = parameter.maximum - parameter.minimum;
  return parameter.minimum + static_cast<int>(std::lround(std::clamp(unit, 0.0, 1.0) * steps));
}

}  // namespace kalvetra

// Parameter values on the scale from 0 to 1 that many hosts have for everything.
#pragma once

#include "parameters/parameter_table.h"

namespace kalvetra {

// 0 at the parameter's minimum, 1 at its maximum; toggles are 0 or 1, menu entries evenly spaced. Not for colours and
// groups.
double unitOf(const Parameter& parameter, int value);

// The nearest value. What lies outside 0..1 counts as the nearer end, what is no number as the default.
int valueOfUnit(const Parameter& parameter, double unit);

}  // namespace kalvetra

// Parameters as many hosts have them: by their place alone, and their values on a scale from 0 to 1.
#pragma once

#include <vector>

#include "parameters/parameter_table.h"

namespace kalvetra {

// The table without its groups by id: hosts save projects by the place in it, so it never changes for a parameter, and
// new ones come last.
const std::vector<const Parameter*>& parametersByPlace();

// 0 at the parameter's minimum, 1 at its maximum; toggles are 0 or 1, menu entries evenly spaced. Not for colours and
// groups.
double unitOf(const Parameter& parameter, int value);

// The nearest value. What lies outside 0..1 counts as the nearer end, what is no number as the default.
int valueOfUnit(const Parameter& parameter, double unit);

}  // namespace kalvetra

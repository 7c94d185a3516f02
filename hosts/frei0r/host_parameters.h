// The key parameters as the host sees them: the table without its groups, by index, on the host's own scales.
#pragma once

#include <vector>

#include "parameters/parameter_table.h"

namespace kalvetra {

// In the table's order; a parameter's index is fixed for ever, hosts save projects by it.
const std::vector<const Parameter*>& hostParameters();

// The colour of the host, three components of 0..1, as 8 bits each: what is keyed is then exactly the colour that was
// picked. What lies outside counts as the nearer end, what is no number as 0.
void setHostColor(KeySettings& settings, float red, float green, float blue);

}  // namespace kalvetra

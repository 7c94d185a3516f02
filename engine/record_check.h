// Whether the pipeline takes a record.
#pragma once

#include "engine/KALVETRA_Param.h"

namespace kalvetra {

// Every value but the images lies in its range.
bool valuesInRange(const KALVETRA_Param& param);

}  // namespace kalvetra

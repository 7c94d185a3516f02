// Looks for the settings whose trial keys come nearest to the target.
#pragma once

#include "analysis/trials.h"

namespace kalvetra {

// Changes one setting at a time, from `start` on, as long as the trials' cost falls. `deblockPrice`, in levels, is what
// deblocking has to save at least.
KeySettings searchSettings(Trials& trials, const KeySettings& start, double deblockPrice);

}  // namespace kalvetra

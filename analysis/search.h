// Looks for the settings whose trial keys come nearest to the target, as far as they do no harm.
#pragma once

#include <string>
#include <vector>

#include "analysis/trials.h"

namespace kalvetra {

struct Found {
  KeySettings settings;
  std::vector<std::string> leftOut;  // what would lower the cost and do harm, a sentence each
};

// Changes one setting after another, from the trials' plain ones on, where the cost clearly falls: by as much as that
// is earned, and as harmOf allows.
Found searchSettings(const Trials& trials);

// Whether other values of that setting are tried.
bool isTried(int KeySettings::*field);

}  // namespace kalvetra

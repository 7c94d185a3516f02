// What a kalvetra_settings is.
#pragma once

#include <map>
#include <string>

#include "kalvetra/kalvetra.h"
#include "parameters/animated_settings.h"

struct kalvetra_settings {
  kalvetra::AnimatedSettings values;
  // What a proposal says of itself: by the parameter's id its reason, and what was left out, a sentence a line.
  std::map<int, std::string> reasons;
  std::string leftOut;
};

// What speaks against a change of settings, whatever the trials' cost says for it: the cost rests on an estimated
// matte, which may take a veil or a dark part of the screen for something solid, and the screen's light for the
// subject's own green.
#pragma once

#include <string>

#include "analysis/trials.h"

namespace kalvetra {

struct Harm {
  // How much of the change may be made, 0..1: all of it up to half of each limit, nothing from the limit on, and in
  // proportion between. Pictures that differ by little so get settings that differ by little.
  double allowed;
  std::string reason;  // a clause that says what would be harmed most; empty where all is allowed
};

Harm harmOf(const Change& change);

// Of several pictures, each judged by itself, the one that allows least.
Harm worstHarm(const std::vector<Change>& changes);

}  // namespace kalvetra

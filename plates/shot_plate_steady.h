// Whether the frames of a shot show one screen in one place, and the light of each.
#pragma once

#include <string>
#include <vector>

#include "plates/shot_plate_middle.h"

namespace kalvetra::plates {

struct Steadiness {
  std::vector<Tint> tints;  // of each view's light, in terms of that of the shot's middle
  std::string why;          // where the screen does not stay: a sentence for the user; empty where it does
};

Steadiness steadinessOf(const std::vector<ShotView>& views);

}  // namespace kalvetra::plates

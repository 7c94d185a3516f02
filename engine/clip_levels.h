// The clip levels of a matte.
#pragma once

#include <limits>

#include "engine/render_record.h"

namespace kalvetra {

// The whole levels that become 0 and 255, from settings in percent. Between them the matte is stretched.
struct ClipLevels {
  ClipLevels(int black, int white)
      : active(!(black < 0.01 && white > 99.9)),
        low(roundedToInt(black * 255.0 / 100.0)),
        high(roundedToInt(white * 255.0 / 100.0)) {
    if (low == high && low < std::numeric_limits<int>::max()) ++low;
  }

  bool active;
  int low, high;
};

}  // namespace kalvetra

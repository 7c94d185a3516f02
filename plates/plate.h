// A picture of the bare backdrop of a whole frame, to key against in place of the engine's own estimate.
#pragma once

#include <vector>

#include "engine/render.h"

namespace kalvetra {

struct Plate {
  std::vector<unsigned char> argb;  // packed, opaque; a screen of green or blue as it looks
  int width = 0;                    // pixels; the plate may be smaller than the frame, whose whole it shows
  int height = 0;
  float noise = 0.0f;         // standard deviation of a channel about the plate in the frame, levels
  bool keepsShadows = false;  // what is darker than the plate is kept as a shadow

  // Both hold as long as this does.
  ConstFrame picture() const { return packedFrame(argb.data(), width, height); }
  KnownPlate known() const { return {picture(), keepsShadows, noise}; }
};

}  // namespace kalvetra

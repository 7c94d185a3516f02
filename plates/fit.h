// The bare screen at every place of one frame, also behind the subject, fitted to what is seen of it.
#pragma once

#include <string>
#include <vector>

#include "engine/frame.h"
#include "engine/key_settings.h"
#include "engine/workers.h"
#include "plates/plate.h"

namespace kalvetra {

struct FittedPlate {
  Plate plate;           // at most kLongestFit pixels a side, of the frame's proportions; 1 x 1 for an empty frame
  double covered = 0.0;  // share of the frame that is surely bare screen, 0..1
  bool sure = false;     // good enough to key against in place of the engine's own estimate
  float trust = 0.0f;    // 1 where it is sure, and down to 0 where it is far from it
  std::string why;       // where it is not sure: a sentence for the user
  std::vector<unsigned char> bare;  // a byte a pixel of the plate: 255 where surely bare screen, 0 where surely not
};

inline constexpr int kLongestFit = 640;

// Follows the light over the screen, its falls, folds and changes of hue, and leaves alone what is the subject's: hair,
// veils, glass, and shadows beside it. A function of the frame and of the settings' key colour alone: the same bytes
// for any workers. The frame may be of any size and format; transparent pixels count for nothing. A frame of floats
// gives a plate of floats, judged as the same frame in bytes is, but for what rounding does there. Throws
// std::bad_alloc.
FittedPlate fitPlate(const ConstFrame& frame, const KeySettings& settings, const Workers* workers = nullptr);

// The plate of a fit where that is to be trusted, and so much of the engine's own instead as it is not: no step from
// one frame to the next where the fit ceases to be sure.
FittedPlate fadedFit(const ConstFrame& frame, const KeySettings& settings, const Workers* workers = nullptr);

}  // namespace kalvetra

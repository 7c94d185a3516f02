// Whether the two levels that clip the matte fit together.
#pragma once

#include "parameters/animated_settings.h"

namespace kalvetra {

// Throws UserError with both values where clip-black lies above clip-white, at whichever frame: there the engine takes
// no notice of clip-white. Equal levels make a hard edge.
void refuseCrossedClipLevels(const AnimatedSettings& settings);

}  // namespace kalvetra

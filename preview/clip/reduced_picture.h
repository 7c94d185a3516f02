// Smaller pictures for quick looks.
#pragma once

#include "engine/key_settings.h"
#include "media/picture.h"

namespace kalvetra {

// Every pixel the mean of those below it, weighted by their alpha; of the picture's depth. The size may not exceed the
// picture's, nor be empty.
Image averaged(const Image& picture, int width, int height);

// The size of a picture at a scale of 1:scale, at least 1 x 1.
inline int reducedSide(int side, int scale) { return (side + scale - 1) / scale; }

// Settings that do to a picture at 1:scale about what these do to the full one: lengths in pixels shrink along.
KeySettings reducedSettings(KeySettings settings, int scale);

}  // namespace kalvetra

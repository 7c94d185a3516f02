// By how much a picture that was read back differs from what was keyed.
#pragma once

#include <cstdint>

#include "media/picture.h"

namespace kalvetra {

// Of pictures of one size and format, in levels of 255: those of deep ones have decimals.

// Mean absolute difference of the brightness (BT.709's weights), and of the alpha.
double brightnessError(const Image& keyed, const Image& read);
double alphaError(const Image& keyed, const Image& read);

// Gives clear pixels the colours that were read: what an output holds there instead of the keyer's is not promised.
void forgetHiddenColors(Image& keyed, const Image& read);

// By how much the colours of half-transparent pixels are off if they are taken for straight, and for premultiplied.
struct ColorErrors {
  double straight = 0.0, premultiplied = 0.0;
  std::int64_t values = 0;
};

// Of pixels where the two differ by enough to be told apart after a lossy codec.
void addErrors(const Image& keyed, const Image& read, ColorErrors& errors);

}  // namespace kalvetra

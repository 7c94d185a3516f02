// Deep pictures in another size.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// A part of a picture, in pixels.
struct PictureArea {
  int x, y, width, height;
};

// That area of a deep picture, scaled and opaque. Bicubic with B = 0 and C = 0.6, as the scaler of 8-bit pictures has
// it, and wider where pictures get smaller; nothing is clamped. In plain single precision: the same bytes on every
// machine.
Image scaledFloats(const Image& picture, const PictureArea& area, int width, int height);

}  // namespace kalvetra

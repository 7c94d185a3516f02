// Fitting a picture to a frame of another shape.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// The size of a frame and the shape of its pixels.
struct Canvas {
  int width;
  int height;
  double pixelAspect;  // width : height of a pixel
};

// Scales the picture so that it just covers the frame, and crops what protrudes evenly on both sides. Bicubic; the
// same bytes where no scaling is needed. `pixelAspect` is the picture's. Alpha is not read; the result is opaque.
Image covering(const Image& picture, double pixelAspect, const Canvas& frame);

}  // namespace kalvetra

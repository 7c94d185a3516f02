// How keyed pictures become planes, where a pixel format leaves a choice.
#pragma once

namespace kalvetra {

struct PackingOptions {
  bool deep = false;         // the pictures are deep, and so are the planes where the format is
  bool floatPixels = false;  // the planes are those of media/pixels/float_pixels.h
  bool halves = true;        // floats are written as half floats
  bool wideAlpha = false;    // the frame carries its alpha in 16 bits besides: see wideAlphaOf
  bool dither = true;        // colours of deep pictures are spread over the fixed pattern in formats of 8 bits
};

}  // namespace kalvetra
